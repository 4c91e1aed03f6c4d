#include "orbelin/records/patient.h"

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

void fillPlainAttributes(Patient& patient, const JSON& json) {
  patient.setValueAt(Patient::kDoctorApproval, json[S::PatientDoctorApproval].stringValue());
  patient.setValueAt(Patient::kDischargeDisposition,
                     json[S::PatientDischargeDisposition].stringValue());
  patient.setValueAt(Patient::kId, json[S::PatientPatientID].intValue());
  patient.setValueAt(Patient::kFirstName, json[S::PatientFirstName].stringValue());
  patient.setValueAt(Patient::kLastName, json[S::PatientLastName].stringValue());
  patient.setValueAt(Patient::kRoomNumber, json[S::PatientRoomNumber].stringValue());
  patient.setValueAt(Patient::kGender, json[S::PatientGender].stringValue());
  patient.setValueAt(Patient::kAcuity, json[S::PatientAcuity].intValue());
  // Kept absent when missing or not a date: the epoch fallback would make
  // the patient 56 years old on a clinical screen, where age 0 says unknown.
  patient.setValueAt(Patient::kBirthdate, json[S::PatientBirthdate].date());
  patient.setValueAt(Patient::kAmbulatoryStatus, json[S::PatientAmbulatoryStatus].stringValue());
  patient.setValueAt(Patient::kCodeStatus, json[S::PatientCodeStatus].stringValue());
  patient.setValueAt(Patient::kDietType, json[S::PatientDietType].stringValue());
  patient.setValueAt(Patient::kImmunizationStatus,
                     json[S::PatientImmunizationStatus].stringValue());
  patient.setValueAt(Patient::kCoreMeasures, json[S::PatientCoreMeasures].stringValue());
  patient.setValueAt(Patient::kAdmittedDate, json[S::PatientAdmittedDate].dateValue());
  patient.setValueAt(Patient::kStatus, json[S::PatientStatus].intValue());
  patient.setValueAt(Patient::kPhysician, json[S::PatientPhysician].stringValue());
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
  fillPlainAttributes(*patient, json);
  patient->setValueAt(kDischargedDate,
                      records_detail::movedOntoToday(json[S::PatientDischargeDate].dateValue()));
  bool nested = scope.nestedAllowed();
  if (nested) {
    // A new record's sets start empty, so only non-empty ones are assigned.
    if (auto records = lookups<Diagnosis>(json[S::PatientDiagnoses]); !records.empty()) {
      patient->setDiagnoses(records);
    }
    if (auto records = lookups<Medication>(json[S::PatientMedication]); !records.empty()) {
      patient->setMedications(records);
    }
    if (auto records = lookups<Allergy>(json[S::PatientAllergies]); !records.empty()) {
      patient->setAllergies(records);
    }
    if (auto records = lookups<MedicalProblem>(json[S::PatientMedicalProblems]); !records.empty()) {
      patient->setMedicalProblems(records);
    }
    if (auto records = wrappedTasks(json[S::PatientTasks]); !records.empty()) {
      patient->setTasks(records);
    }
    if (auto records = lookups<Barrier>(json[S::PatientBarriers]); !records.empty()) {
      patient->setBarriers(records);
    }
  }
  patient->setValueAt(kStaffIds, boost::json::value(staffIdList(json[S::PatientStaffIds])));
  if (nested) {
    if (auto room = json[S::PatientRoom].optional()) patient->setRoom(Room::create(*room));
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
