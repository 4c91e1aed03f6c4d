// Object graph benchmark. Each figure is printed beside a baseline measured
// in the same run, with the ratio between them:
//  - saving 100,000 new five-attribute objects through the object store's
//    background context, against raw SQLite inserting the same rows with one
//    prepared statement in one transaction (same journal settings);
//  - fetching them back as objects in a fresh store's main context, against
//    a raw SELECT into plain structs;
//  - finding one of them by its identifier (1,000 lookups), against an
//    indexed SELECT into a struct;
//  - changing one attribute of 10,000 of them and saving, against raw
//    SQLite updating that column with one prepared statement in one
//    transaction;
//  - inserting 1,000,000 objects into an in-memory context: objects per
//    second and heap bytes per object.
// Each timing is the best of a few runs.

#include <malloc.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "orbelin/graph/graph.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"

namespace {

namespace fs = std::filesystem;
using namespace orbelin;
using namespace orbelin::graph;

constexpr int kRows = 100000;
constexpr int kUpdates = 10000;
constexpr int kLookups = 1000;
constexpr int kInMemory = 1000000;
constexpr int kRuns = 3;

// Readings are found by name, as entities are by their service identifier.
class Reading : public ManagedObject {
 public:
  std::optional<std::string> identifierAttributeName() const override { return "name"; }
};

std::shared_ptr<const ManagedObjectModel> benchModel() {
  ModelBuilder builder;
  builder.entity<Reading>("Reading")
      .attribute("name", AttributeType::String)
      .attribute("count", AttributeType::Integer64)
      .attribute("score", AttributeType::Double)
      .attribute("flag", AttributeType::Boolean)
      .attribute("taken", AttributeType::Date);
  return *builder.build();
}

std::string nameOf(int i) {
  return "reading-" + std::to_string(i);
}

double secondsOf(const std::function<void()>& work) {
  auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double best(const std::function<double()>& run) {
  double result = 1e300;
  for (int i = 0; i < kRuns; ++i) result = std::min(result, run());
  return result;
}

void fresh(const fs::path& dir) {
  fs::remove_all(dir);
  fs::create_directories(dir);
}

void exec(sqlite3* db, const char* sql) {
  sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
}

// The raw baseline's connection, with the store's journal settings.
sqlite3* openRaw(const fs::path& file) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  exec(db, "PRAGMA journal_mode=WAL");
  exec(db, "PRAGMA synchronous=NORMAL");
  return db;
}

// Seconds to run one prepared statement `count` times in one transaction,
// `bind` setting its parameters for run i: what a user writes by hand.
double timedBatch(sqlite3* db, const char* sql, int count,
                  const std::function<void(sqlite3_stmt*, int)>& bind) {
  return secondsOf([&] {
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr);
    exec(db, "BEGIN");
    for (int i = 0; i < count; ++i) {
      bind(stmt, i);
      sqlite3_step(stmt);
      sqlite3_reset(stmt);
    }
    exec(db, "COMMIT");
    sqlite3_finalize(stmt);
  });
}

double rawInsert(const fs::path& dir) {
  fresh(dir);
  sqlite3* db = openRaw(dir / "raw.sqlite");
  // The store's own schema: its version column and its index on the identifier.
  exec(db,
       "CREATE TABLE r (Z_PK INTEGER PRIMARY KEY, Z_OPT INTEGER NOT NULL DEFAULT 1, name TEXT, "
       "count INTEGER, score REAL, flag INTEGER, taken REAL)");
  exec(db, "CREATE INDEX r_name ON r (name)");
  double seconds = timedBatch(db,
                              "INSERT INTO r (Z_PK, name, count, score, flag, taken, Z_OPT) "
                              "VALUES (?,?,?,?,?,?,1)",
                              kRows, [](sqlite3_stmt* stmt, int i) {
                                std::string name = nameOf(i);
                                sqlite3_bind_int64(stmt, 1, i + 1);
                                sqlite3_bind_text(stmt, 2, name.c_str(),
                                                  static_cast<int>(name.size()), SQLITE_TRANSIENT);
                                sqlite3_bind_int64(stmt, 3, i);
                                sqlite3_bind_double(stmt, 4, i * 0.5);
                                sqlite3_bind_int(stmt, 5, i % 2);
                                sqlite3_bind_int64(stmt, 6, 1430000000000000000LL + i);
                              });
  sqlite3_close(db);
  return seconds;
}

struct Row {
  std::int64_t pk;
  std::string name;
  std::int64_t count;
  double score;
  bool flag;
  std::int64_t taken;
};

