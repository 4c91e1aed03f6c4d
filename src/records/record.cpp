#include "orbelin/records/record.h"

#include "orbelin/records/records.h"

namespace orbelin {

std::optional<std::int64_t> FirstGenerationRecord::integerAt(std::size_t index) const {
  return valueAt(index).integer();
}

graph::FetchRequest FirstGenerationRecord::fetchRequestFor(std::string_view entityName) {
  return graph::FetchRequest(std::string(entityName));
}

template <typename T>
T* FirstGenerationRecord::toOneAt(std::size_t index) const {
  return dynamic_cast<T*>(objectAt(index));
}

template <typename T>
void FirstGenerationRecord::setToOneAt(std::size_t index, T* record) {
  setObjectAt(index, record);
}

template <typename T>
std::vector<T*> FirstGenerationRecord::toManyAt(std::size_t index) const {
  std::vector<T*> result;
  auto members = const_cast<FirstGenerationRecord*>(this)->mutableSetAt(index).objects();
  result.reserve(members.size());
  for (auto* member : members) {
    if (auto* record = dynamic_cast<T*>(member)) result.push_back(record);
  }
  return result;
}

template <typename T>
void FirstGenerationRecord::setToManyAt(std::size_t index, const std::vector<T*>& records) {
  mutableSetAt(index).assign(std::vector<graph::ManagedObject*>(records.begin(), records.end()));
}

// Every record class may stand on the other side of a relationship.
#define ORBELIN_RELATIONSHIPS_TO(T)                                               \
  template T* FirstGenerationRecord::toOneAt<T>(std::size_t) const;               \
  template void FirstGenerationRecord::setToOneAt<T>(std::size_t, T*);            \
  template std::vector<T*> FirstGenerationRecord::toManyAt<T>(std::size_t) const; \
  template void FirstGenerationRecord::setToManyAt<T>(std::size_t, const std::vector<T*>&);
ORBELIN_RELATIONSHIPS_TO(Patient)
ORBELIN_RELATIONSHIPS_TO(Task)
ORBELIN_RELATIONSHIPS_TO(TaskSummary)
ORBELIN_RELATIONSHIPS_TO(Notification)
ORBELIN_RELATIONSHIPS_TO(StaffMember)
ORBELIN_RELATIONSHIPS_TO(StaffSummary)
ORBELIN_RELATIONSHIPS_TO(Role)
ORBELIN_RELATIONSHIPS_TO(Shift)
ORBELIN_RELATIONSHIPS_TO(Room)
ORBELIN_RELATIONSHIPS_TO(UserAppInfo)
ORBELIN_RELATIONSHIPS_TO(Allergy)
ORBELIN_RELATIONSHIPS_TO(Barrier)
ORBELIN_RELATIONSHIPS_TO(Diagnosis)
ORBELIN_RELATIONSHIPS_TO(Medication)
ORBELIN_RELATIONSHIPS_TO(MedicalProblem)
#undef ORBELIN_RELATIONSHIPS_TO

std::string label(NotificationType type) {
  switch (type) {
    case NotificationType::Undefined:
      return "Undefined";
    case NotificationType::LabStatus:
      return "Lab Status";
    case NotificationType::EquipmentAlert:
      return "Equipment Alert";
    case NotificationType::HospitalAlert:
      return "Hospital Alert";
  }
  return "Undefined";
}

}  // namespace orbelin
