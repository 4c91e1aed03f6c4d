// The process-wide hospital store through its download stores, in local
// mode over the bundled sample hospital: looking up a stored patient, the
// heap over many patient downloads, and the time of one download.

#include <cstdio>
#include <cstdlib>

#include <boost/json.hpp>

#include "orbelin/model2/entities.h"
#include "orbelin/stores2/object_store.h"
#include "orbelin/stores2/patient2_store.h"
#include "raw_sqlite.h"
#include "rows.h"
#include "sample.h"

namespace orbelin::bench {

namespace {

// The patient's own row as a host reads it by hand.
struct PatientRow {
  std::int64_t pk = 0;
  std::string patientId, firstName, lastName, gender;
  double birthDate = 0;
  std::string acuity, ambulatoryStatus, physicianName, status;
};

}  // namespace

void storedPatientLookup(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("stored-patient");
  constexpr int kPatients = 1100;
  // The largest sample patient, stored under 1,100 different ids.
  boost::json::object sample =
      boost::json::parse(useLocalSample(scratch.path() / "documents").text).as_object();
  auto idOf = [](int k) { return "bench-" + std::to_string((k * 7) % kPatients); };
  ObjectStore& store = hospitalStore();
  store.backgroundQueueContext()->performAndWait([&] {
    for (int i = 0; i < kPatients; ++i) {
      sample["patientId"] = idOf(i);
      dynamic_cast<model2::Patient2&>(*store.createObject("Patient"))
          .setPropertiesFromDictionary(sample);
    }
  });
  if (!store.saveChanges()) std::abort();

  sqlite3* raw = openRaw(scratch.path() / "documents" / ObjectStore::MAIN_STORE_NAME);
  Statement select(raw,
                   "SELECT Z_PK, \"patientId\", \"firstName\", \"lastName\", \"gender\", "
                   "\"birthDate\", \"acuity\", \"ambulatoryStatus\", \"physicianName\", \"status\" "
                   "FROM \"ZPatient\" WHERE \"patientId\" = ? ORDER BY Z_PK DESC LIMIT 1");
  // Every lookup asks for a patient not asked for before (7 is prime to 1,100).
  const int lookups = 50;
  int oursNext = 0, rawNext = 0;
  auto ours = [&] {
    int found = 0;
    double seconds = secondsOf([&] {
      for (int i = 0; i < lookups; ++i)
        Patient2Store::patient(idOf(oursNext++), [&](model2::Patient2* patient, auto) {
          found += patient != nullptr;
        });
    });
    if (found != lookups) std::abort();
    return seconds;
  };
  auto baseline = [&] {
    int found = 0;
    double seconds = secondsOf([&] {
      for (int i = 0; i < lookups; ++i) {
        sqlite3_stmt* stmt = select.get();
        bindText(stmt, 1, idOf(rawNext++));
        while (sqlite3_step(stmt) == SQLITE_ROW) {
          PatientRow row{sqlite3_column_int64(stmt, 0), columnText(stmt, 1),
                         columnText(stmt, 2),           columnText(stmt, 3),
                         columnText(stmt, 4),           sqlite3_column_double(stmt, 5),
                         columnText(stmt, 6),           columnText(stmt, 7),
                         columnText(stmt, 8),           columnText(stmt, 9)};
          found += !row.patientId.empty();
        }
        sqlite3_reset(stmt);
      }
    });
    if (found != lookups) std::abort();
    return seconds;
  };
  // (reps + warm-up) * lookups stays within the 1,100 patients.
  auto medians = interleaved(options.reps(21, 5), {ours, baseline});
  reportTiming("Patient2Store::patient(id) with 1,100 patients stored (per lookup)", medians[0],
               medians[1], 5, lookups);
  sqlite3_close(raw);
}

void downloadMemory(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("download-memory");
  const SamplePatient patient = useLocalSample(scratch.path() / "documents");
  const int early = 100, total = options.quick ? 300 : 1000;
  downloadPatient(patient.id);  // opens the store file, loads the model
  const std::size_t start = heapBytes();
  for (int i = 1; i < early; ++i) downloadPatient(patient.id);
  const std::size_t afterEarly = heapBytes();
  for (int i = early; i < total; ++i) downloadPatient(patient.id);
  const std::size_t afterAll = heapBytes();
  const double earlyGrowth = static_cast<double>(afterEarly - start) / (early - 1);
  const double lateGrowth = static_cast<double>(afterAll - afterEarly) / (total - early);
  progress("objects held by the background context: " +
           std::to_string(hospitalStore().backgroundQueueContext()->registeredCount()) + " after " +
           std::to_string(total) + " downloads of " + std::to_string(patient.text.size()) +
           " bytes each");
  reportRatio("heap over " + std::to_string(total) +
                  " local patient downloads: growth per download, later vs first 100",
              formatBytes(lateGrowth) + "/download (heap " +
                  formatBytes(static_cast<double>(afterAll)) + " at " + std::to_string(total) + ")",
              formatBytes(earlyGrowth) + "/download (heap " +
                  formatBytes(static_cast<double>(afterEarly)) + " at " + std::to_string(early) +
                  ")",
              earlyGrowth > 0 ? lateGrowth / earlyGrowth : 0, 1.25, "flat: ");
}

void downloadPatientTime(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("download-time");
  const SamplePatient patient = useLocalSample(scratch.path() / "documents");
  auto ours = [&] { return secondsOf([&] { downloadPatient(patient.id); }); };
  auto baseline = [&] {
    return secondsOf([&] {
      if (!boost::json::parse(patient.text).is_object()) std::abort();
    });
  };
  auto medians = interleaved(options.reps(201, 31), {ours, baseline});
  reportTiming("  downloadPatient (local) to its handler vs Boost.JSON parse of the reply",
               medians[0], medians[1], 0);
}

}  // namespace orbelin::bench
