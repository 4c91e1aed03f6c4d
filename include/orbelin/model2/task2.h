#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Task2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Task2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(type, TaskTypeEnum, Required)                           \
  TO_ONE(instruction, Instruction, task, Required)                  \
  TO_ONE(owner, StaffMember, tasks, Required)                       \
  ATTRIBUTE(group, TaskGroupEnum, Optional)                         \
  TO_MANY(messages, Message, task, Unordered)                       \
  TO_ONE(pertainingPatient, Patient, pertainingTasks, Optional)

namespace orbelin::model2 {

// The work item that carries out one instruction; it has no identifier of its own.
//
// Entity "Task". It has no service identifier.
// Its dictionary form leaves out no relation.
class Task2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Task2)
};

}  // namespace orbelin::model2
