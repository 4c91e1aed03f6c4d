// Every store operation on the sample hospital, answered locally and by the
// sample service over HTTP: both must give the same records.
#include <algorithm>
#include <set>

#include <boost/json.hpp>

#include "store_test_support.h"
#include "support/sample_service.h"

namespace orbelin::test {
namespace {

enum class Mode { Local, Remote };

class StoresEndToEndTest : public StoreTest, public ::testing::WithParamInterface<Mode> {
 protected:
  static void SetUpTestSuite() {
    service_ = new SampleService(sampleResourcesDir(), bundledInfoPlist());
  }
  static void TearDownTestSuite() {
    delete service_;
    service_ = nullptr;
  }
  void SetUp() override {
    StoreTest::SetUp();
    if (GetParam() == Mode::Remote) {
      ASSERT_TRUE(service_->running()) << service_->failure();
      service_->reset();
      useRemote(service_->baseUrl());
    }
  }
  static SampleService* service_;
};
SampleService* StoresEndToEndTest::service_ = nullptr;

TEST_P(StoresEndToEndTest, StaffStore) {
  Caught<StaffMember*, std::optional<Error>> login;
  auto request = StaffStore::authentication("nurse", "orbelin", login.handler());
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(login.calls(), 0) << "never called inside the call that starts the request";
  ASSERT_TRUE(login.wait());
  EXPECT_EQ(login.calls(), 1);
  EXPECT_TRUE(login.onMainThread());
  auto& [member, loginError] = login.get();
  ASSERT_FALSE(loginError) << loginError->description();
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->id(), 7);
  EXPECT_EQ(member->fullName(), "Maria Alvarez");
  EXPECT_EQ(member->shiftId(), 3);
  ASSERT_NE(member->role(), nullptr);
  EXPECT_EQ(member->role()->label(), "Nurse");
  ASSERT_NE(member->userInfo(), nullptr);
  EXPECT_EQ(member->userInfo()->username(), "nurse");
  EXPECT_EQ(member->userInfo()->patients().size(), 10u);

  Caught<std::optional<std::vector<StaffMember*>>, std::optional<std::vector<StaffSummary*>>,
         std::optional<Error>>
      withSummary;
  StaffStore::staffMembersWithSummaryForShiftId(3, withSummary.handler());
  ASSERT_TRUE(withSummary.wait());
  ASSERT_TRUE(withSummary.at<0>() && withSummary.at<1>());
  EXPECT_EQ(idsOf(*withSummary.at<0>()), (std::vector<std::int64_t>{7, 8, 9, 10, 11, 12}));
  ASSERT_EQ(withSummary.at<1>()->size(), 6u);
  const StaffSummary* kim = withSummary.at<1>()->at(4);
  EXPECT_EQ(kim->staffId(), 11);
  EXPECT_EQ(kim->completedTasks(), 3);
  EXPECT_EQ(kim->remainingTasks(), 6);
  EXPECT_EQ(kim->reportedIssues(), 3);
  EXPECT_EQ(kim->overdueTasks().size(), 3u);

  Caught<std::optional<std::vector<StaffMember*>>, std::optional<Error>> shift;
  StaffStore::staffMembersForShiftId(3, shift.handler());
  ASSERT_TRUE(shift.wait());
  ASSERT_TRUE(shift.at<0>());
  EXPECT_EQ(idsOf(*shift.at<0>()), (std::vector<std::int64_t>{7, 8, 9, 10, 11, 12}));
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(*shift.at<0>(), 4)->fullName(), "Grace Kim");

  Caught<std::optional<std::vector<StaffMember*>>, std::optional<Error>> carers;
  StaffStore::staffMembersForPatientId(3, carers.handler());
  ASSERT_TRUE(carers.wait());
  ASSERT_TRUE(carers.at<0>());
  EXPECT_EQ(idsOf(*carers.at<0>()), (std::vector<std::int64_t>{7, 9, 11, 12}));

