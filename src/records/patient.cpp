#include "orbelin/records/patient.h"

#include <cmath>

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
using records_detail::Members;
using TamberNetworking::JSON;
using S = Patient::Static;

consteval std::size_t row(std::string_view key) {
  return records_detail::rowOf<Patient>(key);
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

// Each set of nested records in the order of the table; a new record's sets
// start empty, so only non-empty ones are assigned.
void importNested(Patient& patient, const Members& members) {
  if (auto records = lookups<Diagnosis>(members.view(row(S::PatientDiagnoses))); !records.empty())
    patient.setDiagnoses(records);
  if (auto records = lookups<Medication>(members.view(row(S::PatientMedication))); !records.empty())
    patient.setMedications(records);
  if (auto records = lookups<Allergy>(members.view(row(S::PatientAllergies))); !records.empty())
    patient.setAllergies(records);
  if (auto records = lookups<MedicalProblem>(members.view(row(S::PatientMedicalProblems)));
      !records.empty())
    patient.setMedicalProblems(records);
  if (auto records = wrappedTasks(members.view(row(S::PatientTasks))); !records.empty())
    patient.setTasks(records);
  if (auto records = lookups<Barrier>(members.view(row(S::PatientBarriers))); !records.empty())
    patient.setBarriers(records);
  if (auto room = members.view(row(S::PatientRoom)).optional())
    patient.setRoom(Room::create(*room));
}

}  // namespace

Patient* Patient::create(const JSON& json) {
  return records_detail::importRecord<Patient>(
      json, [](Patient& patient, const Members& members, bool nested) {
        // Kept absent when missing or not a date: the epoch fallback would make
        // the patient 56 years old on a clinical screen, where age 0 says unknown.
        patient.setBirthdate(members.date(row(S::PatientBirthdate)));
        patient.setValueAt(at("staffIds"),
                           boost::json::value(staffIdList(members.view(row(S::PatientStaffIds)))));
        if (nested) importNested(patient, members);
      });
}

std::vector<std::int64_t> Patient::staffIds() const {
  std::vector<std::int64_t> ids;
  graph::Value stored = valueAt(at("staffIds"));
  const boost::json::value* list = stored.transformable();
  if (!list || !list->is_array()) return ids;
  for (const auto& element : list->get_array()) {
    if (auto id = element.if_int64()) ids.push_back(*id);
  }
  return ids;
}

void Patient::setStaffIds(const std::vector<std::int64_t>& ids) {
  boost::json::array list(ids.begin(), ids.end());
  setValueAt(at("staffIds"), boost::json::value(std::move(list)));
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
