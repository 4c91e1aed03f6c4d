#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

struct Stack {
  explicit Stack(const fs::path& file,
                 std::shared_ptr<const ManagedObjectModel> model = testing::hospitalModel())
      : coordinator(std::make_shared<PersistentStoreCoordinator>(std::move(model))) {
    status = coordinator->addPersistentStore(StoreType::SQLite, file);
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  Status status;
  ManagedObjectContext context;
};

TEST(SQLiteStoreTest, RoundTripsEveryAttributeTypeAndRelationship) {
  test::TempDir dir;
  fs::path file = dir.path() / "Graph.sqlite";
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
    ManagedObject* ward = s.context.insertNewObject("Ward");
    ward->setValue("name", "North");
    jo->setObject("ward", ward);
    ManagedObject* bed = s.context.insertNewObject("Bed");
    bed->setObject("patient", jo);
    for (const char* title : {"c", "a", "b"}) {
      ManagedObject* task = s.context.insertNewObject("Task");
      task->setValue("title", title);
      jo->mutableOrderedSet("tasks").add(task);
    }
    ManagedObject* n1 = s.context.insertNewObject("Nurse");
    ManagedObject* n2 = s.context.insertNewObject("Nurse");
    n1->setValue("name", "N1");
    n2->setValue("name", "N2");
    jo->mutableSet("nurses").addAll({n2, n1});
    ManagedObject* other = s.context.insertNewObject("Patient");
    other->setValue("firstName", "Empty");
    other->setValue("photo", Bytes{});
    ASSERT_TRUE(s.context.save().ok());
    // Reorder and resave: the order column follows.
    RelationshipSet tasks = jo->mutableOrderedSet("tasks");
    tasks.insert(tasks.at(2), 0);
    ASSERT_TRUE(s.context.save().ok());
  }
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  for (const char* companion : {"-wal", "-shm"}) {
    fs::path path = file.string() + companion;
    if (fs::exists(path) && ::stat(path.c_str(), &info) == 0) {
      EXPECT_EQ(info.st_mode & 0777, 0600u);
    }
  }

  Stack s(file);
  ASSERT_TRUE(s.status.ok());
  FetchRequest request("Patient");
  request.setPredicate(Predicate::equal("isAdmitted", true));
  auto found = s.context.fetch(request);
  ASSERT_TRUE(found.ok());
  ASSERT_EQ(found->size(), 1u);
  ManagedObject* jo = (*found)[0];
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
  request.setPredicate(Predicate::equal("firstName", "Empty"));
  ManagedObject* empty = (*s.context.fetch(request))[0];
  ASSERT_NE(empty->value("photo").binary(), nullptr);
  EXPECT_TRUE(empty->value("photo").binary()->empty());
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
  ManagedObject* later = s.context.insertNewObject("Patient");
  later->setValue("name", "Later");
  ASSERT_TRUE(s.context.save().ok());
  EXPECT_GT(later->objectID().primaryKey, jo->objectID().primaryKey);
}

TEST(SQLiteStoreTest, RefusesForeignFilesAndLeavesThemUnchanged) {
  test::TempDir dir;
  fs::path file = dir.path() / "Graph.sqlite";
  {
    Stack s(file);
    ASSERT_TRUE(s.status.ok());
    s.context.insertNewObject("Ward")->setValue("name", "North");
    ASSERT_TRUE(s.context.save().ok());
  }
  // Fold the WAL into the file so that its bytes say everything.
  {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, "PRAGMA journal_mode=DELETE", nullptr, nullptr, nullptr);
    sqlite3_close(db);
  }
  std::string before = readFile(file);

  ModelBuilder other;
  other.entity("Ward").attribute("name", AttributeType::String, true);  // optionality differs
  Stack mismatched(file, *other.build());
  ASSERT_FALSE(mismatched.status.ok());
  EXPECT_EQ(mismatched.status.error().domain(), error_domain::kPersistence);
  EXPECT_TRUE(isIncompatibleStoreError(mismatched.status.error()));
  EXPECT_FALSE(isBusyStoreError(mismatched.status.error()));
  EXPECT_FALSE(mismatched.coordinator->hasStore());
  EXPECT_FALSE(mismatched.context.save().ok() && mismatched.context.hasChanges());
  EXPECT_EQ(readFile(file), before);

  fs::path garbage = dir.path() / "Garbage.sqlite";
  std::string noise(8192, 'x');
  std::ofstream(garbage, std::ios::binary) << noise;
  Stack refused(garbage);
  ASSERT_FALSE(refused.status.ok());
  EXPECT_TRUE(isIncompatibleStoreError(refused.status.error()));
  EXPECT_EQ(readFile(garbage), noise);

  // Another SQLite database without our metadata is not ours either.
  fs::path foreign = dir.path() / "Foreign.sqlite";
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(foreign.c_str(), &db), SQLITE_OK);
  sqlite3_exec(db, "CREATE TABLE t (x)", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  Stack foreignStack(foreign);
  ASSERT_FALSE(foreignStack.status.ok());
  EXPECT_TRUE(isIncompatibleStoreError(foreignStack.status.error()));

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

TEST(SQLiteStoreTest, CreatesMissingDirectoriesOwnerOnly) {
  test::TempDir dir;
  fs::path file = dir.path() / "fresh" / "account" / "Documents" / "Graph.sqlite";
  {
    Stack s(file);
    ASSERT_TRUE(s.status.ok()) << s.status.error().description();
    s.context.insertNewObject("Ward")->setValue("name", "North");
    ASSERT_TRUE(s.context.save().ok());
  }
  for (fs::path p = file.parent_path(); p != dir.path(); p = p.parent_path()) {
    struct stat info {};
    ASSERT_EQ(::stat(p.c_str(), &info), 0) << p;
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0700u) << p;
  }
  Stack reopened(file);
  ASSERT_TRUE(reopened.status.ok());
  EXPECT_EQ(*reopened.context.count(FetchRequest("Ward")), 1u);
}

