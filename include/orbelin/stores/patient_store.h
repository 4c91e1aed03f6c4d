#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "orbelin/platform/error.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/staff.h"
#include "orbelin/records/task.h"
#include "orbelin/stores/store.h"

namespace orbelin {

// Patients for the care-team screens: a user's patient list (alone or with
// per-patient task summaries), one patient's details or summary, the staff of
// a shift, and the room ordering. Delivery, ownership and threads: see
// stores/store.h.
class PatientStore {
 public:
  PatientStore() = delete;

  using PatientsHandler = std::function<void(std::optional<std::vector<Patient*>> patients,
                                             std::optional<Error> error)>;
  using PatientsAndSummaryHandler = std::function<void(
      std::optional<std::vector<Patient*>> patients,
      std::optional<std::vector<TaskSummary*>> taskSummary, std::optional<Error> error)>;
  // The patient is null only together with an error.
  using PatientHandler = std::function<void(Patient* patient, std::optional<Error> error)>;
  using StaffsHandler = std::function<void(std::optional<std::vector<StaffMember*>> staffs,
                                           std::optional<Error> error)>;

  // The user's patients ("patients"), in the reply's order.
  static StoreRequest patientsForUser(std::int64_t userId, PatientsHandler completionHandler);

  // The user's patients and, separately, their task summaries
  // ("taskStatusSummary"). The lists are not joined: a summary's patientId
  // names its patient's id.
  static StoreRequest patientsAndTasksSummaryForUser(std::int64_t userId,
                                                     PatientsAndSummaryHandler completionHandler);

  // One patient ("patient"). A reply without it still gives a new patient,
  // with fallback values.
  static StoreRequest detailsForPatient(std::int64_t patientId, PatientHandler completionHandler);
  static StoreRequest summaryForPatient(std::int64_t patientId, PatientHandler completionHandler);

  // The staff of a shift ("staff"), in the reply's order.
  static StoreRequest allStaffs(std::int64_t shiftId, StaffsHandler completionHandler);

  // A new list ordered by roomNumber as plain text: character by character,
  // case-sensitive, not numeric ("10" < "101" < "12" < "3A" < "9"). Patients
  // in the same room keep their input order. Null entries are dropped.
  static std::vector<Patient*> sortByRoom(const std::vector<Patient*>& patients);
};

}  // namespace orbelin
