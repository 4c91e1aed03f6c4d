// The object graph against hand-written SQLite on the store's own schema:
// lookups by identifier, deletions merged into a full main context, the first
// saves of a fresh store, one large save, fetching everything back, and the
// heap an object costs.

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "raw_sqlite.h"
#include "readings.h"
#include "rows.h"

namespace orbelin::bench {

namespace {

namespace fs = std::filesystem;
using graph::Predicate;

constexpr int kStored = 100000;
constexpr int kChanged = 10000;

[[noreturn]] void lost(const std::string& what, std::size_t got, std::size_t wanted) {
  std::fprintf(stderr, "%s: %zu instead of %zu\n", what.c_str(), got, wanted);
  std::abort();
}

std::unique_ptr<ObjectStore> openStore(const fs::path& folder) {
  registerReadings();
  platform::HostEnvironment::setDocumentsDirectory(folder);
  return std::make_unique<ObjectStore>();
}

fs::path storeFile(const fs::path& folder) {
  return folder / ObjectStore::MAIN_STORE_NAME;
}

// The library's schema for the readings, from a store file it wrote.
std::string readingSchema(const Scratch& scratch) {
  fs::path folder = scratch.fresh("schema");
  writeReadingStore(folder, 1);
  return schemaOf(storeFile(folder));
}

// One store of `stored` readings, looked up by name through a fetch request
// (predicate on the identifier, limit 1) in a fresh main context, and by an
// indexed SELECT of the same rows into structs. Every lookup asks for a
// reading not asked for before, so each one reads its row.
struct LookupSubject {
  LookupSubject(const Scratch& scratch, int count)
      : stored(count), folder(scratch.fresh("lookup-" + std::to_string(count))) {
    writeReadingStore(folder, stored);
    store = openStore(folder);
    raw = openRaw(storeFile(folder));
    select = std::make_unique<Statement>(raw, std::string(kReadingSelect) + " WHERE \"name\" = ?");
  }
  ~LookupSubject() {
    select.reset();
    sqlite3_close(raw);
  }

  // 7919 is prime to both sizes, so the first `stored` lookups are all different.
  std::string name(int k) const {
    return readingName(static_cast<int>((static_cast<std::int64_t>(k) * 7919) % stored));
  }

  double ours(int lookups) {
    auto context = store->mainQueueContext();
    std::size_t found = 0;
    double seconds = secondsOf([&] {
      for (int i = 0; i < lookups; ++i) {
        graph::FetchRequest request("Reading");
        request.setPredicate(Predicate::equal("name", name(oursNext++)));
        request.setFetchLimit(1);
        auto result = context->fetch(request);
        found += result.ok() ? result->size() : 0;
      }
    });
    if (found != static_cast<std::size_t>(lookups))
      lost("lookups in the context", found, static_cast<std::size_t>(lookups));
    return seconds;
  }

  double baseline(int lookups) {
    std::size_t found = 0;
    double seconds = secondsOf([&] {
      for (int i = 0; i < lookups; ++i) {
        bindText(select->get(), 1, name(rawNext++));
        while (sqlite3_step(select->get()) == SQLITE_ROW) {
          ReadingRow row = readReading(select->get());
          found += !row.name.empty();
        }
        sqlite3_reset(select->get());
      }
    });
    if (found != static_cast<std::size_t>(lookups))
      lost("indexed SELECTs", found, static_cast<std::size_t>(lookups));
    return seconds;
  }

