#include "orbelin/stores2/object_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "stores2/child_process.h"
#include "support/test_support.h"

namespace orbelin {
namespace {

namespace fs = std::filesystem;
using namespace orbelin::graph;
using test::ChildProcess;
using test::waitForFile;
using Ids = std::vector<std::string>;
using ::testing::ElementsAre;
using ::testing::StartsWith;

const char* kChildDocuments = "ORBELIN_CHILD_DOCUMENTS";
const char* kChildTag = "ORBELIN_CHILD_TAG";
const std::string kCoordinator = "ObjectStore.persistentStoreCoordinator: ";

std::shared_ptr<const ManagedObjectModel> secondGenerationModel() {
  ModelBuilder builder;
  builder.entity("Patient")
      .attribute("patientId", AttributeType::String)
      .attribute("name", AttributeType::String)
      .attribute("dischargeDate", AttributeType::Date)
      .toMany("notes", "Note", "patient");
  builder.entity("Note")
      .attribute("text", AttributeType::String, false)
      .toOne("patient", "Patient", "notes");
  builder.entity("StaffMember").attribute("staffId", AttributeType::String);
  builder.entity("InformationBooklet").attribute("bookletId", AttributeType::String);
  return *builder.build();
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<std::string> namesIn(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

// The files of the directory other than the live store's, with their contents.
std::map<std::string, std::string> filesBesideTheStore(const fs::path& directory) {
  std::map<std::string, std::string> files;
  for (const std::string& name : namesIn(directory))
    if (name.rfind("MainStore.sqlite", 0) != 0) files[name] = readFile(directory / name);
  return files;
}

// A patient with one note whose text is its id, made in `context`.
void addPatientWithNote(ObjectStore& store, const std::string& id,
                        const std::shared_ptr<ManagedObjectContext>& context) {
  ManagedObject* patient = store.createObject("Patient", context);
  ManagedObject* note = store.createObject("Note", context);
  ASSERT_TRUE(patient && note);
  patient->setValue("patientId", id);
  note->setValue("text", id);
  note->setObject("patient", patient);
}

// The ids of the stored patients as the main context sees them, sorted,
// duplicates kept; with `withNotes`, each patient must have exactly one note
// whose text is its id.
Ids patientIds(ObjectStore& store, bool withNotes = false) {
  auto patients = store.fetchObjectsWithName("Patient");
  EXPECT_TRUE(patients.has_value());
  Ids ids;
  for (ManagedObject* patient : patients.value_or(std::vector<ManagedObject*>{})) {
    ids.push_back(patient->value("patientId").stringValue());
    if (!withNotes) continue;
    auto notes = patient->objects("notes");
    EXPECT_EQ(notes.size(), 1u) << ids.back();
    EXPECT_EQ(notes.empty() ? "<none>" : notes[0]->value("text").stringValue(), ids.back());
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

// Each test gets its own documents directory and the framework bundle model.
class ObjectStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
    ModelCatalog::registerBundleModel(kFrameworkBundleIdentifier, "OrbelinData2",
                                      secondGenerationModel);
    platform::HostEnvironment::setDocumentsDirectory(documents.path());
  }
  void TearDown() override {
    platform::HostEnvironment::setDocumentsDirectory(std::nullopt);
    platform::Clock::setNowForTesting(std::nullopt);
    DateUtils::setTimeZone(std::nullopt);
  }
  fs::path storePath() const { return documents.path() / "MainStore.sqlite"; }

  // A store file written by a model of another version.
  void writeOldStore() {
    ModelBuilder old;
    old.entity("Patient").attribute("patientId", AttributeType::Integer64);
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(*old.build());
    ASSERT_TRUE(coordinator->addPersistentStore(StoreType::SQLite, storePath()).ok());
    ManagedObjectContext context;
    context.setPersistentStoreCoordinator(coordinator);
    context.insertNewObject("Patient")->setValue("patientId", 1);
    ASSERT_TRUE(context.save().ok());
  }
  // Names set aside carry the layer's local time, not the process's: a zone
  // with a quarter-hour offset that no machine running this is likely to be
  // in. 2016-03-01 14:05:09 UTC is 19:50:09 in Kathmandu.
  void setClock(double secondsAfterFirst = 0) {
    DateUtils::setTimeZone("Asia/Kathmandu");
    platform::Clock::setNowForTesting(dateFromSeconds(1456841109.0 + secondsAfterFirst));
  }

  test::TempDir documents;
};

// Starts in a documents directory that does not exist yet.
TEST_F(ObjectStoreTest, FirstLaunchCreatesAnEmptyStoreAndSavesAreSeenByTheMainContext) {
  const fs::path fresh = documents.path() / "home" / "new-user" / "Documents";
  platform::HostEnvironment::setDocumentsDirectory(fresh);
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty());
    ASSERT_NE(store.backgroundQueueContext(), nullptr);
    ASSERT_NE(store.mainQueueContext(), nullptr);
    EXPECT_EQ(store.backgroundQueueContext()->concurrencyType(), ConcurrencyType::PrivateQueue);
    EXPECT_EQ(store.mainQueueContext()->concurrencyType(), ConcurrencyType::MainQueue);
    EXPECT_EQ(store.documentDirectory(), fresh.string());
    EXPECT_EQ(store.storeArchivePath(), (fresh / "MainStore.sqlite").string());
    EXPECT_TRUE(fs::exists(fresh / "MainStore.sqlite"));
    EXPECT_TRUE(store.saveChanges());  // nothing to save
    EXPECT_EQ(patientIds(store), Ids{});

    // The object types name entities of the model, case-sensitively.
    for (ObjectType type :
         {ObjectType::Patient, ObjectType::InformationBooklet, ObjectType::StaffMember}) {
      EXPECT_EQ(objectTypeFromRawValue(rawValue(type)), type);
      EXPECT_NE(store.model()->entity(rawValue(type)), nullptr) << rawValue(type);
    }
    EXPECT_EQ(objectTypeFromRawValue("patient"), std::nullopt);
    EXPECT_EQ(objectTypeFromRawValue(""), std::nullopt);

    // Going to the background saves the background context; the main one sees it.
    ManagedObject* patient = store.createObject(rawValue(ObjectType::Patient));
    ASSERT_NE(patient, nullptr);
    EXPECT_EQ(patient->context(), store.backgroundQueueContext().get());
    patient->setValue("patientId", "p-1");
    platform::Application::didEnterBackground();
    EXPECT_THAT(console.lines(), ElementsAre("Saved all core data objects."));
    console.clear();
    auto fetched = store.fetchObjectsWithName("Patient");
    ASSERT_TRUE(fetched.has_value());
    ASSERT_EQ(fetched->size(), 1u);
    EXPECT_EQ((*fetched)[0]->context(), store.mainQueueContext().get());
    EXPECT_EQ((*fetched)[0]->value("patientId").stringValue(), "p-1");

    // Unknown entities and failed saves, also on terminating: a line, an
    // absent or false result, the changes rolled back.
    EXPECT_FALSE(store.fetchObjectsWithName("Nope").has_value());
    EXPECT_EQ(store.createObject("Nope"), nullptr);
    store.createObject("Note");  // its text is required
    EXPECT_FALSE(store.saveChanges());
    EXPECT_FALSE(store.backgroundQueueContext()->hasChanges());
    store.createObject("Note");
    platform::Application::willTerminate();
    EXPECT_FALSE(store.backgroundQueueContext()->hasChanges());
    EXPECT_THAT(
        console.lines(),
        ElementsAre(StartsWith("Error performing core data fetch: Error Domain=OrbelinPersistence"),
                    "Error saving context", "Error saving context",
                    "Unable to save  core data objects!"));
  }
  // The directories made are the owner's only; the store survives a restart.
  for (fs::path p = fresh; p != documents.path(); p = p.parent_path()) {
    struct stat info {};
    ASSERT_EQ(::stat(p.c_str(), &info), 0) << p;
    EXPECT_EQ(info.st_mode & 0777, 0700u) << p;
  }
  ObjectStore again;
  EXPECT_EQ(patientIds(again), Ids{"p-1"});
}

TEST_F(ObjectStoreTest, IncompatibleStoreIsSetAsideWithTimestampsAndReplaced) {
  writeOldStore();
  std::ofstream(documents.path() / "MainStore.sqlite-extra") << "companion";
  std::ofstream(documents.path() / "IncompatibleMainStore.sqlite2015-04-21-09-41-00") << "earlier";
  std::ofstream(documents.path() / "Other.sqlite") << "other";
  setClock();
  std::map<std::string, std::string> expected{
      {"IncompatibleMainStore.sqlite2016-03-01-19-50-09", readFile(storePath())},
      {"IncompatibleMainStore.sqlite-extra2016-03-01-19-50-09", "companion"},
      {"IncompatibleMainStore.sqlite2015-04-21-09-41-00", "earlier"},
      {"Other.sqlite", "other"}};
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    EXPECT_EQ(patientIds(store), Ids{});
    store.createObject("Patient");
    EXPECT_TRUE(store.saveChanges());
  }
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);

