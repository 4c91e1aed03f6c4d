#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Medication2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Medication2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(name, std::string, Required)                                  \
  ATTRIBUTE(commonName, std::string, Required)                            \
  ATTRIBUTE(drugIdentificationNumber, std::string, Required)              \
  ATTRIBUTE(dosage, std::string, Required)                                \
  TO_ONE(instruction, Instruction, medication, Required)                  \
  TO_ONE(recoveryPath, RecoveryPath, medications, Required)

namespace orbelin::model2 {

// A medication on a recovery path and the instruction that orders it.
//
// Entity "Medication". It has no service identifier.
// Its dictionary form leaves out recoveryPath.
class Medication2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Medication2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
