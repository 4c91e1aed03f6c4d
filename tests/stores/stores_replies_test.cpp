// How the stores read unusual replies, and how they pass errors on.
#include <boost/json.hpp>

#include "orbelin/endpoints/request.h"
#include "store_test_support.h"
#include "support/sample_service.h"

namespace orbelin::test {
namespace {

class StoreRepliesTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    useLocal(root.path());
  }
  void reply(const std::string& name, const std::string& json) {
    writeReply(root.path(), name, json);
  }
  TempDir root;
};

TEST_F(StoreRepliesTest, MissingMembersGiveEmptyListsOrFallbackRecordsAndNoError) {
  for (const char* name :
       {"user.1.patients", "user.1.tasks", "user.1.tasks.grouped", "user.1.barriers.grouped",
        "user.1.tasksummary", "user.shift.1", "user.1.issues", "user.shift.1.rooms",
        "user.1.notifications", "patient.1", "authentication"}) {
    reply(name, "{}");
  }
  Caught<std::optional<std::vector<Patient*>>, std::optional<Error>> patients;
  PatientStore::patientsForUser(1, patients.handler());
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> tasks;
  TaskStore::tasksForUser(1, tasks.handler());
  Caught<std::optional<std::vector<TaskStore::TaskGroup>>, std::optional<Error>> groups;
  TaskStore::groupedTasksForUser(1, groups.handler());
  Caught<std::optional<std::vector<TaskStore::BarrierEntry>>, std::optional<Error>> barriers;
  TaskStore::barriersForUser(1, barriers.handler());
  Caught<std::optional<std::vector<TaskSummary*>>, std::optional<Error>> summaries;
  TaskStore::taskSummaryForUser(1, summaries.handler());
  Caught<std::optional<std::vector<StaffMember*>>, std::optional<std::vector<StaffSummary*>>,
         std::optional<Error>>
      staff;
  StaffStore::staffMembersWithSummaryForShiftId(1, staff.handler());
  Caught<std::optional<std::vector<std::string>>, std::optional<Error>> issues;
  StaffStore::issuesForStaffId(1, issues.handler());
  Caught<std::optional<std::vector<Room*>>, std::optional<Error>> rooms;
  ShiftStore::roomsForShift(1, rooms.handler());
  Caught<std::optional<std::vector<Notification*>>, std::optional<Error>> notifications;
  NotificatonStore::notificationsForUser(1, notifications.handler());
  Caught<Patient*, std::optional<Error>> patient;
  PatientStore::detailsForPatient(1, patient.handler());
  Caught<StaffMember*, std::optional<Error>> login;
  StaffStore::authentication("a", "b", login.handler());

  ASSERT_TRUE(login.wait());
  EXPECT_TRUE(patients.at<0>() && patients.at<0>()->empty() && !patients.at<1>());
  EXPECT_TRUE(tasks.at<0>() && tasks.at<0>()->empty() && !tasks.at<1>());
  EXPECT_TRUE(groups.at<0>() && groups.at<0>()->empty() && !groups.at<1>());
  EXPECT_TRUE(barriers.at<0>() && barriers.at<0>()->empty() && !barriers.at<1>());
  EXPECT_TRUE(summaries.at<0>() && summaries.at<0>()->empty() && !summaries.at<1>());
  EXPECT_TRUE(staff.at<0>() && staff.at<0>()->empty() && staff.at<1>() && staff.at<1>()->empty() &&
              !staff.at<2>());
  EXPECT_TRUE(issues.at<0>() && issues.at<0>()->empty() && !issues.at<1>());
  EXPECT_TRUE(rooms.at<0>() && rooms.at<0>()->empty() && !rooms.at<1>());
  EXPECT_TRUE(notifications.at<0>() && notifications.at<0>()->empty() && !notifications.at<1>());
  ASSERT_NE(patient.at<0>(), nullptr);
  EXPECT_FALSE(patient.at<1>());
  EXPECT_EQ(patient.at<0>()->id(), 0);
  EXPECT_EQ(patient.at<0>()->fullName(), " ");
  ASSERT_NE(login.at<0>(), nullptr);
  EXPECT_EQ(login.at<0>()->id(), 0);
  ASSERT_NE(login.at<0>()->userInfo(), nullptr);
  EXPECT_EQ(login.at<0>()->userInfo()->username(), "");
}

