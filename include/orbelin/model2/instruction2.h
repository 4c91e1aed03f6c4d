#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Instruction2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Instruction2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(shortDesc, std::string, Required)                              \
  ATTRIBUTE(status, InstructionStatusEnum, Required)                       \
  ATTRIBUTE(longDesc, std::string, Optional)                               \
  ATTRIBUTE(educationURL, std::string, Optional)                           \
  ATTRIBUTE(imageURL, std::string, Optional)                               \
  ATTRIBUTE(startDateTime, Date, Optional)                                 \
  ATTRIBUTE(frequency, InstructionFrequencyEnum, Optional)                 \
  ATTRIBUTE(frequencyUnit, std::int32_t, Optional)                         \
  ATTRIBUTE(createdAt, Date, Optional)                                     \
  ATTRIBUTE(completedAt, Date, Optional)                                   \
  ATTRIBUTE(needsReminder, bool, Optional)                                 \
  TO_MANY(actions, InstructionAction, instruction, Unordered)              \
  TO_ONE(issuedBy, StaffMember, issuedInstructions, Optional)              \
  TO_ONE(recoveryPath, RecoveryPath, instructions, Optional)               \
  TO_ONE(medication, Medication, instruction, Optional)                    \
  TO_ONE(task, Task, instruction, Optional)

namespace orbelin::model2 {

// An order or piece of advice on a recovery path, with its schedule, its history
// of actions and the task that carries it out.
//
// Entity "Instruction". It has no service identifier.
// Its dictionary form leaves out recoveryPath, medication, task.
class Instruction2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Instruction2)
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
