#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of InstructionAction2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_InstructionAction2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(type, InstructionActionTypeEnum, Required)                           \
  ATTRIBUTE(timeStamp, Date, Required)                                           \
  TO_ONE(instruction, Instruction, actions, Required)                            \
  ATTRIBUTE(comments, std::string, Optional)

namespace orbelin::model2 {

// One entry of an instruction's history.
//
// Entity "InstructionAction". It has no service identifier.
// Its dictionary form leaves out instruction.
class InstructionAction2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_InstructionAction2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
