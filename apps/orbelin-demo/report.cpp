// The ward report: what a nurse sees at the start of the day, then three
// changes made through the task store's local commands.
//
// The report pins the clock at today 09:41 (the demonstration clock that the
// sample data is written against), so the same data gives the same report,
// locally and from a service alike. It is printed only once every request
// has answered; a failed request prints one "error:" line instead.
#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>

#include "demo.h"
#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/clock.h"
#include "orbelin/stores/stores.h"
#include "report_support.h"

namespace orbelin::demo {
namespace {

using Tasks = std::vector<Task*>;

class Report {
 public:
  explicit Report(const DemoOptions& options) : options_(options) {}

  int run() {
    bool ok = login() && patients() && todaysTasks() && overdueTasks() && reportedIssues() &&
              barriers() && notifications() && rooms() && staff() && changes();
    if (!ok) {
      std::cerr << "error: " << failure_ << "\n";
      return kExitFailure;
    }
    std::cout << out_.str();
    return kExitSuccess;
  }

 private:
  bool fail(const std::string& what, const Error& error) {
    failure_ = what + ": " + error.localizedDescription();
    return false;
  }
  bool timedOut(const std::string& what) {
    failure_ = what + ": no reply within " + std::to_string(kReplyWait.count()) + " s";
    return false;
  }
  void heading(const std::string& title, std::size_t count) {
    out_ << "\n" << title << " (" << count << ")\n";
  }

  bool login();
  bool patients();
  bool todaysTasks();
  bool overdueTasks();
  bool reportedIssues();
  bool barriers();
  bool notifications();
  bool rooms();
  bool staff();
  bool changes();
  void completeOne(const Tasks& tasks);
  void delayOne(const Tasks& tasks);
  void reportOne(const Tasks& tasks);

