#include "orbelin/stores/task_store.h"

#include "orbelin/dates/date_utils.h"
#include "stores/store_support.h"
#include "stores/task_store_internal.h"

namespace orbelin {

using TamberNetworking::JSON;
using namespace stores_internal;

std::vector<TaskSummary*> stores_internal::taskSummaryForUserFromJSON(const JSON& json) {
  return importEach<TaskSummary>(json["taskStatusSummary"], &TaskSummary::create);
}

namespace {

std::vector<Task*> importTasks(const JSON& array) {
  return importEach<Task>(array, &Task::create);
}

std::vector<Task*> tasksForUserFromJSON(const JSON& json) {
  return importTasks(json["userTasks"]);
}

std::vector<Task*> tasksForPatientFromJSON(const JSON& json) {
  return importTasks(json["patientTasks"]);
}

std::vector<TaskStore::TaskGroup> groupTasksFromJSON(const JSON& json) {
  std::vector<TaskStore::TaskGroup> groups;
  for (const JSON& group : json["tasks"]) {
    auto tasks = importTasks(group["tasks"]);
    groups.push_back({group["label"].stringValue(), std::move(tasks)});
  }
  return groups;
}

std::vector<TaskStore::BarrierEntry> barriersForUserFromJSON(const JSON& json) {
  std::vector<TaskStore::BarrierEntry> entries;
  for (const JSON& element : json["patients"]) {
    Patient* patient = Patient::create(element);
    if (patient == nullptr) continue;
    for (Barrier* barrier : patient->barriers()) entries.push_back({barrier, patient});
  }
  return entries;
}

TaskStore::TasksByPatient tasksForPatientsFromJSON(const JSON& json) {
  TaskStore::TasksByPatient tasksByPatient;
  for (const JSON& entry : json["tasks"]) {
    auto tasks = importTasks(entry["tasks"]);
    tasksByPatient[entry["patientId"].intValue()] = std::move(tasks);
  }
  return tasksByPatient;
}

// Every task of "allTasks" is imported; `keep` chooses which are handed on.
template <typename Keep>
std::vector<Task*> allTasksFromJSON(const JSON& json, Keep keep) {
  std::vector<Task*> kept;
  for (Task* task : importTasks(json["allTasks"])) {
    if (keep(task)) kept.push_back(task);
  }
  return kept;
}

template <typename Parse>
StoreRequest fetchTasks(const Request& request, Parse parse, TaskStore::TasksHandler handler) {
  return executeJSON(
      request, [handler, parse](const JSON& json) { deliver(handler, parse(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

}  // namespace

StoreRequest TaskStore::tasksForUser(std::int64_t userId, TasksHandler completionHandler) {
  return fetchTasks(Request::UserTasks(decimal(userId)), &tasksForUserFromJSON,
                    std::move(completionHandler));
}

StoreRequest TaskStore::groupedTasksForUser(std::int64_t userId,
                                            GroupTasksHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::UserGroupTasks(decimal(userId)),
      [handler](const JSON& json) { deliver(handler, groupTasksFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest TaskStore::barriersForUser(std::int64_t userId, BarriersHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::UserBarriers(decimal(userId)),
      [handler](const JSON& json) {
        deliver(handler, barriersForUserFromJSON(json), std::nullopt);
      },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest TaskStore::taskSummaryForUser(std::int64_t userId,
                                           TaskSummariesHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::TaskSummaryForUser(decimal(userId)),
      [handler](const JSON& json) {
        deliver(handler, taskSummaryForUserFromJSON(json), std::nullopt);
      },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest TaskStore::tasksForPatient(std::int64_t patientId, TasksHandler completionHandler) {
  return fetchTasks(Request::PatientTasks(decimal(patientId)), &tasksForPatientFromJSON,
                    std::move(completionHandler));
}

StoreRequest TaskStore::tasksForPatients(const std::vector<std::int64_t>& patientIds,
                                         TasksByPatientHandler completionHandler) {
  std::vector<std::string> ids;
  ids.reserve(patientIds.size());
  for (std::int64_t id : patientIds) ids.push_back(decimal(id));
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::PatientsTasks(std::move(ids)),
      [handler](const JSON& json) {
        deliver(handler, tasksForPatientsFromJSON(json), std::nullopt);
      },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest TaskStore::allTasksWithReportIssue(TasksHandler completionHandler) {
  auto parse = [](const JSON& json) {
    return allTasksFromJSON(json, [](Task* task) { return !task->statusDescription().empty(); });
  };
  return fetchTasks(Request::AllTasks(), parse, std::move(completionHandler));
}

StoreRequest TaskStore::allOverdueTasks(TasksHandler completionHandler) {
  auto parse = [](const JSON& json) {
    return allTasksFromJSON(json, [](Task* task) {
      auto due = task->dueDate();
      return due.has_value() && DateUtils::isOverdue(*due);
    });
  };
  return fetchTasks(Request::AllTasks(), parse, std::move(completionHandler));
}

}  // namespace orbelin
