#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json.hpp>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

#include "graph/test_model.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using Stack = testing::SQLiteStack;

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

// Runs one statement on the file with a connection of its own, as another
// program would; gives the first column of its first row, or 0.
std::int64_t raw(const fs::path& file, const char* sql) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  sqlite3_stmt* stmt = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  const int step = sqlite3_step(stmt);
  EXPECT_TRUE(step == SQLITE_ROW || step == SQLITE_DONE) << sqlite3_errmsg(db);
  const std::int64_t result = step == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return result;
}

// A new object of `entity` with one text value.
ManagedObject* insert(ManagedObjectContext& context, const char* entity, const char* key,
                      const std::string& text) {
  ManagedObject* object = context.insertNewObject(entity);
  object->setValue(key, text);
  return object;
}

// Every value kind and relationship kind; the missing folders are made for
// the owner only, and the files are the owner's alone.
TEST(SQLiteStoreTest, RoundTripsEveryAttributeTypeAndRelationshipInOwnerOnlyFiles) {
  test::TempDir dir;
  fs::path file = dir.path() / "fresh" / "account" / "Documents" / "Graph.sqlite";
  Date born =
      Date(std::chrono::nanoseconds(-123456789012345678));  // before 1970, to the nanosecond
  {
    Stack s(file);
    ASSERT_TRUE(s.status.ok()) << s.status.error().description();
    ManagedObject* jo = s.context.insertNewObject("Patient");
    jo->setValue("firstName", "Jo \"O'Neil\"; DROP TABLE x");
    jo->setValue("age", -3);
    jo->setValue("acuity", 2147483647);
    jo->setValue("id", INT64_MIN);
    jo->setValue("weight", 71.5);
    jo->setValue("isAdmitted", true);
    jo->setValue("birthdate", born);
    jo->setValue("photo", Bytes{0, 255, 7});
    jo->setValue("staffIds", boost::json::parse(R"([4,2,9,{"k":"v"}])"));
    jo->setObject("ward", insert(s.context, "Ward", "name", "North"));
    s.context.insertNewObject("Bed")->setObject("patient", jo);
    for (const char* title : {"c", "a", "b"})
      jo->mutableOrderedSet("tasks").add(insert(s.context, "Task", "title", title));
    jo->mutableSet("nurses").addAll(
        {insert(s.context, "Nurse", "name", "N2"), insert(s.context, "Nurse", "name", "N1")});
    insert(s.context, "Patient", "firstName", "Empty")->setValue("photo", Bytes{});
    ASSERT_TRUE(s.context.save().ok());
    // Reorder and resave: the order column follows.
    RelationshipSet tasks = jo->mutableOrderedSet("tasks");
    tasks.insert(tasks.at(2), 0);
    ASSERT_TRUE(s.context.save().ok());
  }
  std::vector<std::pair<fs::path, unsigned>> modes = {{file, 0600u}};
  for (const char* suffix : {"-wal", "-shm"})
    if (fs::exists(file.string() + suffix)) modes.emplace_back(file.string() + suffix, 0600u);
  for (fs::path p = file.parent_path(); p != dir.path(); p = p.parent_path())
    modes.emplace_back(p, S_IFDIR | 0700u);
  for (const auto& [path, mode] : modes) {
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0) << path;
    EXPECT_EQ(info.st_mode & (S_IFDIR | 0777), mode) << path;
  }

  Stack s(file);
  ASSERT_TRUE(s.status.ok());
  FetchRequest byName("Patient");
  byName.setSortDescriptors({{"firstName", true}});
  auto found = s.context.fetch(byName);
  ASSERT_TRUE(found.ok() && found->size() == 2u);
  ManagedObject *empty = (*found)[0], *jo = (*found)[1];
  EXPECT_EQ(jo->value("firstName").stringValue(), "Jo \"O'Neil\"; DROP TABLE x");
  EXPECT_EQ(jo->value("age").integer(), -3);
  EXPECT_EQ(jo->value("acuity").integer(), 2147483647);
  EXPECT_EQ(jo->value("id").integer(), INT64_MIN);
  EXPECT_EQ(jo->value("weight").number(), 71.5);
  EXPECT_EQ(jo->value("isAdmitted").boolean(), true);
  EXPECT_EQ(jo->value("birthdate").date(), born);
  EXPECT_EQ(*jo->value("photo").binary(), (Bytes{0, 255, 7}));
  EXPECT_EQ(*jo->value("staffIds").transformable(), boost::json::parse(R"([4,2,9,{"k":"v"}])"));
  ASSERT_NE(jo->object("ward"), nullptr);
  EXPECT_EQ(jo->object("ward")->value("name").stringValue(), "North");
  ASSERT_NE(jo->object("bed"), nullptr);
  EXPECT_EQ(jo->object("bed")->object("patient"), jo);
  std::vector<std::string> titles;
  for (auto* t : jo->objects("tasks")) titles.push_back(t->value("title").stringValue());
  EXPECT_EQ(titles, (std::vector<std::string>{"b", "c", "a"}));
  EXPECT_EQ(jo->objects("nurses").size(), 2u);
  EXPECT_EQ(jo->objects("nurses")[0]->objects("patients"), std::vector<ManagedObject*>{jo});

  // The other patient has an empty photo (present, not nil), nil attributes
  // and no relationships.
  EXPECT_EQ(empty->value("photo"), Value(Bytes{}));
  EXPECT_TRUE(empty->value("birthdate").isNil());
  EXPECT_EQ(empty->object("ward"), nullptr);
  EXPECT_TRUE(empty->objects("tasks").empty());

  // Deletion removes rows and join rows; new keys do not reuse old ones.
  s.context.deleteObject(jo);
  ASSERT_TRUE(s.context.save().ok());
  EXPECT_EQ(*s.context.count(FetchRequest("Task")), 0u);  // cascaded
  auto nurses = *s.context.fetch(FetchRequest("Nurse"));
  ASSERT_EQ(nurses.size(), 2u);
  EXPECT_TRUE(nurses[0]->objects("patients").empty());
  ManagedObject* later = insert(s.context, "Patient", "firstName", "Later");
  ASSERT_TRUE(s.context.save().ok());
  EXPECT_GT(later->objectID().primaryKey, jo->objectID().primaryKey);
}