  // A second incompatible launch sets the new files aside, junk companions
  // included and unread; the first ones stay.
  std::ofstream(storePath(), std::ios::trunc) << std::string(4096, 'j');  // corrupt
  std::ofstream(storePath().string() + "-wal", std::ios::trunc) << "junk log";
  std::ofstream(storePath().string() + "-shm", std::ios::trunc) << "junk index";
  setClock(3600);
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(patientIds(store), Ids{});
  }
  expected["IncompatibleMainStore.sqlite2016-03-01-20-50-09"] = std::string(4096, 'j');
  expected["IncompatibleMainStore.sqlite-wal2016-03-01-20-50-09"] = "junk log";
  expected["IncompatibleMainStore.sqlite-shm2016-03-01-20-50-09"] = "junk index";
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);

  // deleteStore removes the live files only.
  ObjectStore store;
  EXPECT_TRUE(store.deleteStore());
  EXPECT_EQ(namesIn(documents.path()).size(), expected.size());
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);
  EXPECT_TRUE(store.deleteStore());  // nothing left: still true
  EXPECT_TRUE(store.renameIncompatibleStore());

  // The directory is read on every call.
  store.setDocumentDirectory((documents.path() / "missing").string());
  EXPECT_FALSE(store.renameIncompatibleStore());
  EXPECT_FALSE(store.deleteStore());
}