TEST_F(StoreRepliesTest, ListsKeepTheirPartsApartAndInOrder) {
  reply("user.2.patientsandtasks", R"({"patients": [{"patientId": 5}, {"patientId": 4}]})");
  reply("user.shift.17",
        R"({"staff": [{"id": 1, "role": {"id": 3}}, {"id": 2, "role": {"id": 5}},
                      {"id": 3, "role": {"id": 5}}], "staffSummary": []})");
  reply("user.shift.-4", R"({"staff": [{"id": 9}]})");
  reply("patients.4.9.tasks",
        R"({"tasks": [{"patientId": 4, "tasks": [{"taskId": 1}]},
                      {"patientId": 9, "tasks": []},
                      {"patientId": 4, "tasks": [{"taskId": 2}, {"taskId": 3}]}]})");
  reply("user.2.tasks.grouped",
        R"({"tasks": [{"label": "B", "tasks": [{"taskId": 2}]},
                      {"label": "A", "tasks": [{"taskId": 1}]},
                      {"label": "B", "tasks": []}]})");

  Caught<std::optional<std::vector<Patient*>>, std::optional<std::vector<TaskSummary*>>,
         std::optional<Error>>
      both;
  PatientStore::patientsAndTasksSummaryForUser(2, both.handler());
  Caught<std::optional<std::vector<StaffMember*>>, std::optional<std::vector<StaffSummary*>>,
         std::optional<Error>>
      staff;
  StaffStore::staffMembersWithSummaryForShiftId(17, staff.handler());
  Caught<std::optional<std::vector<StaffMember*>>, std::optional<Error>> negative;
  PatientStore::allStaffs(-4, negative.handler());
  Caught<std::optional<TaskStore::TasksByPatient>, std::optional<Error>> byPatient;
  TaskStore::tasksForPatients({4, 9}, byPatient.handler());
  Caught<std::optional<std::vector<TaskStore::TaskGroup>>, std::optional<Error>> groups;
  TaskStore::groupedTasksForUser(2, groups.handler());
  ASSERT_TRUE(groups.wait());

  ASSERT_TRUE(both.at<0>() && both.at<1>());
  EXPECT_EQ(idsOf(*both.at<0>()), (std::vector<std::int64_t>{5, 4}));
  EXPECT_TRUE(both.at<1>()->empty());

  ASSERT_TRUE(staff.at<0>());
  auto* firstFive = StaffStore::firstFromStaffMembersWithRole(*staff.at<0>(), 5);
  ASSERT_NE(firstFive, nullptr);
  EXPECT_EQ(firstFive->id(), 2);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(*staff.at<0>(), 9), nullptr);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole({}, 5), nullptr);

  ASSERT_TRUE(negative.at<0>()) << "a negative id keeps its sign: "
                                << negative.at<1>()->description();
  EXPECT_EQ(idsOf(*negative.at<0>()), (std::vector<std::int64_t>{9}));

  ASSERT_TRUE(byPatient.at<0>());
  EXPECT_EQ(byPatient.at<0>()->size(), 2u);
  EXPECT_EQ(idsOf(byPatient.at<0>()->at(4)), (std::vector<std::int64_t>{2, 3})) << "later wins";
  EXPECT_TRUE(byPatient.at<0>()->at(9).empty());

  ASSERT_TRUE(groups.at<0>());
  ASSERT_EQ(groups.at<0>()->size(), 3u) << "groups are neither merged nor sorted";
  EXPECT_EQ(groups.at<0>()->at(0).label, "B");
  EXPECT_EQ(idsOf(groups.at<0>()->at(1).tasks), (std::vector<std::int64_t>{1}));
}