  int stored;
  fs::path folder;
  std::unique_ptr<ObjectStore> store;
  sqlite3* raw = nullptr;
  std::unique_ptr<Statement> select;
  int oursNext = 0, rawNext = 0;
};

}  // namespace

void lookupByIdentifier(const Options& options) {
  Scratch scratch("lookup");
  const int lookups = 500;
  const int reps = options.reps(15, 5);  // (reps + warm-up) * lookups stays under 10k
  LookupSubject large(scratch, kStored), small(scratch, kStored / 10);
  auto medians = interleaved(
      reps, {[&] { return large.ours(lookups); }, [&] { return large.baseline(lookups); },
             [&] { return small.ours(lookups); }, [&] { return small.baseline(lookups); }});
  reportTiming("fetch one by identifier of 100k stored (per lookup)", medians[0], medians[1], 5,
               lookups);
  reportTiming("  fetch one by identifier of 10k stored (per lookup)", medians[2], medians[3], 5,
               lookups);
  // Flat as the store grows: ten times the objects cost no more, relative
  // to the index lookup underneath, than they cost the index itself.
  char ours[32], index[32];
  std::snprintf(ours, sizeof ours, "x%.2f", medians[0] / medians[2]);
  std::snprintf(index, sizeof index, "x%.2f", medians[1] / medians[3]);
  reportRatio("  growth of the lookup from 10k to 100k stored: ours vs indexed SELECT", ours, index,
              (medians[0] / medians[2]) / (medians[1] / medians[3]), 1.25, "flat: ");
}

void deleteAndMerge(const Options& options) {
  Scratch scratch("delete");
  // Deletions take successive ranges of counts from 0 up, and new readings
  // continue the counts from 100k, so the stored counts are always
  // [deleted, deleted + 100k); updates take a range in the middle of them.
  const int reps = options.reps(15, 3);
  fs::path folder = scratch.fresh("store");
  writeReadingStore(folder, kStored);
  auto store = openStore(folder);
  auto background = store->backgroundQueueContext();
  ReadingIndex index(*store->model()->entity("Reading"));

  auto holdAll = [&] {
    auto all = store->fetchObjectsWithName("Reading");
    if (!all || all->size() != static_cast<std::size_t>(kStored))
      lost("readings in the main context", all ? all->size() : 0, kStored);
  };
  auto range = [&](int first) {
    auto objects = store->fetchObjects(
        "Reading",
        Predicate::greaterOrEqual("count", first) && Predicate::less("count", first + kChanged),
        background);
    if (!objects || objects->size() != static_cast<std::size_t>(kChanged))
      lost("readings in a range", objects ? objects->size() : 0, kChanged);
    return *objects;
  };
  auto save = [&] {
    if (!store->saveChanges()) {
      std::fprintf(stderr, "a save of readings failed\n");
      std::abort();
    }
  };
  holdAll();

  int deleted = 0, refilled = kStored;
  auto deletion = [&] {
    auto objects = range(deleted);
    deleted += kChanged;
    double seconds = secondsOf([&] {
      background->performAndWait([&] {
        for (auto* object : objects) background->deleteObject(object);
      });
      save();
    });
    // Back to 100k, every one registered in the main context again.
    background->performAndWait([&] {
      for (int i = 0; i < kChanged; ++i)
        fillReading(store->createObject("Reading"), index, refilled + i);
    });
    refilled += kChanged;
    save();
    holdAll();
    return seconds;
  };
  int updates = 0;
  auto update = [&] {
    auto objects = range(deleted + kStored / 2 - kChanged);
    const double score = -(++updates);
    return secondsOf([&] {
      background->performAndWait([&] {
        for (auto* object : objects) object->setValueAt(index.score, score);
      });
      save();
    });
  };

  // Hand-written: the same update of the same rows in a copy of the table.
  sqlite3* raw = createRaw(scratch.fresh("raw") / "raw.sqlite", schemaOf(storeFile(folder)));
  batch(raw, kReadingInsert, kStored, bindReading);
  int rawUpdates = 0;
  auto rawUpdate = [&] {
    const double score = -(++rawUpdates);
    return secondsOf([&] {
      batch(raw, "UPDATE \"ZReading\" SET \"score\" = ?, Z_OPT = Z_OPT + 1 WHERE Z_PK = ?",
            kChanged, [score](sqlite3_stmt* stmt, int i) {
              sqlite3_bind_double(stmt, 1, score);
              sqlite3_bind_int64(stmt, 2, kStored - kChanged + i + 1);
            });
    });
  };

  auto medians = interleaved(reps, {deletion, update, rawUpdate});
  sqlite3_close(raw);
  reportTiming("delete 10k of 100k, save, merge into full main context (per object)", medians[0],
               medians[1], 2, kChanged, "/object");
  reportTiming("  update 10k of 100k, save, merge vs raw UPDATE in one transaction (per object)",
               medians[1], medians[2], 0, kChanged, "/object");
}

void firstSaves(const Options& options) {
  Scratch scratch("first-saves");
  const int saves = 1000;
  const std::string schema = readingSchema(scratch);
  int round = 0;
  auto ours = [&] {
    auto store = openStore(scratch.fresh("store-" + std::to_string(++round)));
    ReadingIndex index(*store->model()->entity("Reading"));
    bool ok = true;
    double seconds = secondsOf([&] {
      for (int i = 0; i < saves; ++i) {
        fillReading(store->createObject("Reading"), index, i);
        ok = store->saveChanges() && ok;
      }
    });
    if (!ok) std::abort();
    return seconds;
  };
  auto baseline = [&] {
    sqlite3* raw =
        createRaw(scratch.fresh("raw-" + std::to_string(++round)) / "raw.sqlite", schema);
    double seconds;
    {
      Statement insert(raw, kReadingInsert);
      seconds = secondsOf([&] {
        for (int i = 0; i < saves; ++i) {
          bindReading(insert.get(), i);
          insert.run();  // a transaction of its own
        }
      });
    }
    sqlite3_close(raw);
    return seconds;
  };
  auto medians = interleaved(options.reps(25, 5), {ours, baseline});
  reportTiming("first 1k saves of one new object on a fresh store (per save)", medians[0],
               medians[1], 1.5, saves, "/save");
}

void saveMany(const Options& options) {
  Scratch scratch("save");
  const std::string schema = readingSchema(scratch);
  int round = 0;
  auto ours = [&] {
    auto store = openStore(scratch.fresh("store-" + std::to_string(++round)));
    auto context = store->backgroundQueueContext();
    ReadingIndex index(*store->model()->entity("Reading"));
    bool ok = false;
    double seconds = secondsOf([&] {
      context->performAndWait([&] {
        for (int i = 0; i < kStored; ++i) fillReading(store->createObject("Reading"), index, i);
      });
      ok = store->saveChanges();
    });
    if (!ok) std::abort();
    return seconds;
  };
  auto baseline = [&] {
    sqlite3* raw =
        createRaw(scratch.fresh("raw-" + std::to_string(++round)) / "raw.sqlite", schema);
    double seconds = secondsOf([&] { batch(raw, kReadingInsert, kStored, bindReading); });
    sqlite3_close(raw);
    return seconds;
  };
  auto medians = interleaved(options.reps(15, 3), {ours, baseline});
  reportTiming("create and save 100k new 5-attribute objects", medians[0], medians[1], 1.3);
}

void fetchAll(const Options& options) {
  Scratch scratch("fetch");
  fs::path folder = scratch.fresh("store");
  writeReadingStore(folder, kStored);
  sqlite3* raw = openRaw(storeFile(folder));
  std::vector<double> fetchOnly;
  auto ours = [&] {
    auto store = openStore(folder);  // fresh contexts: nothing registered yet
    const std::size_t name = store->model()->entity("Reading")->attributeIndex("name");
    std::size_t objects = 0, named = 0;
    auto start = Clock::now();
    double seconds = secondsOf([&] {
      auto fetched = store->fetchObjectsWithName("Reading");
      fetchOnly.push_back(secondsSince(start));
      objects = fetched ? fetched->size() : 0;
      // Reading one attribute of each: what a fetch hands back is usable data.
      if (fetched)
        for (auto* object : *fetched) named += object->valueAt(name).string().has_value();
    });
    if (objects != static_cast<std::size_t>(kStored) || named != objects)
      lost("fetched readings", named, kStored);
    return seconds;
  };
  auto baseline = [&] {
    std::vector<ReadingRow> rows;
    double seconds = secondsOf([&] {
      Statement select(raw, std::string(kReadingSelect) + " ORDER BY Z_PK");
      while (sqlite3_step(select.get()) == SQLITE_ROW) rows.push_back(readReading(select.get()));
    });
    if (rows.size() != static_cast<std::size_t>(kStored))
      lost("selected rows", rows.size(), kStored);
    return seconds;
  };
  auto medians = interleaved(options.reps(11, 3), {ours, baseline});
  sqlite3_close(raw);
  fetchOnly.erase(fetchOnly.begin());  // the untimed first round
  progress("the fetch alone: " + formatSeconds(median(fetchOnly)));
  reportTiming("fetch all 100k (and read one attribute of each)", medians[0], medians[1], 1.2);
}

void memoryPerObject(const Options& options) {
  const int count = 100000;
  registerReadings();
  std::vector<double> oursBytes, baselineBytes;
  auto ours = [&] {
    auto coordinator = std::make_shared<graph::PersistentStoreCoordinator>(
        graph::ModelCatalog::mergedModelFromBundle(graph::kFrameworkBundleIdentifier));
    coordinator->addPersistentStore(graph::StoreType::InMemory, {});
    auto context = std::make_unique<graph::ManagedObjectContext>();
    context->setPersistentStoreCoordinator(coordinator);
    ReadingIndex index(*coordinator->managedObjectModel()->entity("Reading"));
    std::size_t before = heapBytes();
    double seconds = secondsOf([&] {
      for (int i = 0; i < count; ++i) fillReading(context->insertNewObject("Reading"), index, i);
    });
    oursBytes.push_back(static_cast<double>(heapBytes() - before) / count);
    return seconds;
  };
  auto baseline = [&] {
    std::size_t before = heapBytes();
    std::vector<ReadingRow> rows;
    double seconds = secondsOf([&] {
      rows.reserve(count);
      for (int i = 0; i < count; ++i)
        rows.push_back({i + 1, readingName(i), i, i * 0.5, i % 2 == 1, 1430000000.0 + i});
    });
    baselineBytes.push_back(static_cast<double>(heapBytes() - before) / count);
    return seconds;
  };
  auto medians = interleaved(options.reps(7, 3), {ours, baseline});
  const double ourBytes = median(oursBytes), plainBytes = median(baselineBytes);
  reportRatio("heap per 5-attribute object inserted in a context (vs struct in a reserved vector)",
              formatBytes(ourBytes) + "/object", formatBytes(plainBytes) + "/object",
              ourBytes / plainBytes, 2);
  reportTiming("  insert 100k 5-attribute objects in a context vs into that vector", medians[0],
               medians[1], 0);
}

}  // namespace orbelin::bench
