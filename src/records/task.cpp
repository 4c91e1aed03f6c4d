#include "orbelin/records/task.h"

#include "orbelin/platform/clock.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/staff.h"
#include "records/import_support.h"

namespace orbelin {

using records_detail::importRecord;
using records_detail::Members;
using records_detail::movedOntoToday;
using records_detail::rowOf;
using TamberNetworking::JSON;

Task* Task::create(const JSON& json) {
  return importRecord<Task>(json, [](Task& task, const Members& members, bool nested) {
    if (nested) task.setPatient(Patient::create(members.view(rowOf<Task>(Static::TaskPatient))));
    const auto type =
        fromRawValue<orbelin::TaskType>(members.intValue(rowOf<Task>(Static::TaskType)))
            .value_or(orbelin::TaskType::Undefined);
    task.setTypeEnum(type);
    const auto status =
        fromRawValue<orbelin::TaskStatus>(members.intValue(rowOf<Task>(Static::TaskStatus)))
            .value_or(orbelin::TaskStatus::Normal);
    task.setStatusEnum(status);
    // The completed date is only read for a task that reads Complete; a
    // missing member leaves it empty, and so does one that cannot be moved
    // onto today.
    if (status == orbelin::TaskStatus::Complete) {
      auto completed = members.date(rowOf<Task>(Static::TaskCompleteDate));
      task.setCompletedDate(completed ? DateUtils::createSimulatedDateFrom421(*completed)
                                      : std::nullopt);
    }
    // A patient's request is due the moment it is imported.
    task.setDueDate(type == orbelin::TaskType::PatientRequest
                        ? platform::Clock::now()
                        : movedOntoToday(members.dateValue(rowOf<Task>(Static::TaskDueDate))));
  });
}

TaskSummary* TaskSummary::create(const JSON& json) {
  return importRecord<TaskSummary>(json, [](TaskSummary&, const Members&, bool) {});
}

Notification* Notification::create(const JSON& json) {
  return importRecord<Notification>(json, [](Notification& notification, const Members& members,
                                             bool nested) {
    if (nested) {
      notification.setTask(
          Task::create(members.view(rowOf<Notification>(Static::NotificationTask))));
      notification.setPatient(
          Patient::create(members.view(rowOf<Notification>(Static::NotificationPatient))));
    }
    notification.setTypeEnum(fromRawValue<orbelin::NotificationType>(
                                 members.intValue(rowOf<Notification>(Static::NotificationType)))
                                 .value_or(orbelin::NotificationType::Undefined));
    notification.setStatusEnum(
        fromRawValue<orbelin::NotificationStatus>(
            members.intValue(rowOf<Notification>(Static::NotificationStatus)))
            .value_or(orbelin::NotificationStatus::Undefined));
  });
}

std::string Notification::label() const {
  return orbelin::label(typeEnum());
}

}  // namespace orbelin
