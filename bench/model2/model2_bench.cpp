// Imports one recovery-path patient of realistic size (5 lists of 20 dated
// values, 20 vitals with notes, 30 appointments, 50 instructions with 3
// actions each, 10 medical tests with 5 results, a care team of 12 and 10
// booklets of 8 sections) from JSON text with setPropertiesFromJSONString
// into the background context of an ObjectStore on a temporary folder, and
// saves. The baseline, measured in the same run: parsing the same text with
// Boost.JSON and inserting as many rows with raw SQLite prepared statements
// in one transaction.
//
// Usage: model2_bench [iterations]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sqlite3.h>
#include <unistd.h>

#include <boost/json.hpp>

#include "orbelin/model2/entities.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace json = boost::json;

std::string stamp(int day, int minute) {
  char text[32];
  std::snprintf(text, sizeof text, "2015-%02d-%02d %02d:%02d:00", 4 + day / 28, 1 + day % 28,
                (minute / 60) % 24, minute % 60);
  return text;
}

json::array datedValues(const char* stem, int count) {
  json::array list;
  for (int i = 0; i < count; ++i)
    list.push_back(json::object{{"entityName", "DatedValue"},
                                {"date", stamp(i, 600 + i)},
                                {"value", std::string(stem) + " " + std::to_string(i)}});
  return list;
}

json::object staff(int i) {
  return {{"entityName", "StaffMember"},
          {"staffId", "s" + std::to_string(i)},
          {"firstName", "First" + std::to_string(i)},
          {"lastName", "Last"},
          {"role", "Nurse"},
          {"phoneNumber", "555-0100"},
          {"email", "staff@example.org"}};
}

// The patient's text and the number of objects it describes.
std::pair<std::string, int> patientText() {
  int objects = 1;
  json::object patient{{"entityName", "Patient"},   {"patientId", "p1"},
                       {"firstName", "Ada"},        {"lastName", "Lovelace"},
                       {"gender", "Female"},        {"birthDate", "1960-12-18 00:00:00"},
                       {"physicianName", "Dr. Who"}};
  for (const char* list : {"allergies", "barriers", "diagnoses", "diets", "symptoms"}) {
    patient[list] = datedValues(list, 20);
    objects += 20;
  }
  json::array vitals;
  for (int i = 0; i < 20; ++i) {
    json::object note{{"entityName", "Note"},
                      {"created", stamp(1, i)},
                      {"lastModified", stamp(1, i + 1)},
                      {"number", 36.5 + i / 10.0},
                      {"text", "measured after the walk"}};
    vitals.push_back(json::object{{"entityName", "Vital"},
                                  {"type", "Pain"},
                                  {"comments", "steady"},
                                  {"measurement", std::move(note)}});
    objects += 2;
  }
  patient["vitals"] = std::move(vitals);

  json::object path{{"entityName", "RecoveryPath"}, {"admissionDate", stamp(0, 480)}};
  objects += 1;
  json::array appointments, instructions, tests, team, booklets;
  for (int i = 0; i < 30; ++i, ++objects)
    appointments.push_back(json::object{{"entityName", "Appoitment"},
                                        {"shortDesc", "Visit " + std::to_string(i)},
                                        {"dateTime", stamp(i, 540)},
                                        {"status", "Scheduled"},
                                        {"location", "Clinic B"}});
  for (int i = 0; i < 50; ++i, ++objects) {
    json::array actions;
    for (int j = 0; j < 3; ++j, ++objects)
      actions.push_back(json::object{{"entityName", "InstructionAction"},
                                     {"type", "Complete"},
                                     {"timeStamp", stamp(i % 28, 600 + j)},
                                     {"comments", "done"}});
    instructions.push_back(json::object{{"entityName", "Instruction"},
                                        {"shortDesc", "Walk twice a day"},
                                        {"status", "Issued"},
                                        {"frequencyUnit", 2},
                                        {"needsReminder", true},
                                        {"createdAt", stamp(i % 28, 420)},
                                        {"actions", std::move(actions)}});
  }
  for (int i = 0; i < 10; ++i, ++objects) {
    json::array results;
    for (int j = 0; j < 5; ++j, ++objects)
      results.push_back(json::object{{"entityName", "TestResult"},
                                     {"abnormal", j == 4},
                                     {"analysis", "within range"},
                                     {"timeStamp", stamp(i, j)}});
    tests.push_back(json::object{{"entityName", "MedicalTest"},
                                 {"testId", "t" + std::to_string(i)},
                                 {"shortDesc", "Blood count"},
                                 {"dateTime", stamp(i, 300)},
                                 {"normalMax", 11.5},
                                 {"normalMin", 4.5},
                                 {"results", std::move(results)}});
  }
  for (int i = 0; i < 12; ++i, ++objects) team.push_back(staff(i));
  for (int i = 0; i < 10; ++i, ++objects) {
    json::array sections;
    for (int j = 0; j < 8; ++j, ++objects)
      sections.push_back(json::object{{"entityName", "BookletSection"},
                                      {"category", "Diet"},
                                      {"title", "Section " + std::to_string(j)},
                                      {"body", std::string(400, 'x')}});
    booklets.push_back(json::object{{"entityName", "InformationBooklet"},
                                    {"bookletId", "b" + std::to_string(i)},
                                    {"title", "Going home"},
                                    {"created", stamp(0, 0)},
                                    {"sections", std::move(sections)}});
  }
  path["appoitments"] = std::move(appointments);
  path["instructions"] = std::move(instructions);
  path["medicalTests"] = std::move(tests);
  path["careTeam"] = std::move(team);
  path["informationBooklets"] = std::move(booklets);
  patient["recoveryPath"] = std::move(path);
  return {json::serialize(patient), objects};
}

double seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// One import with the library; seconds.
double importOnce(orbelin::ObjectStore& store, const std::string& text) {
  auto context = store.backgroundQueueContext();
  auto start = Clock::now();
  context->performAndWait([&] {
    auto* patient =
        dynamic_cast<orbelin::model2::NSManagedObjectEx*>(store.createObject("Patient"));
    if (!patient) std::abort();
    auto parsed = Clock::now();
    patient->setPropertiesFromJSONString(text);
    if (std::getenv("MODEL2_BENCH_SPLIT"))
      std::printf("queued %.3f ms, read %.3f ms; ", seconds(parsed - start) * 1e3,
                  seconds(Clock::now() - parsed) * 1e3);
  });
  auto filled = Clock::now();
  if (!store.saveChanges()) std::abort();
  if (std::getenv("MODEL2_BENCH_SPLIT"))
    std::printf("fill %.3f ms, save %.3f ms\n", seconds(filled - start) * 1e3,
                seconds(Clock::now() - filled) * 1e3);
  return seconds(Clock::now() - start);
}

// The floor: parse the same text and insert as many rows of five columns,
// one prepared statement, one transaction.
double baselineOnce(sqlite3* db, const std::string& text, int rows) {
  auto start = Clock::now();
  json::value parsed = json::parse(text);
  if (!parsed.is_object()) std::abort();
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO rows(a, b, c, d, e) VALUES(?, ?, ?, ?, ?)", -1, &insert,
                     nullptr);
  for (int i = 0; i < rows; ++i) {
    sqlite3_bind_int64(insert, 1, i);
    sqlite3_bind_text(insert, 2, "Walk twice a day", -1, SQLITE_STATIC);
    sqlite3_bind_double(insert, 3, 1429609260.0 + i);
    sqlite3_bind_text(insert, 4, "Issued", -1, SQLITE_STATIC);
    sqlite3_bind_int64(insert, 5, i % 7);
    if (sqlite3_step(insert) != SQLITE_DONE) std::abort();
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  return seconds(Clock::now() - start);
}

}  // namespace

int main(int argc, char** argv) {
  int iterations = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  auto folder = std::filesystem::temp_directory_path() /
                ("orbelin-model2-bench-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  orbelin::platform::HostEnvironment::setDocumentsDirectory(folder);
  orbelin::model2::registerHospitalModel();
  auto [text, objects] = patientText();

  std::vector<double> imports, baselines;
  {
    orbelin::platform::ConsoleCapture quiet;
    orbelin::ObjectStore store;
    sqlite3* db = nullptr;
    if (sqlite3_open((folder / "baseline.sqlite").c_str(), &db) != SQLITE_OK) return 1;
    // The same journal settings as the object store's file.
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "CREATE TABLE rows(a INTEGER, b TEXT, c REAL, d TEXT, e INTEGER)", nullptr,
                 nullptr, nullptr);
    importOnce(store, text);  // warm-up: caches, file growth
    baselineOnce(db, text, objects);
    // Back to back, so both see the same machine load.
    for (int i = 0; i < iterations; ++i) {
      imports.push_back(importOnce(store, text));
      baselines.push_back(baselineOnce(db, text, objects));
    }
    sqlite3_close(db);
    if (!quiet.lines().empty()) std::printf("console: %s\n", quiet.lines().front().c_str());
  }
  std::filesystem::remove_all(folder);

  // The fastest runs measure the work; the medians also carry the machine's
  // load (the import hops to the context's queue and back, the baseline not).
  double import = *std::min_element(imports.begin(), imports.end());
  double baseline = *std::min_element(baselines.begin(), baselines.end());
  std::printf("patient text: %zu bytes, %d objects, %d iterations\n", text.size(), objects,
              iterations);
  std::printf("import + save:           fastest %8.3f ms  %10.0f objects/s  (median %.3f ms)\n",
              import * 1e3, objects / import, median(imports) * 1e3);
  std::printf("baseline parse + insert: fastest %8.3f ms  %10.0f rows/s     (median %.3f ms)\n",
              baseline * 1e3, objects / baseline, median(baselines) * 1e3);
  std::printf("ratio import / baseline: %.2f fastest, %.2f median (aim: within 3)\n",
              import / baseline, median(imports) / median(baselines));
  return 0;
}
