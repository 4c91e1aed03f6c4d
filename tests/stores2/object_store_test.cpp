// The store file of the second-generation entities: where it is made, what
// becomes of files that do not fit or cannot be opened, how failed saves
// are told, and many writers at once.
#include "orbelin/stores2/object_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <any>
#include <atomic>
#include <map>
#include <thread>

#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/platform/notification_center.h"
#include "stores2/child_process.h"
#include "support/test_support.h"

namespace orbelin {
namespace {

namespace fs = std::filesystem;
using namespace orbelin::graph;
using test::ChildProcess;
using test::readFile;
using test::waitForFile;
using Ids = std::vector<std::string>;
using ::testing::ElementsAre;
using ::testing::StartsWith;

const std::string kCoordinator = "ObjectStore.persistentStoreCoordinator: ";

std::shared_ptr<const ManagedObjectModel> secondGenerationModel() {
  ModelBuilder builder;
  builder.entity("Patient")
      .attribute("patientId", AttributeType::String)
      .attribute("name", AttributeType::String)
      .toMany("notes", "Note", "patient");
  builder.entity("Note")
      .attribute("text", AttributeType::String, false)
      .toOne("patient", "Patient", "notes");
  return *builder.build();
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

void savePatients(ObjectStore& store, const Ids& ids) {
  for (const std::string& id : ids) store.createObject("Patient")->setValue("patientId", id);
  ASSERT_TRUE(store.saveChanges());
}

// Counts the failed-save notifications of one store and keeps the last error.
struct SaveFailures {
  explicit SaveFailures(const ObjectStore& store) {
    token = platform::NotificationCenter::defaultCenter().addObserver(
        kObjectStoreSaveDidFailNotification, &store, [this](const platform::Notification& n) {
          ++count;
          if (const Error* error = std::any_cast<Error>(&n.userInfo)) last = *error;
        });
  }
  ~SaveFailures() { platform::NotificationCenter::defaultCenter().removeObserver(token); }
  int count = 0;
  std::optional<Error> last;
  platform::NotificationCenter::Token token{};
};

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

// A first launch must make the documents directory for its owner only, keep
// objects in the background context and merge saves into the main one; a
// failed save must be rolled back, logged, kept and posted by its own store
// only, whether saveChanges or a lifecycle notification made it.
TEST_F(ObjectStoreTest, FirstLaunchSavesAndFailedSavesAreToldAndRolledBack) {
  const fs::path fresh = documents.path() / "home" / "new-user" / "Documents";
  platform::HostEnvironment::setDocumentsDirectory(fresh);
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    SaveFailures failures(store);
    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(store.backgroundQueueContext()->concurrencyType(), ConcurrencyType::PrivateQueue);
    EXPECT_EQ(store.mainQueueContext()->concurrencyType(), ConcurrencyType::MainQueue);
    EXPECT_TRUE(fs::exists(fresh / "MainStore.sqlite"));
    EXPECT_TRUE(store.saveChanges());  // nothing to save

    // Raw values name their object types back, case-sensitively.
    for (ObjectType type :
         {ObjectType::Patient, ObjectType::InformationBooklet, ObjectType::StaffMember})
      EXPECT_EQ(objectTypeFromRawValue(rawValue(type)), type);
    EXPECT_EQ(objectTypeFromRawValue("patient"), std::nullopt);

    // Going to the background saves the background context; the main one sees it.
    ManagedObject* patient = store.createObject(rawValue(ObjectType::Patient));
    EXPECT_EQ(patient->context(), store.backgroundQueueContext().get());
    patient->setValue("patientId", "p-1");
    platform::Application::didEnterBackground();
    EXPECT_THAT(console.lines(), ElementsAre("Saved all core data objects."));
    EXPECT_EQ(patientIds(store), Ids{"p-1"});
    console.clear();

    ObjectStore other;
    SaveFailures otherFailures(other);
    EXPECT_FALSE(store.fetchObjectsWithName("Nope").has_value());
    EXPECT_EQ(store.createObject("Nope"), nullptr);
    store.createObject("Note");  // its text is required
    EXPECT_FALSE(store.saveChanges());
    EXPECT_FALSE(store.backgroundQueueContext()->hasChanges());
    ASSERT_EQ(failures.count, 1);
    EXPECT_EQ(failures.last->description(), store.lastSaveError()->description());
    // A later good save does not hide the failure; a clear does.
    savePatients(store, {"p-2"});
    EXPECT_TRUE(store.lastSaveError().has_value());
    store.clearLastSaveError();
    EXPECT_FALSE(store.lastSaveError().has_value());

    store.createObject("Note", store.mainQueueContext());
    EXPECT_FALSE(store.saveChanges(store.mainQueueContext()));
    store.createObject("Note");
    platform::Application::willTerminate();
    EXPECT_FALSE(store.backgroundQueueContext()->hasChanges());
    EXPECT_EQ(failures.count, 3);
    EXPECT_EQ(otherFailures.count, 0) << "only the store whose save failed posts";
    EXPECT_THAT(
        console.lines(),
        ElementsAre(StartsWith("Error performing core data fetch: Error Domain=OrbelinPersistence"),
                    "Error saving context", "Error saving context", "Error saving context",
                    "Unable to save  core data objects!", "Saved all core data objects."));
  }
  for (fs::path p = fresh; p != documents.path(); p = p.parent_path()) {
    struct stat info {};
    ASSERT_EQ(::stat(p.c_str(), &info), 0) << p;
    EXPECT_EQ(info.st_mode & 0777, 0700u) << p;
  }
  ObjectStore again;
  EXPECT_EQ(patientIds(again), (Ids{"p-1", "p-2"}));
}

// A file of another model, or junk, is set aside with its companions under
// a local-time stamp, never over an earlier one, and a new store replaces it.
TEST_F(ObjectStoreTest, IncompatibleStoreIsSetAsideWithTimestampsAndReplaced) {
  writeOldStore();
  std::map<std::string, std::string> expected{
      {"IncompatibleMainStore.sqlite2016-03-01-19-50-09", readFile(storePath())},
      {"IncompatibleMainStore.sqlite-extra2016-03-01-19-50-09", "companion"},
      {"IncompatibleMainStore.sqlite2015-04-21-09-41-00", "earlier"},
      {"Other.sqlite", "other"}};
  std::ofstream(documents.path() / "MainStore.sqlite-extra") << "companion";
  std::ofstream(documents.path() / "IncompatibleMainStore.sqlite2015-04-21-09-41-00") << "earlier";
  std::ofstream(documents.path() / "Other.sqlite") << "other";
  setClock();
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    EXPECT_EQ(patientIds(store), Ids{});
    savePatients(store, {"new"});
  }
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);

