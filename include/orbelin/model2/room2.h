#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Room2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Room2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(roomNumber, std::string, Required)                      \
  ATTRIBUTE(floor, std::string, Required)                           \
  ATTRIBUTE(unit, HospitalUnitEnum, Required)                       \
  TO_MANY(beds, Bed, room, Unordered)                               \
  TO_MANY(patients, Patient, room, Unordered)

namespace orbelin::model2 {

// A hospital room with its beds and patients.
//
// Entity "Room". Its service identifier is `roomNumber`.
// Its dictionary form leaves out no relation.
class Room2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Room2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
};

}  // namespace orbelin::model2
