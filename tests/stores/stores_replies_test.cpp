// How the stores read unusual replies, and how they pass errors on.
#include <fstream>

#include <boost/json.hpp>

#include "orbelin/endpoints/request.h"
#include "store_test_support.h"
#include "support/sample_service.h"

namespace orbelin::test {
namespace {

using Ids = std::vector<std::int64_t>;

class StoreRepliesTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    useLocal(root.path());
  }
  void reply(const std::string& name, const std::string& json) {
    std::ofstream(root.path() / (name + ".json"), std::ios::binary) << json;
  }
  TempDir root;
};

// A present, empty list and no error.
template <typename Caught>
bool emptyWithoutError(Caught caught) {
  auto& [list, error] = caught.get();
  return list && list->empty() && !error;
}

// Guards against a missing member giving an error, an absent list or a null
// record where the caller expects something to show.
TEST_F(StoreRepliesTest, MissingMembersGiveEmptyListsOrFallbackRecordsAndNoError) {
  for (const char* name :
       {"user.1.patients", "user.1.tasks", "user.1.tasks.grouped", "user.1.barriers.grouped",
        "user.1.tasksummary", "user.shift.1", "user.1.issues", "user.shift.1.rooms",
        "user.1.notifications", "patient.1", "authentication"}) {
    reply(name, "{}");
  }
  EXPECT_TRUE(emptyWithoutError(fetch(PatientStore::patientsForUser, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(TaskStore::tasksForUser, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(TaskStore::groupedTasksForUser, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(TaskStore::barriersForUser, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(TaskStore::taskSummaryForUser, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(StaffStore::issuesForStaffId, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(ShiftStore::roomsForShift, 1)));
  EXPECT_TRUE(emptyWithoutError(fetch(NotificatonStore::notificationsForUser, 1)));
  auto staff = fetch(StaffStore::staffMembersWithSummaryForShiftId, 1);
  EXPECT_TRUE(staff.at<0>() && staff.at<0>()->empty() && staff.at<1>() && staff.at<1>()->empty() &&
              !staff.at<2>());

  auto patient = fetch(PatientStore::detailsForPatient, 1);
  EXPECT_TRUE(patient.at<0>() && !patient.at<1>());
  StaffMember* login = fetch(StaffStore::authentication, "a", "b").at<0>();
  ASSERT_NE(login, nullptr);
  EXPECT_NE(login->userInfo(), nullptr);
}

// Guards reply order, a negative id's sign in the reply name, and tasks
// grouped by patient (later entries win) or by label (neither merged nor sorted).
TEST_F(StoreRepliesTest, ListsKeepTheirPartsApartAndInOrder) {
  reply("user.2.patientsandtasks", R"({"patients": [{"patientId": 5}, {"patientId": 4}]})");
  reply("user.shift.-4", R"({"staff": [{"id": 9}]})");
  reply("patients.4.9.tasks",
        R"({"tasks": [{"patientId": 4, "tasks": [{"taskId": 1}]},
                      {"patientId": 9, "tasks": []},
                      {"patientId": 4, "tasks": [{"taskId": 2}, {"taskId": 3}]}]})");
  reply("user.2.tasks.grouped",
        R"({"tasks": [{"label": "B", "tasks": [{"taskId": 2}]},
                      {"label": "A", "tasks": [{"taskId": 1}]},
                      {"label": "B", "tasks": []}]})");

  auto both = fetch(PatientStore::patientsAndTasksSummaryForUser, 2);
  EXPECT_EQ(idsOf(both.at<0>().value()), (Ids{5, 4}));
  EXPECT_TRUE(both.at<1>().value().empty());

  auto negative = fetch(PatientStore::allStaffs, -4);
  ASSERT_TRUE(negative.at<0>()) << "a negative id keeps its sign: "
                                << negative.at<1>()->description();
  EXPECT_EQ(idsOf(*negative.at<0>()), (Ids{9}));

  auto byPatient = fetch(TaskStore::tasksForPatients, Ids{4, 9}).at<0>().value();
  EXPECT_EQ(byPatient.size(), 2u);
  EXPECT_EQ(idsOf(byPatient.at(4)), (Ids{2, 3})) << "later wins";
  EXPECT_TRUE(byPatient.at(9).empty());

  auto groups = fetch(TaskStore::groupedTasksForUser, 2).at<0>().value();
  ASSERT_EQ(groups.size(), 3u) << "groups are neither merged nor sorted";
  EXPECT_EQ(groups.at(0).label, "B");
  EXPECT_EQ(idsOf(groups.at(1).tasks), (Ids{1}));
}

// Guards the report-issue filter (a non-empty text only) and against
// find-or-create across two replies.
TEST_F(StoreRepliesTest, ReportedIssuesAreNewRecordsOnEveryFetch) {
  reply("allTasks",
        R"({"allTasks": [{"taskId": 1, "statusDescription": "Broken bed"},
                         {"taskId": 2, "statusDescription": ""}, {"taskId": 3},
                         {"taskId": 4, "statusDescription": 7}]})");
  auto reported = fetch(TaskStore::allTasksWithReportIssue).at<0>().value();
  auto again = fetch(TaskStore::allTasksWithReportIssue).at<0>().value();
  EXPECT_EQ(idsOf(reported), (Ids{1}));
  EXPECT_NE(reported.front(), again.front());
}

