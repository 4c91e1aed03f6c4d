#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/networking/json.h"
#include "orbelin/records/enums.h"
#include "orbelin/records/record.h"

namespace orbelin {

class Notification;
class Patient;
class UserAppInfo;

// A unit of care work on a patient: a discharge step or a patient's request,
// with a due date and a status. See FirstGenerationRecord for ownership and threads.
class Task : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Task";
    static constexpr std::string_view TaskTaskId = "taskId";
    static constexpr std::string_view TaskGroupId = "groupId";
    static constexpr std::string_view TaskPatient = "patient";
    static constexpr std::string_view TaskCreateDate = "createdDate";
    static constexpr std::string_view TaskType = "type";
    static constexpr std::string_view TaskStatus = "status";
    static constexpr std::string_view TaskCompleteDate = "completedDate";
    static constexpr std::string_view TASK_STATUS_DESCRIPTION = "statusDescription";
    static constexpr std::string_view TaskText = "text";
    static constexpr std::string_view TaskStaffId = "staffId";
    static constexpr std::string_view TaskDueDate = "dueDate";
  };

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
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"id", kInteger, Static::TaskTaskId},
      {"groupId", kInteger, Static::TaskGroupId},
      {.name = "createdDate",
       .kind = kDate,
       .key = Static::TaskCreateDate,
       .read = kMovedOntoToday},
      {.name = "type", .kind = kInteger, .key = Static::TaskType, .read = kByHand},
      {.name = "status", .kind = kInteger, .key = Static::TaskStatus, .read = kByHand},
      {.name = "completedDate", .kind = kDate, .key = Static::TaskCompleteDate, .read = kByHand},
      {"statusDescription", kText, Static::TASK_STATUS_DESCRIPTION},
      {"text", kText, Static::TaskText},
      {"staffId", kInteger, Static::TaskStaffId},
      {.name = "dueDate", .kind = kDate, .key = Static::TaskDueDate, .read = kByHand},
      {"patient", kToOne, Static::TaskPatient, "Patient"},
      {"userInfo", kToOne, {}, "UserAppInfo", "tasks"},
      {"notifications", kToMany, {}, "Notification"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  std::optional<std::int64_t> groupId() const { return integerAt(at("groupId")); }
  void setGroupId(std::optional<std::int64_t> value) { setValueAt(at("groupId"), value); }
  OptionalDate createdDate() const { return dateAt(at("createdDate")); }
  void setCreatedDate(OptionalDate value) { setValueAt(at("createdDate"), value); }
  // The raw TaskType number.
  std::optional<std::int64_t> type() const { return integerAt(at("type")); }
  void setType(std::optional<std::int64_t> value) { setValueAt(at("type"), value); }
  // The raw TaskStatus number.
  std::optional<std::int64_t> status() const { return integerAt(at("status")); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(at("status"), value); }
  OptionalDate completedDate() const { return dateAt(at("completedDate")); }
  void setCompletedDate(OptionalDate value) { setValueAt(at("completedDate"), value); }
  std::string statusDescription() const { return textAt(at("statusDescription")); }
  void setStatusDescription(std::string value) {
    setValueAt(at("statusDescription"), std::move(value));
  }
  std::string text() const { return textAt(at("text")); }
  void setText(std::string value) { setValueAt(at("text"), std::move(value)); }
  std::optional<std::int64_t> staffId() const { return integerAt(at("staffId")); }
  void setStaffId(std::optional<std::int64_t> value) { setValueAt(at("staffId"), value); }
  OptionalDate dueDate() const { return dateAt(at("dueDate")); }
  void setDueDate(OptionalDate value) { setValueAt(at("dueDate"), value); }

  Patient* patient() const { return toOneAt<Patient>(at("patient")); }
  void setPatient(Patient* patient) { setToOneAt(at("patient"), patient); }
  UserAppInfo* userInfo() const { return toOneAt<UserAppInfo>(at("userInfo")); }
  // Keeps the user's tasks in step.
  void setUserInfo(UserAppInfo* userInfo) { setToOneAt(at("userInfo"), userInfo); }
  std::vector<Notification*> notifications() const {
    return toManyAt<Notification>(at("notifications"));
  }

  // The case for `type`; Undefined when it matches none (or is empty).
  orbelin::TaskType typeEnum() const;
  void setTypeEnum(orbelin::TaskType value);
  // The case for `status`; Normal when it matches none (or is empty).
  orbelin::TaskStatus statusEnum() const;
  void setStatusEnum(orbelin::TaskStatus value);
};