  // A second incompatible launch sets the new files aside, junk companions
  // included and unread; the first ones stay.
  for (const char* suffix : {"", "-wal", "-shm"}) {
    const std::string junk = std::string("junk") + suffix + std::string(4096, 'j');
    std::ofstream(storePath().string() + suffix, std::ios::trunc) << junk;
    expected[std::string("IncompatibleMainStore.sqlite") + suffix + "2016-03-01-20-50-09"] = junk;
  }
  setClock(3600);
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(patientIds(store), Ids{});
  }
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);

  // deleteStore removes the live files only; both read the directory on
  // every call.
  ObjectStore store;
  EXPECT_TRUE(store.deleteStore());
  EXPECT_EQ(namesIn(documents.path()).size(), expected.size());
  EXPECT_EQ(filesBesideTheStore(documents.path()), expected);
  EXPECT_TRUE(store.deleteStore());  // nothing left: still true
  EXPECT_TRUE(store.renameIncompatibleStore());
  store.setDocumentDirectory((documents.path() / "missing").string());
  EXPECT_FALSE(store.renameIncompatibleStore());
  EXPECT_FALSE(store.deleteStore());
}

// A store that cannot open must say why once and fail every call without
// crashing.
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
  // Without a model: no contexts, and no file.
  const fs::path empty = documents.path() / "empty";
  platform::HostEnvironment::setDocumentsDirectory(empty);
  ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
  platform::ConsoleCapture console;
  ObjectStore store;
  EXPECT_EQ(console.lines(), Ids{"ObjectStore.init: Unable to create the model!"});
  EXPECT_EQ(store.mainQueueContext(), nullptr);
  EXPECT_EQ(store.createObject("Patient"), nullptr);
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  EXPECT_FALSE(fs::exists(empty / "MainStore.sqlite"));
}

// Everyone at once on one file: two other processes save for three seconds
// while three threads share each context of this one's store, saving and
// reading for two seconds. No save fails, none deadlocks, every patient is
// there once, with its note.
TEST_F(ObjectStoreTest, EveryoneSavingIntoOneFileAtOnceLosesNothing) {
  auto children =
      test::startTwoWriters("ObjectStoreChild.SavesPatientsUntilTimeIsUp", documents.path());
  ASSERT_EQ(children.size(), 2u);
  ObjectStore shared;
  platform::ConsoleCapture console;
  std::vector<std::pair<std::string, int>> saved;
  for (int t = 0; t < 6; ++t) saved.emplace_back("t" + std::to_string(t), 0);
  std::atomic<int> running{6};
  std::atomic<bool> failed{false};
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      auto context = t % 2 ? shared.mainQueueContext() : shared.backgroundQueueContext();
      auto& [tag, count] = saved[t];
      for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
        // An object is created and filled in one block on the context's
        // queue, so no save of another thread sees it half made.
        context->performAndWait(
            [&] { addPatientWithNote(shared, tag + "-" + std::to_string(i), context); });
        if (!shared.saveChanges(context)) failed = true;
        count = i + 1;
        if (i % 10 == 0 && !shared.fetchObjects("Note", std::nullopt, context)) failed = true;
      }
      --running;
      platform::MainQueue::async([] {});  // wakes the main thread to see it
    });
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
  EXPECT_EQ(notes.value_or(std::vector<ManagedObject*>{}).size(), expected.size());
  ObjectStore relaunched;
  EXPECT_EQ(patientIds(relaunched, true), expected);
}

