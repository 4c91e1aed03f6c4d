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
using Ids = std::vector<std::int64_t>;

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

Ids range(std::int64_t from, std::int64_t to) {
  Ids ids;
  for (std::int64_t id = from; id <= to; ++id) ids.push_back(id);
  return ids;
}

// Guards the staff replies' records, and what reaches the service: the paths
// of the Info.plist, ids as decimal text, the credentials as a JSON body.
TEST_P(StoresEndToEndTest, StaffStore) {
  auto login = fetch(StaffStore::authentication, "nurse", "orbelin");
  auto& [member, loginError] = login.get();
  ASSERT_FALSE(loginError) << loginError->description();
  ASSERT_NE(member, nullptr);
  ASSERT_NE(member->userInfo(), nullptr);
  // The login's name and counts are checked by the demo's report test.
  for (Patient* patient : member->userInfo()->patients()) {
    for (Task* task : patient->tasks()) EXPECT_EQ(task->patient()->id(), patient->id());
  }

  auto withSummary = fetch(StaffStore::staffMembersWithSummaryForShiftId, 3);
  EXPECT_EQ(idsOf(withSummary.at<0>().value()), range(7, 12));
  const StaffSummary* kim = withSummary.at<1>().value().at(4);
  EXPECT_EQ(kim->staffId(), 11);
  EXPECT_EQ(kim->completedTasks(), 3);
  EXPECT_EQ(kim->remainingTasks(), 6);
  EXPECT_EQ(kim->reportedIssues(), 3);
  EXPECT_EQ(kim->overdueTasks().size(), 3u);

  auto shift = fetch(StaffStore::staffMembersForShiftId, 3);
  EXPECT_EQ(idsOf(shift.at<0>().value()), range(7, 12));
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(*shift.at<0>(), 4)->fullName(), "Grace Kim");
  EXPECT_EQ(idsOf(fetch(StaffStore::staffMembersForPatientId, 3).at<0>().value()),
            (Ids{7, 9, 11, 12}));
  EXPECT_EQ(
      fetch(StaffStore::issuesForStaffId, 11).at<0>().value(),
      (std::vector<std::string>{"Oxygen supplier closed until noon", "Facility has not called back",
                                "Guardian unreachable by phone"}));

  if (GetParam() == Mode::Remote) {
    auto requests = service_->requests();
    std::vector<std::string> sent;
    for (const auto& request : requests) sent.push_back(request.method + " " + request.path);
    EXPECT_EQ(sent,
              (std::vector<std::string>{"POST /api/authenticate", "GET /api/shifts/3/staff",
                                        "GET /api/shifts/3/staff", "GET /api/patients/3/staff",
                                        "GET /api/users/11/issues"}));
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(boost::json::parse(requests[0].body),
              boost::json::parse(R"({"username": "nurse", "password": "orbelin"})"));
  }
}

// Guards each patient call's reply name or path and the records read from it.
TEST_P(StoresEndToEndTest, PatientStore) {
  EXPECT_EQ(idsOf(fetch(PatientStore::patientsForUser, 7).at<0>().value()), range(1, 10));

  auto withSummary = fetch(PatientStore::patientsAndTasksSummaryForUser, 7);
  EXPECT_EQ(withSummary.at<0>().value().size(), 10u);
  const TaskSummary* first = withSummary.at<1>().value().at(0);
  EXPECT_EQ(first->patientId(), 1);
  EXPECT_EQ(first->open(), 3);
  EXPECT_EQ(first->completed(), 1);
  EXPECT_EQ(first->overdue(), 1);

  Patient* walter = fetch(PatientStore::detailsForPatient, 12).at<0>();
  ASSERT_NE(walter, nullptr);
  EXPECT_EQ(walter->fullName(), "Walter Nguyen");
  EXPECT_EQ(walter->tasks().size(), 2u);
  ASSERT_NE(walter->room(), nullptr);
  EXPECT_EQ(walter->room()->id(), 32);

  Patient* ruth = fetch(PatientStore::summaryForPatient, 3).at<0>();
  ASSERT_NE(ruth, nullptr);
  EXPECT_EQ(ruth->fullName(), "Ruth Nakamura");
  EXPECT_EQ(ruth->barriers().size(), 1u);
  EXPECT_EQ(fetch(PatientStore::allStaffs, 3).at<0>().value().size(), 6u);
}

