#include "orbelin/records/task.h"

#include <array>
#include <string_view>

#include "orbelin/platform/clock.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/staff.h"
#include "records/import_support.h"

namespace orbelin {
namespace {

using records_detail::Members;
using records_detail::movedOntoToday;
using TamberNetworking::JSON;

// The members a task import reads.
constexpr std::array<std::string_view, 11> kTaskKeys{
    Task::Static::TaskTaskId,       Task::Static::TaskGroupId,
    Task::Static::TaskPatient,      Task::Static::TaskCreateDate,
    Task::Static::TaskType,         Task::Static::TaskStatus,
    Task::Static::TaskCompleteDate, Task::Static::TASK_STATUS_DESCRIPTION,
    Task::Static::TaskText,         Task::Static::TaskStaffId,
    Task::Static::TaskDueDate};
consteval std::size_t at(std::string_view key) {
  return records_detail::keyIndex(kTaskKeys, key);
}

// The completed date is only read for a task that reads Complete; a missing
// member leaves it empty, and so does one that cannot be moved onto today.
// `status`: the one just stored.
void importCompletedDate(Task& task, TaskStatus status, const Members& json) {
  if (status != TaskStatus::Complete) return;
  auto completed = json.date(at(Task::Static::TaskCompleteDate));
  task.setCompletedDate(completed ? DateUtils::createSimulatedDateFrom421(*completed)
                                  : std::nullopt);
}

// A patient's request is due the moment it is imported. `type`: the one just
// stored.
void importDueDate(Task& task, TaskType type, const Members& json) {
  Date now = platform::Clock::now();
  if (type == TaskType::PatientRequest) {
    task.setDueDate(now);
  } else {
    task.setDueDate(movedOntoToday(json.dateValue(at(Task::Static::TaskDueDate))));
  }
}

}  // namespace

// ---- Task ----

Task* Task::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* task = scope.insert<Task>(Static::EntityName);
  if (!task) return nullptr;
  thread_local records_detail::MemberMemo memo;
  const Members members(json, kTaskKeys, memo);
  task->setValueAt(kId, members.intValue(at(Task::Static::TaskTaskId)));
  task->setValueAt(kGroupId, members.intValue(at(Task::Static::TaskGroupId)));
  if (scope.nestedAllowed())
    task->setPatient(Patient::create(members.view(at(Task::Static::TaskPatient))));
  task->setValueAt(kCreatedDate,
                   movedOntoToday(members.dateValue(at(Task::Static::TaskCreateDate))));
  const TaskType type =
      fromRawValue<orbelin::TaskType>(members.intValue(at(Task::Static::TaskType)))
          .value_or(TaskType::Undefined);
  task->setTypeEnum(type);
  const TaskStatus status =
      fromRawValue<orbelin::TaskStatus>(members.intValue(at(Task::Static::TaskStatus)))
          .value_or(TaskStatus::Normal);
  task->setStatusEnum(status);
  importCompletedDate(*task, status, members);
  task->setValueAt(kStatusDescription,
                   members.stringValue(at(Task::Static::TASK_STATUS_DESCRIPTION)));
  task->setValueAt(kText, members.stringValue(at(Task::Static::TaskText)));
  task->setValueAt(kStaffId, members.intValue(at(Task::Static::TaskStaffId)));
  importDueDate(*task, type, members);
  return task;
}

graph::FetchRequest Task::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

Patient* Task::patient() const {
  return toOneAt<Patient>(kPatient);
}
void Task::setPatient(Patient* patient) {
  setObjectAt(kPatient, patient);
}
UserAppInfo* Task::userInfo() const {
  return toOneAt<UserAppInfo>(kUserInfo);
}
void Task::setUserInfo(UserAppInfo* userInfo) {
  setObjectAt(kUserInfo, userInfo);
}
std::vector<Notification*> Task::notifications() const {
  return toManyAt<Notification>(kNotifications);
}

