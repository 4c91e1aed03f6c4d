#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Shift2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Shift2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(title, std::string, Required)                            \
  ATTRIBUTE(durationinHours, std::int32_t, Required)                 \
  ATTRIBUTE(startDateTime, Date, Required)                           \
  ATTRIBUTE(endDateTime, Date, Required)                             \
  TO_ONE(staffMember, StaffMember, shifts, Required)

namespace orbelin::model2 {

// One shift of a staff member.
//
// Entity "Shift". It has no service identifier.
// Its dictionary form leaves out staffMember.
class Shift2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Shift2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
