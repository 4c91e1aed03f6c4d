#pragma once

#include "orbelin/model2/entity_support.h"

// The properties of Message2 (rows as in entity_support.h).
#define ORBELIN_MODEL2_PROPERTIES_Message2(ATTRIBUTE, TO_ONE, TO_MANY) \
  ATTRIBUTE(messageId, std::string, Required)                          \
  ATTRIBUTE(from, std::string, Required)                               \
  ATTRIBUTE(to, std::string, Required)                                 \
  ATTRIBUTE(body, std::string, Required)                               \
  ATTRIBUTE(timeStamp, Date, Required)                                 \
  ATTRIBUTE(category, MessageCategoryEnum, Optional)                   \
  ATTRIBUTE(priority, MessagePriorityEnum, Optional)                   \
  ATTRIBUTE(status, MessageStatusEnum, Optional)                       \
  ATTRIBUTE(thread, std::string, Optional)                             \
  TO_ONE(patient, Patient, pertainingMessages, Optional)               \
  TO_ONE(task, Task, messages, Optional)

namespace orbelin::model2 {

// A message between staff members, about a patient or a task.
//
// Entity "Message". Its service identifier is `messageId`.
// Its dictionary form leaves out patient, task.
class Message2 : public NSManagedObjectEx {
 public:
  ORBELIN_MODEL2_ENTITY(ORBELIN_MODEL2_PROPERTIES_Message2)
  ORBELIN_MODEL2_IDENTIFIED_ENTITY()
  ORBELIN_MODEL2_IGNORES_RELATIONS()
};

}  // namespace orbelin::model2
