#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Vital2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Vital2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(type, VitalTypeEnum, Required)                           \
  TO_ONE(measurement, Note, vital, Required)                         \
  TO_ONE(pateint, Patient, vitals, Required)                         \
  ATTRIBUTE(comments, std::string, Optional)

namespace orbelin::model2 {

// One observation of a vital sign; the measured value is a Note2.
//
// Entity "Vital". It has no service identifier.
// Its dictionary form leaves out pateint.
class Vital2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Vital2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
