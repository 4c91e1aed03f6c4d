#include "orbelin/stores2/staff_member2_store.h"

#include "import_support.h"

namespace orbelin {

using model2::StaffMember2;

StaffMember2* StaffMember2Store::staffMemberFromJSON(std::string_view text) {
  return stores2_internal::importObject<StaffMember2>(
      ObjectType::StaffMember,
      [text](model2::NSManagedObjectEx& object) { object.setPropertiesFromJSONString(text); });
}

void StaffMember2Store::downloadStaffMembers(model2::Patient2* forPatient,
                                             StaffMembersHandler completionHandler) {
  stores2_internal::downloadAll<StaffMember2>(
      stores2_internal::memberIdentifiers(forPatient, "careTeam", "staffId"),
      [](const std::string& id, RestHandler handler) {
        restAPI().getStaffMember(id, std::move(handler));
      },
      ObjectType::StaffMember,
      [](model2::NSManagedObjectEx& object, const std::string& text) {
        object.setPropertiesFromJSONString(text);
      },
      "Request2.StaffMember error: ", std::move(completionHandler));
}

}  // namespace orbelin
