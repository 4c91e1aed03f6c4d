#include <string>

#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

TEST_F(RecordsTest, TaskImportKeysAndMovedDates) {
  Task* task = Task::create(json(R"({
    "taskId": 101, "id": 999, "groupId": 3, "patient": {"patientId": 1, "fName": "Eleanor"},
    "createdDate": "2015-04-20T10:00:00Z", "type": 1, "status": 1,
    "completedDate": "2015-04-21T08:45:00Z", "statusDescription": "done", "text": "Review",
    "staffId": 7, "dueDate": "2015-04-22T08:30:00Z"})"));
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->id(), 101);  // from "taskId", not "id"
  EXPECT_EQ(task->groupId(), 3);
  ASSERT_NE(task->patient(), nullptr);
  EXPECT_EQ(task->patient()->firstName(), "Eleanor");
  EXPECT_EQ(task->createdDate(), utc("2026-06-13T10:00:00Z"));
  EXPECT_EQ(task->typeEnum(), TaskType::Discharge);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Complete);
  EXPECT_EQ(task->completedDate(), utc("2026-06-14T08:45:00Z"));
  EXPECT_EQ(task->statusDescription(), "done");
  EXPECT_EQ(task->text(), "Review");
  EXPECT_EQ(task->staffId(), 7);
  EXPECT_EQ(task->dueDate(), utc("2026-06-15T08:30:00Z"));
  EXPECT_EQ(task->userInfo(), nullptr);
}

TEST_F(RecordsTest, TaskDueAndCompletedDatesFollowTypeAndStatus) {
  // A patient's request is due at the time of import, whatever "dueDate" says.
  Task* request = Task::create(json(R"({"type":2,"dueDate":"2015-04-25T08:00:00Z"})"));
  EXPECT_EQ(request->typeEnum(), TaskType::PatientRequest);
  EXPECT_EQ(request->dueDate(), now());

  // The completed date is read only when the status (already set) is Complete.
  EXPECT_EQ(Task::create(json(R"({"status":1})"))->completedDate(), std::nullopt);
  EXPECT_EQ(Task::create(json(R"({"status":1,"completedDate":"nonsense"})"))->completedDate(),
            std::nullopt);
  EXPECT_EQ(
      Task::create(json(R"({"status":0,"completedDate":"2015-04-21T08:00:00Z"})"))->completedDate(),
      std::nullopt);

  // Missing members: Undefined and Normal, due date moved from the epoch
  // (1 January 1970 is the 1st: twenty days before today).
  Task* empty = Task::create(json("{}"));
  EXPECT_EQ(empty->type(), 0);
  EXPECT_EQ(empty->status(), 0);
  EXPECT_EQ(empty->typeEnum(), TaskType::Undefined);
  EXPECT_EQ(empty->statusEnum(), TaskStatus::Normal);
  EXPECT_EQ(empty->dueDate(), utc("2026-05-25T00:00:00Z"));
  ASSERT_NE(empty->patient(), nullptr);  // the nested patient is always imported
  EXPECT_EQ(count("Patient"), 5u);
}

TEST_F(RecordsTest, TaskEnumerationsReadAndWrite) {
  Task* task = Task::create(json(R"({"type":9,"status":"1"})"));
  // Values outside the tables are imported as case 0.
  EXPECT_EQ(task->type(), 0);
  EXPECT_EQ(task->status(), 0);

  task->setStatusEnum(TaskStatus::Forward);
  EXPECT_EQ(task->status(), 2);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Forward);
  task->setType(7);
  EXPECT_EQ(task->typeEnum(), TaskType::Undefined);
  task->setStatus(std::nullopt);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Normal);
  task->setValue("status", 3.0);  // a boxed double compares numerically
  EXPECT_EQ(task->statusEnum(), TaskStatus::Overdue);
  task->setValue("status", 1.5);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Normal);
}

