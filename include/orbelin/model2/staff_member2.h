#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of StaffMember2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_StaffMember2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(staffId, std::string, Required)                                \
  ATTRIBUTE(firstName, std::string, Required)                              \
  ATTRIBUTE(lastName, std::string, Required)                               \
  ATTRIBUTE(role, StaffMemberRoleEnum, Required)                           \
  ATTRIBUTE(phoneNumber, std::string, Required)                            \
  ATTRIBUTE(email, std::string, Optional)                                  \
  ATTRIBUTE(faceTimeId, std::string, Optional)                             \
  ATTRIBUTE(profilePictureURL, std::string, Optional)                      \
  TO_MANY(analyzedResults, TestResult, analyzedBy, Unordered)              \
  TO_MANY(appoitments, Appoitment, withStaffMembers, Unordered)            \
  TO_MANY(issuedInstructions, Instruction, issuedBy, Unordered)            \
  TO_MANY(careMemberIn, RecoveryPath, careTeam, Unordered)                 \
  TO_MANY(shifts, Shift, staffMember, Unordered)                           \
  TO_MANY(tasks, Task, owner, Unordered)                                   \
  TO_MANY(roundingPatients, Patient, roundedBy, Unordered)

namespace orbelin::model2 {

// A member of the care team, with the records that name them.
//
// Entity "StaffMember". Its service identifier is `staffId`.
// Its dictionary form leaves out analyzedResults, appoitments, issuedInstructions, careMemberIn.
class StaffMember2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_StaffMember2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
