// `recovery [--stored] [--json] PATIENT_ID` and `patients USER_ID`: the
// second-generation stores over hospitalStore(), whose file lives in the
// documents directory (--documents).
#include <iostream>

#include "demo.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/notification_center.h"
#include "orbelin/stores2/information_booklets2_store.h"
#include "orbelin/stores2/object_store.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/stores2/staff_member2_store.h"
#include "recovery_report.h"
#include "wait_support.h"

namespace orbelin::demo {
namespace {

namespace fs = std::filesystem;
using model2::Patient2;

int usage(const std::string& why) {
  std::cerr << "orbelin-demo: " << why << "\n";
  printUsage(std::cerr);
  return kExitUsage;
}

int failure(const std::string& why) {
  std::cerr << "error: " << why << "\n";
  return kExitFailure;
}

// The store's folder must exist before hospitalStore() opens its file; a new
// one is readable by its owner only, as it holds patient data.
bool prepareDocuments(std::string& why) {
  const fs::path directory = platform::HostEnvironment::documentsDirectory();
  std::error_code error;
  if (fs::is_directory(directory, error)) return true;
  fs::create_directories(directory, error);
  if (!error) fs::permissions(directory, fs::perms::owner_all, fs::perm_options::replace, error);
  if (error) why = "cannot create " + directory.string() + ": " + error.message();
  return !error;
}

struct RecoveryArguments {
  bool stored = false;
  bool json = false;
  std::string patientId;
};

std::optional<RecoveryArguments> recoveryArguments(const std::vector<std::string>& command) {
  RecoveryArguments arguments;
  std::vector<std::string> rest;
  for (std::size_t i = 1; i < command.size(); ++i) {
    if (command[i] == "--stored") {
      arguments.stored = true;
    } else if (command[i] == "--json") {
      arguments.json = true;
    } else if (command[i].rfind("--", 0) == 0) {
      return std::nullopt;
    } else {
      rest.push_back(command[i]);
    }
  }
  if (rest.size() != 1 || rest[0].empty()) return std::nullopt;
  arguments.patientId = rest[0];
  return arguments;
}

// Downloads the patient; absent (after an error line) when that failed.
std::optional<int> downloadPatient(const std::string& patientId, Patient2*& patient) {
  bool done = false;
  std::optional<Error> error;
  Patient2Store::downloadPatient(patientId, [&](Patient2* received, std::optional<Error> failed) {
    patient = received;
    error = std::move(failed);
    done = true;
  });
  if (!waitFor([&] { return done; })) return failure("no reply for the patient");
  if (error) return failure("patient " + patientId + ": " + errorLine(*error));
  if (patient == nullptr) return failure("patient " + patientId + ": the reply was empty");
  return std::nullopt;
}

// Downloads the care team and the booklets together; the text of their
// errors ("" when none).
std::string downloadMembers(Patient2* patient) {
  int pending = 2;
  std::optional<Error> staffError, bookletError;
  StaffMember2Store::downloadStaffMembers(patient, [&](auto, std::optional<Error> error) {
    staffError = std::move(error);
    --pending;
  });
  InformationBooklets2Store::downloadInformationBooklets(patient,
                                                         [&](auto, std::optional<Error> error) {
                                                           bookletError = std::move(error);
                                                           --pending;
                                                         });
  if (!waitFor([&] { return pending == 0; })) return "no reply for the care team or booklets";
  std::string why;
  if (staffError) why = "care team: " + errorLine(*staffError);
  if (bookletError)
    why += (why.empty() ? "" : "; ") + std::string("booklets: ") + errorLine(*bookletError);
  return why;
}

Patient2* storedPatient(const std::string& patientId) {
  Patient2* found = nullptr;
  Patient2Store::patient(patientId, [&](Patient2* patient, auto) { found = patient; });
  return found;
}

// The store with its file attached, or absent with the reason in `why`. A
// file that another process keeps locked has been waited for (a bounded
// wait) by the time this returns.
ObjectStore* attachedStore(std::string& why) {
  ObjectStore& store = hospitalStore();
  if (!store.mainQueueContext()) {
    why = "the object store has no model";
    return nullptr;
  }
  if (auto error = store.storeOpenError()) {
    why = "the store " + store.storeArchivePath() + " is not attached: " + errorLine(*error);
    return nullptr;
  }
  store.clearLastSaveError();
  return &store;
}

// "" when every save since the last call succeeded, else why one failed.
std::string saveFailure(ObjectStore& store) {
  auto error = store.lastSaveError();
  store.clearLastSaveError();
  return error ? errorLine(*error) : std::string();
}

// The host's part at the end of a run: the store saves and folds its log
// into the file, so MainStore.sqlite alone holds what was downloaded.
struct TerminateAtExit {
  ~TerminateAtExit() { platform::Application::willTerminate(); }
};

}  // namespace

int runRecovery(const DemoOptions& options) {
  auto arguments = recoveryArguments(options.command);
  if (!arguments) return usage("recovery takes [--stored] [--json] and one patient id");
  std::string why;
  if (!prepareDocuments(why)) return failure(why);
  // The stores' own lines ("GET ...", "Request2.StaffMember error: ...") stay
  // off stdout; failures end in one "error:" line instead.
  platform::ConsoleCapture quiet;
  ObjectStore* store = attachedStore(why);
  if (store == nullptr) return failure(why);
  TerminateAtExit terminate;

  std::string memberFailure;
  if (!arguments->stored) {
    Patient2* downloaded = nullptr;
    if (auto exit = downloadPatient(arguments->patientId, downloaded)) return *exit;
    if (std::string failed = saveFailure(*store); !failed.empty())
      return failure("could not save patient " + arguments->patientId + ": " + failed);
    if (!arguments->json) {
      memberFailure = downloadMembers(downloaded);
      if (std::string failed = saveFailure(*store); !failed.empty())
        memberFailure = "could not save the care team or booklets of patient " +
                        arguments->patientId + ": " + failed +
                        (memberFailure.empty() ? "" : "; " + memberFailure);
    }
  }
  Patient2* patient = storedPatient(arguments->patientId);
  if (patient == nullptr) {
    if (auto error = store->storeOpenError())
      return failure("the store " + store->storeArchivePath() +
                     " is not attached: " + errorLine(*error));
    return failure("no stored patient " + arguments->patientId);
  }
  if (arguments->json) {
    auto text = patient->getAsJSONString();
    if (!text) return failure("the patient cannot be written as JSON");
    std::cout << *text << "\n";
    return kExitSuccess;
  }
  writeRecoveryReport(std::cout, *patient);
  std::cout.flush();
  if (!memberFailure.empty()) return failure(memberFailure);
  return kExitSuccess;
}

int runPatients(const DemoOptions& options) {
  if (options.command.size() != 2 || options.command[1].empty())
    return usage("patients takes one user id");
  std::string why;
  if (!prepareDocuments(why)) return failure(why);
  platform::ConsoleCapture quiet;
  ObjectStore* store = attachedStore(why);
  if (store == nullptr) return failure(why);
  TerminateAtExit terminate;
  bool done = false;
  std::optional<std::vector<Patient2*>> patients;
  std::optional<Error> error;
  Patient2Store::downloadPatientsForUserId(options.command[1], [&](auto list, auto failed) {
    patients = std::move(list);
    error = std::move(failed);
    done = true;
  });
  if (!waitFor([&] { return done; })) return failure("no reply for the patients");
  if (error) return failure("patients of user " + options.command[1] + ": " + errorLine(*error));
  // Listed patients must be there for `recovery --stored`.
  if (std::string failed = saveFailure(*store); !failed.empty())
    return failure("could not save the patients of user " + options.command[1] + ": " + failed);
  for (Patient2* patient : patients.value_or(std::vector<Patient2*>{})) {
    auto text = [patient](const char* key) { return patient->value(key).stringValue(); };
    graph::ManagedObject* bed = patient->object("bed");
    std::cout << text("patientId") << "  " << text("firstName") << " " << text("lastName") << "  "
              << (text("status").empty() ? "-" : text("status")) << "  bed "
              << (bed ? bed->value("bedNumber").stringValue() : "-") << "\n";
  }
  return kExitSuccess;
}

}  // namespace orbelin::demo
