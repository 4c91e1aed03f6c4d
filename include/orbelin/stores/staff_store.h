#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "orbelin/platform/error.h"
#include "orbelin/records/staff.h"
#include "orbelin/stores/store.h"

namespace orbelin {

// The care team's people: logging in, the staff of a shift (with or without
// their task summaries), the staff caring for a patient, a staff member's
// reported issues. Delivery, ownership and threads: see stores/store.h.
class StaffStore {
 public:
  StaffStore() = delete;

  using StaffMemberHandler =
      std::function<void(StaffMember* staffMember, std::optional<Error> error)>;
  using StaffMembersHandler = std::function<void(
      std::optional<std::vector<StaffMember*>> staffMembers, std::optional<Error> error)>;
  using StaffWithSummaryHandler = std::function<void(
      std::optional<std::vector<StaffMember*>> staffMembers,
      std::optional<std::vector<StaffSummary*>> summary, std::optional<Error> error)>;
  using IssuesHandler = std::function<void(std::optional<std::vector<std::string>> issues,
                                           std::optional<Error> error)>;

  // Logs in with the credentials (posted as "username" and "password"). The
  // staff member of "staffMember" comes with their role and user record,
  // that user's patients included; null only together with an error. The
  // layer keeps no record of who is logged in: hold on to the result.
  // A reply without "staffMember" gives a member with fallback values; chain
  // validate() on the returned request to turn a refused login (HTTP 401)
  // into an error.
  static StoreRequest authentication(const std::string& username, const std::string& password,
                                     StaffMemberHandler completionHandler);

  // The staff of a shift ("staff"), in the reply's order.
  static StoreRequest staffMembersForShiftId(std::int64_t shiftId,
                                             StaffMembersHandler completionHandler);

  // The staff of a shift and, separately, their summaries ("staffSummary"),
  // each list in the reply's order. The lists are not matched: a summary's
  // staffId names its member's id.
  static StoreRequest staffMembersWithSummaryForShiftId(std::int64_t shiftId,
                                                        StaffWithSummaryHandler completionHandler);

  // The issues a staff member reported ("issues", texts in the reply's order).
  static StoreRequest issuesForStaffId(std::int64_t staffId, IssuesHandler completionHandler);

  // The staff caring for a patient ("staff"), in the reply's order.
  static StoreRequest staffMembersForPatientId(std::int64_t patientId,
                                               StaffMembersHandler completionHandler);

  // The first member, in list order, whose role's id equals `role`; null when
  // none does. Members without a role (and null entries) never match.
  static StaffMember* firstFromStaffMembersWithRole(const std::vector<StaffMember*>& staffMembers,
                                                    std::int64_t role);
};

}  // namespace orbelin