orbelin::TaskType Task::typeEnum() const {
  return records_detail::enumFromValue(valueAt(kType), orbelin::TaskType::Undefined);
}
void Task::setTypeEnum(orbelin::TaskType value) {
  setValueAt(kType, rawValue(value));
}
orbelin::TaskStatus Task::statusEnum() const {
  return records_detail::enumFromValue(valueAt(kStatus), orbelin::TaskStatus::Normal);
}
void Task::setStatusEnum(orbelin::TaskStatus value) {
  setValueAt(kStatus, rawValue(value));
}

// ---- TaskSummary ----

TaskSummary* TaskSummary::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* summary = scope.insert<TaskSummary>(Static::EntityName);
  if (!summary) return nullptr;
  summary->setValueAt(kOpen, json[Static::TaskSummaryNumOpenTasks].intValue());
  summary->setValueAt(kCompleted, json[Static::TaskSummaryNumCompletedTasks].intValue());
  summary->setValueAt(kPatientId, json[Static::TaskSummaryPatientId].intValue());
  summary->setValueAt(kOverdue, json[Static::TaskSummaryNumOverdueTasks].intValue());
  return summary;
}

graph::FetchRequest TaskSummary::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

UserAppInfo* TaskSummary::userAppInfo() const {
  return toOneAt<UserAppInfo>(kUserAppInfo);
}
void TaskSummary::setUserAppInfo(UserAppInfo* userAppInfo) {
  setObjectAt(kUserAppInfo, userAppInfo);
}

// ---- Notification ----

Notification* Notification::create(const JSON& json) {
  records_detail::ImportScope scope;
  auto* notification = scope.insert<Notification>(Static::EntityName);
  if (!notification) return nullptr;
  bool nested = scope.nestedAllowed();
  notification->setValueAt(kId, json[Static::NotificationId].intValue());
  if (nested) notification->setTask(Task::create(json[Static::NotificationTask]));
  notification->setValueAt(kDate, movedOntoToday(json[Static::NotificationDate].dateValue()));
  if (nested) notification->setPatient(Patient::create(json[Static::NotificationPatient]));
  notification->setValueAt(kText, json[Static::NotificationText].stringValue());
  notification->setTypeEnum(
      fromRawValue<orbelin::NotificationType>(json[Static::NotificationType].intValue())
          .value_or(NotificationType::Undefined));
  notification->setStatusEnum(
      fromRawValue<orbelin::NotificationStatus>(json[Static::NotificationStatus].intValue())
          .value_or(NotificationStatus::Undefined));
  return notification;
}

graph::FetchRequest Notification::fetchRequest() {
  registerFirstGenerationModel();
  return graph::FetchRequest(std::string(Static::EntityName));
}

Task* Notification::task() const {
  return toOneAt<Task>(kTask);
}
void Notification::setTask(Task* task) {
  setObjectAt(kTask, task);
}
Patient* Notification::patient() const {
  return toOneAt<Patient>(kPatient);
}
void Notification::setPatient(Patient* patient) {
  setObjectAt(kPatient, patient);
}
UserAppInfo* Notification::userInfo() const {
  return toOneAt<UserAppInfo>(kUserInfo);
}
void Notification::setUserInfo(UserAppInfo* userInfo) {
  setObjectAt(kUserInfo, userInfo);
}

orbelin::NotificationType Notification::typeEnum() const {
  return records_detail::enumFromValue(valueAt(kType), orbelin::NotificationType::Undefined);
}
void Notification::setTypeEnum(orbelin::NotificationType value) {
  setValueAt(kType, rawValue(value));
}
orbelin::NotificationStatus Notification::statusEnum() const {
  return records_detail::enumFromValue(valueAt(kStatus), orbelin::NotificationStatus::Undefined);
}
void Notification::setStatusEnum(orbelin::NotificationStatus value) {
  setValueAt(kStatus, rawValue(value));
}
std::string Notification::label() const {
  return orbelin::label(typeEnum());
}

}  // namespace orbelin
