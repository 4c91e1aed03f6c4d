#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "orbelin/platform/error.h"
#include "orbelin/records/enums.h"
#include "orbelin/records/lookups.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/task.h"
#include "orbelin/stores/store.h"

namespace orbelin {

// Care tasks: fetched in the shapes the screens need, filtered, sorted and
// counted, and changed by the local commands complete, delay and report an
// issue. Delivery, ownership and threads of the network operations: see
// stores/store.h.
//
// The local commands change the record in memory only: nothing is sent to
// the service and nothing is saved, so the next fetch brings back the
// service's values in new records. They run, and call their completion, on
// the caller's thread before returning.
class TaskStore {
 public:
  TaskStore() = delete;

  // A labelled group of tasks, as the service groups them.
  struct TaskGroup {
    std::string label;
    std::vector<Task*> tasks;
  };
  // One barrier of one patient.
  struct BarrierEntry {
    Barrier* barrier = nullptr;
    Patient* patient = nullptr;
  };
  // Tasks keyed by patient id.
  using TasksByPatient = std::map<std::int64_t, std::vector<Task*>>;

  using TasksHandler =
      std::function<void(std::optional<std::vector<Task*>> tasks, std::optional<Error> error)>;
  using GroupTasksHandler = std::function<void(std::optional<std::vector<TaskGroup>> groupTasks,
                                               std::optional<Error> error)>;
  using BarriersHandler = std::function<void(std::optional<std::vector<BarrierEntry>> barriers,
                                             std::optional<Error> error)>;
  using TaskSummariesHandler = std::function<void(std::optional<std::vector<TaskSummary*>> tasks,
                                                  std::optional<Error> error)>;
  using TasksByPatientHandler =
      std::function<void(std::optional<TasksByPatient> tasks, std::optional<Error> error)>;
  using TaskCompletion = std::function<void(Task* task)>;

  // The user's tasks ("userTasks"), in the reply's order.
  static StoreRequest tasksForUser(std::int64_t userId, TasksHandler completionHandler);

  // The user's tasks in the service's groups ("tasks": each with "label" and
  // "tasks"), groups and tasks in the reply's order; nothing merged or sorted.
  static StoreRequest groupedTasksForUser(std::int64_t userId, GroupTasksHandler completionHandler);

  // One entry per barrier of each patient of "patients": patients in the
  // reply's order, a patient's barriers in the order of its barrier set.
  static StoreRequest barriersForUser(std::int64_t userId, BarriersHandler completionHandler);

  // Per-patient task counts ("taskStatusSummary"), in the reply's order.
  static StoreRequest taskSummaryForUser(std::int64_t userId,
                                         TaskSummariesHandler completionHandler);

  // One patient's tasks ("patientTasks"), in the reply's order.
  static StoreRequest tasksForPatient(std::int64_t patientId, TasksHandler completionHandler);

  // Tasks of several patients, keyed by each entry's "patientId"; a later
  // entry for the same patient replaces the earlier one. The ids (in the
  // given order) only name the local answer; the remote call carries none.
  // Without an error the map is always there, possibly empty.
  static StoreRequest tasksForPatients(const std::vector<std::int64_t>& patientIds,
                                       TasksByPatientHandler completionHandler);

  // The tasks of "allTasks" whose statusDescription is not empty.
  static StoreRequest allTasksWithReportIssue(TasksHandler completionHandler);
  // The tasks of "allTasks" that are overdue (DateUtils::isOverdue of the due
  // date; a task without a due date is not).
  static StoreRequest allOverdueTasks(TasksHandler completionHandler);

  // Filters: new lists in input order. Null entries are dropped.
  // Due today (DateUtils::isToday); a task without a due date is not.
  static std::vector<Task*> tasksDueToday(const std::vector<Task*>& tasks);
  static std::vector<Task*> tasksOfType(const std::vector<Task*>& tasks, TaskType type);
  // Of the type and due today; the date is looked at only for the right type.
  static std::vector<Task*> tasksOfTypeAndToday(const std::vector<Task*>& tasks, TaskType type);
  static std::vector<Task*> tasksOfStatus(const std::vector<Task*>& tasks, TaskStatus status);

  // Sorts (new lists; null entries dropped; ties keep their input order).
  // By due date for the work list: tasks with a reported issue (Forward)
  // first, then patients' requests, then by due date ascending; tasks without
  // a due date after those with one.
  static std::vector<Task*> sortTasksByDueDate(const std::vector<Task*>& tasks);
  // Never-completed tasks first, then by completion date, latest first.
  static std::vector<Task*> sortTasksByCompleteDate(const std::vector<Task*>& tasks);

  // The fraction (0 to 1, not a percentage) of discharge tasks that are
  // Complete; other types are ignored. 1.0 when there are no discharge tasks.
  static float getPercentageTasksDone(const std::vector<Task*>& tasks);

  // Marks the task Complete (isComplete) or Normal, and stamps completedDate
  // with now either way. A null task changes nothing and is not passed on.
  static void completeTask(Task* task, bool isComplete, const TaskCompletion& completion = {});
  // Moves the due date by the minutes (negative: earlier); the status stays.
  // A task without a due date keeps none. A shift that does not fit a date
  // (minutes * 60 seconds beyond what a date can hold) leaves the date as it
  // was; the completion still runs.
  static void delayTask(Task* task, std::int64_t withTimeInMinutes,
                        const TaskCompletion& completion = {});
  // Marks the task Forward with the issue as its statusDescription. An empty
  // issue still makes it Forward, though allTasksWithReportIssue then skips it.
  static void reportIssueForTask(Task* task, const std::string& withIssue,
                                 const TaskCompletion& completion = {});
};

}  // namespace orbelin
