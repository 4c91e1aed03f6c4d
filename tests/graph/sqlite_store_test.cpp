#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <set>
#include <thread>

#include "graph/test_model.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using testing::fetched;
using testing::insert;
using testing::request;
using testing::sql;
using testing::Stack;
using Names = std::vector<std::string>;

using test::readFile;

// Guards against lost relationships or order, reused keys, and files others can read.
TEST(SQLiteStoreTest, RoundTripsEveryRelationshipInOwnerOnlyFiles) {
  test::TempDir dir;
  fs::path file = dir.path() / "fresh" / "account" / "Documents" / "Graph.sqlite";
  {
    Stack s(file);
    ASSERT_TRUE(s.status.ok()) << s.status.error().description();
    ManagedObject* jo = insert(s.context, "Patient", {{"firstName", "Jo"}});
    jo->setObject("ward", insert(s.context, "Ward", {{"name", "North"}}));
    s.context.insertNewObject("Bed")->setObject("patient", jo);
    for (const char* title : {"c", "a", "b"})
      jo->mutableOrderedSet("tasks").add(insert(s.context, "Task", {{"title", title}}));
    jo->mutableSet("nurses").addAll({insert(s.context, "Nurse"), insert(s.context, "Nurse")});
    insert(s.context, "Patient", {{"firstName", "Empty"}, {"photo", Bytes{}}});
    ASSERT_TRUE(s.context.save().ok());
    RelationshipSet tasks = jo->mutableOrderedSet("tasks");
    tasks.insert(tasks.at(2), 0);  // reordered and saved again
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
  auto found = s.context.fetch(request("Patient", {}, {{"firstName", true}}));
  ASSERT_TRUE(found.ok() && found->size() == 2u);
  ManagedObject *empty = (*found)[0], *jo = (*found)[1];
  EXPECT_EQ(jo->object("ward")->value("name").stringValue(), "North");
  EXPECT_EQ(jo->object("bed")->object("patient"), jo);
  Names titles;
  for (auto* t : jo->objects("tasks")) titles.push_back(t->value("title").stringValue());
  EXPECT_EQ(titles, (Names{"b", "c", "a"}));
  ASSERT_EQ(jo->objects("nurses").size(), 2u);
  EXPECT_EQ(jo->objects("nurses")[0]->objects("patients"), std::vector<ManagedObject*>{jo});
  EXPECT_EQ(empty->value("photo"), Value(Bytes{}));
  EXPECT_EQ(empty->object("ward"), nullptr);
  EXPECT_TRUE(empty->objects("tasks").empty());

  s.context.deleteObject(jo);
  ASSERT_TRUE(s.context.save().ok());
  EXPECT_EQ(sql(file, "SELECT COUNT(*) FROM ZTask"), 0);  // cascaded
  EXPECT_TRUE((*s.context.fetch(FetchRequest("Nurse")))[0]->objects("patients").empty());
  ManagedObject* later = insert(s.context, "Patient");
  ASSERT_TRUE(s.context.save().ok());
  EXPECT_GT(later->objectID().primaryKey, jo->objectID().primaryKey);
}

// Guards against opening or writing a file of another model or program, or crashing on one.
TEST(SQLiteStoreTest, RefusesForeignFilesAndLeavesThemUnchanged) {
  test::TempDir dir;
  fs::path ours = dir.path() / "Graph.sqlite";
  {
    Stack s(ours);
    insert(s.context, "Ward", {{"name", "North"}});
    ASSERT_TRUE(s.context.save().ok());
  }
  sql(ours, "PRAGMA journal_mode=DELETE");  // the WAL folded in: the bytes say everything
  fs::path garbage = dir.path() / "Garbage.sqlite";
  std::ofstream(garbage, std::ios::binary) << std::string(8192, 'x');
  fs::path foreign = dir.path() / "Foreign.sqlite";  // SQLite, but without our metadata
  ASSERT_EQ(sql(foreign, "CREATE TABLE t (x)"), 0);

  ModelBuilder builder;
  builder.entity("Ward").attribute("name", AttributeType::String, true);  // optionality differs
  auto otherModel = *builder.build();
  for (const auto& [file, model] : {std::pair{ours, otherModel},
                                    {garbage, testing::hospitalModel()},
                                    {foreign, testing::hospitalModel()}}) {
    const std::string before = readFile(file);
    Stack refused(file, model);
    ASSERT_FALSE(refused.status.ok()) << file;
    EXPECT_TRUE(isIncompatibleStoreError(refused.status.error())) << file;
    EXPECT_FALSE(refused.coordinator->hasStore());
    EXPECT_EQ(readFile(file), before) << file;
  }

  std::ofstream(dir.path() / "plain") << "x";
  Stack nowhere(dir.path() / "plain" / "x.sqlite");
  ASSERT_FALSE(nowhere.status.ok());
  EXPECT_FALSE(isIncompatibleStoreError(nowhere.status.error()));
  Stack twice(dir.path() / "Twice.sqlite");
  EXPECT_FALSE(twice.coordinator->addPersistentStore(StoreType::InMemory, {}).ok());
}

// Guards against one key handed out twice, and keys below an older file's rows.
TEST(SQLiteStoreTest, CoordinatorsOnOneFileNeverShareKeys) {
  test::TempDir dir;
  fs::path file = dir.path() / "Shared.sqlite";
  Stack first(file), second(file);
  std::set<std::int64_t> keys;
  for (int round = 0; round < 3; ++round) {
    std::vector<ManagedObject*> inserted;
    for (int i = 0; i < 80; ++i)
      inserted.push_back(insert((i % 2 ? first : second).context, "Ward", {{"name", "w"}}));
    ASSERT_TRUE(first.context.save().ok());
    ASSERT_TRUE(second.context.save().ok());
    for (ManagedObject* ward : inserted)
      EXPECT_TRUE(keys.insert(ward->objectID().primaryKey).second)
          << "key " << ward->objectID().primaryKey << " handed out twice";
  }
  EXPECT_EQ(sql(file, "SELECT COUNT(*) FROM ZWard"), 240);

  ASSERT_EQ(sql(file, "DROP TABLE Z_PRIMARYKEY"), 0);
  Stack upgraded(file);
  ASSERT_TRUE(upgraded.status.ok()) << upgraded.status.error().description();
  ManagedObject* ward = insert(upgraded.context, "Ward", {{"name", "c"}});
  ASSERT_TRUE(upgraded.context.save().ok());
  EXPECT_GT(ward->objectID().primaryKey, *keys.rbegin());
}

// Guards against refused saves reserving keys, and the next save relating by stale keys.
TEST(SQLiteStoreTest, RefusedSavesKeepTemporaryKeysAndTheNextSaveRelatesByPermanentOnes) {
  test::TempDir dir;
  fs::path file = dir.path() / "Keys.sqlite";
  Stack here(file), there(file);
  ManagedObject* north = insert(here.context, "Ward", {{"name", "North"}});
  ASSERT_TRUE(here.context.save().ok());
  const char* reserved = "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Patient'";

  // The lock outlasts the busy timeout; the insertion does not wait for it.
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto before = std::chrono::steady_clock::now();
  ManagedObject* jo = insert(here.context, "Patient", {{"firstName", "Jo"}});
  EXPECT_LT(std::chrono::steady_clock::now() - before, kStoreBusyTimeout / 2);
  jo->setObject("ward", north);
  const ObjectID temporary = jo->objectID();
  ASSERT_LT(temporary.primaryKey, 0);
  auto locked = here.context.save();
  ASSERT_FALSE(locked.ok());
  EXPECT_FALSE(isIncompatibleStoreError(locked.error()));
  sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  EXPECT_EQ(jo->objectID(), temporary) << "the refused save kept a key";
  ManagedObject* ann = insert(here.context, "Patient", {{"firstName", "Ann"}});

  (*there.context.fetch(FetchRequest("Ward")))[0]->setValue("name", "North wing");
  ASSERT_TRUE(there.context.save().ok());
  north->setValue("name", "North ward");
  auto refused = here.context.save();
  ASSERT_FALSE(refused.ok());
  EXPECT_TRUE(isMergeConflictError(refused.error()));
  EXPECT_EQ(here.context.objectWithID(temporary), jo);
  EXPECT_EQ(sql(file, reserved), 0) << "a refused save reserved keys";

  north->setValue("name", "North wing");  // agree with the other store
  ASSERT_TRUE(here.context.save().ok());
  const ObjectID permanent = jo->objectID();
  ASSERT_GT(permanent.primaryKey, 0);
  const std::int64_t highest = std::max(permanent.primaryKey, ann->objectID().primaryKey);
  EXPECT_GE(sql(file, reserved), highest);
  EXPECT_EQ(here.context.objectWithID(permanent), jo);
  EXPECT_NE(here.context.objectWithID(temporary), jo);

  Stack reader(file);
  auto patients = *reader.context.fetch(request("Patient", {}, {{"firstName", true}}));
  ASSERT_EQ(patients.size(), 2u);
  EXPECT_EQ(patients[0]->value("firstName").stringValue(), "Ann");
  EXPECT_EQ(patients[1]->objectID().primaryKey, permanent.primaryKey);
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
      insert(s.context, "Task", {{"title", "batch " + std::to_string(batch)}});
    ASSERT_TRUE(s.context.save().ok());
    std::ofstream(std::string(path) + ".progress") << batch;
  }
}

