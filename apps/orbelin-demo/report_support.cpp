#include "report_support.h"

#include "orbelin/dates/date_utils.h"

namespace orbelin::demo {

std::string column(const std::string& text, std::size_t width) {
  if (text.size() >= width) return text.substr(0, width);
  return text + std::string(width - text.size(), ' ');
}

std::string whenText(OptionalDate date) {
  if (!date) return "-";
  std::string time = DateUtils::timeStringFromDate(*date);
  if (DateUtils::isToday(*date)) return time;
  return DateUtils::dateStringFromDate(*date) + " " + time;
}

std::string relativeText(OptionalDate date) {
  if (!date) return "";
  RelativeTime relative = DateUtils::relativeTimeFromDate(*date);
  if (relative.value == 0) return "now";
  std::string sign = relative.value > 0 ? "+" : "";
  return sign + std::to_string(relative.value) + " " + relative.label;
}

std::string typeName(TaskType type) {
  switch (type) {
    case TaskType::Discharge:
      return "Discharge";
    case TaskType::PatientRequest:
      return "PatientRequest";
    case TaskType::Undefined:
      break;
  }
  return "Undefined";
}

std::string statusName(TaskStatus status) {
  switch (status) {
    case TaskStatus::Complete:
      return "Complete";
    case TaskStatus::Forward:
      return "Forward";
    case TaskStatus::Overdue:
      return "Overdue";
    case TaskStatus::Normal:
      break;
  }
  return "Normal";
}

std::string dischargeName(DischargeStatus status) {
  switch (status) {
    case DischargeStatus::InThePast:
      return "InThePast";
    case DischargeStatus::InToday:
      return "InToday";
    case DischargeStatus::InTheFuture:
      break;
  }
  return "InTheFuture";
}

std::string patientColumns(const Patient* patient) {
  if (patient == nullptr) return column("", 6) + column("", 20);
  return column(patient->roomNumber(), 6) + column(patient->fullName(), 20);
}

std::string taskLine(const Task* task) {
  return column(whenText(task->dueDate()), 20) + column(relativeText(task->dueDate()), 8) +
         patientColumns(task->patient()) + column(typeName(task->typeEnum()), 15) +
         column(statusName(task->statusEnum()), 9) + task->text();
}

}  // namespace orbelin::demo