  Caught<std::optional<std::vector<std::string>>, std::optional<Error>> issues;
  StaffStore::issuesForStaffId(11, issues.handler());
  ASSERT_TRUE(issues.wait());
  ASSERT_TRUE(issues.at<0>());
  EXPECT_EQ(*issues.at<0>(), (std::vector<std::string>{"Oxygen supplier closed until noon",
                                                       "Facility has not called back",
                                                       "Guardian unreachable by phone"}));
}

TEST_P(StoresEndToEndTest, PatientStore) {
  Caught<std::optional<std::vector<Patient*>>, std::optional<Error>> patients;
  PatientStore::patientsForUser(7, patients.handler());
  ASSERT_TRUE(patients.wait());
  EXPECT_EQ(patients.calls(), 1);
  ASSERT_TRUE(patients.at<0>());
  EXPECT_EQ(idsOf(*patients.at<0>()), (std::vector<std::int64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
  std::vector<std::string> rooms;
  for (const Patient* patient : PatientStore::sortByRoom(*patients.at<0>())) {
    rooms.push_back(patient->roomNumber());
  }
  EXPECT_EQ(rooms, (std::vector<std::string>{"10", "101", "102", "12", "1B", "20", "214", "3A",
                                             "3B", "9"}));

  Caught<std::optional<std::vector<Patient*>>, std::optional<std::vector<TaskSummary*>>,
         std::optional<Error>>
      withSummary;
  PatientStore::patientsAndTasksSummaryForUser(7, withSummary.handler());
  ASSERT_TRUE(withSummary.wait());
  ASSERT_TRUE(withSummary.at<0>() && withSummary.at<1>());
  EXPECT_EQ(withSummary.at<0>()->size(), 10u);
  ASSERT_EQ(withSummary.at<1>()->size(), 10u);
  const TaskSummary* first = withSummary.at<1>()->front();
  EXPECT_EQ(first->patientId(), 1);
  EXPECT_EQ(first->open(), 3);
  EXPECT_EQ(first->completed(), 1);
  EXPECT_EQ(first->overdue(), 1);

  Caught<Patient*, std::optional<Error>> details;
  PatientStore::detailsForPatient(12, details.handler());
  ASSERT_TRUE(details.wait());
  Patient* walter = details.at<0>();
  ASSERT_NE(walter, nullptr);
  EXPECT_EQ(walter->fullName(), "Walter Nguyen");
  EXPECT_EQ(walter->roomNumber(), "11");
  EXPECT_EQ(walter->tasks().size(), 2u);
  ASSERT_NE(walter->room(), nullptr);
  EXPECT_EQ(walter->room()->id(), 32);

  Caught<Patient*, std::optional<Error>> summary;
  PatientStore::summaryForPatient(3, summary.handler());
  ASSERT_TRUE(summary.wait());
  ASSERT_NE(summary.at<0>(), nullptr);
  EXPECT_EQ(summary.at<0>()->fullName(), "Ruth Nakamura");
  EXPECT_TRUE(summary.at<0>()->tasks().empty());
  EXPECT_EQ(summary.at<0>()->barriers().size(), 1u);

  Caught<std::optional<std::vector<StaffMember*>>, std::optional<Error>> staffs;
  PatientStore::allStaffs(3, staffs.handler());
  ASSERT_TRUE(staffs.wait());
  ASSERT_TRUE(staffs.at<0>());
  EXPECT_EQ(staffs.at<0>()->size(), 6u);
}

std::vector<std::int64_t> range(std::int64_t from, std::int64_t to) {
  std::vector<std::int64_t> ids;
  for (std::int64_t id = from; id <= to; ++id) ids.push_back(id);
  return ids;
}

TEST_P(StoresEndToEndTest, TaskStoreFetches) {
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> user;
  TaskStore::tasksForUser(7, user.handler());
  ASSERT_TRUE(user.wait());
  ASSERT_TRUE(user.at<0>());
  EXPECT_EQ(idsOf(*user.at<0>()), range(101, 130));

  Caught<std::optional<std::vector<TaskStore::TaskGroup>>, std::optional<Error>> grouped;
  TaskStore::groupedTasksForUser(7, grouped.handler());
  ASSERT_TRUE(grouped.wait());
  ASSERT_TRUE(grouped.at<0>());
  std::vector<std::string> labels;
  std::size_t total = 0;
  for (const auto& group : *grouped.at<0>()) {
    labels.push_back(group.label);
    total += group.tasks.size();
  }
  EXPECT_EQ(labels, (std::vector<std::string>{"Assessments", "Medications", "Discharge Planning",
                                              "Patient Requests"}));
  EXPECT_EQ(total, 30u);
  EXPECT_EQ(idsOf(grouped.at<0>()->at(1).tasks), (std::vector<std::int64_t>{106, 111, 119, 124}));

  Caught<std::optional<std::vector<TaskStore::BarrierEntry>>, std::optional<Error>> barriers;
  TaskStore::barriersForUser(7, barriers.handler());
  ASSERT_TRUE(barriers.wait());
  ASSERT_TRUE(barriers.at<0>());
  ASSERT_EQ(barriers.at<0>()->size(), 9u);
  std::set<std::string> firstPatientBarriers;
  for (const auto& entry : *barriers.at<0>()) {
    ASSERT_NE(entry.patient, nullptr);
    if (entry.patient->id() == 1) firstPatientBarriers.insert(entry.barrier->name());
  }
  EXPECT_EQ(firstPatientBarriers, (std::set<std::string>{"Needs home oxygen", "Lives alone"}));

  Caught<std::optional<std::vector<TaskSummary*>>, std::optional<Error>> summaries;
  TaskStore::taskSummaryForUser(7, summaries.handler());
  ASSERT_TRUE(summaries.wait());
  ASSERT_TRUE(summaries.at<0>());
  std::vector<std::int64_t> patientIds;
  for (const TaskSummary* summary : *summaries.at<0>()) patientIds.push_back(*summary->patientId());
  EXPECT_EQ(patientIds, range(1, 10));

  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> patient;
  TaskStore::tasksForPatient(5, patient.handler());
  ASSERT_TRUE(patient.wait());
  ASSERT_TRUE(patient.at<0>());
  EXPECT_EQ(idsOf(*patient.at<0>()), range(115, 118));

  Caught<std::optional<TaskStore::TasksByPatient>, std::optional<Error>> several;
  TaskStore::tasksForPatients({1, 2, 3}, several.handler());
  ASSERT_TRUE(several.wait());
  ASSERT_TRUE(several.at<0>());
  // The ids only name the local reply; the service, which never sees them,
  // answers with all of the user's patients.
  EXPECT_EQ(several.at<0>()->size(), GetParam() == Mode::Local ? 3u : 10u);
  EXPECT_EQ(idsOf(several.at<0>()->at(2)), range(105, 107));
}

TEST_P(StoresEndToEndTest, TaskStoreWardWideFilters) {
  // Which sample tasks fall before 09:41 depends on the zone: the simulated
  // dates take back only the whole hours of its offset (a half-hour zone
  // moves every time by 30 minutes). The expectations are those of UTC.
  struct ZonePin {
    ZonePin() {
      DateUtils::setTimeZone("UTC");
      platform::Clock::setNowForTesting(DateUtils::makeTodayDateWithTime941());
    }
    ~ZonePin() { DateUtils::setTimeZone(std::nullopt); }
  } pinned;
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> issues;
  TaskStore::allTasksWithReportIssue(issues.handler());
  ASSERT_TRUE(issues.wait());
  ASSERT_TRUE(issues.at<0>());
  EXPECT_EQ(idsOf(*issues.at<0>()), (std::vector<std::int64_t>{102, 109, 110, 120, 130, 133}));

  // At 09:41: everything due up to now, done or not, and the patients'
  // requests (due at the moment of import, and equal counts as overdue).
  Caught<std::optional<std::vector<Task*>>, std::optional<Error>> overdue;
  TaskStore::allOverdueTasks(overdue.handler());
  ASSERT_TRUE(overdue.wait());
  ASSERT_TRUE(overdue.at<0>());
  auto ids = idsOf(*overdue.at<0>());
  EXPECT_EQ(ids.size(), 19u);
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end())) << "kept in reply order";
  for (std::int64_t due : {104, 105, 108, 111, 130, 134}) {
    EXPECT_NE(std::find(ids.begin(), ids.end(), due), ids.end()) << due;
  }
  for (std::int64_t notYet : {103, 106, 107, 120, 128}) {
    EXPECT_EQ(std::find(ids.begin(), ids.end(), notYet), ids.end()) << notYet;
  }
}

