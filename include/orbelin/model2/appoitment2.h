#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Appoitment2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Appoitment2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(shortDesc, std::string, Required)                             \
  ATTRIBUTE(dateTime, Date, Required)                                     \
  TO_ONE(recoveryPath, RecoveryPath, appoitments, Required)               \
  ATTRIBUTE(status, AppoitmentStatusEnum, Optional)                       \
  ATTRIBUTE(longDesc, std::string, Optional)                              \
  ATTRIBUTE(location, std::string, Optional)                              \
  TO_MANY(withStaffMembers, StaffMember, appoitments, Unordered)

namespace orbelin::model2 {

// An appointment on a recovery path, with the staff members it is with.
//
// Entity "Appoitment". It has no service identifier.
// Its dictionary form leaves out recoveryPath.
class Appoitment2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Appoitment2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
