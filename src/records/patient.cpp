#include "orbelin/records/patient.h"

#include <array>
#include <cmath>
#include <limits>

#include <boost/json/array.hpp>

#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/clock.h"
#include "orbelin/records/lookups.h"
#include "orbelin/records/staff.h"
#include "orbelin/records/task.h"
#include "records/import_support.h"

namespace orbelin {
namespace {

using records_detail::importEach;
using TamberNetworking::JSON;

using S = Patient::Static;

// The members a patient import reads.
constexpr std::array<std::string_view, 26> kKeys{S::PatientDoctorApproval,
                                                 S::PatientDischargeDisposition,
                                                 S::PatientPatientID,
                                                 S::PatientFirstName,
                                                 S::PatientLastName,
                                                 S::PatientRoomNumber,
                                                 S::PatientGender,
                                                 S::PatientAcuity,
                                                 S::PatientBirthdate,
                                                 S::PatientAmbulatoryStatus,
                                                 S::PatientCodeStatus,
                                                 S::PatientDietType,
                                                 S::PatientImmunizationStatus,
                                                 S::PatientCoreMeasures,
                                                 S::PatientAdmittedDate,
                                                 S::PatientStatus,
                                                 S::PatientPhysician,
                                                 S::PatientDischargeDate,
                                                 S::PatientDiagnoses,
                                                 S::PatientMedication,
                                                 S::PatientAllergies,
                                                 S::PatientMedicalProblems,
                                                 S::PatientTasks,
                                                 S::PatientBarriers,
                                                 S::PatientStaffIds,
                                                 S::PatientRoom};
consteval std::size_t at(std::string_view key) {
  return records_detail::keyIndex(kKeys, key);
}

void fillPlainAttributes(Patient& patient, const records_detail::Members& json) {
  patient.setValueAt(Patient::kDoctorApproval, json.stringValue(at(S::PatientDoctorApproval)));
  patient.setValueAt(Patient::kDischargeDisposition,
                     json.stringValue(at(S::PatientDischargeDisposition)));
  patient.setValueAt(Patient::kId, json.intValue(at(S::PatientPatientID)));
  patient.setValueAt(Patient::kFirstName, json.stringValue(at(S::PatientFirstName)));
  patient.setValueAt(Patient::kLastName, json.stringValue(at(S::PatientLastName)));
  patient.setValueAt(Patient::kRoomNumber, json.stringValue(at(S::PatientRoomNumber)));
  patient.setValueAt(Patient::kGender, json.stringValue(at(S::PatientGender)));
  patient.setValueAt(Patient::kAcuity, json.intValue(at(S::PatientAcuity)));
  // Kept absent when missing or not a date: the epoch fallback would make
  // the patient 56 years old on a clinical screen, where age 0 says unknown.
  patient.setValueAt(Patient::kBirthdate, json.date(at(S::PatientBirthdate)));
  patient.setValueAt(Patient::kAmbulatoryStatus, json.stringValue(at(S::PatientAmbulatoryStatus)));
  patient.setValueAt(Patient::kCodeStatus, json.stringValue(at(S::PatientCodeStatus)));
  patient.setValueAt(Patient::kDietType, json.stringValue(at(S::PatientDietType)));
  patient.setValueAt(Patient::kImmunizationStatus,
                     json.stringValue(at(S::PatientImmunizationStatus)));
  patient.setValueAt(Patient::kCoreMeasures, json.stringValue(at(S::PatientCoreMeasures)));
  patient.setValueAt(Patient::kAdmittedDate, json.dateValue(at(S::PatientAdmittedDate)));
  patient.setValueAt(Patient::kStatus, json.intValue(at(S::PatientStatus)));
  patient.setValueAt(Patient::kPhysician, json.stringValue(at(S::PatientPhysician)));
}

// One lookup record per text of the array, equal texts included.
template <typename Lookup>
std::vector<Lookup*> lookups(const JSON& array) {
  return importEach<Lookup>(
      array, [](const JSON& element) { return Lookup::create(element.stringValue()); });
}

// Each element wraps its task under "task"; a bare task object gives a task
// of fallback values.
std::vector<Task*> wrappedTasks(const JSON& array) {
  return importEach<Task>(array, [](const JSON& element) { return Task::create(element["task"]); });
}

boost::json::array staffIdList(const JSON& array) {
  boost::json::array ids;
  ids.reserve(array.size());
  for (const JSON& element : array) ids.emplace_back(element.intValue());
  return ids;
}

}  // namespace

Patient* Patient::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* patient = scope.insert<Patient>(Static::EntityName);
  if (!patient) return nullptr;
  thread_local records_detail::MemberMemo memo;
  const records_detail::Members members(json, kKeys, memo);
  fillPlainAttributes(*patient, members);
  patient->setValueAt(kDischargedDate, records_detail::movedOntoToday(
                                           members.dateValue(at(S::PatientDischargeDate))));
  bool nested = scope.nestedAllowed();
  if (nested) {
    // A new record's sets start empty, so only non-empty ones are assigned.
    if (auto records = lookups<Diagnosis>(members.view(at(S::PatientDiagnoses)));
        !records.empty()) {
      patient->setDiagnoses(records);
    }
    if (auto records = lookups<Medication>(members.view(at(S::PatientMedication)));
        !records.empty()) {
      patient->setMedications(records);
    }
    if (auto records = lookups<Allergy>(members.view(at(S::PatientAllergies))); !records.empty()) {
      patient->setAllergies(records);
    }
    if (auto records = lookups<MedicalProblem>(members.view(at(S::PatientMedicalProblems)));
        !records.empty()) {
      patient->setMedicalProblems(records);
    }
    if (auto records = wrappedTasks(members.view(at(S::PatientTasks))); !records.empty()) {
      patient->setTasks(records);
    }
    if (auto records = lookups<Barrier>(members.view(at(S::PatientBarriers))); !records.empty()) {
      patient->setBarriers(records);
    }
  }
  patient->setValueAt(kStaffIds,
                      boost::json::value(staffIdList(members.view(at(S::PatientStaffIds)))));
  if (nested) {
    if (auto room = members.view(at(S::PatientRoom)).optional())
      patient->setRoom(Room::create(*room));
  }
  return patient;
}

