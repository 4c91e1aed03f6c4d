// The synchronous side of the task store: filters, sorts, the done ratio and
// the local commands.
#include <algorithm>
#include <chrono>
#include <limits>

#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/clock.h"
#include "orbelin/stores/task_store.h"

namespace orbelin {

namespace {

template <typename Keep>
std::vector<Task*> keepIf(const std::vector<Task*>& tasks, Keep keep) {
  std::vector<Task*> kept;
  for (Task* task : tasks) {
    if (task != nullptr && keep(task)) kept.push_back(task);
  }
  return kept;
}

bool isDueToday(const Task* task) {
  auto due = task->dueDate();
  return due.has_value() && DateUtils::isToday(*due);
}

// A task's place in the work list, read once per task: the accessors take the
// context's lock, and a sort compares each task many times.
struct DueOrderKey {
  bool notForward;
  bool notPatientRequest;
  bool noDueDate;
  Date dueDate;

  explicit DueOrderKey(const Task* task)
      : notForward(task->statusEnum() != TaskStatus::Forward),
        notPatientRequest(task->typeEnum() != TaskType::PatientRequest),
        noDueDate(!task->dueDate().has_value()),
        dueDate(task->dueDate().value_or(Date{})) {}

  // Reported issues first, then patients' requests, then the earlier due
  // date; a task without a due date never comes before one with a date.
  bool operator<(const DueOrderKey& other) const {
    if (notForward != other.notForward) return !notForward;
    if (notPatientRequest != other.notPatientRequest) return !notPatientRequest;
    if (noDueDate || other.noDueDate) return !noDueDate && other.noDueDate;
    return dueDate < other.dueDate;
  }
};

struct CompletedOrderKey {
  std::optional<Date> completedDate;

  explicit CompletedOrderKey(const Task* task) : completedDate(task->completedDate()) {}

  // Never-completed tasks first (tied among themselves), then latest first.
  bool operator<(const CompletedOrderKey& other) const {
    if (!completedDate) return other.completedDate.has_value();
    if (!other.completedDate) return false;
    return *completedDate > *other.completedDate;
  }
};

template <typename Key>
std::vector<Task*> sortedBy(const std::vector<Task*>& tasks) {
  std::vector<std::pair<Key, Task*>> keyed;
  keyed.reserve(tasks.size());
  for (Task* task : tasks) {
    if (task != nullptr) keyed.emplace_back(Key(task), task);
  }
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<Task*> sorted;
  sorted.reserve(keyed.size());
  for (const auto& entry : keyed) sorted.push_back(entry.second);
  return sorted;
}

// The due date moved by `minutes`, or absent when the result cannot be held.
std::optional<Date> shifted(Date due, std::int64_t minutes) {
  return makeDate(secondsSince1970(due) + static_cast<double>(minutes) * 60.0);
}

}  // namespace

std::vector<Task*> TaskStore::tasksDueToday(const std::vector<Task*>& tasks) {
  return keepIf(tasks, isDueToday);
}

std::vector<Task*> TaskStore::tasksOfType(const std::vector<Task*>& tasks, TaskType type) {
  return keepIf(tasks, [type](const Task* task) { return task->typeEnum() == type; });
}

std::vector<Task*> TaskStore::tasksOfTypeAndToday(const std::vector<Task*>& tasks, TaskType type) {
  return keepIf(tasks,
                [type](const Task* task) { return task->typeEnum() == type && isDueToday(task); });
}

std::vector<Task*> TaskStore::tasksOfStatus(const std::vector<Task*>& tasks, TaskStatus status) {
  return keepIf(tasks, [status](const Task* task) { return task->statusEnum() == status; });
}

std::vector<Task*> TaskStore::sortTasksByDueDate(const std::vector<Task*>& tasks) {
  return sortedBy<DueOrderKey>(tasks);
}

std::vector<Task*> TaskStore::sortTasksByCompleteDate(const std::vector<Task*>& tasks) {
  return sortedBy<CompletedOrderKey>(tasks);
}

float TaskStore::getPercentageTasksDone(const std::vector<Task*>& tasks) {
  float total = 0;
  float done = 0;
  for (const Task* task : tasks) {
    if (task == nullptr || task->typeEnum() != TaskType::Discharge) continue;
    total += 1;
    if (task->statusEnum() == TaskStatus::Complete) done += 1;
  }
  return total == 0 ? 1.0f : done / total;
}

void TaskStore::completeTask(Task* task, bool isComplete, const TaskCompletion& completion) {
  if (task == nullptr) return;
  task->setStatusEnum(isComplete ? TaskStatus::Complete : TaskStatus::Normal);
  task->setCompletedDate(platform::Clock::now());
  if (completion) completion(task);
}

void TaskStore::delayTask(Task* task, std::int64_t withTimeInMinutes,
                          const TaskCompletion& completion) {
  if (task == nullptr) return;
  if (auto due = task->dueDate()) {
    if (auto moved = shifted(*due, withTimeInMinutes)) task->setDueDate(*moved);
  }
  if (completion) completion(task);
}

void TaskStore::reportIssueForTask(Task* task, const std::string& withIssue,
                                   const TaskCompletion& completion) {
  if (task == nullptr) return;
  task->setStatusEnum(TaskStatus::Forward);
  task->setStatusDescription(withIssue);
  if (completion) completion(task);
}

}  // namespace orbelin