TEST_F(RecordsTest, TaskSummaryCounts) {
  TaskSummary* summary =
      TaskSummary::create(json(R"({"open":4,"completed":2,"patientId":12,"overdue":1,"id":5})"));
  ASSERT_NE(summary, nullptr);
  EXPECT_EQ(summary->open(), 4);
  EXPECT_EQ(summary->completed(), 2);
  EXPECT_EQ(summary->patientId(), 12);
  EXPECT_EQ(summary->overdue(), 1);
  EXPECT_EQ(summary->id(), std::nullopt);  // never set by the import
  EXPECT_EQ(summary->userAppInfo(), nullptr);
  EXPECT_EQ(TaskSummary::create(json("[]"))->open(), 0);
}

// The notification's date alone: moved by whole days from 21 April 2015 onto
// today (14 June 2026 here), its time of day kept.
TEST_F(RecordsTest, NotificationDateIsMovedOntoToday) {
  auto dateOf = [](const char* sent) {
    return Notification::create(json(std::string(R"({"date": ")") + sent + "\"}"))->date();
  };
  EXPECT_EQ(dateOf("2015-04-21T09:41:00Z"), utc("2026-06-14T09:41:00Z"));
  EXPECT_EQ(dateOf("2015-04-21T23:59:00Z"), utc("2026-06-14T23:59:00Z"));
  EXPECT_EQ(dateOf("2015-04-20T07:00:00Z"), utc("2026-06-13T07:00:00Z"));
  EXPECT_EQ(dateOf("2015-04-23T18:30:00Z"), utc("2026-06-16T18:30:00Z"));
}

TEST_F(RecordsTest, NotificationImport) {
  Notification* notification = Notification::create(json(R"({
    "notificationId": 55, "id": 999,
    "task": {"taskId": 8, "patient": {"patientId": 1, "fName": "Eleanor"}},
    "date": "2015-04-21T09:41:00Z", "patient": {"patientId": 1, "fName": "Eleanor"},
    "text": "Lab results ready", "type": 3, "status": 1})"));
  ASSERT_NE(notification, nullptr);
  EXPECT_EQ(notification->id(), 55);  // from "notificationId"
  ASSERT_NE(notification->task(), nullptr);
  EXPECT_EQ(notification->task()->id(), 8);
  EXPECT_EQ(notification->date(), utc("2026-06-14T09:41:00Z"));
  ASSERT_NE(notification->patient(), nullptr);
  // Two separate patient records even though they describe the same person.
  EXPECT_NE(notification->patient(), notification->task()->patient());
  EXPECT_EQ(notification->patient()->fullName(), notification->task()->patient()->fullName());
  EXPECT_EQ(notification->text(), "Lab results ready");
  EXPECT_EQ(notification->typeEnum(), NotificationType::HospitalAlert);
  EXPECT_EQ(notification->statusEnum(), NotificationStatus::Complete);
  EXPECT_EQ(notification->label(), "Hospital Alert");
  EXPECT_EQ(notification->color(), Color::white());

  // Fill order: the task (and its patient) is imported before the
  // notification's own patient.
  auto patients = context_->fetch(Patient::fetchRequest());
  ASSERT_TRUE(patients.ok());
  ASSERT_EQ(patients->size(), 2u);
  EXPECT_EQ((*patients)[0], notification->task()->patient());
  EXPECT_EQ((*patients)[1], notification->patient());

  Notification* plain = Notification::create(json(R"({"type":0})"));
  EXPECT_EQ(plain->label(), "Undefined");
  EXPECT_EQ(plain->color(), Color::white());
  EXPECT_NE(plain->task(), nullptr);
  EXPECT_NE(plain->patient(), nullptr);
  Notification* odd = Notification::create(json(R"({"type":12,"status":5})"));
  EXPECT_EQ(odd->type(), 0);
  EXPECT_EQ(odd->statusEnum(), NotificationStatus::Undefined);
  odd->setType(2);
  EXPECT_EQ(odd->label(), "Equipment Alert");
  odd->setType(8);
  EXPECT_EQ(odd->label(), "Undefined");
}

}  // namespace
}  // namespace orbelin::test