TEST_P(StoresEndToEndTest, ShiftAndNotificationStores) {
  Caught<std::optional<std::vector<Room*>>, std::optional<Error>> rooms;
  ShiftStore::roomsForShift(3, rooms.handler());
  ASSERT_TRUE(rooms.wait());
  EXPECT_EQ(rooms.calls(), 1);
  ASSERT_TRUE(rooms.at<0>());
  ASSERT_EQ(rooms.at<0>()->size(), 14u);
  EXPECT_EQ(rooms.at<0>()->front()->name(), "3A");
  ASSERT_NE(rooms.at<0>()->front()->patient(), nullptr);
  EXPECT_EQ(rooms.at<0>()->front()->patient()->fullName(), "Eleanor Hughes");
  EXPECT_EQ(rooms.at<0>()->at(12)->name(), "5C");
  EXPECT_EQ(rooms.at<0>()->at(12)->patient(), nullptr);

  Caught<std::optional<std::vector<Notification*>>, std::optional<Error>> notifications;
  NotificatonStore::notificationsForUser(7, notifications.handler());
  ASSERT_TRUE(notifications.wait());
  EXPECT_TRUE(notifications.onMainThread());
  ASSERT_TRUE(notifications.at<0>());
  std::vector<std::string> labels;
  for (const Notification* notification : *notifications.at<0>()) {
    labels.push_back(notification->label());
  }
  EXPECT_EQ(labels, (std::vector<std::string>{"Lab Status", "Equipment Alert", "Hospital Alert",
                                              "Undefined", "Lab Status", "Hospital Alert"}));
  const Notification* first = notifications.at<0>()->front();
  ASSERT_NE(first->task(), nullptr);
  EXPECT_EQ(first->task()->id(), 105);
  ASSERT_NE(first->patient(), nullptr);
  EXPECT_EQ(first->patient()->id(), 2);
  EXPECT_NE(first->patient(), first->task()->patient()) << "each brings its own patient record";
}

