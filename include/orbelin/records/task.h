#pragma once

#include <string>

#include "orbelin/networking/json.h"
#include "orbelin/records/enums.h"
#include "orbelin/records/task_properties.h"

// Tasks, notifications and task summaries. TaskSummary has nothing beyond its
// properties and create, so its class is written whole from
// model/records.toml (task_properties.h).
namespace orbelin {

// A unit of care work on a patient: a discharge step or a patient's request,
// with a due date and a status. See FirstGenerationRecord for ownership and threads.
class Task : public TaskProperties {
 public:
  // Always inserts a new task, in this order: id ("taskId"), groupId, a new
  // patient from "patient" (always, even when the member is missing), the
  // created date moved onto today, type, status, the completed date (only
  // for a Complete task: "completedDate" moved onto today, or none when the
  // member is missing), statusDescription, text, staffId, and the due date:
  // the time of import for a PatientRequest (whatever "dueDate" says), else
  // "dueDate" moved onto today.
  // Choices where the service sends what the tables do not hold: a "type" or
  // "status" outside the enumerations is stored as case 0 (Undefined,
  // Normal), so an imported task always holds a valid raw value; a date that
  // cannot be moved onto today is kept as sent.
  // Returns null only when the stack has no context.
  static Task* create(const TamberNetworking::JSON& json);
};

// An alert about a task and a patient. See FirstGenerationRecord for
// ownership and threads.
class Notification : public NotificationProperties {
 public:
  // Always inserts a new notification: id ("notificationId"), a new task
  // from "task" (with its own new patient), the date moved onto today, a
  // second new patient from "patient" (a different record from the task's
  // patient even when both describe the same person), text, type, status.
  // Out-of-table "type"/"status" values are stored as Undefined; a date that
  // cannot be moved onto today is kept as sent.
  // Returns null only when the stack has no context.
  static Notification* create(const TamberNetworking::JSON& json);

  // The label of typeEnum() (orbelin::label).
  std::string label() const;
  // Always white, whatever the type.
  Color color() const { return Color::white(); }
};

}  // namespace orbelin
