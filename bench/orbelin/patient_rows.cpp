// The recovery-path patient of about 4,400 objects: its import and save
// against a hand-written walk into the same tables, the re-import of its
// export (identifier texts resolved against the store) against the import
// of the original, and its export against Boost.JSON's serializer.

#include <cstdio>
#include <memory>

#include <boost/json.hpp>

#include "hospital_patient.h"
#include "orbelin/model2/entities.h"
#include "orbelin/platform/host_environment.h"
#include "raw_sqlite.h"
#include "rows.h"

namespace orbelin::bench {

namespace {

namespace fs = std::filesystem;

std::unique_ptr<ObjectStore> hospitalStoreIn(const fs::path& folder) {
  platform::HostEnvironment::setDocumentsDirectory(folder);
  return std::make_unique<ObjectStore>();
}

// The patient imported once into a fresh store, and its export.
struct StoredPatient {
  explicit StoredPatient(const Scratch& scratch)
      : original(hospitalPatient()), store(hospitalStoreIn(scratch.fresh("store"))) {
    importPatientText(*store, original.text, &patient);
    std::optional<std::string> text;
    store->backgroundQueueContext()->performAndWait([&] { text = patient->getAsJSONString(); });
    if (!text) {
      std::fprintf(stderr, "the patient could not be exported\n");
      std::abort();
    }
    exported = *text;
  }
  PatientText original;
  std::unique_ptr<ObjectStore> store;
  model2::Patient2* patient = nullptr;
  std::string exported;
};

}  // namespace

void importPatient(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("import");
  const PatientText patient = hospitalPatient();
  const fs::path folder = scratch.fresh("store");
  auto store = hospitalStoreIn(folder);
  const fs::path storeFile = folder / ObjectStore::MAIN_STORE_NAME;
  const fs::path rawFile = scratch.fresh("raw") / "raw.sqlite";
  sqlite3* raw = createRaw(rawFile, schemaOf(storeFile));
  std::size_t rows = 0;
  {
    SchemaWalk walk(raw, *store->model());
    auto ours = [&] { return importPatientText(*store, patient.text); };
    auto baseline = [&] { return secondsOf([&] { rows = walk.insert(patient.text); }); };
    // The first of each writes one patient into an empty file: the two
    // files must then hold the same rows, or the baseline does other work.
    ours();
    baseline();
    std::string differences = rowCountDifferences(storeFile, rawFile);
    progress(std::to_string(patient.objects) + " objects, " + std::to_string(patient.text.size()) +
             " bytes of text, " + std::to_string(rows) + " rows per import" +
             (differences.empty() ? ", the same rows in both files"
                                  : "; ROW COUNTS DIFFER: " + differences));
    auto medians = interleaved(options.reps(21, 5), {ours, baseline}, false);
    reportTiming(
        "import + save of a 4,400-object patient vs parse + walk + INSERT into same schema",
        medians[0], medians[1], 1.3);
  }
  sqlite3_close(raw);
}

void reimportExport(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("reimport");
  StoredPatient stored(scratch);
  const PatientText& original = stored.original;
  const std::string& text = stored.exported;
  ObjectStore* store = stored.store.get();
  progress("export: " + std::to_string(text.size()) + " bytes (original " +
           std::to_string(original.text.size()) + ")");
  auto ours = [&] { return importPatientText(*store, text); };
  auto baseline = [&] { return importPatientText(*store, original.text); };
  auto medians = interleaved(options.reps(15, 5), {ours, baseline});
  reportTiming("re-import of an exported patient vs import of the original", medians[0], medians[1],
               1.5);

  // The same re-import into a fresh store holding 1 and 10 imports; the
  // import of the original beside it tells resolving identifiers apart from
  // what any import pays for a fuller store.
  int round = 0;
  auto afterImports = [&](int imports, const std::string* measured) {
    return [&, imports, measured] {
      auto fresh = hospitalStoreIn(scratch.fresh("store-" + std::to_string(++round)));
      for (int i = 0; i < imports; ++i) importPatientText(*fresh, original.text);
      return importPatientText(*fresh, *measured);
    };
  };
  auto flat = interleaved(options.reps(21, 3),
                          {afterImports(10, &text), afterImports(1, &text),
                           afterImports(10, &original.text), afterImports(1, &original.text)},
                          false);
  progress("import of the original: " + formatSeconds(flat[2]) + " with 10 patients stored, " +
           formatSeconds(flat[3]) + " with 1");
  reportTiming("  same re-import: 10 patients stored vs 1 (flat)", flat[0], flat[1], 1.25);
}

void exportPatient(const Options& options) {
  QuietConsole quiet;
  Scratch scratch("export");
  StoredPatient stored(scratch);
  model2::Patient2* patient = stored.patient;
  // The tree of what the export says, parsed back.
  const boost::json::value tree = boost::json::parse(stored.exported);
  auto context = stored.store->backgroundQueueContext();
  std::size_t written = 0;
  auto ours = [&] {
    double seconds = 0;
    context->performAndWait(
        [&] { seconds = secondsOf([&] { written = patient->getAsJSONString()->size(); }); });
    return seconds;
  };
  auto baseline = [&] { return secondsOf([&] { written = boost::json::serialize(tree).size(); }); };
  auto medians = interleaved(options.reps(31, 7), {ours, baseline});
  reportTiming("getAsJSONString of that patient vs boost::json::serialize of its tree", medians[0],
               medians[1], 2);
}

}  // namespace orbelin::bench