// The library's error for a call made without any store, to compare with.
std::optional<Error> libraryError(const Request& request) {
  Caught<std::optional<Error>> raw;
  request.execute()->responseJSON(
      [handler = raw.handler()](auto, auto, auto, std::optional<Error> error) { handler(error); });
  if (!raw.wait()) return std::nullopt;
  return raw.at<0>();
}

// Guards that an error reaches the handler once, unchanged, with every
// result absent rather than empty.
TEST_F(StoreRepliesTest, AMissingLocalReplyReachesEveryHandlerOnceWithAbsentResults) {
  auto expected = libraryError(Request::Patients("3"));
  ASSERT_TRUE(expected);

  auto patients = fetch(PatientStore::patientsForUser, 3);
  EXPECT_FALSE(patients.at<0>());
  EXPECT_EQ(patients.at<1>(), expected);
  auto patient = fetch(PatientStore::detailsForPatient, 3);
  EXPECT_TRUE(!patient.at<0>() && patient.at<1>());
  auto both = fetch(PatientStore::patientsAndTasksSummaryForUser, 3);
  EXPECT_TRUE(!both.at<0>() && !both.at<1>() && both.at<2>());
  auto byPatient = fetch(TaskStore::tasksForPatients, Ids{3});
  EXPECT_TRUE(!byPatient.at<0>() && byPatient.at<1>());
  auto login = fetch(StaffStore::authentication, "nurse", "orbelin");
  EXPECT_TRUE(!login.at<0>() && login.at<1>());
  EXPECT_FALSE(fetch(TaskStore::allOverdueTasks).at<0>());
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
    auto rooms = fetch(ShiftStore::roomsForShift, 3);
    EXPECT_FALSE(rooms.at<0>());
    EXPECT_EQ(rooms.at<1>(), expected);
    ASSERT_TRUE(service.reset());
  }

  // A refused login is an error once the caller asks for validation.
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
  EXPECT_EQ(fetch(NotificatonStore::notificationsForUser, 7).at<0>().value().size(), 6u);
}

// Guards against calling an empty handler.
TEST_F(StoreRepliesTest, AnEmptyHandlerIsAllowed) {
  reply("allTasks", R"({"allTasks": []})");
  auto request = TaskStore::allOverdueTasks({});
  ASSERT_NE(request, nullptr);
  EXPECT_TRUE(runMainQueueUntil([&] { return request->isFinished(); }));
  platform::MainQueue::runFor(std::chrono::milliseconds(10));
}

}  // namespace
}  // namespace orbelin::test