INSTANTIATE_TEST_SUITE_P(BothModes, StoresEndToEndTest,
                         ::testing::Values(Mode::Local, Mode::Remote), [](const auto& param) {
                           return param.param == Mode::Local ? std::string("Local")
                                                             : std::string("Remote");
                         });

// What reaches the service: the paths of the Info.plist, ids as decimal
// text, and the credentials as the login's JSON body.
TEST_F(StoreTest, RemoteCallsUseTheServicePathsAndCredentials) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  useRemote(service.baseUrl());

  Caught<StaffMember*, std::optional<Error>> login;
  StaffStore::authentication("nurse", "orbelin", login.handler());
  ASSERT_TRUE(login.wait());
  Caught<std::optional<std::vector<Room*>>, std::optional<Error>> rooms;
  ShiftStore::roomsForShift(3, rooms.handler());
  ASSERT_TRUE(rooms.wait());
  Caught<std::optional<std::vector<StaffMember*>>, std::optional<Error>> carers;
  StaffStore::staffMembersForPatientId(12, carers.handler());
  ASSERT_TRUE(carers.wait());

  auto requests = service.requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].path, "/api/authenticate");
  EXPECT_EQ(boost::json::parse(requests[0].body),
            boost::json::parse(R"({"username": "nurse", "password": "orbelin"})"));
  EXPECT_EQ(requests[1].method, "GET");
  EXPECT_EQ(requests[1].path, "/api/shifts/3/rooms");
  EXPECT_EQ(requests[2].path, "/api/patients/12/staff");
}

}  // namespace
}  // namespace orbelin::test