graph::FetchRequest Patient::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

std::vector<std::int64_t> Patient::staffIds() const {
  std::vector<std::int64_t> ids;
  graph::Value stored = valueAt(kStaffIds);
  const boost::json::value* list = stored.transformable();
  if (!list || !list->is_array()) return ids;
  for (const auto& element : list->get_array()) {
    if (auto id = element.if_int64()) ids.push_back(*id);
  }
  return ids;
}

void Patient::setStaffIds(const std::vector<std::int64_t>& ids) {
  boost::json::array list(ids.begin(), ids.end());
  setValueAt(kStaffIds, boost::json::value(std::move(list)));
}

std::vector<Diagnosis*> Patient::diagnoses() const {
  return toManyAt<Diagnosis>(kDiagnoses);
}
void Patient::setDiagnoses(const std::vector<Diagnosis*>& records) {
  setToManyAt(kDiagnoses, records);
}
std::vector<Medication*> Patient::medications() const {
  return toManyAt<Medication>(kMedications);
}
void Patient::setMedications(const std::vector<Medication*>& records) {
  setToManyAt(kMedications, records);
}
std::vector<Allergy*> Patient::allergies() const {
  return toManyAt<Allergy>(kAllergies);
}
void Patient::setAllergies(const std::vector<Allergy*>& records) {
  setToManyAt(kAllergies, records);
}
std::vector<MedicalProblem*> Patient::medicalProblems() const {
  return toManyAt<MedicalProblem>(kMedicalProblems);
}
void Patient::setMedicalProblems(const std::vector<MedicalProblem*>& records) {
  setToManyAt(kMedicalProblems, records);
}
std::vector<Task*> Patient::tasks() const {
  return toManyAt<Task>(kTasks);
}
void Patient::setTasks(const std::vector<Task*>& records) {
  setToManyAt(kTasks, records);
}
std::vector<Barrier*> Patient::barriers() const {
  return toManyAt<Barrier>(kBarriers);
}
void Patient::setBarriers(const std::vector<Barrier*>& records) {
  setToManyAt(kBarriers, records);
}
std::vector<Notification*> Patient::notifications() const {
  return toManyAt<Notification>(kNotifications);
}
std::vector<UserAppInfo*> Patient::userInfos() const {
  return toManyAt<UserAppInfo>(kUserInfos);
}
Room* Patient::room() const {
  return toOneAt<Room>(kRoom);
}
void Patient::setRoom(Room* room) {
  setObjectAt(kRoom, room);
}

std::string Patient::fullName() const {
  return firstName() + " " + lastName();
}

std::int64_t Patient::age() const {
  auto born = birthdate();
  return born ? DateUtils::ageFromDate(*born) : 0;
}

DischargeStatus Patient::dischargeStatus() const {
  auto discharged = dischargedDate();
  if (!discharged) return DischargeStatus::InTheFuture;
  Date reference = DateUtils::makeTodayDateWithTime941().value_or(platform::Clock::now());
  double seconds = secondsBetween(reference, *discharged);
  // Truncation toward zero at each step: minutes first, then hours.
  double minutes = std::trunc(seconds / 60.0);
  double hours = std::trunc(minutes / 60.0);
  if (hours < 0) return DischargeStatus::InThePast;
  if (hours <= 23) return DischargeStatus::InToday;
  return DischargeStatus::InTheFuture;
}

}  // namespace orbelin
