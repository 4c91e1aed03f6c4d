#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Bed2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Bed2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(bedNumber, std::string, Required)                      \
  TO_ONE(room, Room, beds, Required)                               \
  TO_ONE(patient, Patient, bed, Optional)

namespace orbelin::model2 {

// A bed in a room, and the patient in it.
//
// Entity "Bed". Its service identifier is `bedNumber`.
// Its dictionary form leaves out no relation.
class Bed2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Bed2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
};

}  // namespace orbelin::model2