// Guards against a save killed midway leaving part of its objects in the file.
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
    std::map<std::string, int> perBatch;
    for (const std::string& title : fetched(s.context, FetchRequest("Task"), "title"))
      ++perBatch[title];
    EXPECT_FALSE(perBatch.empty());
    for (const auto& [title, count] : perBatch) EXPECT_EQ(count % kBatch, 0) << title;
  }
}

// Guards against keys at the top of int64 wrapping to negative ones instead of failing the save.
TEST(SQLiteStoreTest, KeysAtTheTopOfInt64FailTheSaveInsteadOfWrapping) {
  const std::string kMax = std::to_string(std::numeric_limits<std::int64_t>::max());
  const std::string kNearMax = std::to_string(std::numeric_limits<std::int64_t>::max() - 10);
  const std::string maxOfWard = "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Ward'";
  for (const std::string& tampering :
       {"UPDATE Z_PRIMARYKEY SET Z_MAX = " + kMax + " WHERE Z_NAME = 'Ward'",
        "UPDATE Z_PRIMARYKEY SET Z_MAX = " + kNearMax + " WHERE Z_NAME = 'Ward'",
        "UPDATE ZWard SET Z_PK = " + kMax}) {
    SCOPED_TRACE(tampering);
    test::TempDir dir;
    const fs::path file = dir.path() / "Tampered.sqlite";
    {
      Stack first(file);
      insert(first.context, "Ward", {{"name", "first"}});
      ASSERT_TRUE(first.context.save().ok());
    }
    ASSERT_EQ(sql(file, tampering), 0);
    const std::int64_t reservedBefore = sql(file, maxOfWard);

    Stack s(file);
    ManagedObject* ward = insert(s.context, "Ward", {{"name", "second"}});
    auto saved = s.context.save();
    ASSERT_FALSE(saved.ok());
    EXPECT_NE(saved.error().description().find("used up"), std::string::npos)
        << saved.error().description();
    EXPECT_FALSE(s.context.save().ok());  // asked again: no key wrapped round meanwhile
    EXPECT_EQ(sql(file, "SELECT COUNT(*) FROM ZWard"), 1);
    EXPECT_EQ(sql(file, maxOfWard), reservedBefore);
    s.context.deleteObject(ward);
    insert(s.context, "Nurse", {{"name", "N"}});
    EXPECT_TRUE(s.context.save().ok());
  }
}