// One patient's task counts. See FirstGenerationRecord for ownership and threads.
class TaskSummary : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "TaskSummary";
    static constexpr std::string_view TaskSummaryNumOpenTasks = "open";
    static constexpr std::string_view TaskSummaryNumCompletedTasks = "completed";
    static constexpr std::string_view TaskSummaryPatientId = "patientId";
    static constexpr std::string_view TaskSummaryNumOverdueTasks = "overdue";
  };

  // Always inserts a new summary: open, completed, patientId, overdue.
  // Returns null only when the stack has no context.
  static TaskSummary* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"open", kInteger, Static::TaskSummaryNumOpenTasks},
      {"completed", kInteger, Static::TaskSummaryNumCompletedTasks},
      {"patientId", kInteger, Static::TaskSummaryPatientId},
      {"overdue", kInteger, Static::TaskSummaryNumOverdueTasks},
      {"id", kInteger},
      {"userAppInfo", kToOne, {}, "UserAppInfo"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> open() const { return integerAt(at("open")); }
  void setOpen(std::optional<std::int64_t> value) { setValueAt(at("open"), value); }
  std::optional<std::int64_t> completed() const { return integerAt(at("completed")); }
  void setCompleted(std::optional<std::int64_t> value) { setValueAt(at("completed"), value); }
  std::optional<std::int64_t> patientId() const { return integerAt(at("patientId")); }
  void setPatientId(std::optional<std::int64_t> value) { setValueAt(at("patientId"), value); }
  std::optional<std::int64_t> overdue() const { return integerAt(at("overdue")); }
  void setOverdue(std::optional<std::int64_t> value) { setValueAt(at("overdue"), value); }
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  UserAppInfo* userAppInfo() const { return toOneAt<UserAppInfo>(at("userAppInfo")); }
  void setUserAppInfo(UserAppInfo* userAppInfo) { setToOneAt(at("userAppInfo"), userAppInfo); }
};

// An alert about a task and a patient. See FirstGenerationRecord for
// ownership and threads.
class Notification : public FirstGenerationRecord {
 public:
  struct Static {
    static constexpr std::string_view EntityName = "Notification";
    static constexpr std::string_view NotificationId = "notificationId";
    static constexpr std::string_view NotificationTask = "task";
    static constexpr std::string_view NotificationDate = "date";
    static constexpr std::string_view NotificationPatient = "patient";
    static constexpr std::string_view NotificationText = "text";
    static constexpr std::string_view NotificationType = "type";
    static constexpr std::string_view NotificationStatus = "status";
  };

  // Always inserts a new notification: id ("notificationId"), a new task
  // from "task" (with its own new patient), the date moved onto today, a
  // second new patient from "patient" (a different record from the task's
  // patient even when both describe the same person), text, type, status.
  // Out-of-table "type"/"status" values are stored as Undefined; a date that
  // cannot be moved onto today is kept as sent.
  // Returns null only when the stack has no context.
  static Notification* create(const TamberNetworking::JSON& json);
  static graph::FetchRequest fetchRequest() { return fetchRequestFor(Static::EntityName); }

  static constexpr Property kProperties[] = {
      {"id", kInteger, Static::NotificationId},
      {.name = "date", .kind = kDate, .key = Static::NotificationDate, .read = kMovedOntoToday},
      {"text", kText, Static::NotificationText},
      {.name = "type", .kind = kInteger, .key = Static::NotificationType, .read = kByHand},
      {.name = "status", .kind = kInteger, .key = Static::NotificationStatus, .read = kByHand},
      {"task", kToOne, Static::NotificationTask, "Task"},
      {"patient", kToOne, Static::NotificationPatient, "Patient"},
      {"userInfo", kToOne, {}, "UserAppInfo", "notification"},
  };

 private:
  static consteval std::size_t at(std::string_view name) { return indexIn(kProperties, name); }

 public:
  std::optional<std::int64_t> id() const { return integerAt(at("id")); }
  void setId(std::optional<std::int64_t> value) { setValueAt(at("id"), value); }
  OptionalDate date() const { return dateAt(at("date")); }
  void setDate(OptionalDate value) { setValueAt(at("date"), value); }
  std::string text() const { return textAt(at("text")); }
  void setText(std::string value) { setValueAt(at("text"), std::move(value)); }
  std::optional<std::int64_t> type() const { return integerAt(at("type")); }
  void setType(std::optional<std::int64_t> value) { setValueAt(at("type"), value); }
  std::optional<std::int64_t> status() const { return integerAt(at("status")); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(at("status"), value); }

  Task* task() const { return toOneAt<Task>(at("task")); }
  void setTask(Task* task) { setToOneAt(at("task"), task); }
  Patient* patient() const { return toOneAt<Patient>(at("patient")); }
  void setPatient(Patient* patient) { setToOneAt(at("patient"), patient); }
  UserAppInfo* userInfo() const { return toOneAt<UserAppInfo>(at("userInfo")); }
  void setUserInfo(UserAppInfo* userInfo) { setToOneAt(at("userInfo"), userInfo); }

  // Undefined when the stored number matches no case.
  orbelin::NotificationType typeEnum() const;
  void setTypeEnum(orbelin::NotificationType value);
  orbelin::NotificationStatus statusEnum() const;
  void setStatusEnum(orbelin::NotificationStatus value);
  // The label of typeEnum() (orbelin::label).
  std::string label() const;
  // Always white, whatever the type.
  Color color() const { return Color::white(); }
};

}  // namespace orbelin