// Raw SQLite beside the store, for the file's own tables.
void execRaw(const fs::path& file, const char* sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
  sqlite3_close(db);
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
        ManagedObject* ward = s->context.insertNewObject("Ward");
        ward->setValue("name", (s == &first ? "a" : "b") + std::to_string(round * 40 + i));
        inserted.push_back(ward);
      }
    }
    ASSERT_TRUE(first.context.save().ok());
    auto saved = second.context.save();
    ASSERT_TRUE(saved.ok()) << saved.error().description();
    for (ManagedObject* ward : inserted)
      EXPECT_TRUE(keys.insert(ward->objectID().primaryKey).second)
          << "key " << ward->objectID().primaryKey << " handed out twice";
  }
  Stack reader(file);
  EXPECT_EQ(*reader.context.count(FetchRequest("Ward")), 240u);

  // A file written before the key table existed: new keys go above its rows.
  execRaw(file, "DROP TABLE Z_PRIMARYKEY");
  Stack upgraded(file);
  ASSERT_TRUE(upgraded.status.ok()) << upgraded.status.error().description();
  ManagedObject* ward = upgraded.context.insertNewObject("Ward");
  ward->setValue("name", "c");
  auto upgradedSave = upgraded.context.save();
  ASSERT_TRUE(upgradedSave.ok()) << upgradedSave.error().description();
  EXPECT_GT(ward->objectID().primaryKey, *keys.rbegin());
  EXPECT_EQ(*upgraded.context.count(FetchRequest("Ward")), 241u);
}

TEST(SQLiteStoreTest, LockedFileIsBusyNotForeignAndTemporaryKeysArePermanentAtTheSave) {
  test::TempDir dir;
  fs::path file = dir.path() / "Locked.sqlite";
  Stack s(file);
  ASSERT_TRUE(s.status.ok());
  // Another connection keeps the write lock past the busy timeout. Keys are
  // reserved by saves, so the insertion does not wait for the lock: the
  // object gets a temporary key at once.
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto before = std::chrono::steady_clock::now();
  ManagedObject* ward = s.context.insertNewObject("Ward");
  EXPECT_LT(std::chrono::steady_clock::now() - before, kStoreBusyTimeout / 2);
  ASSERT_NE(ward, nullptr);
  ward->setValue("name", "North");
  EXPECT_LT(ward->objectID().primaryKey, 0);
  // While the lock lasts, the save cannot write and keeps the change.
  auto refused = s.context.save();
  ASSERT_FALSE(refused.ok());
  EXPECT_FALSE(isIncompatibleStoreError(refused.error()));
  sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  EXPECT_LT(ward->objectID().primaryKey, 0) << "the refused save gave its key back";
  // Once the lock is gone, the save gives both objects permanent keys.
  ManagedObject* later = s.context.insertNewObject("Ward");
  later->setValue("name", "South");
  auto saved = s.context.save();
  ASSERT_TRUE(saved.ok()) << saved.error().description();
  EXPECT_GT(ward->objectID().primaryKey, 0);
  EXPECT_NE(ward->objectID().primaryKey, later->objectID().primaryKey);
  Stack reader(file);
  std::vector<std::string> stored;
  auto wards = reader.context.fetch(FetchRequest("Ward"));
  ASSERT_TRUE(wards.ok());
  for (ManagedObject* w : *wards) stored.push_back(w->value("name").stringValue());
  std::sort(stored.begin(), stored.end());
  EXPECT_EQ(stored, (std::vector<std::string>{"North", "South"}));
}

// Child side of the crash test: saves batches forever until killed.
constexpr int kBatch = 2000;