// Guards against doubles a REAL column does not keep by itself (-0.0) coming back changed.
TEST(SQLiteStoreTest, DoublesReadBackBitForBit) {
  test::TempDir dir;
  const fs::path file = dir.path() / "Doubles.sqlite";
  const std::vector<double> values = {-0.0,
                                      0.0,
                                      71.5,
                                      -2.5e-310,
                                      std::numeric_limits<double>::max(),
                                      -std::numeric_limits<double>::denorm_min(),
                                      -0.0};
  {
    Stack s(file);
    ManagedObject* last = nullptr;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const double inserted = i + 1 < values.size() ? values[i] : 3.0;
      last = insert(s.context, "Patient", {{"id", std::int64_t(i)}, {"weight", inserted}});
    }
    ASSERT_TRUE(s.context.save().ok());
    last->setValue("weight", values.back());  // an update writes it as well
    ASSERT_TRUE(s.context.save().ok());
  }
  Stack reader(file);
  auto found = reader.context.fetch(request("Patient", {}, {{"id", true}}));
  ASSERT_TRUE(found.ok() && found->size() == values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double weight = (*found)[i]->value("weight").doubleValue();
    EXPECT_EQ(weight, values[i]) << i;
    EXPECT_EQ(std::signbit(weight), std::signbit(values[i])) << i;
  }
}

}  // namespace
}  // namespace orbelin::graph
