#include "orbelin/records/record.h"

#include "orbelin/records/enums.h"

namespace orbelin {

std::optional<std::int64_t> FirstGenerationRecord::integerAt(std::size_t index) const {
  return valueAt(index).integer();
}

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
