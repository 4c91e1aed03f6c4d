#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entities.h"
#include "orbelin/platform/error.h"

namespace orbelin {

// Patients of the recovery-path screens: downloaded from the hospital service
// through restAPI() / RestApiUtil into hospitalStore(), or read back from it.
//
// Every download imports the reply into NEW objects (nested records
// included) in the store's background context and saves them; nothing is
// matched against what is already stored, so downloading a patient twice
// leaves two copies. A save that fails is logged and rolled back by the store
// (the objects handed out are then detached); it is not reported here.
//
// Threads: the completion handlers of the downloads run on the main queue
// (platform::MainQueue), where the networking library delivers replies; the
// import runs there too, inside backgroundQueueContext()->performAndWait, so
// a save from another thread never sees a half-filled object. When a handler
// runs, the save has been merged: fetches in mainQueueContext() find the new
// objects. patient() calls its handler synchronously, before it returns, on
// the caller's thread.
//
// Ownership: objects from the downloads belong to hospitalStore()'s
// background context; objects from patient() to its main context. The
// context owns them and outlives the process's use of them (never delete
// them); read them through their accessors, which take their context's lock.
//
// Every completion handler is called exactly once.
class Patient2Store {
 public:
  using PatientHandler = std::function<void(model2::Patient2* patient, std::optional<Error> error)>;
  using PatientsHandler = std::function<void(std::optional<std::vector<model2::Patient2*>> patients,
                                             std::optional<Error> error)>;

  // GET "hospital/patients/patient.<id>". On an error, logs
  // "Request2.Patient error: " + its localized description and hands it on
  // with no patient; with a reply, imports it and hands the new patient on;
  // with neither, no patient and no error.
  static void downloadPatient(const std::string& patientId, PatientHandler completionHandler);

  // The stored patient whose patientId equals `patientId` (the most recently
  // saved one when there are several), fetched in the main context; else no
  // patient and the error "OrbelinData" / -1. No request is made.
  // REQUIRES: the main thread, or another thread while the main thread
  // drains the main queue (the fetch runs there and is waited for).
  static void patient(const std::string& patientId, PatientHandler completionHandler);

  // GET "hospital/user/user.<id>.patients", a reply {"patients": [...]}: each
  // element that is a dictionary is imported (and saved) in array order; the
  // list of new patients, possibly empty, with no error. A reply without a
  // "patients" array, or not a JSON object, gives an empty list. On an error:
  // no list and the error, nothing logged.
  static void downloadPatientsForUserId(const std::string& userId,
                                        PatientsHandler completionHandler);

  // The import steps, public for the benchmark and the fuzz target: a new
  // Patient in the background context, filled and saved. Null only when the
  // store has no context.
  static model2::Patient2* patientFromJSON(std::string_view text);
  static model2::Patient2* patientFromDictionary(const model2::Dictionary& dictionary);
};

}  // namespace orbelin
