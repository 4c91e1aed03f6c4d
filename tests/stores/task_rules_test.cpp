// The synchronous rules of the stores: filters, sorts, the done ratio and the
// local commands, on records built in memory.
#include <chrono>

#include "store_test_support.h"

namespace orbelin::test {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using Tasks = std::vector<Task*>;

class TaskRulesTest : public StoreTest {
 protected:
  // Today 09:41, where the clock stands.
  Date now() const { return platform::Clock::now(); }

  Task* task(std::int64_t id, TaskType type, TaskStatus status, OptionalDate due) {
    Task* made = Task::create(TamberNetworking::JSON());
    made->setId(id);
    made->setTypeEnum(type);
    made->setStatusEnum(status);
    made->setDueDate(due);
    made->setCompletedDate(std::nullopt);
    return made;
  }
  Patient* patient(std::int64_t id, const std::string& room) {
    Patient* made = Patient::create(TamberNetworking::JSON());
    made->setId(id);
    made->setRoomNumber(room);
    return made;
  }
};

TEST_F(TaskRulesTest, PercentageOfDischargeTasksDone) {
  EXPECT_EQ(TaskStore::getPercentageTasksDone({}), 1.0f);
  Tasks tasks = {task(1, TaskType::Discharge, TaskStatus::Complete, now()),
                 task(2, TaskType::Discharge, TaskStatus::Forward, now()),
                 task(3, TaskType::Discharge, TaskStatus::Normal, now()),
                 task(4, TaskType::PatientRequest, TaskStatus::Complete, now()), nullptr};
  EXPECT_FLOAT_EQ(TaskStore::getPercentageTasksDone(tasks), 1.0f / 3.0f);
  EXPECT_EQ(TaskStore::getPercentageTasksDone({tasks[3]}), 1.0f) << "no discharge task";
  Tasks overdue = {task(5, TaskType::Discharge, TaskStatus::Overdue, now())};
  EXPECT_EQ(TaskStore::getPercentageTasksDone(overdue), 0.0f);
}

TEST_F(TaskRulesTest, SortByDueDate) {
  Task* issueTomorrow = task(1, TaskType::Discharge, TaskStatus::Forward, now() + hours(24));
  Task* requestToday = task(2, TaskType::PatientRequest, TaskStatus::Normal, now());
  Task* dischargeYesterday = task(3, TaskType::Discharge, TaskStatus::Normal, now() - hours(24));
  Task* laterToday = task(4, TaskType::Undefined, TaskStatus::Complete, now() + hours(2));
  Task* noDate = task(5, TaskType::Undefined, TaskStatus::Normal, std::nullopt);
  Task* alsoLaterToday = task(6, TaskType::Discharge, TaskStatus::Normal, now() + hours(2));
  Task* requestIssue = task(7, TaskType::PatientRequest, TaskStatus::Forward, now() + hours(48));

  Tasks sorted =
      TaskStore::sortTasksByDueDate({noDate, laterToday, dischargeYesterday, nullptr,
                                     alsoLaterToday, requestToday, issueTomorrow, requestIssue});
  // Issues first (a request among them first), then requests, then by due
  // date; equal dates keep their order; no date last.
  EXPECT_EQ(idsOf(sorted), (std::vector<std::int64_t>{7, 1, 2, 3, 4, 6, 5}));
  EXPECT_TRUE(TaskStore::sortTasksByDueDate({}).empty());

  // The date order alone: one type and status, only the due dates differ.
  Tasks plain = {task(11, TaskType::Discharge, TaskStatus::Normal, now() + hours(5)),
                 task(12, TaskType::Discharge, TaskStatus::Normal, std::nullopt),
                 task(13, TaskType::Discharge, TaskStatus::Normal, now() - hours(30)),
                 task(14, TaskType::Discharge, TaskStatus::Normal, now() + minutes(1))};
  EXPECT_EQ(idsOf(TaskStore::sortTasksByDueDate(plain)),
            (std::vector<std::int64_t>{13, 14, 11, 12}));
}

TEST_F(TaskRulesTest, SortByCompleteDate) {
  Task* ten = task(1, TaskType::Discharge, TaskStatus::Complete, now());
  ten->setCompletedDate(now() + minutes(19));
  Task* noon = task(2, TaskType::Discharge, TaskStatus::Complete, now());
  noon->setCompletedDate(now() + minutes(139));
  Task* never = task(3, TaskType::Discharge, TaskStatus::Normal, now());
  Task* neverEither = task(4, TaskType::Discharge, TaskStatus::Normal, now());

  EXPECT_EQ(idsOf(TaskStore::sortTasksByCompleteDate({ten, noon, never})),
            (std::vector<std::int64_t>{3, 2, 1}));
  auto withTwoNever = idsOf(TaskStore::sortTasksByCompleteDate({ten, never, noon, neverEither}));
  EXPECT_EQ(withTwoNever, (std::vector<std::int64_t>{3, 4, 2, 1}));
}

TEST_F(TaskRulesTest, Filters) {
  Task* dischargeToday = task(1, TaskType::Discharge, TaskStatus::Normal, now() + hours(3));
  Task* dischargeTomorrow = task(2, TaskType::Discharge, TaskStatus::Complete, now() + hours(24));
  Task* requestToday = task(3, TaskType::PatientRequest, TaskStatus::Forward, now() - hours(1));
  Task* routineYesterday = task(4, TaskType::Undefined, TaskStatus::Overdue, now() - hours(24));
  Task* noDate = task(5, TaskType::Discharge, TaskStatus::Normal, std::nullopt);
  Tasks all = {dischargeToday, dischargeTomorrow, nullptr, requestToday, routineYesterday, noDate};

  EXPECT_EQ(idsOf(TaskStore::tasksDueToday(all)), (std::vector<std::int64_t>{1, 3}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfType(all, TaskType::Discharge)),
            (std::vector<std::int64_t>{1, 2, 5}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfTypeAndToday(all, TaskType::Discharge)),
            (std::vector<std::int64_t>{1}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfStatus(all, TaskStatus::Overdue)),
            (std::vector<std::int64_t>{4}));
  EXPECT_TRUE(TaskStore::tasksOfStatus(all, TaskStatus::Forward).size() == 1);
  // A stored number outside the table reads as case 0.
  routineYesterday->setType(7);
  EXPECT_EQ(idsOf(TaskStore::tasksOfType(all, TaskType::Undefined)),
            (std::vector<std::int64_t>{4}));
}

TEST_F(TaskRulesTest, LocalCommandsChangeTheRecordOnly) {
  Task* done = task(1, TaskType::Discharge, TaskStatus::Normal, now());
  int calls = 0;
  TaskStore::completeTask(done, true, [&](Task* passed) {
    ++calls;
    EXPECT_EQ(passed, done);
    EXPECT_EQ(passed->statusEnum(), TaskStatus::Complete) << "changed before the completion";
  });
  EXPECT_EQ(calls, 1) << "synchronous";
  EXPECT_EQ(done->completedDate(), now());

  Task* undone = task(2, TaskType::Discharge, TaskStatus::Complete, now());
  platform::Clock::setNowForTesting(now() + minutes(5));
  TaskStore::completeTask(undone, false);
  EXPECT_EQ(undone->statusEnum(), TaskStatus::Normal);
  EXPECT_EQ(undone->completedDate(), now()) << "stamped when reopened too";

  Date nine = now() - minutes(46);
  Task* delayed = task(3, TaskType::Discharge, TaskStatus::Overdue, nine);
  TaskStore::delayTask(delayed, 90, [&](Task*) { ++calls; });
  EXPECT_EQ(delayed->dueDate(), nine + minutes(90));
  EXPECT_EQ(delayed->statusEnum(), TaskStatus::Overdue);
  TaskStore::delayTask(delayed, -30);
  EXPECT_EQ(delayed->dueDate(), nine + minutes(60));
  TaskStore::delayTask(delayed, std::numeric_limits<std::int64_t>::max(), [&](Task*) { ++calls; });
  EXPECT_EQ(delayed->dueDate(), nine + minutes(60)) << "a shift no date can hold changes nothing";
  TaskStore::delayTask(delayed, 400'000'000'000LL);
  EXPECT_EQ(delayed->dueDate(), nine + minutes(60));
  Task* undated = task(4, TaskType::Discharge, TaskStatus::Normal, std::nullopt);
  TaskStore::delayTask(undated, 10);
  EXPECT_FALSE(undated->dueDate());

  Task* reported = task(5, TaskType::Undefined, TaskStatus::Normal, now());
  TaskStore::reportIssueForTask(reported, "No linen", [&](Task*) { ++calls; });
  EXPECT_EQ(reported->statusEnum(), TaskStatus::Forward);
  EXPECT_EQ(reported->statusDescription(), "No linen");
  Task* silent = task(6, TaskType::Undefined, TaskStatus::Normal, now());
  TaskStore::reportIssueForTask(silent, "");
  EXPECT_EQ(silent->statusEnum(), TaskStatus::Forward);
  EXPECT_EQ(calls, 4);

  TaskStore::completeTask(nullptr, true, [&](Task*) { ++calls; });
  TaskStore::delayTask(nullptr, 5, [&](Task*) { ++calls; });
  TaskStore::reportIssueForTask(nullptr, "x", [&](Task*) { ++calls; });
  EXPECT_EQ(calls, 4) << "a null task is not passed on";
}

TEST_F(TaskRulesTest, SortByRoomIsPlainTextOrder) {
  Patient* twelve = patient(1, "12");
  Patient* threeA = patient(2, "3A");
  Patient* hundredOne = patient(3, "101");
  Patient* otherTwelve = patient(4, "12");
  Patient* lowerB = patient(5, "b2");
  Patient* upperB = patient(6, "B2");
  auto sorted =
      PatientStore::sortByRoom({twelve, threeA, nullptr, lowerB, hundredOne, otherTwelve, upperB});
  EXPECT_EQ(idsOf(sorted), (std::vector<std::int64_t>{3, 1, 4, 2, 6, 5}));
  EXPECT_EQ(idsOf(PatientStore::sortByRoom({patient(7, "9"), patient(8, "10")})),
            (std::vector<std::int64_t>{8, 7}));
}

TEST_F(TaskRulesTest, FirstStaffMemberWithRole) {
  auto member = [](std::int64_t id, std::optional<std::int64_t> role) {
    auto json = role ? boost::json::object{{"id", id}, {"role", {{"id", *role}}}}
                     : boost::json::object{{"id", id}};
    StaffMember* made = StaffMember::create(TamberNetworking::JSON(json));
    if (!role) made->setRole(nullptr);
    return made;
  };
  std::vector<StaffMember*> team = {member(1, 3), member(2, std::nullopt), nullptr, member(3, 5),
                                    member(4, 5)};
  ASSERT_NE(StaffStore::firstFromStaffMembersWithRole(team, 5), nullptr);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(team, 5)->id(), 3);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(team, 9), nullptr);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole({}, 5), nullptr);
}

}  // namespace
}  // namespace orbelin::test
