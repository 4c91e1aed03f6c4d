#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/fetch_request.h"
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  std::optional<std::int64_t> groupId() const { return integerAt(kGroupId); }
  void setGroupId(std::optional<std::int64_t> value) { setValueAt(kGroupId, value); }
  OptionalDate createdDate() const { return dateAt(kCreatedDate); }
  void setCreatedDate(OptionalDate value) { setValueAt(kCreatedDate, value); }
  // The raw TaskType number.
  std::optional<std::int64_t> type() const { return integerAt(kType); }
  void setType(std::optional<std::int64_t> value) { setValueAt(kType, value); }
  // The raw TaskStatus number.
  std::optional<std::int64_t> status() const { return integerAt(kStatus); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(kStatus, value); }
  OptionalDate completedDate() const { return dateAt(kCompletedDate); }
  void setCompletedDate(OptionalDate value) { setValueAt(kCompletedDate, value); }
  std::string statusDescription() const { return textAt(kStatusDescription); }
  void setStatusDescription(std::string value) { setValueAt(kStatusDescription, std::move(value)); }
  std::string text() const { return textAt(kText); }
  void setText(std::string value) { setValueAt(kText, std::move(value)); }
  std::optional<std::int64_t> staffId() const { return integerAt(kStaffId); }
  void setStaffId(std::optional<std::int64_t> value) { setValueAt(kStaffId, value); }
  OptionalDate dueDate() const { return dateAt(kDueDate); }
  void setDueDate(OptionalDate value) { setValueAt(kDueDate, value); }

  Patient* patient() const;
  void setPatient(Patient* patient);
  UserAppInfo* userInfo() const;
  // Keeps the user's tasks in step.
  void setUserInfo(UserAppInfo* userInfo);
  std::vector<Notification*> notifications() const;

  // The case for `type`; Undefined when it matches none (or is empty).
  orbelin::TaskType typeEnum() const;
  void setTypeEnum(orbelin::TaskType value);
  // The case for `status`; Normal when it matches none (or is empty).
  orbelin::TaskStatus statusEnum() const;
  void setStatusEnum(orbelin::TaskStatus value);

  enum AttributeIndex : std::size_t {
    kId,
    kGroupId,
    kCreatedDate,
    kType,
    kStatus,
    kCompletedDate,
    kStatusDescription,
    kText,
    kStaffId,
    kDueDate,
    kAttributeCount
  };
  enum RelationshipIndex : std::size_t { kPatient, kUserInfo, kNotifications, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> open() const { return integerAt(kOpen); }
  void setOpen(std::optional<std::int64_t> value) { setValueAt(kOpen, value); }
  std::optional<std::int64_t> completed() const { return integerAt(kCompleted); }
  void setCompleted(std::optional<std::int64_t> value) { setValueAt(kCompleted, value); }
  std::optional<std::int64_t> patientId() const { return integerAt(kPatientId); }
  void setPatientId(std::optional<std::int64_t> value) { setValueAt(kPatientId, value); }
  std::optional<std::int64_t> overdue() const { return integerAt(kOverdue); }
  void setOverdue(std::optional<std::int64_t> value) { setValueAt(kOverdue, value); }
  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  UserAppInfo* userAppInfo() const;
  void setUserAppInfo(UserAppInfo* userAppInfo);

  enum AttributeIndex : std::size_t {
    kOpen,
    kCompleted,
    kPatientId,
    kOverdue,
    kId,
    kAttributeCount
  };
  enum RelationshipIndex : std::size_t { kUserAppInfo, kRelationshipCount };
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
  static graph::FetchRequest fetchRequest();

  std::optional<std::int64_t> id() const { return integerAt(kId); }
  void setId(std::optional<std::int64_t> value) { setValueAt(kId, value); }
  OptionalDate date() const { return dateAt(kDate); }
  void setDate(OptionalDate value) { setValueAt(kDate, value); }
  std::string text() const { return textAt(kText); }
  void setText(std::string value) { setValueAt(kText, std::move(value)); }
  std::optional<std::int64_t> type() const { return integerAt(kType); }
  void setType(std::optional<std::int64_t> value) { setValueAt(kType, value); }
  std::optional<std::int64_t> status() const { return integerAt(kStatus); }
  void setStatus(std::optional<std::int64_t> value) { setValueAt(kStatus, value); }

  Task* task() const;
  void setTask(Task* task);
  Patient* patient() const;
  void setPatient(Patient* patient);
  UserAppInfo* userInfo() const;
  void setUserInfo(UserAppInfo* userInfo);

  // Undefined when the stored number matches no case.
  orbelin::NotificationType typeEnum() const;
  void setTypeEnum(orbelin::NotificationType value);
  orbelin::NotificationStatus statusEnum() const;
  void setStatusEnum(orbelin::NotificationStatus value);
  // The label of typeEnum() (orbelin::label).
  std::string label() const;
  // Always white, whatever the type.
  Color color() const { return Color::white(); }

  enum AttributeIndex : std::size_t { kId, kDate, kText, kType, kStatus, kAttributeCount };
  enum RelationshipIndex : std::size_t { kTask, kPatient, kUserInfo, kRelationshipCount };
};

}  // namespace orbelin