// A lock held past the wait is reported, the file left alone, and saves and
// fetches fail until the first one after the lock is gone attaches the file,
// saying so once. A lock that goes away within the wait is waited for.
TEST_F(ObjectStoreTest, BusyStoreIsLeftUntouchedUntilTheLockIsGone) {
  {
    ObjectStore store;
    savePatients(store, {"kept"});
  }
  // Another process holds the file locked until told to let go.
  ChildProcess locker("ObjectStoreChild.HoldsTheStoreLocked", documents.path());
  ASSERT_TRUE(waitForFile(documents.path() / "locked"));
  const auto before = namesIn(documents.path());
  platform::ConsoleCapture console;
  ObjectStore store;
  EXPECT_THAT(console.lines(),
              ElementsAre(StartsWith(kCoordinator +
                                     "Unable to open persistent "
                                     "store; the store file was left untouched.Error Domain=")));
  ASSERT_TRUE(store.storeOpenError().has_value());
  console.clear();
  // Still locked: each attempt tries again and fails, without a new line.
  store.createObject("Patient")->setValue("patientId", "refused");
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  ManagedObject* waiting = store.createObject("Patient");
  waiting->setValue("patientId", "waited");
  EXPECT_LT(waiting->objectID().primaryKey, 0);
  EXPECT_THAT(console.lines(),
              ElementsAre("Error saving context", StartsWith("Error performing core data fetch")));
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
  EXPECT_FALSE(store.storeOpenError().has_value());
  EXPECT_EQ(patientIds(store), (Ids{"kept", "waited"}));
  EXPECT_THAT(console.lines(),  // attached once, said once
              ElementsAre(kCoordinator + "Attached the store file " + storePath().string() +
                          ", which could not be opened before."));
  ObjectStore relaunched;
  EXPECT_EQ(patientIds(relaunched), (Ids{"kept", "waited"}));
}

// Rows of ZPatient in a copy of the store file alone, without its companions.
std::int64_t patientsInMainFileAlone(const fs::path& store, const fs::path& scratch) {
  const fs::path copy = scratch / "Alone.sqlite";
  fs::remove(copy);
  fs::copy_file(store, copy);
  sqlite3* db = nullptr;
  std::int64_t count = -1;
  sqlite3_open_v2(copy.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_exec(
      db, "SELECT COUNT(*) FROM ZPatient",
      [](void* out, int, char** row, char**) {
        *static_cast<std::int64_t*>(out) = std::atoll(row[0]);
        return 0;
      },
      &count, nullptr);
  sqlite3_close(db);
  return count;
}

// Going to the background, terminating and destruction must leave the data
// in the store file itself, even while another connection keeps it open
// (then closing the store's own connection folds nothing back).
TEST_F(ObjectStoreTest, BackgroundTerminateAndDestructionLeaveTheDataInTheStoreFile) {
  test::TempDir scratch;
  platform::ConsoleCapture console;
  auto store = std::make_unique<ObjectStore>();
  sqlite3* neighbour = nullptr;
  ASSERT_EQ(sqlite3_open(storePath().c_str(), &neighbour), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(neighbour, "SELECT COUNT(*) FROM ZPatient", nullptr, nullptr, nullptr),
            SQLITE_OK);
  const fs::path wal = storePath().string() + "-wal";
  auto saveCount = [&](int from, int count) {
    Ids ids;
    for (int i = from; i < from + count; ++i) ids.push_back(std::to_string(i));
    savePatients(*store, ids);
  };
  saveCount(0, 50);
  ASSERT_GT(fs::file_size(wal), 0u) << "saves go to the log first";
  platform::Application::didEnterBackground();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 50);
  EXPECT_EQ(fs::file_size(wal), 0u);
  saveCount(50, 20);
  platform::Application::willTerminate();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 70);
  saveCount(70, 5);
  store.reset();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 75);
  EXPECT_EQ(fs::file_size(wal), 0u);
  sqlite3_close(neighbour);
}

// The other processes of the tests above.
using ObjectStoreChild = test::ChildOf<ObjectStoreTest>;

TEST_F(ObjectStoreChild, SavesPatientsUntilTimeIsUp) {
  ObjectStore store;
  const std::string tag = test::readyThenWaitForGo(shared);
  ASSERT_FALSE(tag.empty());
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

// Threads that reach the shared store together must all get one store.
// Last: that store keeps observing until the process ends.
TEST_F(ObjectStoreTest, HospitalStoreIsCreatedOnce) {
  std::vector<ObjectStore*> seen(6);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = &hospitalStore(); });
  for (auto& t : threads) t.join();
  for (auto* s : seen) EXPECT_EQ(s, seen[0]);
}

}  // namespace
}  // namespace orbelin
