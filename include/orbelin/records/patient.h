#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orbelin/networking/json.h"
#include "orbelin/records/enums.h"
#include "orbelin/records/patient_properties.h"

namespace orbelin {

// A patient: identity, demographics, clinical status texts, admission and
// discharge dates, room, tasks, lookups and the ids of the staff caring for
// them. See FirstGenerationRecord for ownership and threads.
class Patient : public PatientProperties {
 public:
  // Always inserts a new patient (never looks for one with the same id) into
  // the shared stack's context, with new records for everything nested:
  // lookups (one per text, equal texts included), tasks (each element's
  // "task" member; each task brings its own new patient), barriers, and a
  // room when "room" is present. Missing or ill-typed members give the JSON
  // fallbacks ("", 0, the epoch, empty sets). The discharge date is moved
  // onto today (DateUtils::createSimulatedDateFrom421); when it cannot be
  // moved the date as sent is kept. Birth and admission dates are kept as
  // sent. Past the nested-import depth limit (records/model.h) the patient
  // gets its own attributes but no nested records.
  // Returns null only when the stack has no context.
  static Patient* create(const TamberNetworking::JSON& json);

  // The staff ids in the order the service sent them (one stored list).
  std::vector<std::int64_t> staffIds() const;
  void setStaffIds(const std::vector<std::int64_t>& ids);

  // firstName, one space, lastName (always both parts and the space).
  std::string fullName() const;
  // Whole years from birthdate to now (DateUtils::ageFromDate); 0 without a
  // birthdate. The import leaves birthdate absent when the reply has none or
  // one that is not a date (null, "", a moment outside years 1 to 9999),
  // rather than the epoch that JSON::dateValue falls back to.
  std::int64_t age() const;
  // From dischargedDate minus today 09:41, in minutes and then hours, each
  // truncated toward zero: hours < 0 InThePast, 0 to 23 InToday, 24 and more
  // InTheFuture (so up to 59:59 before 09:41 is still InToday). Without a
  // discharge date: InTheFuture (no discharge is planned yet).
  DischargeStatus dischargeStatus() const;
};

}  // namespace orbelin
