#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/networking/data_source.h"
#include "orbelin/networking/request.h"

namespace orbelin {

// Placeholders of the path templates in "DataSourcePaths".
inline constexpr std::string_view RequestUserIdStringOccurrence = "{userId}";
inline constexpr std::string_view RequestPatientIdStringOccurrence = "{patientId}";
inline constexpr std::string_view RequestShiftIdStringOccurrence = "{shiftId}";

// The first-generation service calls. A value names one call and its
// arguments; execute() sends it (or answers it locally) through the networking
// library:
//
//   Request::Patient("12").execute()->responseJSON(handler);
//
// Remote form: the path template of the call's service name
// (DataSourceManager::pathForServiceName, "" when the host has none), with
// every occurrence of its placeholder replaced literally by the argument (not
// escaped), appended to the base URL with no separator added. Authentication is
// a POST whose JSON body holds exactly "username" and "password"; every other
// call is a GET without body. An id that makes the URL text invalid (a space,
// a control character) is never sent: the handler gets the library's bad-URL
// error.
//
// Local form: the resource "<name>.json" under the library's resource root;
// see localResourceName for the names.
//
// A plain immutable value; copies may be used from any thread.
class Request : public TamberNetworking::DataSourceRequest,
                public TamberNetworking::RequestMatching {
 public:
  enum class Case {
    Authentication,
    Notifications,
    Patients,
    UserTasks,
    UserGroupTasks,
    UserBarriers,
    Patient,
    PatientSummary,
    PatientTasks,
    PatientsTasks,
    Staff,
    Issues,
    StaffForPatient,
    AllTasks,
    TaskSummaryForUser,
    PatientsAndTasksSummaryForUser,
    RoomsForShift,
  };

  static Request Authentication(std::string username, std::string password);
  static Request Notifications(std::string userId);
  static Request Patients(std::string userId);
  static Request UserTasks(std::string userId);
  static Request UserGroupTasks(std::string userId);
  static Request UserBarriers(std::string userId);
  static Request Patient(std::string patientId);
  static Request PatientSummary(std::string patientId);
  static Request PatientTasks(std::string patientId);
  // The ids only name the local resource; the remote path carries none.
  static Request PatientsTasks(std::vector<std::string> patientIds);
  static Request Staff(std::string shiftId);
  static Request Issues(std::string staffId);  // the staff member's id fills "{userId}"
  static Request StaffForPatient(std::string patientId);
  static Request AllTasks();
  static Request TaskSummaryForUser(std::string userId);
  static Request PatientsAndTasksSummaryForUser(std::string userId);
  static Request RoomsForShift(std::string shiftId);

  // Which call this is, and its arguments in the factory's order.
  Case requestCase() const { return case_; }
  const std::vector<std::string>& arguments() const { return arguments_; }

  // The case's name as written above ("PatientsAndTasksSummaryForUser"), and
  // the case of a name (absent for an unknown one).
  static std::string_view caseName(Case requestCase);
  static std::optional<Case> caseNamed(std::string_view name);
  // The service name looked up in "DataSourcePaths" ("PatientsAndTaskSummary"
  // for PatientsAndTasksSummaryForUser, "Authenticate" for Authentication).
  static std::string_view serviceName(Case requestCase);

  // The local resource name, without its type "json": "authentication",
  // "user.<id>.notifications", "user.<id>.patients", "user.<id>.tasks",
  // "user.<id>.tasks.grouped", "user.<id>.barriers.grouped", "patient.<id>",
  // "patient.<id>.summary", "patient.<id>.tasks", "patients.<ids joined
  // by '.'>.tasks" ("patients..tasks" for no ids), "user.shift.<id>",
  // "user.<id>.issues", "patient.<id>.users", "allTasks",
  // "user.<id>.tasksummary", "user.<id>.patientsandtasks",
  // "user.shift.<id>.rooms".
  std::string localResourceName() const;

  // Hands this value to DataSourceManager::request and returns the library
  // request unchanged; never fails (errors reach the attached handler).
  std::shared_ptr<TamberNetworking::Request> execute() const;

  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> baseURLString) const override;
  // Answers from localResourceName(); the URL request is not consulted.
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest& urlRequest) const override;

 private:
  Request(Case requestCase, std::vector<std::string> arguments)
      : case_(requestCase), arguments_(std::move(arguments)) {}

  struct MethodAndPath {
    std::string method;
    std::string path;
  };
  MethodAndPath methodAndPath() const;
  static std::string pathForServiceName(const std::string& name);

  Case case_;
  std::vector<std::string> arguments_;
};

}  // namespace orbelin