// A store that cannot open says why once, then every call fails with a line.
TEST_F(ObjectStoreTest, AStoreThatCannotOpenSaysWhyAndFailsEveryCall) {
  {  // The file set aside would replace one set aside in the same second.
    writeOldStore();
    setClock();
    fs::path blocked = documents.path() / "IncompatibleMainStore.sqlite2016-03-01-19-50-09";
    std::ofstream(blocked) << "keep me";
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_THAT(
        console.lines(),
        ElementsAre(StartsWith(kCoordinator + "Unable to rename incompatible store file : " +
                               storePath().string() + ". Error: Error Domain="),
                    kCoordinator + "Unable to rename incompatible store."));
    EXPECT_EQ(readFile(blocked), "keep me");
    EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  }
  {  // Below a regular file nothing can be created, even by root.
    std::ofstream(documents.path() / "file") << "x";
    platform::HostEnvironment::setDocumentsDirectory(documents.path() / "file" / "Documents");
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_THAT(console.lines(),
                ElementsAre(StartsWith(kCoordinator +
                                       "Unable to create persistent "
                                       "store. No previous store was detected.Error Domain=")));
    ASSERT_NE(store.createObject("Patient"), nullptr);
    EXPECT_FALSE(store.saveChanges());
    EXPECT_FALSE(store.renameIncompatibleStore());
    EXPECT_FALSE(store.deleteStore());
  }
  // Without a model: no contexts, and no file.
  const fs::path empty = documents.path() / "empty";
  platform::HostEnvironment::setDocumentsDirectory(empty);
  ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
  platform::ConsoleCapture console;
  ObjectStore store;
  EXPECT_EQ(console.lines(),
            std::vector<std::string>{"ObjectStore.init: Unable to create the model!"});
  EXPECT_EQ(store.model(), nullptr);
  EXPECT_EQ(store.backgroundQueueContext(), nullptr);
  EXPECT_EQ(store.mainQueueContext(), nullptr);
  EXPECT_EQ(store.createObject("Patient"), nullptr);
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  EXPECT_FALSE(fs::exists(empty / "MainStore.sqlite"));
}