TEST_F(StoreRepliesTest, EveryReplyImportsNewRecords) {
  reply("user.1.notifications",
        R"({"notifications": [{"notificationId": 1, "type": 3, "task": {"taskId": 8}},
                              {"notificationId": 2, "type": 0, "task": {"taskId": 8}}]})");
  reply("user.shift.1.rooms",
        R"({"rooms": [{"id": 1, "name": "3A"}, {"id": 2, "patient": {"patientId": 6}}]})");
  reply("allTasks",
        R"({"allTasks": [{"taskId": 1, "statusDescription": "Broken bed"},
                         {"taskId": 2, "statusDescription": ""}, {"taskId": 3},
                         {"taskId": 4, "statusDescription": 7}]})");

  Caught<std::optional<std::vector<Notification*>>, std::optional<Error>> notifications;
  NotificatonStore::notificationsForUser(1, notifications.handler());
  Caught<std::optional<std::vector<Room*>>, std::optional<Error>> rooms;
  ShiftStore::roomsForShift(1, rooms.handler());
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> issues;
  TaskStore::allTasksWithReportIssue(issues.handler());
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> again;
  TaskStore::allTasksWithReportIssue(again.handler());
  ASSERT_TRUE(again.wait());

  ASSERT_TRUE(notifications.at<0>());
  ASSERT_EQ(notifications.at<0>()->size(), 2u);
  const Notification* first = notifications.at<0>()->at(0);
  const Notification* second = notifications.at<0>()->at(1);
  EXPECT_NE(first->task(), second->task()) << "two notifications, two task records";
  EXPECT_EQ(first->task()->id(), second->task()->id());
  EXPECT_EQ(first->label(), "Hospital Alert");
  EXPECT_EQ(second->label(), "Undefined");

  ASSERT_TRUE(rooms.at<0>());
  EXPECT_EQ(rooms.at<0>()->at(0)->patient(), nullptr);
  ASSERT_NE(rooms.at<0>()->at(1)->patient(), nullptr);
  EXPECT_EQ(rooms.at<0>()->at(1)->patient()->id(), 6);

  ASSERT_TRUE(issues.at<0>() && again.at<0>());
  EXPECT_EQ(idsOf(*issues.at<0>()), (std::vector<std::int64_t>{1}));
  EXPECT_NE(issues.at<0>()->front(), again.at<0>()->front()) << "no find-or-create";
}

// The library's error for a call made without any store, to compare with.
std::optional<Error> libraryError(const Request& request) {
  Caught<std::optional<Error>> raw;
  request.execute()->responseJSON(
      [handler = raw.handler()](auto, auto, auto, std::optional<Error> error) { handler(error); });
  if (!raw.wait()) return std::nullopt;
  return raw.at<0>();
}

