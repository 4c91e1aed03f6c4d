#include "orbelin/endpoints/request.h"

#include <array>

#include "endpoint_support.h"
#include "orbelin/config/data_source_manager.h"

namespace orbelin {
namespace {

using Case = Request::Case;

// One row per case, in declaration order: its name, the service name of its
// path template, the placeholder its argument fills ("" for none), and the
// local resource name around the argument.
struct CaseInfo {
  Case requestCase;
  std::string_view name;
  std::string_view service;
  std::string_view placeholder;
  std::string_view resourcePrefix;
  std::string_view resourceSuffix;
};

constexpr std::array<CaseInfo, 17> kCases{{
    {Case::Authentication, "Authentication", "Authenticate", "", "authentication", ""},
    {Case::Notifications, "Notifications", "Notifications", RequestUserIdStringOccurrence, "user.",
     ".notifications"},
    {Case::Patients, "Patients", "Patients", RequestUserIdStringOccurrence, "user.", ".patients"},
    {Case::UserTasks, "UserTasks", "UserTasks", RequestUserIdStringOccurrence, "user.", ".tasks"},
    {Case::UserGroupTasks, "UserGroupTasks", "UserGroupTasks", RequestUserIdStringOccurrence,
     "user.", ".tasks.grouped"},
    {Case::UserBarriers, "UserBarriers", "UserBarriers", RequestUserIdStringOccurrence, "user.",
     ".barriers.grouped"},
    {Case::Patient, "Patient", "Patient", RequestPatientIdStringOccurrence, "patient.", ""},
    {Case::PatientSummary, "PatientSummary", "PatientSummary", RequestPatientIdStringOccurrence,
     "patient.", ".summary"},
    {Case::PatientTasks, "PatientTasks", "PatientTasks", RequestPatientIdStringOccurrence,
     "patient.", ".tasks"},
    {Case::PatientsTasks, "PatientsTasks", "PatientsTasks", "", "patients.", ".tasks"},
    {Case::Staff, "Staff", "Staff", RequestShiftIdStringOccurrence, "user.shift.", ""},
    {Case::Issues, "Issues", "Issues", RequestUserIdStringOccurrence, "user.", ".issues"},
    {Case::StaffForPatient, "StaffForPatient", "StaffForPatient", RequestPatientIdStringOccurrence,
     "patient.", ".users"},
    {Case::AllTasks, "AllTasks", "AllTasks", "", "allTasks", ""},
    {Case::TaskSummaryForUser, "TaskSummaryForUser", "TaskSummaryForUser",
     RequestUserIdStringOccurrence, "user.", ".tasksummary"},
    {Case::PatientsAndTasksSummaryForUser, "PatientsAndTasksSummaryForUser",
     "PatientsAndTaskSummary", RequestUserIdStringOccurrence, "user.", ".patientsandtasks"},
    {Case::RoomsForShift, "RoomsForShift", "RoomsForShift", RequestShiftIdStringOccurrence,
     "user.shift.", ".rooms"},
}};

const CaseInfo& infoOf(Case requestCase) {
  return kCases[static_cast<std::size_t>(requestCase)];
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) text += separator;
    text += parts[i];
  }
  return text;
}

}  // namespace

Request Request::Authentication(std::string username, std::string password) {
  return Request(Case::Authentication, {std::move(username), std::move(password)});
}
Request Request::Notifications(std::string userId) {
  return Request(Case::Notifications, {std::move(userId)});
}
Request Request::Patients(std::string userId) {
  return Request(Case::Patients, {std::move(userId)});
}
Request Request::UserTasks(std::string userId) {
  return Request(Case::UserTasks, {std::move(userId)});
}
Request Request::UserGroupTasks(std::string userId) {
  return Request(Case::UserGroupTasks, {std::move(userId)});
}
Request Request::UserBarriers(std::string userId) {
  return Request(Case::UserBarriers, {std::move(userId)});
}
Request Request::Patient(std::string patientId) {
  return Request(Case::Patient, {std::move(patientId)});
}
Request Request::PatientSummary(std::string patientId) {
  return Request(Case::PatientSummary, {std::move(patientId)});
}
Request Request::PatientTasks(std::string patientId) {
  return Request(Case::PatientTasks, {std::move(patientId)});
}
Request Request::PatientsTasks(std::vector<std::string> patientIds) {
  return Request(Case::PatientsTasks, std::move(patientIds));
}
Request Request::Staff(std::string shiftId) {
  return Request(Case::Staff, {std::move(shiftId)});
}
Request Request::Issues(std::string staffId) {
  return Request(Case::Issues, {std::move(staffId)});
}
Request Request::StaffForPatient(std::string patientId) {
  return Request(Case::StaffForPatient, {std::move(patientId)});
}
Request Request::AllTasks() {
  return Request(Case::AllTasks, {});
}
Request Request::TaskSummaryForUser(std::string userId) {
  return Request(Case::TaskSummaryForUser, {std::move(userId)});
}
Request Request::PatientsAndTasksSummaryForUser(std::string userId) {
  return Request(Case::PatientsAndTasksSummaryForUser, {std::move(userId)});
}
Request Request::RoomsForShift(std::string shiftId) {
  return Request(Case::RoomsForShift, {std::move(shiftId)});
}

std::string_view Request::caseName(Case requestCase) {
  return infoOf(requestCase).name;
}

std::optional<Request::Case> Request::caseNamed(std::string_view name) {
  for (const auto& info : kCases) {
    if (info.name == name) return info.requestCase;
  }
  return std::nullopt;
}

std::string_view Request::serviceName(Case requestCase) {
  return infoOf(requestCase).service;
}

std::string Request::localResourceName() const {
  const CaseInfo& info = infoOf(case_);
  std::string middle;
  if (case_ == Case::PatientsTasks) {
    middle = joined(arguments_, ".");
  } else if (!info.placeholder.empty()) {
    middle = arguments_.front();
  }
  return std::string(info.resourcePrefix) + middle + std::string(info.resourceSuffix);
}

std::string Request::pathForServiceName(const std::string& name) {
  return DataSourceManager::pathForServiceName(name);
}

Request::MethodAndPath Request::methodAndPath() const {
  const CaseInfo& info = infoOf(case_);
  std::string path = pathForServiceName(std::string(info.service));
  if (!info.placeholder.empty())
    path = endpoint_support::replacingAll(std::move(path), info.placeholder, arguments_.front());
  return {case_ == Case::Authentication ? "POST" : "GET", std::move(path)};
}

TamberNetworking::URLRequest Request::urlRequestWithBaseURLString(
    std::optional<std::string> baseURLString) const {
  MethodAndPath methodPath = methodAndPath();
  auto urlRequest =
      endpoint_support::urlRequestFor(baseURLString, methodPath.path, methodPath.method);
  if (case_ != Case::Authentication) return urlRequest;
  return endpoint_support::withCredentials(urlRequest, arguments_[0], arguments_[1]);
}

TamberNetworking::Response Request::responseForURLRequest(
    const TamberNetworking::URLRequest& /*urlRequest*/) const {
  return TamberNetworking::Response().withResource(localResourceName(), "json");
}

std::shared_ptr<TamberNetworking::Request> Request::execute() const {
  return DataSourceManager::request(*this);
}

}  // namespace orbelin