// Everyone at once on one file: two other processes save for three seconds;
// in this one, two stores save fifty patients each in tens, and three threads
// share each context of a third store, saving and reading for two seconds.
// No save fails, none deadlocks, every patient is there once, with its note.
TEST_F(ObjectStoreTest, EveryoneSavingIntoOneFileAtOnceLosesNothing) {
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (const char* tag : {"a", "b"}) {
    children.push_back(std::make_unique<ChildProcess>(
        "ObjectStoreChild.SavesPatientsUntilTimeIsUp",
        std::vector<std::pair<std::string, std::string>>{
            {kChildDocuments, documents.path().string()}, {kChildTag, tag}}));
    ASSERT_TRUE(children.back()->started());
  }
  for (const char* tag : {"a", "b"})
    ASSERT_TRUE(waitForFile(documents.path() / (std::string(tag) + ".ready")));
  std::ofstream(documents.path() / "go") << "go";

  ObjectStore first, second, shared;
  platform::ConsoleCapture console;
  std::vector<std::pair<std::string, int>> saved{{"x", 50}, {"y", 50}};
  for (int t = 0; t < 6; ++t) saved.emplace_back("t" + std::to_string(t), 0);
  std::atomic<int> running{0};
  std::atomic<bool> failed{false};
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    ++running;
    threads.emplace_back([&, t] {
      auto context = t % 2 ? shared.mainQueueContext() : shared.backgroundQueueContext();
      auto& [tag, count] = saved[2 + t];
      for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
        // An object is created and filled in one block on the context's
        // queue, so no save of another thread sees it half made.
        context->performAndWait(
            [&] { addPatientWithNote(shared, tag + "-" + std::to_string(i), context); });
        if (shared.saveChanges(context))
          count = i + 1;
        else
          failed = true;
        if (i % 10 == 0 && !shared.fetchObjects("Note", std::nullopt, context)) failed = true;
      }
      --running;
      platform::MainQueue::async([] {});  // wakes the main thread to see it
    });
  }
  for (int i = 0; i < 50; ++i) {
    addPatientWithNote(first, "x-" + std::to_string(i), first.backgroundQueueContext());
    addPatientWithNote(second, "y-" + std::to_string(i), second.backgroundQueueContext());
    if (i % 10 == 9) {
      EXPECT_TRUE(first.saveChanges());
      EXPECT_TRUE(second.saveChanges());
    }
  }
  // The main-queue context's work runs here, on the main thread.
  EXPECT_TRUE(
      test::runMainQueueUntil([&] { return running.load() == 0; }, std::chrono::seconds(60)));
  for (auto& t : threads) t.join();
  EXPECT_FALSE(failed.load());
  EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
  for (auto& child : children) EXPECT_EQ(child->wait(), 0);

  for (const char* tag : {"a", "b"})
    saved.emplace_back(
        tag, std::atoi(readFile(documents.path() / (tag + std::string(".saved"))).c_str()));
  Ids expected;
  for (const auto& [tag, count] : saved) {
    EXPECT_GT(count, 0) << tag;
    for (int i = 0; i < count; ++i) expected.push_back(tag + "-" + std::to_string(i));
  }
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(patientIds(shared, true), expected);
  auto notes = shared.fetchObjects("Note", std::nullopt, shared.backgroundQueueContext());
  ASSERT_TRUE(notes.has_value());
  EXPECT_EQ(notes->size(), expected.size());
  ObjectStore relaunched;
  EXPECT_EQ(patientIds(relaunched, true), expected);
}

