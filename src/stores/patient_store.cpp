#include "orbelin/stores/patient_store.h"

#include <algorithm>

#include "stores/store_support.h"
#include "stores/task_store_internal.h"

namespace orbelin {

using TamberNetworking::JSON;
using namespace stores_internal;

namespace {

std::vector<Patient*> patientsFromJSON(const JSON& json) {
  return importEach<Patient>(json["patients"], &Patient::create);
}

std::vector<StaffMember*> staffsFromJSON(const JSON& json) {
  return importEach<StaffMember>(json["staff"], &StaffMember::create);
}

// Details and summary differ only in the call; both read "patient".
StoreRequest fetchPatient(const Request& request, PatientStore::PatientHandler handler) {
  return executeJSON(
      request,
      [handler](const JSON& json) {
        deliver(handler, Patient::create(json["patient"]), std::nullopt);
      },
      [handler](Error error) { deliver(handler, nullptr, std::move(error)); });
}

}  // namespace

StoreRequest PatientStore::patientsForUser(std::int64_t userId, PatientsHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Patients(decimal(userId)),
      [handler](const JSON& json) { deliver(handler, patientsFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest PatientStore::patientsAndTasksSummaryForUser(
    std::int64_t userId, PatientsAndSummaryHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::PatientsAndTasksSummaryForUser(decimal(userId)),
      [handler](const JSON& json) {
        auto patients = patientsFromJSON(json);
        deliver(handler, std::move(patients), taskSummaryForUserFromJSON(json), std::nullopt);
      },
      [handler](Error error) { deliver(handler, std::nullopt, std::nullopt, std::move(error)); });
}

StoreRequest PatientStore::detailsForPatient(std::int64_t patientId,
                                             PatientHandler completionHandler) {
  return fetchPatient(Request::Patient(decimal(patientId)), std::move(completionHandler));
}

StoreRequest PatientStore::summaryForPatient(std::int64_t patientId,
                                             PatientHandler completionHandler) {
  return fetchPatient(Request::PatientSummary(decimal(patientId)), std::move(completionHandler));
}

StoreRequest PatientStore::allStaffs(std::int64_t shiftId, StaffsHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Staff(decimal(shiftId)),
      [handler](const JSON& json) { deliver(handler, staffsFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

std::vector<Patient*> PatientStore::sortByRoom(const std::vector<Patient*>& patients) {
  std::vector<Patient*> sorted;
  std::copy_if(patients.begin(), patients.end(), std::back_inserter(sorted),
               [](const Patient* patient) { return patient != nullptr; });
  // Read each room number once: the accessors go through the context's lock.
  std::vector<std::pair<std::string, Patient*>> keyed;
  keyed.reserve(sorted.size());
  for (Patient* patient : sorted) keyed.emplace_back(patient->roomNumber(), patient);
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < keyed.size(); ++i) sorted[i] = keyed[i].second;
  return sorted;
}

}  // namespace orbelin