TEST(SQLiteStoreTest, RefusesForeignFilesAndLeavesThemUnchanged) {
  test::TempDir dir;
  fs::path ours = dir.path() / "Graph.sqlite";
  {
    Stack s(ours);
    ASSERT_TRUE(s.status.ok());
    insert(s.context, "Ward", "name", "North");
    ASSERT_TRUE(s.context.save().ok());
  }
  raw(ours, "PRAGMA journal_mode=DELETE");  // the WAL folded in: the bytes say everything
  fs::path garbage = dir.path() / "Garbage.sqlite";
  std::ofstream(garbage, std::ios::binary) << std::string(8192, 'x');
  fs::path foreign = dir.path() / "Foreign.sqlite";  // SQLite, but without our metadata
  raw(foreign, "CREATE TABLE t (x)");

  ModelBuilder builder;
  builder.entity("Ward").attribute("name", AttributeType::String, true);  // optionality differs
  auto otherModel = *builder.build();
  for (const auto& [file, model] : {std::pair{ours, otherModel},
                                    {garbage, testing::hospitalModel()},
                                    {foreign, testing::hospitalModel()}}) {
    const std::string before = readFile(file);
    Stack refused(file, model);
    ASSERT_FALSE(refused.status.ok()) << file;
    EXPECT_EQ(refused.status.error().domain(), error_domain::kPersistence);
    EXPECT_TRUE(isIncompatibleStoreError(refused.status.error())) << file;
    EXPECT_FALSE(isBusyStoreError(refused.status.error()));
    EXPECT_FALSE(refused.coordinator->hasStore());
    EXPECT_EQ(readFile(file), before) << file;
  }

  // A place where no file can be made is an error, not a crash, and says
  // nothing against a file; so does a second store on one coordinator.
  std::ofstream(dir.path() / "plain") << "x";
  Stack nowhere(dir.path() / "plain" / "x.sqlite");
  ASSERT_FALSE(nowhere.status.ok());
  EXPECT_FALSE(isIncompatibleStoreError(nowhere.status.error()));
  Stack twice(dir.path() / "Twice.sqlite");
  ASSERT_TRUE(twice.status.ok());
  EXPECT_FALSE(twice.coordinator->addPersistentStore(StoreType::InMemory, {}).ok());
}

