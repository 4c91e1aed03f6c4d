#include <fstream>
#include <sstream>
#include <string>

#include "records/records_fixture.h"
#include "support/test_support.h"

namespace orbelin::test {
namespace {

const char* kStaff = R"({
  "fName": "Ann", "id": 7, "lName": "Lee", "shiftId": 3, "image": "staff7.png",
  "info": {"username": "nurse", "patients": [{"patientId": 1}, {"patientId": 2}]},
  "role": {"id": 2, "label": "Nurse"}, "phoneNumber": "555-0100"})";

TEST_F(RecordsTest, StaffMemberImport) {
  StaffMember* member = StaffMember::create(json(kStaff));
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->firstName(), "Ann");  // from "fName"
  EXPECT_EQ(member->id(), 7);
  EXPECT_EQ(member->lastName(), "Lee");
  EXPECT_EQ(member->fullName(), "Ann Lee");
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
  EXPECT_TRUE(member->shifts().empty());

  // No find-or-create: the same JSON twice gives new records throughout.
  StaffMember* again = StaffMember::create(json(kStaff));
  EXPECT_NE(again, member);
  EXPECT_NE(again->role(), member->role());
  EXPECT_NE(again->userInfo(), member->userInfo());
  EXPECT_EQ(again->fullName(), member->fullName());
  EXPECT_EQ(again->role()->label(), member->role()->label());
  EXPECT_EQ(count("StaffMember"), 2u);
  EXPECT_EQ(count("Patient"), 4u);
}

TEST_F(RecordsTest, StaffMemberFallbacks) {
  StaffMember* member = StaffMember::create(json(R"({"id":"7","info":null})"));
  EXPECT_EQ(member->fullName(), " ");
  EXPECT_EQ(member->id(), 0);
  // Without "info" and "role" the member still gets new, empty records.
  ASSERT_NE(member->userInfo(), nullptr);
  EXPECT_EQ(member->userInfo()->username(), "");
  EXPECT_TRUE(member->userInfo()->patients().empty());
  ASSERT_NE(member->role(), nullptr);
  EXPECT_EQ(member->role()->label(), "");
  UserAppInfo* info = UserAppInfo::create(json(R"({"username":"x","patients":{"patientId":1}})"));
  EXPECT_TRUE(info->patients().empty());
}

TEST_F(RecordsTest, StaffSummaryOverdueTasks) {
  StaffSummary* none = StaffSummary::create(json(
      R"({"staffId":7,"completedTasks":4,"remainingTasks":3,"reportedIssues":1,"overdueTasks":[]})"));
  EXPECT_EQ(none->staffId(), 7);
  EXPECT_EQ(none->completedTasks(), 4);
  EXPECT_EQ(none->remainingTasks(), 3);
  EXPECT_EQ(none->reportedIssues(), 1);
  EXPECT_EQ(none->id(), std::nullopt);
  EXPECT_TRUE(none->overdueTasks().empty());

  StaffSummary* two = StaffSummary::create(
      json(R"({"overdueTasks":[{"taskId":1,"patient":{}},{"taskId":1,"patient":{}}]})"));
  auto tasks = two->overdueTasks();
  ASSERT_EQ(tasks.size(), 2u);
  EXPECT_NE(tasks[0], tasks[1]);
  EXPECT_EQ(count("Task"), 2u);
}

TEST_F(RecordsTest, RoleAndShift) {
  Role* role = Role::create(json(R"({"id":4,"label":"Physician"})"));
  EXPECT_EQ(role->id(), 4);
  EXPECT_EQ(role->label(), "Physician");
  Shift* shift = Shift::create(
      json(R"({"id":3,"startTime":"2015-04-21T07:00:00Z","endTime":"2015-04-21T19:00:00Z"})"));
  EXPECT_EQ(shift->id(), 3);
  EXPECT_EQ(shift->startTime(), utc("2015-04-21T07:00:00Z"));  // as sent
  EXPECT_EQ(shift->endTime(), utc("2015-04-21T19:00:00Z"));
  StaffMember* member = StaffMember::create(json("{}"));
  member->setShifts({shift});
  EXPECT_EQ(shift->staffMembers(), std::vector<StaffMember*>{member});
}

TEST_F(RecordsTest, UserTasksAddAndRemove) {
  UserAppInfo* info = UserAppInfo::create(json(R"({"username":"nurse"})"));
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

TEST_F(RecordsTest, SampleLoginReply) {
  std::ifstream file(sampleResourcesDir() / "authentication.json");
  ASSERT_TRUE(file);
  std::stringstream text;
  text << file.rdbuf();
  StaffMember* member = StaffMember::create(json(text.str())["staffMember"]);
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->fullName(), "Maria Alvarez");
  ASSERT_NE(member->userInfo(), nullptr);
  EXPECT_EQ(member->userInfo()->username(), "nurse");
  auto patients = member->userInfo()->patients();
  ASSERT_FALSE(patients.empty());
  for (Patient* patient : patients) {
    EXPECT_NE(patient->id(), 0);
    EXPECT_FALSE(patient->lastName().empty());
    for (Task* task : patient->tasks()) {
      ASSERT_NE(task->patient(), nullptr);
      EXPECT_EQ(task->patient()->id(), patient->id());
    }
  }
}

}  // namespace
}  // namespace orbelin::test
