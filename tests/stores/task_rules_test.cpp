// The synchronous rules of the stores: filters, sorts, the done ratio and the
// local commands, on records built in memory.
#include <chrono>

#include "store_test_support.h"

namespace orbelin::test {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using Tasks = std::vector<Task*>;
using Ids = std::vector<std::int64_t>;
using enum TaskType;
using enum TaskStatus;

class TaskRulesTest : public StoreTest {
 protected:
  // Today 09:41, where the clock stands.
  Date now() const { return platform::Clock::now(); }

  Task* task(std::int64_t id, TaskType type, TaskStatus status, OptionalDate due,
             OptionalDate completed = std::nullopt) {
    Task* made = Task::create(TamberNetworking::JSON());
    made->setId(id);
    made->setTypeEnum(type);
    made->setStatusEnum(status);
    made->setDueDate(due);
    made->setCompletedDate(completed);
    return made;
  }
};

// Guards the three sort orders, their tie-breaks, and null entries.
TEST_F(TaskRulesTest, SortsByDueDateCompletionAndRoom) {
  // Issues first (a request among them first), then requests, then by due
  // date and time; equal dates keep their order; no date last.
  Tasks tasks = {task(5, Undefined, Normal, std::nullopt),
                 task(4, Undefined, Complete, now() + hours(2)),
                 task(3, Discharge, Normal, now() - hours(30)),
                 nullptr,
                 task(6, Discharge, Normal, now() + hours(2)),
                 task(2, PatientRequest, Normal, now()),
                 task(1, Discharge, Forward, now() + hours(24)),
                 task(7, PatientRequest, Forward, now() + hours(48)),
                 task(8, Discharge, Normal, now() + minutes(1))};
  EXPECT_EQ(idsOf(TaskStore::sortTasksByDueDate(tasks)), (Ids{7, 1, 2, 3, 8, 4, 6, 5}));

  // Never completed first, in their order; then the latest completion first.
  Tasks done = {
      task(1, Discharge, Complete, now(), now() + minutes(19)), task(3, Discharge, Normal, now()),
      task(2, Discharge, Complete, now(), now() + minutes(139)), task(4, Discharge, Normal, now())};
  EXPECT_EQ(idsOf(TaskStore::sortTasksByCompleteDate(done)), (Ids{3, 4, 2, 1}));

  // Rooms in plain text order, equal ones in their order.
  std::vector<Patient*> patients;
  for (const char* room : {"12", "3A", "", "b2", "101", "12", "B2"}) {
    Patient* made = *room ? Patient::create(TamberNetworking::JSON()) : nullptr;
    patients.push_back(made);
    if (!made) continue;
    made->setId(static_cast<std::int64_t>(patients.size()));
    made->setRoomNumber(room);
  }
  EXPECT_EQ(idsOf(PatientStore::sortByRoom(patients)), (Ids{5, 1, 6, 2, 7, 4}));
}

// Guards each filter's rule, null entries, and the done ratio's cases.
TEST_F(TaskRulesTest, FiltersAndTheShareOfDischargeTasksDone) {
  Task* routineYesterday = task(4, Undefined, Overdue, now() - hours(24));
  Tasks all = {task(1, Discharge, Normal, now() + hours(3)),
               task(2, Discharge, Complete, now() + hours(24)),
               nullptr,
               task(3, PatientRequest, Complete, now() - hours(1)),
               routineYesterday,
               task(5, Discharge, Forward, std::nullopt)};

  EXPECT_EQ(idsOf(TaskStore::tasksDueToday(all)), (Ids{1, 3}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfType(all, Discharge)), (Ids{1, 2, 5}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfTypeAndToday(all, Discharge)), (Ids{1}));
  EXPECT_EQ(idsOf(TaskStore::tasksOfStatus(all, Overdue)), (Ids{4}));

  // Completed discharge tasks among the discharge tasks (1 when there are none).
  EXPECT_FLOAT_EQ(TaskStore::getPercentageTasksDone(all), 1.0f / 3.0f);
  EXPECT_EQ(TaskStore::getPercentageTasksDone({}), 1.0f);
  EXPECT_EQ(TaskStore::getPercentageTasksDone({all[3]}), 1.0f);
  EXPECT_EQ(TaskStore::getPercentageTasksDone({task(6, Discharge, Overdue, now())}), 0.0f);

  // A stored number outside the table reads as case 0.
  routineYesterday->setType(7);
  EXPECT_EQ(idsOf(TaskStore::tasksOfType(all, Undefined)), (Ids{4}));
}

// Guards that each command changes the record before its completion runs,
// once and synchronously, and never for a null task or an impossible date.
TEST_F(TaskRulesTest, LocalCommandsChangeTheRecordOnly) {
  Task* done = task(1, Discharge, Normal, now());
  int calls = 0;
  TaskStore::completeTask(done, true, [&](Task* passed) {
    ++calls;
    EXPECT_EQ(passed, done);
    EXPECT_EQ(passed->statusEnum(), Complete) << "changed before the completion";
  });
  EXPECT_EQ(calls, 1) << "synchronous";
  EXPECT_EQ(done->completedDate(), now());

  Task* undone = task(2, Discharge, Complete, now());
  platform::Clock::setNowForTesting(now() + minutes(5));
  TaskStore::completeTask(undone, false);
  EXPECT_EQ(undone->statusEnum(), Normal);
  EXPECT_EQ(undone->completedDate(), now()) << "stamped when reopened too";

  Date nine = now() - minutes(46);
  Task* delayed = task(3, Discharge, Overdue, nine);
  TaskStore::delayTask(delayed, 90, [&](Task*) { ++calls; });
  EXPECT_EQ(delayed->dueDate(), nine + minutes(90));
  EXPECT_EQ(delayed->statusEnum(), Overdue);
  TaskStore::delayTask(delayed, -30);
  EXPECT_EQ(delayed->dueDate(), nine + minutes(60));
  // A shift no date can hold changes nothing.
  for (std::int64_t tooFar :
       {std::numeric_limits<std::int64_t>::max(), std::int64_t{400'000'000'000}}) {
    TaskStore::delayTask(delayed, tooFar, [&](Task*) { ++calls; });
    EXPECT_EQ(delayed->dueDate(), nine + minutes(60)) << tooFar;
  }
  Task* undated = task(4, Discharge, Normal, std::nullopt);
  TaskStore::delayTask(undated, 10);
  EXPECT_FALSE(undated->dueDate());

  Task* reported = task(5, Undefined, Normal, now());
  TaskStore::reportIssueForTask(reported, "No linen", [&](Task*) { ++calls; });
  EXPECT_EQ(reported->statusEnum(), Forward);
  EXPECT_EQ(reported->statusDescription(), "No linen");
  Task* silent = task(6, Undefined, Normal, now());
  TaskStore::reportIssueForTask(silent, "");
  EXPECT_EQ(silent->statusEnum(), Forward);
  EXPECT_EQ(calls, 5);

  TaskStore::completeTask(nullptr, true, [&](Task*) { ++calls; });
  TaskStore::delayTask(nullptr, 5, [&](Task*) { ++calls; });
  TaskStore::reportIssueForTask(nullptr, "x", [&](Task*) { ++calls; });
  EXPECT_EQ(calls, 5) << "a null task is not passed on";
}

// Guards against a crash on a null member or one without a role.
TEST_F(TaskRulesTest, FirstStaffMemberWithRole) {
  std::vector<StaffMember*> team;
  for (const char* json : {R"({"id": 2})", "", R"({"id": 3, "role": {"id": 5}})"}) {
    team.push_back(*json ? StaffMember::create(*TamberNetworking::JSON::parse(json)) : nullptr);
  }
  team[0]->setRole(nullptr);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(team, 5), team[2]);
  EXPECT_EQ(StaffStore::firstFromStaffMembersWithRole(team, 9), nullptr);
}

}  // namespace
}  // namespace orbelin::test