double rawSelect(const fs::path& file, std::size_t& rows) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  std::vector<Row> result;
  double seconds = secondsOf([&] {
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT Z_PK, name, count, score, flag, taken FROM r ORDER BY Z_PK", -1,
                       &stmt, nullptr);
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
      result.push_back({sqlite3_column_int64(stmt, 0),
                        std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, 1))),
                        sqlite3_column_int64(stmt, 2), sqlite3_column_double(stmt, 3),
                        sqlite3_column_int(stmt, 4) != 0, sqlite3_column_int64(stmt, 5)});
    }
    sqlite3_finalize(stmt);
  });
  rows = result.size();
  sqlite3_close(db);
  return seconds;
}

void fill(ManagedObject* object, const std::vector<std::size_t>& index, int i) {
  object->setValueAt(index[0], nameOf(i));
  object->setValueAt(index[1], i);
  object->setValueAt(index[2], i * 0.5);
  object->setValueAt(index[3], i % 2 == 1);
  object->setValueAt(index[4], Date(Date::duration(1430000000000000000LL + i)));
}

std::vector<std::size_t> indices(const EntityDescription& entity) {
  std::vector<std::size_t> result;
  for (const char* key : {"name", "count", "score", "flag", "taken"})
    result.push_back(entity.attributeIndex(key));
  return result;
}

double storeSave(const fs::path& dir) {
  fresh(dir);
  platform::HostEnvironment::setDocumentsDirectory(dir);
  ObjectStore store;
  auto context = store.backgroundQueueContext();
  auto index = indices(*store.model()->entity("Reading"));
  bool ok = false;
  double creating = secondsOf([&] {
    context->performAndWait([&] {
      for (int i = 0; i < kRows; ++i) fill(store.createObject("Reading"), index, i);
    });
  });
  double saving = secondsOf([&] { ok = store.saveChanges(); });
  if (!ok) std::printf("save failed!\n");
  if (std::getenv("ORBELIN_BENCH_DETAIL"))
    std::printf("  (create and fill %.1f ms, save %.1f ms)\n", creating * 1e3, saving * 1e3);
  return creating + saving;
}

double storeFetch(const fs::path& dir, std::size_t& objects) {
  platform::HostEnvironment::setDocumentsDirectory(dir);
  ObjectStore store;  // fresh contexts: nothing registered yet
  double seconds = secondsOf([&] {
    auto fetched = store.fetchObjectsWithName("Reading");
    objects = fetched ? fetched->size() : 0;
  });
  return seconds;
}

std::string lookedUp(int i) {
  return nameOf((i * 7919) % kRows);
}

double rawFind(const fs::path& file) {
  sqlite3* db = openRaw(file);
  std::size_t found = 0;
  double seconds = secondsOf([&] {
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT Z_PK, name, count, score, flag, taken FROM r WHERE name = ?", -1,
                       &stmt, nullptr);
    for (int i = 0; i < kLookups; ++i) {
      std::string name = lookedUp(i);
      sqlite3_bind_text(stmt, 1, name.c_str(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
      while (sqlite3_step(stmt) == SQLITE_ROW) {
        auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
        Row row{sqlite3_column_int64(stmt, 0),
                std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, 1))),
                sqlite3_column_int64(stmt, 2),
                sqlite3_column_double(stmt, 3),
                sqlite3_column_int(stmt, 4) != 0,
                sqlite3_column_int64(stmt, 5)};
        found += row.name.size() > 0;
      }
      sqlite3_reset(stmt);
    }
    sqlite3_finalize(stmt);
  });
  sqlite3_close(db);
  if (found != kLookups) std::printf("raw lookups found %zu!\n", found);
  return seconds;
}

double storeFind(const fs::path& dir) {
  platform::HostEnvironment::setDocumentsDirectory(dir);
  ObjectStore store;  // fresh contexts: every lookup reads its row
  auto context = store.mainQueueContext();
  std::size_t found = 0;
  double seconds = secondsOf([&] {
    for (int i = 0; i < kLookups; ++i) {
      FetchRequest request("Reading");
      request.setPredicate(Predicate::equal("name", lookedUp(i)));
      request.setFetchLimit(1);
      auto result = context->fetch(request);
      found += result.ok() ? result->size() : 0;
    }
  });
  if (found != kLookups) std::printf("store lookups found %zu!\n", found);
  return seconds;
}

// A value no run has written yet, so that every update is a change.
std::int64_t nextCount() {
  static std::int64_t count = -1;
  return count--;
}

double rawUpdate(const fs::path& file) {
  sqlite3* db = openRaw(file);
  const std::int64_t count = nextCount();
  double seconds = timedBatch(db, "UPDATE r SET count = ? WHERE Z_PK = ?", kUpdates,
                              [count](sqlite3_stmt* stmt, int i) {
                                sqlite3_bind_int64(stmt, 1, count);
                                sqlite3_bind_int64(stmt, 2, i * (kRows / kUpdates) + 1);
                              });
  sqlite3_close(db);
  return seconds;
}