TEST_F(StoreRepliesTest, AMissingLocalReplyReachesEveryHandlerOnceWithAbsentResults) {
  auto expected = libraryError(Request::Patients("3"));
  ASSERT_TRUE(expected);
  EXPECT_EQ(expected->domain(), error_domain::kResources);

  Caught<std::optional<std::vector<Patient*>>, std::optional<Error>> patients;
  PatientStore::patientsForUser(3, patients.handler());
  Caught<Patient*, std::optional<Error>> patient;
  PatientStore::detailsForPatient(3, patient.handler());
  Caught<std::optional<std::vector<Patient*>>, std::optional<std::vector<TaskSummary*>>,
         std::optional<Error>>
      both;
  PatientStore::patientsAndTasksSummaryForUser(3, both.handler());
  Caught<std::optional<TaskStore::TasksByPatient>, std::optional<Error>> byPatient;
  TaskStore::tasksForPatients({3}, byPatient.handler());
  Caught<StaffMember*, std::optional<Error>> login;
  StaffStore::authentication("nurse", "orbelin", login.handler());
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> overdue;
  TaskStore::allOverdueTasks(overdue.handler());
  EXPECT_EQ(patients.calls() + login.calls() + overdue.calls(), 0) << "never inline";
  ASSERT_TRUE(overdue.wait());

  EXPECT_EQ(patients.calls(), 1);
  EXPECT_TRUE(patients.onMainThread());
  EXPECT_FALSE(patients.at<0>());
  EXPECT_EQ(patients.at<1>(), expected);
  EXPECT_EQ(patient.calls(), 1);
  EXPECT_EQ(patient.at<0>(), nullptr);
  EXPECT_TRUE(patient.at<1>());
  EXPECT_TRUE(!both.at<0>() && !both.at<1>() && both.at<2>());
  EXPECT_TRUE(!byPatient.at<0>() && byPatient.at<1>());
  EXPECT_EQ(login.calls(), 1);
  EXPECT_EQ(login.at<0>(), nullptr);
  EXPECT_TRUE(login.at<1>());
  EXPECT_EQ(overdue.calls(), 1);
  EXPECT_FALSE(overdue.at<0>());
}

// Faults of the sample service: each store passes on exactly the error that
// the library reports for the same call.
TEST_F(StoreTest, ServiceFaultsPassThroughUnchanged) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  useRemote(service.baseUrl());

  // Every request meets the fault: a client may retry a dropped keep-alive
  // connection once, and the retry must fail too.
  for (const char* fault :
       {R"({"malformed": true, "all": true})", R"({"drop": true, "all": true})"}) {
    SCOPED_TRACE(fault);
    ASSERT_TRUE(service.setFault(boost::json::parse(fault).as_object()));
    auto expected = libraryError(Request::RoomsForShift("3"));
    ASSERT_TRUE(expected);

    Caught<std::optional<std::vector<Room*>>, std::optional<Error>> rooms;
    ShiftStore::roomsForShift(3, rooms.handler());
    ASSERT_TRUE(rooms.wait());
    EXPECT_EQ(rooms.calls(), 1);
    EXPECT_FALSE(rooms.at<0>());
    EXPECT_EQ(rooms.at<1>(), expected);
    ASSERT_TRUE(service.reset());
  }

  // A refused login is an error once the caller asks for validation.
  ASSERT_TRUE(service.reset());
  Caught<StaffMember*, std::optional<Error>> login;
  StaffStore::authentication("nurse", "wrong", login.handler())->validate();
  ASSERT_TRUE(login.wait());
  EXPECT_EQ(login.calls(), 1);
  EXPECT_EQ(login.at<0>(), nullptr);
  ASSERT_TRUE(login.at<1>());
  EXPECT_EQ(login.at<1>()->code(), TamberNetworking::Request::kStatusCodeValidationFailed);
  EXPECT_EQ(login.at<1>()->userInfoValue(Error::kStatusCodeKey), "401");

  // A slow reply is still delivered once.
  ASSERT_TRUE(service.setFault(boost::json::parse(R"({"delay_ms": 300})").as_object()));
  Caught<std::optional<std::vector<Notification*>>, std::optional<Error>> slow;
  NotificatonStore::notificationsForUser(7, slow.handler());
  ASSERT_TRUE(slow.wait());
  EXPECT_EQ(slow.calls(), 1);
  ASSERT_TRUE(slow.at<0>());
  EXPECT_EQ(slow.at<0>()->size(), 6u);
}

TEST_F(StoreRepliesTest, AnEmptyHandlerIsAllowed) {
  reply("allTasks", R"({"allTasks": []})");
  auto request = TaskStore::allOverdueTasks({});
  ASSERT_NE(request, nullptr);
  EXPECT_TRUE(runMainQueueUntil([&] { return request->isFinished(); }));
  platform::MainQueue::runFor(std::chrono::milliseconds(10));
}

}  // namespace
}  // namespace orbelin::test