// Keys are reserved inside the save's own transaction: a refused save
// reserves nothing, its new objects keep their temporary keys (and stay
// found by them), and the save that succeeds writes their relationships
// with the permanent keys.
TEST(SQLiteStoreTest, RefusedSaveGivesItsKeysBackAndTheNextSaveRelatesByPermanentKeys) {
  test::TempDir dir;
  fs::path file = dir.path() / "Keys.sqlite";
  Stack here(file), there(file);
  ASSERT_TRUE(here.status.ok());
  ManagedObject* north = here.context.insertNewObject("Ward");
  north->setValue("name", "North");
  ASSERT_TRUE(here.context.save().ok());
  auto reserved = [&file] {
    sqlite3* db = nullptr;
    sqlite3_open(file.c_str(), &db);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Patient'", -1, &stmt,
                       nullptr);
    std::int64_t max = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return max;
  };

  // Both stores change the ward's name: this one's save is refused.
  ManagedObject* theirs = (*there.context.fetch(FetchRequest("Ward")))[0];
  theirs->setValue("name", "North wing");
  ASSERT_TRUE(there.context.save().ok());
  north->setValue("name", "North ward");
  ManagedObject* jo = here.context.insertNewObject("Patient");
  jo->setValue("firstName", "Jo");
  jo->setObject("ward", north);
  const ObjectID temporary = jo->objectID();
  ASSERT_LT(temporary.primaryKey, 0);
  auto refused = here.context.save();
  ASSERT_FALSE(refused.ok());
  EXPECT_TRUE(isMergeConflictError(refused.error()));
  EXPECT_EQ(jo->objectID(), temporary);
  EXPECT_EQ(here.context.objectWithID(temporary), jo);
  EXPECT_EQ(reserved(), 0) << "the refused save reserved keys";

  north->setValue("name", "North wing");  // agree with the other store
  auto saved = here.context.save();
  ASSERT_TRUE(saved.ok()) << saved.error().description();
  const ObjectID permanent = jo->objectID();
  ASSERT_GT(permanent.primaryKey, 0);
  EXPECT_GE(reserved(), permanent.primaryKey);
  EXPECT_EQ(here.context.objectWithID(permanent), jo);
  EXPECT_NE(here.context.objectWithID(temporary), jo);

  Stack reader(file);
  auto patients = *reader.context.fetch(FetchRequest("Patient"));
  ASSERT_EQ(patients.size(), 1u);
  EXPECT_EQ(patients[0]->objectID().primaryKey, permanent.primaryKey);
  ASSERT_NE(patients[0]->object("ward"), nullptr);
  EXPECT_EQ(patients[0]->object("ward")->value("name").stringValue(), "North wing");
  // Later insertions take the spare keys of that save's block at once.
  ManagedObject* next = here.context.insertNewObject("Patient");
  EXPECT_EQ(next->objectID().primaryKey, permanent.primaryKey + 1);
}

TEST(SQLiteCrashChild, WritesBatchesUntilKilled) {
  const char* path = std::getenv("ORBELIN_CRASH_STORE");
  if (!path) GTEST_SKIP() << "run by SQLiteStoreTest.KilledSaveLeavesAllOrNothing";
  Stack s(path);
  ASSERT_TRUE(s.status.ok());
  for (int batch = 0;; ++batch) {
    for (int i = 0; i < kBatch; ++i) {
      ManagedObject* task = s.context.insertNewObject("Task");
      task->setValue("title", "batch " + std::to_string(batch));
    }
    ASSERT_TRUE(s.context.save().ok());
    std::ofstream(std::string(path) + ".progress") << batch;
  }
}

TEST(SQLiteStoreTest, KilledSaveLeavesAllOrNothing) {
  test::TempDir dir;
  fs::path file = dir.path() / "Crash.sqlite";
  for (int round = 0; round < 3; ++round) {
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      setenv("ORBELIN_CRASH_STORE", file.c_str(), 1);
      execl("/proc/self/exe", "graph_test", "--gtest_filter=SQLiteCrashChild.*", nullptr);
      _exit(127);
    }
    // Wait until a few batches are in, then kill at a moment inside a save.
    fs::path progress = file.string() + ".progress";
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    // The child rewrites the file as it goes: read it once per look, never throw.
    auto batchesDone = [&] {
      std::string text = readFile(progress);
      return text.empty() ? -1 : std::atoi(text.c_str());
    };
    while (batchesDone() < 2 + round && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
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
    EXPECT_EQ(tasks->size() % kBatch, 0u) << "a save was cut in half";
    std::map<std::string, int> perBatch;
    for (auto* t : *tasks) ++perBatch[t->value("title").stringValue()];
    for (const auto& [title, count] : perBatch) EXPECT_EQ(count % kBatch, 0) << title;
  }
}

}  // namespace
}  // namespace orbelin::graph