TEST(SQLiteStoreTest, CoordinatorsOnOneFileNeverShareKeys) {
  test::TempDir dir;
  fs::path file = dir.path() / "Shared.sqlite";
  Stack first(file), second(file);
  ASSERT_TRUE(first.status.ok());
  ASSERT_TRUE(second.status.ok());
  // Interleaved inserts, more than one key block each, saved in turns.
  std::set<std::int64_t> keys;
  for (int round = 0; round < 3; ++round) {
    std::vector<ManagedObject*> inserted;
    for (int i = 0; i < 40; ++i) {
      for (Stack* s : {&first, &second}) {
        inserted.push_back(insert(s->context, "Ward", "name",
                                  (s == &first ? "a" : "b") + std::to_string(round * 40 + i)));
      }
    }
    ASSERT_TRUE(first.context.save().ok());
    auto saved = second.context.save();
    ASSERT_TRUE(saved.ok()) << saved.error().description();
    for (ManagedObject* ward : inserted)
      EXPECT_TRUE(keys.insert(ward->objectID().primaryKey).second)
          << "key " << ward->objectID().primaryKey << " handed out twice";
  }
  EXPECT_EQ(*Stack(file).context.count(FetchRequest("Ward")), 240u);

  // A file written before the key table existed: new keys go above its rows.
  raw(file, "DROP TABLE Z_PRIMARYKEY");
  Stack upgraded(file);
  ASSERT_TRUE(upgraded.status.ok()) << upgraded.status.error().description();
  ManagedObject* ward = insert(upgraded.context, "Ward", "name", "c");
  auto upgradedSave = upgraded.context.save();
  ASSERT_TRUE(upgradedSave.ok()) << upgradedSave.error().description();
  EXPECT_GT(ward->objectID().primaryKey, *keys.rbegin());
  EXPECT_EQ(*upgraded.context.count(FetchRequest("Ward")), 241u);
}

// Keys are reserved inside the save's own transaction: a save refused while
// another connection holds the file locked, or for a conflict with another
// store, reserves nothing; its new objects keep their temporary keys (and
// stay found by them), and the save that succeeds writes them and their
// relationships with permanent keys.
TEST(SQLiteStoreTest, RefusedSavesKeepTemporaryKeysAndTheNextSaveRelatesByPermanentOnes) {
  test::TempDir dir;
  fs::path file = dir.path() / "Keys.sqlite";
  Stack here(file), there(file);
  ASSERT_TRUE(here.status.ok());
  ManagedObject* north = insert(here.context, "Ward", "name", "North");
  ASSERT_TRUE(here.context.save().ok());
  const char* reserved = "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Patient'";

  // The lock outlasts the busy timeout; the insertion does not wait for it.
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto before = std::chrono::steady_clock::now();
  ManagedObject* jo = here.context.insertNewObject("Patient");
  EXPECT_LT(std::chrono::steady_clock::now() - before, kStoreBusyTimeout / 2);
  jo->setValue("firstName", "Jo");
  jo->setObject("ward", north);
  const ObjectID temporary = jo->objectID();
  ASSERT_LT(temporary.primaryKey, 0);
  auto locked = here.context.save();
  ASSERT_FALSE(locked.ok());
  EXPECT_FALSE(isIncompatibleStoreError(locked.error()));
  sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  EXPECT_EQ(jo->objectID(), temporary) << "the refused save kept a key";
  ManagedObject* ann = insert(here.context, "Patient", "firstName", "Ann");

  // Both stores change the ward's name: this one's save is refused.
  ManagedObject* theirs = (*there.context.fetch(FetchRequest("Ward")))[0];
  theirs->setValue("name", "North wing");
  ASSERT_TRUE(there.context.save().ok());
  north->setValue("name", "North ward");
  auto refused = here.context.save();
  ASSERT_FALSE(refused.ok());
  EXPECT_TRUE(isMergeConflictError(refused.error()));
  EXPECT_EQ(jo->objectID(), temporary);
  EXPECT_EQ(here.context.objectWithID(temporary), jo);
  EXPECT_EQ(raw(file, reserved), 0) << "a refused save reserved keys";

  north->setValue("name", "North wing");  // agree with the other store
  auto saved = here.context.save();
  ASSERT_TRUE(saved.ok()) << saved.error().description();
  const ObjectID permanent = jo->objectID();
  ASSERT_GT(permanent.primaryKey, 0);
  ASSERT_GT(ann->objectID().primaryKey, 0);
  EXPECT_NE(ann->objectID().primaryKey, permanent.primaryKey);
  const std::int64_t highest = std::max(permanent.primaryKey, ann->objectID().primaryKey);
  EXPECT_GE(raw(file, reserved), highest);
  EXPECT_EQ(here.context.objectWithID(permanent), jo);
  EXPECT_NE(here.context.objectWithID(temporary), jo);

  Stack reader(file);
  FetchRequest byName("Patient");
  byName.setSortDescriptors({{"firstName", true}});
  auto patients = *reader.context.fetch(byName);
  ASSERT_EQ(patients.size(), 2u);
  EXPECT_EQ(patients[0]->value("firstName").stringValue(), "Ann");
  EXPECT_EQ(patients[1]->objectID().primaryKey, permanent.primaryKey);
  ASSERT_NE(patients[1]->object("ward"), nullptr);
  EXPECT_EQ(patients[1]->object("ward")->value("name").stringValue(), "North wing");
  // Later insertions take the spare keys of that save's block at once.
  EXPECT_EQ(here.context.insertNewObject("Patient")->objectID().primaryKey, highest + 1);
}