// A lock held past the wait is reported, the file left alone, and saves and
// fetches fail until the first one after the lock is gone attaches the file,
// saying so once. A lock that goes away within the wait is waited for.
TEST_F(ObjectStoreTest, BusyStoreIsLeftUntouchedUntilTheLockIsGone) {
  {
    ObjectStore store;
    store.createObject("Patient")->setValue("patientId", "kept");
    ASSERT_TRUE(store.saveChanges());
  }
  // Another process holds the file locked until told to let go.
  ChildProcess locker("ObjectStoreChild.HoldsTheStoreLocked",
                      {{kChildDocuments, documents.path().string()}});
  ASSERT_TRUE(locker.started() && waitForFile(documents.path() / "locked"));
  const auto before = namesIn(documents.path());
  platform::ConsoleCapture console;
  ObjectStore store;
  EXPECT_THAT(console.lines(),
              ElementsAre(StartsWith(kCoordinator +
                                     "Unable to open persistent "
                                     "store; the store file was left untouched.Error Domain=")));
  EXPECT_EQ(namesIn(documents.path()), before);
  console.clear();
  // Still locked: each attempt tries again and fails, without a new line.
  store.createObject("Patient")->setValue("patientId", "refused");
  EXPECT_FALSE(store.saveChanges());
  EXPECT_THAT(console.lines(), ElementsAre("Error saving context"));
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  ManagedObject* waiting = store.createObject("Patient");
  waiting->setValue("patientId", "waited");
  EXPECT_LT(waiting->objectID().primaryKey, 0);
  EXPECT_EQ(console.lines().size(), 2u);  // the fetch error
  EXPECT_EQ(namesIn(documents.path()), before);
  console.clear();

  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::ofstream(documents.path() / "release") << "release";
  });
  {
    ObjectStore opensOnceReleased;
    releaser.join();
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    EXPECT_EQ(patientIds(opensOnceReleased), Ids{"kept"});
  }
  EXPECT_EQ(locker.wait(), 0);
  EXPECT_TRUE(store.saveChanges());
  EXPECT_GT(waiting->objectID().primaryKey, 0);
  EXPECT_THAT(console.lines(),
              ElementsAre(kCoordinator + "Attached the store file " + storePath().string() +
                          ", which could not be opened before."));
  EXPECT_EQ(patientIds(store), (Ids{"kept", "waited"}));
  EXPECT_EQ(console.lines().size(), 1u);  // attached once, said once
  ObjectStore relaunched;
  EXPECT_EQ(patientIds(relaunched), (Ids{"kept", "waited"}));
}

// Child sides of the two-process tests; skipped when run on their own.
class ObjectStoreChild : public ObjectStoreTest {
 protected:
  void SetUp() override {
    ObjectStoreTest::SetUp();
    const char* directory = std::getenv(kChildDocuments);
    if (!directory) GTEST_SKIP() << "run by the two-process tests";
    shared = directory;
    platform::HostEnvironment::setDocumentsDirectory(shared);
  }
  fs::path shared;
};

TEST_F(ObjectStoreChild, SavesPatientsUntilTimeIsUp) {
  const std::string tag = std::getenv(kChildTag);
  ObjectStore store;
  std::ofstream(shared / (tag + ".ready")) << "ready";
  ASSERT_TRUE(waitForFile(shared / "go"));
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
    addPatientWithNote(store, tag + "-" + std::to_string(i), store.backgroundQueueContext());
    ASSERT_TRUE(store.saveChanges()) << i;
    std::ofstream(shared / (tag + ".saved")) << i + 1;
  }
}

TEST_F(ObjectStoreChild, HoldsTheStoreLocked) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((shared / "MainStore.sqlite").c_str(), &db), SQLITE_OK);
  // Exclusive locking mode keeps every other connection out, readers too.
  ASSERT_EQ(sqlite3_exec(db,
                         "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; "
                         "UPDATE Z_METADATA SET Z_VALUE = Z_VALUE",
                         nullptr, nullptr, nullptr),
            SQLITE_OK)
      << sqlite3_errmsg(db);
  std::ofstream(shared / "locked") << "locked";
  EXPECT_TRUE(waitForFile(shared / "release"));
  sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(db);
}

// Last: the shared store lives until the process ends and keeps observing.
TEST_F(ObjectStoreTest, HospitalStoreIsCreatedOnce) {
  std::vector<ObjectStore*> seen(6);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = &hospitalStore(); });
  for (auto& t : threads) t.join();
  for (auto* s : seen) EXPECT_EQ(s, seen[0]);
  EXPECT_NE(hospitalStore().mainQueueContext(), nullptr);
}

}  // namespace
}  // namespace orbelin