// Guards the task calls: reply order, group order and membership, and the
// barriers paired with their own patients.
TEST_P(StoresEndToEndTest, TaskStoreFetches) {
  EXPECT_EQ(idsOf(fetch(TaskStore::tasksForUser, 7).at<0>().value()), range(101, 130));

  auto grouped = fetch(TaskStore::groupedTasksForUser, 7);
  std::vector<std::string> labels;
  std::size_t total = 0;
  for (const auto& group : grouped.at<0>().value()) {
    labels.push_back(group.label);
    total += group.tasks.size();
  }
  EXPECT_EQ(labels, (std::vector<std::string>{"Assessments", "Medications", "Discharge Planning",
                                              "Patient Requests"}));
  EXPECT_EQ(total, 30u);
  EXPECT_EQ(idsOf(grouped.at<0>()->at(1).tasks), (Ids{106, 111, 119, 124}));

  auto barriers = fetch(TaskStore::barriersForUser, 7);
  ASSERT_EQ(barriers.at<0>().value().size(), 9u);
  std::set<std::string> firstPatientBarriers;
  for (const auto& entry : *barriers.at<0>()) {
    ASSERT_NE(entry.patient, nullptr);
    if (entry.patient->id() == 1) firstPatientBarriers.insert(entry.barrier->name());
  }
  EXPECT_EQ(firstPatientBarriers, (std::set<std::string>{"Needs home oxygen", "Lives alone"}));

  Ids patientIds;
  auto summaries = fetch(TaskStore::taskSummaryForUser, 7).at<0>().value();
  for (const TaskSummary* summary : summaries) patientIds.push_back(*summary->patientId());
  EXPECT_EQ(patientIds, range(1, 10));
  EXPECT_EQ(idsOf(fetch(TaskStore::tasksForPatient, 5).at<0>().value()), range(115, 118));

  auto several = fetch(TaskStore::tasksForPatients, Ids{1, 2, 3});
  // The ids only name the local reply; the service, which never sees them,
  // answers with all of the user's patients.
  EXPECT_EQ(several.at<0>().value().size(), GetParam() == Mode::Local ? 3u : 10u);
  EXPECT_EQ(idsOf(several.at<0>()->at(2)), range(105, 107));
}

// Guards the ward-wide filters: reported issues, and what counts as overdue.
TEST_P(StoresEndToEndTest, TaskStoreWardWideFilters) {
  EXPECT_EQ(idsOf(fetch(TaskStore::allTasksWithReportIssue).at<0>().value()),
            (Ids{102, 109, 110, 120, 130, 133}));

  // At 09:41: everything due up to now, done or not, and the patients'
  // requests (due at the moment of import, and equal counts as overdue).
  auto ids = idsOf(fetch(TaskStore::allOverdueTasks).at<0>().value());
  EXPECT_EQ(ids.size(), 19u);
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end())) << "kept in reply order";
  for (std::int64_t due : {104, 105, 108, 111, 130, 134}) {
    EXPECT_NE(std::find(ids.begin(), ids.end(), due), ids.end()) << due;
  }
  for (std::int64_t notYet : {103, 106, 107, 120, 128}) {
    EXPECT_EQ(std::find(ids.begin(), ids.end(), notYet), ids.end()) << notYet;
  }
}

// Guards rooms with and without a patient, and each notification's label and
// own task and patient.
TEST_P(StoresEndToEndTest, ShiftAndNotificationStores) {
  auto rooms = fetch(ShiftStore::roomsForShift, 3).at<0>().value();
  ASSERT_EQ(rooms.size(), 14u);
  ASSERT_NE(rooms.front()->patient(), nullptr);
  EXPECT_EQ(rooms.front()->patient()->fullName(), "Eleanor Hughes");
  EXPECT_EQ(rooms.at(12)->name(), "5C");
  EXPECT_EQ(rooms.at(12)->patient(), nullptr);

  auto notifications = fetch(NotificatonStore::notificationsForUser, 7).at<0>().value();
  std::vector<std::string> labels;
  for (const Notification* notification : notifications) labels.push_back(notification->label());
  EXPECT_EQ(labels, (std::vector<std::string>{"Lab Status", "Equipment Alert", "Hospital Alert",
                                              "Undefined", "Lab Status", "Hospital Alert"}));
  const Notification* first = notifications.front();
  ASSERT_TRUE(first->task() && first->patient());
  EXPECT_EQ(first->task()->id(), 105);
  EXPECT_EQ(first->patient()->id(), 2);
  EXPECT_NE(first->patient(), first->task()->patient()) << "each brings its own patient record";
}

INSTANTIATE_TEST_SUITE_P(BothModes, StoresEndToEndTest,
                         ::testing::Values(Mode::Local, Mode::Remote), [](const auto& param) {
                           return param.param == Mode::Local ? std::string("Local")
                                                             : std::string("Remote");
                         });

}  // namespace
}  // namespace orbelin::test