double storeUpdate(const fs::path& dir) {
  platform::HostEnvironment::setDocumentsDirectory(dir);
  ObjectStore store;
  auto context = store.backgroundQueueContext();
  auto objects = store.fetchObjects("Reading", std::nullopt, context);
  if (!objects || objects->size() < static_cast<std::size_t>(kRows)) return 1e300;
  const std::size_t count = store.model()->entity("Reading")->attributeIndex("count");
  const std::int64_t value = nextCount();
  bool ok = false;
  double seconds = secondsOf([&] {
    context->performAndWait([&] {
      for (int i = 0; i < kUpdates; ++i)
        (*objects)[static_cast<std::size_t>(i * (kRows / kUpdates))]->setValueAt(count, value);
    });
    ok = store.saveChanges();
  });
  if (!ok) std::printf("update save failed!\n");
  return seconds;
}

void inMemory() {
  double bestRate = 0, bytes = 0;
  for (int run = 0; run < kRuns; ++run) {
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(benchModel());
    coordinator->addPersistentStore(StoreType::InMemory, {});
    auto context = std::make_unique<ManagedObjectContext>(ConcurrencyType::Confinement);
    context->setPersistentStoreCoordinator(coordinator);
    auto index = indices(*coordinator->managedObjectModel()->entity("Reading"));
    std::size_t before = mallinfo2().uordblks;
    double seconds = secondsOf([&] {
      for (int i = 0; i < kInMemory; ++i) fill(context->insertNewObject("Reading"), index, i);
    });
    std::size_t after = mallinfo2().uordblks;
    bestRate = std::max(bestRate, kInMemory / seconds);
    bytes = static_cast<double>(after - before) / kInMemory;
    context.reset();
  }
  std::printf("in-memory insert of %d objects: %.0f objects/s, %.0f bytes/object\n", kInMemory,
              bestRate, bytes);
}

}  // namespace

// Usage: graph_bench [save|fetch|find|update|memory] (default: all five).
int main(int argc, char** argv) {
  const std::string only = argc > 1 ? argv[1] : "";
  ModelCatalog::registerBundleModel(kFrameworkBundleIdentifier, "Bench", benchModel);
  fs::path dir = fs::temp_directory_path() / ("orbelin-graph-bench-" + std::to_string(getpid()));

  double rawSave = best([&] { return rawInsert(dir / "raw"); });
  double ourSave = best([&] { return storeSave(dir / "store"); });
  if (only.empty() || only == "save")
    std::printf(
        "save %d objects: raw SQLite %.1f ms, background context %.1f ms, ratio %.2f (target <= "
        "2)\n",
        kRows, rawSave * 1e3, ourSave * 1e3, ourSave / rawSave);

  std::size_t rows = 0, objects = 0;
  double rawFetch = 0, ourFetch = 0;
  if (only.empty() || only == "fetch") {
    rawFetch = best([&] { return rawSelect(dir / "raw" / "raw.sqlite", rows); });
    ourFetch = best([&] { return storeFetch(dir / "store", objects); });
    std::printf(
        "fetch %zu objects: raw SELECT %.1f ms (%zu rows), main context %.1f ms, ratio %.2f "
        "(target "
        "<= 2)\n",
        objects, rawFetch * 1e3, rows, ourFetch * 1e3, ourFetch / rawFetch);
  }
  if (only.empty() || only == "find") {
    double rawLookup = best([&] { return rawFind(dir / "raw" / "raw.sqlite"); });
    double ourLookup = best([&] { return storeFind(dir / "store"); });
    std::printf(
        "find one of %d objects by identifier: indexed SELECT %.1f us, main context "
        "%.1f us, ratio %.2f (target <= 5)\n",
        kRows, rawLookup * 1e6 / kLookups, ourLookup * 1e6 / kLookups, ourLookup / rawLookup);
  }
  if (only.empty() || only == "update") {
    double rawChange = best([&] { return rawUpdate(dir / "raw" / "raw.sqlite"); });
    double ourChange = best([&] { return storeUpdate(dir / "store"); });
    std::printf(
        "update one attribute of %d objects: raw SQLite %.1f ms, background context "
        "%.1f ms, ratio %.2f\n",
        kUpdates, rawChange * 1e3, ourChange * 1e3, ourChange / rawChange);
  }
  if (only.empty() || only == "memory") inMemory();
  fs::remove_all(dir);
  return 0;
}
