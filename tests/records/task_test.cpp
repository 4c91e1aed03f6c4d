#include <string>

#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

// Guards "taskId" over "id" and the three dates moved onto today (14 June);
// the other keys are checked in key_order_test.
TEST_F(RecordsTest, TaskImportKeysAndMovedDates) {
  Task* task = Task::create(json(R"({
    "taskId": 101, "id": 999, "createdDate": "2015-04-20T10:00:00Z", "type": 1, "status": 1,
    "completedDate": "2015-04-21T08:45:00Z", "dueDate": "2015-04-22T08:30:00Z"})"));
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->id(), 101);
  EXPECT_EQ(task->createdDate(), utc("2026-06-13T10:00:00Z"));
  EXPECT_EQ(task->typeEnum(), TaskType::Discharge);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Complete);
  EXPECT_EQ(task->completedDate(), utc("2026-06-14T08:45:00Z"));
  EXPECT_EQ(task->dueDate(), utc("2026-06-15T08:30:00Z"));
  EXPECT_EQ(task->userInfo(), nullptr);
}

// Guards reading type before the due date and status before the completed date.
TEST_F(RecordsTest, TaskDueAndCompletedDatesFollowTypeAndStatus) {
  // A patient's request is due at the time of import, whatever "dueDate" says.
  Task* request = Task::create(json(R"({"type":2,"dueDate":"2015-04-25T08:00:00Z"})"));
  EXPECT_EQ(request->dueDate(), now());

  for (const char* text : {R"({"status":1})", R"({"status":1,"completedDate":"nonsense"})",
                           R"({"status":0,"completedDate":"2015-04-21T08:00:00Z"})"}) {
    EXPECT_EQ(Task::create(json(text))->completedDate(), std::nullopt) << text;
  }

  // Missing members: Undefined and Normal, due date moved from the epoch
  // (1 January 1970 is the 1st: twenty days before today).
  Task* empty = Task::create(json("{}"));
  EXPECT_EQ(empty->typeEnum(), TaskType::Undefined);
  EXPECT_EQ(empty->statusEnum(), TaskStatus::Normal);
  EXPECT_EQ(empty->dueDate(), utc("2026-05-25T00:00:00Z"));
  ASSERT_NE(empty->patient(), nullptr);  // the nested patient is always imported
  EXPECT_EQ(count("Patient"), 5u);
}

// Stored numbers outside the tables, or not whole, read as case 0.
TEST_F(RecordsTest, TaskEnumerationsReadAndWrite) {
  Task* task = Task::create(json(R"({"type":9,"status":"1"})"));
  EXPECT_EQ(task->type(), 0);
  EXPECT_EQ(task->status(), 0);

  task->setStatusEnum(TaskStatus::Forward);
  EXPECT_EQ(task->status(), 2);
  task->setType(7);
  EXPECT_EQ(task->typeEnum(), TaskType::Undefined);
  task->setStatus(std::nullopt);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Normal);
  task->setValue("status", 3.0);  // a boxed double compares numerically
  EXPECT_EQ(task->statusEnum(), TaskStatus::Overdue);
  task->setValue("status", 1.5);
  EXPECT_EQ(task->statusEnum(), TaskStatus::Normal);

  EXPECT_EQ(TaskSummary::create(json(R"({"id":5})"))->id(), std::nullopt) << "never imported";
  EXPECT_EQ(TaskSummary::create(json("[]"))->open(), 0);
}

// Guards the renamed key, the moved date, and the fill order: the task's
// patient before the notification's own, two separate records.
TEST_F(RecordsTest, NotificationImport) {
  Notification* notification = Notification::create(json(R"({
    "notificationId": 55, "id": 999,
    "task": {"taskId": 8, "patient": {"patientId": 1, "fName": "Eleanor"}},
    "date": "2015-04-20T23:59:00Z", "patient": {"patientId": 1, "fName": "Eleanor"},
    "text": "Lab results ready", "type": 3, "status": 1})"));
  ASSERT_NE(notification, nullptr);
  EXPECT_EQ(notification->id(), 55);
  ASSERT_NE(notification->task(), nullptr);
  EXPECT_EQ(notification->task()->id(), 8);
  EXPECT_EQ(notification->date(), utc("2026-06-13T23:59:00Z"));
  EXPECT_EQ(notification->text(), "Lab results ready");
  EXPECT_EQ(notification->typeEnum(), NotificationType::HospitalAlert);
  EXPECT_EQ(notification->statusEnum(), NotificationStatus::Complete);
  EXPECT_EQ(notification->color(), Color::white());

  auto patients = context_->fetch(Patient::fetchRequest());
  ASSERT_TRUE(patients.ok());
  ASSERT_EQ(patients->size(), 2u);
  EXPECT_EQ((*patients)[0], notification->task()->patient());
  EXPECT_EQ((*patients)[1], notification->patient());

  Notification* odd = Notification::create(json(R"({"type":12,"status":5})"));
  EXPECT_EQ(odd->type(), 0);
  EXPECT_EQ(odd->statusEnum(), NotificationStatus::Undefined);
  EXPECT_NE(odd->task(), nullptr);
  EXPECT_NE(odd->patient(), nullptr);
  odd->setType(8);
  EXPECT_EQ(odd->label(), "Undefined");
}

}  // namespace
}  // namespace orbelin::test