  const DemoOptions& options_;
  std::ostringstream out_;
  std::string failure_;
  std::int64_t userId_ = 0;
  std::int64_t shiftId_ = 0;
};

bool Report::login() {
  Awaited<StaffMember*, std::optional<Error>> reply;
  StaffStore::authentication(options_.user, options_.password, reply.handler())->validate();
  if (!reply.wait()) return timedOut("login");
  auto& [member, error] = reply.get();
  if (error) return fail("login failed", *error);
  if (member == nullptr || member->id().value_or(0) == 0) {
    failure_ = "login failed: the reply names no staff member";
    return false;
  }
  userId_ = *member->id();
  shiftId_ = member->shiftId().value_or(0);
  Date now = platform::Clock::now();
  out_ << "Care-team report, " << DateUtils::dateStringFromDate(now) << ", demonstration clock "
       << DateUtils::timeStringFromDate(now) << "\n";
  std::string role = member->role() ? member->role()->label() : "";
  std::string username = member->userInfo() ? member->userInfo()->username() : "";
  out_ << "Logged in: " << member->fullName() << ", " << role << " (user \"" << username
       << "\", staff " << userId_ << ", shift " << shiftId_ << ", phone " << member->phoneNumber()
       << ")\n";
  return true;
}

bool Report::patients() {
  Awaited<std::optional<std::vector<Patient*>>, std::optional<std::vector<TaskSummary*>>,
          std::optional<Error>>
      reply;
  PatientStore::patientsAndTasksSummaryForUser(userId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("patients");
  auto& [patients, summaries, error] = reply.get();
  if (error) return fail("patients", *error);
  std::map<std::int64_t, const TaskSummary*> summaryOf;
  for (const TaskSummary* summary : *summaries)
    summaryOf[summary->patientId().value_or(0)] = summary;
  heading("Patients by room", patients->size());
  for (const Patient* patient : PatientStore::sortByRoom(*patients)) {
    out_ << "  " << patientColumns(patient) << column(std::to_string(patient->age()), 4)
         << "acuity " << patient->acuity().value_or(0) << "  discharge "
         << column(whenText(patient->dischargedDate()), 20)
         << column(relativeText(patient->dischargedDate()), 8)
         << column(dischargeName(patient->dischargeStatus()), 12);
    if (auto found = summaryOf.find(patient->id().value_or(0)); found != summaryOf.end()) {
      out_ << "tasks: " << found->second->open().value_or(0) << " open, "
           << found->second->completed().value_or(0) << " done, "
           << found->second->overdue().value_or(0) << " overdue";
    }
    out_ << "\n";
  }
  return true;
}

bool Report::todaysTasks() {
  Awaited<std::optional<std::vector<TaskStore::TaskGroup>>, std::optional<Error>> reply;
  TaskStore::groupedTasksForUser(userId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("grouped tasks");
  auto& [groups, error] = reply.get();
  if (error) return fail("grouped tasks", *error);
  out_ << "\nToday's tasks by group\n";
  for (const TaskStore::TaskGroup& group : *groups) {
    Tasks today = TaskStore::sortTasksByDueDate(TaskStore::tasksDueToday(group.tasks));
    out_ << "  " << group.label << " (" << today.size() << ")\n";
    for (const Task* task : today) out_ << "    " << taskLine(task) << "\n";
  }
  return true;
}

bool Report::overdueTasks() {
  Awaited<std::optional<Tasks>, std::optional<Error>> reply;
  TaskStore::allOverdueTasks(reply.handler())->validate();
  if (!reply.wait()) return timedOut("overdue tasks");
  auto& [tasks, error] = reply.get();
  if (error) return fail("overdue tasks", *error);
  // The store's rule looks at the due date alone; the ones already done are
  // of no use on a work list.
  Tasks open;
  for (Task* task : *tasks) {
    if (task->statusEnum() != TaskStatus::Complete) open.push_back(task);
  }
  heading("Open overdue tasks on the ward", open.size());
  for (const Task* task : TaskStore::sortTasksByDueDate(open))
    out_ << "  " << taskLine(task) << "\n";
  return true;
}

bool Report::reportedIssues() {
  Awaited<std::optional<Tasks>, std::optional<Error>> reply;
  TaskStore::allTasksWithReportIssue(reply.handler())->validate();
  if (!reply.wait()) return timedOut("reported issues");
  auto& [tasks, error] = reply.get();
  if (error) return fail("reported issues", *error);
  heading("Tasks with a reported issue", tasks->size());
  for (const Task* task : *tasks) {
    out_ << "  " << taskLine(task) << "\n      issue: " << task->statusDescription() << "\n";
  }
  return true;
}

bool Report::barriers() {
  Awaited<std::optional<std::vector<TaskStore::BarrierEntry>>, std::optional<Error>> reply;
  TaskStore::barriersForUser(userId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("barriers");
  auto& [entries, error] = reply.get();
  if (error) return fail("barriers", *error);
  heading("Barriers to discharge", entries->size());
  for (const TaskStore::BarrierEntry& entry : *entries) {
    out_ << "  " << patientColumns(entry.patient) << entry.barrier->name() << "\n";
  }
  return true;
}

bool Report::notifications() {
  Awaited<std::optional<std::vector<Notification*>>, std::optional<Error>> reply;
  NotificatonStore::notificationsForUser(userId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("notifications");
  auto& [notifications, error] = reply.get();
  if (error) return fail("notifications", *error);
  heading("Notifications", notifications->size());
  for (const Notification* notification : *notifications) {
    bool complete = notification->statusEnum() == NotificationStatus::Complete;
    out_ << "  " << column("[" + notification->label() + "]", 18)
         << column(whenText(notification->date()), 20) << patientColumns(notification->patient())
         << column(complete ? "Complete" : "Open", 9) << notification->text() << "\n";
  }
  return true;
}

bool Report::rooms() {
  Awaited<std::optional<std::vector<Room*>>, std::optional<Error>> reply;
  ShiftStore::roomsForShift(shiftId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("rooms");
  auto& [rooms, error] = reply.get();
  if (error) return fail("rooms", *error);
  heading("Rooms of shift " + std::to_string(shiftId_), rooms->size());
  for (const Room* room : *rooms) {
    const Patient* patient = room->patient();
    out_ << "  " << column(room->name(), 6) << (patient ? patient->fullName() : "(empty)") << "\n";
  }
  return true;
}

bool Report::staff() {
  Awaited<std::optional<std::vector<StaffMember*>>, std::optional<std::vector<StaffSummary*>>,
          std::optional<Error>>
      reply;
  StaffStore::staffMembersWithSummaryForShiftId(shiftId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("staff");
  auto& [members, summaries, error] = reply.get();
  if (error) return fail("staff", *error);
  std::map<std::int64_t, const StaffSummary*> summaryOf;
  for (const StaffSummary* summary : *summaries)
    summaryOf[summary->staffId().value_or(0)] = summary;
  heading("Staff of shift " + std::to_string(shiftId_), members->size());
  for (const StaffMember* member : *members) {
    out_ << "  " << column(member->fullName(), 18)
         << column(member->role() ? member->role()->label() : "", 20)
         << column(member->phoneNumber(), 10);
    if (auto found = summaryOf.find(member->id().value_or(0)); found != summaryOf.end()) {
      const StaffSummary* summary = found->second;
      out_ << summary->completedTasks().value_or(0) << " done, "
           << summary->remainingTasks().value_or(0) << " remaining, "
           << summary->reportedIssues().value_or(0) << " issues, " << summary->overdueTasks().size()
           << " overdue";
    }
    out_ << "\n";
  }
  return true;
}

std::string percentText(float fraction) {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f%%", static_cast<double>(fraction) * 100.0);
  return text;
}

bool Report::changes() {
  Awaited<std::optional<Tasks>, std::optional<Error>> reply;
  TaskStore::tasksForUser(userId_, reply.handler())->validate();
  if (!reply.wait()) return timedOut("tasks");
  auto& [tasks, error] = reply.get();
  if (error) return fail("tasks", *error);
  out_ << "\nChanges (in memory only)\n";
  float before = TaskStore::getPercentageTasksDone(*tasks);
  completeOne(*tasks);
  delayOne(*tasks);
  reportOne(*tasks);
  out_ << "  Discharge tasks done: " << percentText(before) << " before, "
       << percentText(TaskStore::getPercentageTasksDone(*tasks)) << " after ("
       << TaskStore::tasksOfType(*tasks, TaskType::Discharge).size() << " discharge tasks)\n";
  return true;
}

Task* firstOpen(const Tasks& tasks) {
  for (Task* task : TaskStore::sortTasksByDueDate(tasks)) {
    if (task->statusEnum() == TaskStatus::Normal) return task;
  }
  return nullptr;
}

// The first open discharge task due today.
void Report::completeOne(const Tasks& tasks) {
  Task* task = firstOpen(TaskStore::tasksOfTypeAndToday(tasks, TaskType::Discharge));
  if (task == nullptr) {
    out_ << "  Completed: (no open discharge task today)\n";
    return;
  }
  TaskStore::completeTask(task, true, [this](Task* done) {
    out_ << "  Completed at " << whenText(done->completedDate()) << ": " << done->text() << " ("
         << done->patient()->fullName() << ", " << statusName(done->statusEnum()) << ")\n";
  });
}

// The first open patient's request, by half an hour.
void Report::delayOne(const Tasks& tasks) {
  Task* task = firstOpen(TaskStore::tasksOfType(tasks, TaskType::PatientRequest));
  if (task == nullptr) {
    out_ << "  Delayed: (no open patient request)\n";
    return;
  }
  std::string before = whenText(task->dueDate());
  TaskStore::delayTask(task, 30, [this, &before](Task* delayed) {
    out_ << "  Delayed by 30 minutes: " << delayed->text() << " (" << delayed->patient()->fullName()
         << "), due " << before << " -> " << whenText(delayed->dueDate()) << " ("
         << relativeText(delayed->dueDate()) << ")\n";
  });
}

// The first open routine task due today.
void Report::reportOne(const Tasks& tasks) {
  Task* task = firstOpen(TaskStore::tasksOfTypeAndToday(tasks, TaskType::Undefined));
  if (task == nullptr) {
    out_ << "  Issue reported: (no open task today)\n";
    return;
  }
  TaskStore::reportIssueForTask(task, "Equipment missing in the room", [this](Task* reported) {
    out_ << "  Issue reported: " << reported->text() << " (" << reported->patient()->fullName()
         << ", " << statusName(reported->statusEnum()) << "): " << reported->statusDescription()
         << "\n";
  });
}

}  // namespace

int runReport(const DemoOptions& options) {
  // The demonstration clock: every "now" of the report is today at 09:41.
  platform::Clock::setNowForTesting(DateUtils::makeTodayDateWithTime941());
  return Report(options).run();
}

}  // namespace orbelin::demo
