#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "orbelin/model2/entities.h"
#include "orbelin/platform/error.h"

namespace orbelin {

// The full records of a patient's care team (patient.recoveryPath.careTeam),
// fetched one request per member with restAPI().getStaffMember(staffId), all
// in flight together, and imported as NEW StaffMember objects into
// hospitalStore() (the care-team objects the patient already holds are left
// as they are).
//
// The completion handler is called exactly once: after the last reply, with
// the members that arrived in reply order and the last error (both may be
// present: a partial list and the error of a failed member). Each failed
// member logs "Request2.StaffMember error: " + its localized description. A
// patient without a recovery path, or with an empty care team, completes at
// once (before the call returns) with an empty list and no error; members
// without a staffId are skipped.
//
// Threads and ownership as in Patient2Store: the handler runs on the main
// queue (or on the caller's thread when it completes at once); the objects
// belong to the store's background context. `forPatient` is only read during
// the call, under its context's lock.
class StaffMember2Store {
 public:
  using StaffMembersHandler = std::function<void(
      std::optional<std::vector<model2::StaffMember2*>> staffMembers, std::optional<Error> error)>;

  static void downloadStaffMembers(model2::Patient2* forPatient,
                                   StaffMembersHandler completionHandler);

  // The import step: a new StaffMember in the background context, saved.
  static model2::StaffMember2* staffMemberFromJSON(std::string_view text);
};

}  // namespace orbelin
