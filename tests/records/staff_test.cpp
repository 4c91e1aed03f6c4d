#include <string>

#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

const char* kStaff = R"({
  "fName": "Ann", "id": 7, "lName": "Lee", "shiftId": 3, "image": "staff7.png",
  "info": {"username": "nurse", "patients": [{"patientId": 1}, {"patientId": 2}]},
  "role": {"id": 2, "label": "Nurse"}, "phoneNumber": "555-0100"})";

// Guards renamed keys, both sides of each relationship, and no find-or-create.
TEST_F(RecordsTest, StaffMemberImport) {
  StaffMember* member = StaffMember::create(json(kStaff));
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->fullName(), "Ann Lee");  // from "fName" and "lName"
  EXPECT_EQ(member->id(), 7);
  EXPECT_EQ(member->shiftId(), 3);
  EXPECT_EQ(member->image(), "staff7.png");
  EXPECT_EQ(member->phoneNumber(), "555-0100");
  ASSERT_NE(member->role(), nullptr);
  EXPECT_EQ(member->role()->id(), 2);
  EXPECT_EQ(member->role()->label(), "Nurse");
  EXPECT_EQ(member->role()->staffMembers(), std::vector<StaffMember*>{member});
  ASSERT_NE(member->userInfo(), nullptr);
  EXPECT_EQ(member->userInfo()->username(), "nurse");
  EXPECT_EQ(member->userInfo()->staffMember(), member);
  auto patients = member->userInfo()->patients();
  ASSERT_EQ(patients.size(), 2u);
  EXPECT_EQ(patients[0]->userInfos(), std::vector<UserAppInfo*>{member->userInfo()});

  StaffMember* again = StaffMember::create(json(kStaff));
  EXPECT_NE(again->role(), member->role());
  EXPECT_NE(again->userInfo(), member->userInfo());
  EXPECT_EQ(count("StaffMember"), 2u);
  EXPECT_EQ(count("Patient"), 4u);
}

// Guards against a null or a crash on missing or malformed members.
TEST_F(RecordsTest, StaffMemberAndSummaryFallbacks) {
  StaffMember* member = StaffMember::create(json(R"({"id":"7","info":null})"));
  EXPECT_EQ(member->fullName(), " ");
  EXPECT_EQ(member->id(), 0);
  ASSERT_NE(member->userInfo(), nullptr);
  EXPECT_TRUE(member->userInfo()->patients().empty());
  ASSERT_NE(member->role(), nullptr);
  EXPECT_EQ(member->role()->label(), "");
  UserAppInfo* info = UserAppInfo::create(json(R"({"username":"x","patients":{"patientId":1}})"));
  EXPECT_TRUE(info->patients().empty());

  StaffSummary* summary = StaffSummary::create(
      json(R"({"overdueTasks":[{"taskId":1,"patient":{}},{"taskId":1,"patient":{}}]})"));
  EXPECT_EQ(summary->id(), std::nullopt);
  auto tasks = summary->overdueTasks();
  ASSERT_EQ(tasks.size(), 2u);
  EXPECT_NE(tasks[0], tasks[1]);
  EXPECT_EQ(count("Task"), 2u);
}

// Guards shift times kept as sent, and both sides of shifts and user tasks.
TEST_F(RecordsTest, ShiftsAndUserTasks) {
  Shift* shift = Shift::create(
      json(R"({"id":3,"startTime":"2015-04-21T07:00:00Z","endTime":"2015-04-21T19:00:00Z"})"));
  EXPECT_EQ(shift->startTime(), utc("2015-04-21T07:00:00Z"));
  EXPECT_EQ(shift->endTime(), utc("2015-04-21T19:00:00Z"));
  StaffMember* member = StaffMember::create(json("{}"));
  member->setShifts({shift});
  EXPECT_EQ(shift->staffMembers(), std::vector<StaffMember*>{member});

  UserAppInfo* info = member->userInfo();
  Task* task = Task::create(json(R"({"taskId":1})"));
  Task* other = Task::create(json(R"({"taskId":2})"));
  info->addTaskObject(task);
  info->addTaskObject(task);
  EXPECT_EQ(info->tasks(), std::vector<Task*>{task});
  EXPECT_EQ(task->userInfo(), info);
  info->removeTaskObject(other);  // absent: nothing changes
  EXPECT_EQ(info->tasks(), std::vector<Task*>{task});
  info->removeTaskObject(task);
  EXPECT_TRUE(info->tasks().empty());
  EXPECT_EQ(task->userInfo(), nullptr);
}

}  // namespace
}  // namespace orbelin::test