// Child side of the crash test: saves batches forever until killed.
constexpr int kBatch = 2000;

TEST(SQLiteCrashChild, WritesBatchesUntilKilled) {
  const char* path = std::getenv("ORBELIN_CRASH_STORE");
  if (!path) GTEST_SKIP() << "run by SQLiteStoreTest.KilledSaveLeavesAllOrNothing";
  Stack s(path);
  ASSERT_TRUE(s.status.ok());
  for (int batch = 0;; ++batch) {
    for (int i = 0; i < kBatch; ++i)
      s.context.insertNewObject("Task")->setValue("title", "batch " + std::to_string(batch));
    ASSERT_TRUE(s.context.save().ok());
    std::ofstream(std::string(path) + ".progress") << batch;
  }
}

TEST(SQLiteStoreTest, KilledSaveLeavesAllOrNothing) {
  test::TempDir dir;
  fs::path file = dir.path() / "Crash.sqlite";
  fs::path progress = file.string() + ".progress";
  // The child rewrites the file as it goes: read it once per look, never throw.
  auto batchesDone = [&] {
    std::string text = readFile(progress);
    return text.empty() ? -1 : std::atoi(text.c_str());
  };
  for (int round = 0; round < 3; ++round) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      setenv("ORBELIN_CRASH_STORE", file.c_str(), 1);
      execl("/proc/self/exe", "graph_test", "--gtest_filter=SQLiteCrashChild.*", nullptr);
      _exit(127);
    }
    // Wait until a few batches are in, then kill at a moment inside a save.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (batchesDone() < 2 + round && std::chrono::steady_clock::now() < deadline) usleep(1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(3 + 7 * round));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "child ended on its own: " << status;
    fs::remove(progress);

    Stack s(file);
    ASSERT_TRUE(s.status.ok()) << s.status.error().description();
    auto tasks = s.context.fetch(FetchRequest("Task"));
    ASSERT_TRUE(tasks.ok());
    EXPECT_GT(tasks->size(), 0u);
    std::map<std::string, int> perBatch;
    for (auto* t : *tasks) ++perBatch[t->value("title").stringValue()];
    for (const auto& [title, count] : perBatch) EXPECT_EQ(count % kBatch, 0) << title;
  }
}

}  // namespace
}  // namespace orbelin::graph
