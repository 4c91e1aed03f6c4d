#include <functional>
#include <iostream>

#include "demo.h"
#include "orbelin/endpoints/request.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/main_queue.h"

namespace orbelin::demo {
namespace {

using Arguments = std::vector<std::string>;
using Case = orbelin::Request::Case;

// How many arguments a case takes (-1: any number of ids), and how it is built.
struct CaseCommand {
  int arity;
  std::function<orbelin::Request(const Arguments&)> make;
};

CaseCommand oneId(orbelin::Request (*factory)(std::string)) {
  return {1, [factory](const Arguments& args) { return factory(args[0]); }};
}

CaseCommand commandFor(Case requestCase) {
  using R = orbelin::Request;
  switch (requestCase) {
    case Case::Authentication:
      return {2, [](const Arguments& args) { return R::Authentication(args[0], args[1]); }};
    case Case::PatientsTasks:
      return {-1, [](const Arguments& args) { return R::PatientsTasks(args); }};
    case Case::AllTasks:
      return {0, [](const Arguments&) { return R::AllTasks(); }};
    case Case::Notifications:
      return oneId(&R::Notifications);
    case Case::Patients:
      return oneId(&R::Patients);
    case Case::UserTasks:
      return oneId(&R::UserTasks);
    case Case::UserGroupTasks:
      return oneId(&R::UserGroupTasks);
    case Case::UserBarriers:
      return oneId(&R::UserBarriers);
    case Case::Patient:
      return oneId(&R::Patient);
    case Case::PatientSummary:
      return oneId(&R::PatientSummary);
    case Case::PatientTasks:
      return oneId(&R::PatientTasks);
    case Case::Staff:
      return oneId(&R::Staff);
    case Case::Issues:
      return oneId(&R::Issues);
    case Case::StaffForPatient:
      return oneId(&R::StaffForPatient);
    case Case::TaskSummaryForUser:
      return oneId(&R::TaskSummaryForUser);
    case Case::PatientsAndTasksSummaryForUser:
      return oneId(&R::PatientsAndTasksSummaryForUser);
    case Case::RoomsForShift:
      return oneId(&R::RoomsForShift);
  }
  return {0, nullptr};
}

struct Outcome {
  bool done = false;
  TamberNetworking::JSON json;
  std::optional<Error> error;
};

}  // namespace

int runRequest(const DemoOptions& options) {
  // command = {"request", CASE, ARG...}
  if (options.command.size() < 2) {
    printUsage(std::cerr);
    return kExitUsage;
  }
  auto requestCase = orbelin::Request::caseNamed(options.command[1]);
  if (!requestCase) {
    std::cerr << "orbelin-demo: unknown request case \"" << options.command[1] << "\"\n";
    printUsage(std::cerr);
    return kExitUsage;
  }
  const Arguments arguments(options.command.begin() + 2, options.command.end());
  const CaseCommand command = commandFor(*requestCase);
  if (command.arity >= 0 && arguments.size() != static_cast<std::size_t>(command.arity)) {
    std::cerr << "orbelin-demo: " << options.command[1] << " takes " << command.arity
              << " argument(s)\n";
    printUsage(std::cerr);
    return kExitUsage;
  }

  Outcome outcome;
  command.make(arguments).execute()->validate()->responseJSON(
      [&outcome](auto, auto, TamberNetworking::JSON json, std::optional<Error> error) {
        outcome.json = std::move(json);
        outcome.error = std::move(error);
        outcome.done = true;
      });
  const auto wait = TamberNetworking::DataSourceManager::requestTimeout() + std::chrono::seconds(5);
  if (!platform::MainQueue::runUntil([&] { return outcome.done; }, wait)) {
    std::cerr << "error: no reply within "
              << std::chrono::duration_cast<std::chrono::seconds>(wait).count() << " s\n";
    return kExitFailure;
  }
  if (outcome.error) {
    std::string line = outcome.error->localizedDescription();
    if (auto status = outcome.error->userInfoValue(Error::kStatusCodeKey); !status.empty())
      line += " (HTTP " + status + ")";
    std::cerr << "error: " << line << "\n";
    return kExitFailure;
  }
  std::cout << prettyJSON(outcome.json.raw()) << "\n";
  return kExitSuccess;
}

}  // namespace orbelin::demo
