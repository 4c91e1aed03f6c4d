#include "orbelin/stores2/object_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <fstream>
#include <map>
#include <set>
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

  test::TempDir documents;
};

std::string localStamp(std::time_t t) {
  std::tm local{};
  localtime_r(&t, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d-%H-%M-%S", &local);
  return text;
}

TEST_F(ObjectStoreTest, FirstLaunchCreatesAnEmptyStoreAndSavesAreSeenByTheMainContext) {
  platform::ConsoleCapture console;
  ObjectStore store;
  EXPECT_TRUE(console.lines().empty());
  ASSERT_NE(store.backgroundQueueContext(), nullptr);
  ASSERT_NE(store.mainQueueContext(), nullptr);
  EXPECT_EQ(store.backgroundQueueContext()->concurrencyType(), ConcurrencyType::PrivateQueue);
  EXPECT_EQ(store.mainQueueContext()->concurrencyType(), ConcurrencyType::MainQueue);
  EXPECT_EQ(store.documentDirectory(), documents.path().string());
  EXPECT_EQ(store.storeArchivePath(), storePath().string());
  EXPECT_TRUE(fs::exists(storePath()));
  EXPECT_TRUE(store.saveChanges());  // nothing to save

  auto all = store.fetchObjectsWithName(rawValue(ObjectType::Patient));
  ASSERT_TRUE(all.has_value());
  EXPECT_TRUE(all->empty());

  ManagedObject* patient = store.createObject(rawValue(ObjectType::Patient));
  ASSERT_NE(patient, nullptr);
  EXPECT_EQ(patient->context(), store.backgroundQueueContext().get());
  patient->setValue("patientId", "p-1");
  ASSERT_TRUE(store.saveChanges());

  auto fetched = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(fetched.has_value());
  ASSERT_EQ(fetched->size(), 1u);
  EXPECT_EQ((*fetched)[0]->context(), store.mainQueueContext().get());
  EXPECT_EQ((*fetched)[0]->value("patientId").stringValue(), "p-1");
  auto none = store.fetchObjectsWithName("Patient", Predicate::equal("patientId", "p-2"));
  ASSERT_TRUE(none.has_value());
  EXPECT_TRUE(none->empty());

  // A change saved in the main context reaches an object the background holds.
  (*fetched)[0]->setValue("name", "Jo");
  ASSERT_TRUE(store.saveChanges(store.mainQueueContext()));
  std::string backgroundName;
  store.backgroundQueueContext()->performAndWait(
      [&] { backgroundName = patient->value("name").stringValue(); });
  EXPECT_EQ(backgroundName, "Jo");

  // Unknown entities and failed saves: a line, an absent or false result.
  EXPECT_FALSE(store.fetchObjectsWithName("Nope").has_value());
  EXPECT_EQ(store.createObject("Nope"), nullptr);
  store.createObject("Note");  // its text is required
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.backgroundQueueContext()->hasChanges());  // rolled back
  auto lines = console.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("Error performing core data fetch: Error Domain=OrbelinPersistence", 0),
            0u);
  EXPECT_EQ(lines[1], "Error saving context");

  // The store survives a restart.
  {
    ObjectStore again;
    auto reopened = again.fetchObjectsWithName("Patient");
    ASSERT_TRUE(reopened.has_value());
    EXPECT_EQ(reopened->size(), 1u);
  }
}

TEST_F(ObjectStoreTest, IncompatibleStoreIsSetAsideWithTimestampsAndReplaced) {
  writeOldStore();
  std::ofstream(documents.path() / "MainStore.sqlite-extra") << "companion";
  std::ofstream(documents.path() / "IncompatibleMainStore.sqlite2015-04-21-09-41-00") << "earlier";
  std::ofstream(documents.path() / "Other.sqlite") << "other";
  // The names carry the layer's local time, not the process's: a zone with
  // a quarter-hour offset that no machine running this is likely to be in.
  DateUtils::setTimeZone("Asia/Kathmandu");
  const std::time_t first = 1456841109;  // 2016-03-01 14:05:09 UTC, 19:50:09 in Kathmandu
  platform::Clock::setNowForTesting(dateFromSeconds(static_cast<double>(first)));
  std::string oldBytes = readFile(storePath());
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    auto patients = store.fetchObjectsWithName("Patient");
    ASSERT_TRUE(patients.has_value());
    EXPECT_TRUE(patients->empty());
    store.createObject("Patient");
    EXPECT_TRUE(store.saveChanges());
  }
  const std::string stamp = "2016-03-01-19-50-09";
  fs::path setAside = documents.path() / ("IncompatibleMainStore.sqlite" + stamp);
  EXPECT_EQ(readFile(setAside), oldBytes);
  EXPECT_EQ(readFile(documents.path() / ("IncompatibleMainStore.sqlite-extra" + stamp)),
            "companion");
  EXPECT_EQ(readFile(documents.path() / "IncompatibleMainStore.sqlite2015-04-21-09-41-00"),
            "earlier");
  EXPECT_EQ(readFile(documents.path() / "Other.sqlite"), "other");

  // A second incompatible launch sets the new files aside, junk companions
  // included and unread; the first ones stay.
  std::ofstream(storePath(), std::ios::trunc) << std::string(4096, 'j');  // corrupt
  std::ofstream(storePath().string() + "-wal", std::ios::trunc) << "junk log";
  std::ofstream(storePath().string() + "-shm", std::ios::trunc) << "junk index";
  const std::time_t second = first + 3600;
  platform::Clock::setNowForTesting(dateFromSeconds(static_cast<double>(second)));
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty());
    EXPECT_TRUE(store.fetchObjectsWithName("Patient")->empty());
  }
  const std::string secondStamp = "2016-03-01-20-50-09";
  EXPECT_EQ(readFile(documents.path() / ("IncompatibleMainStore.sqlite" + secondStamp)),
            std::string(4096, 'j'));
  EXPECT_EQ(readFile(documents.path() / ("IncompatibleMainStore.sqlite-wal" + secondStamp)),
            "junk log");
  EXPECT_EQ(readFile(documents.path() / ("IncompatibleMainStore.sqlite-shm" + secondStamp)),
            "junk index");
  EXPECT_EQ(readFile(setAside), oldBytes);
  EXPECT_EQ(readFile(documents.path() / "IncompatibleMainStore.sqlite2015-04-21-09-41-00"),
            "earlier");

  // deleteStore removes the live files only.
  ObjectStore store;
  EXPECT_TRUE(store.deleteStore());
  for (const auto& entry : fs::directory_iterator(documents.path()))
    EXPECT_NE(entry.path().filename().string().rfind("MainStore.sqlite", 0), 0u);
  EXPECT_TRUE(fs::exists(setAside));
  EXPECT_TRUE(store.deleteStore());  // nothing left: still true
  EXPECT_TRUE(store.renameIncompatibleStore());

  // The directory is read on every call.
  store.setDocumentDirectory((documents.path() / "missing").string());
  EXPECT_FALSE(store.renameIncompatibleStore());
  EXPECT_FALSE(store.deleteStore());
}

TEST_F(ObjectStoreTest, UnwritableDocumentsDirectoryGivesFalseResultsAndLines) {
  // Below a regular file nothing can be created, even by root.
  std::ofstream(documents.path() / "file") << "x";
  platform::HostEnvironment::setDocumentsDirectory(documents.path() / "file" / "Documents");
  platform::ConsoleCapture console;
  ObjectStore store;
  auto lines = console.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("ObjectStore.persistentStoreCoordinator: Unable to create persistent "
                           "store. No previous store was detected.Error Domain=",
                           0),
            0u)
      << lines[0];
  console.clear();

  ASSERT_NE(store.createObject("Patient"), nullptr);
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  EXPECT_FALSE(store.renameIncompatibleStore());
  EXPECT_FALSE(store.deleteStore());
  lines = console.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "Error saving context");
  EXPECT_EQ(lines[1].rfind("Error performing core data fetch: ", 0), 0u);
}

TEST_F(ObjectStoreTest, FilesThatCannotBeSetAsideAreReported) {
  writeOldStore();
  // The destination exists already (same second): the move refuses to replace it.
  const std::time_t now = 1456841109;
  platform::Clock::setNowForTesting(dateFromSeconds(static_cast<double>(now)));
  fs::path blocked = documents.path() / ("IncompatibleMainStore.sqlite" + localStamp(now));
  std::ofstream(blocked) << "keep me";
  platform::ConsoleCapture console;
  ObjectStore store;
  auto lines = console.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("ObjectStore.persistentStoreCoordinator: Unable to rename incompatible "
                           "store file : " +
                               storePath().string() + ". Error: Error Domain=",
                           0),
            0u)
      << lines[0];
  EXPECT_EQ(lines[1],
            "ObjectStore.persistentStoreCoordinator: Unable to rename incompatible store.");
  EXPECT_EQ(readFile(blocked), "keep me");
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
}

TEST_F(ObjectStoreTest, MissingModelLeavesNoContexts) {
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
  EXPECT_FALSE(fs::exists(storePath()));
}

TEST_F(ObjectStoreTest, LifecycleNotificationsSaveTheBackgroundContext) {
  ObjectStore store;
  platform::ConsoleCapture console;
  store.createObject("StaffMember")->setValue("staffId", "s-1");
  platform::Application::didEnterBackground();
  EXPECT_TRUE(console.contains("Saved all core data objects."));
  EXPECT_EQ(store.fetchObjectsWithName("StaffMember")->size(), 1u);
  console.clear();
  store.createObject("Note");  // invalid: the save fails
  platform::Application::willTerminate();
  EXPECT_TRUE(console.contains("Error saving context"));
  EXPECT_TRUE(console.contains("Unable to save  core data objects!"));
}

TEST_F(ObjectStoreTest, BothContextsSavingFromManyThreadsLoseNothingAndNeverDeadlock) {
  ObjectStore store;
  constexpr int kThreadsPerContext = 3;
  std::atomic<int> saved{0};
  std::atomic<int> running{0};
  std::atomic<bool> failed{false};
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2 * kThreadsPerContext; ++t) {
    ++running;
    threads.emplace_back([&, t] {
      auto context = t % 2 ? store.mainQueueContext() : store.backgroundQueueContext();
      for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
        // Several threads share each context: an object is created and filled
        // in one block on the context's queue, so no save sees it half made.
        context->performAndWait([&] {
          ManagedObject* patient = store.createObject("Patient", context);
          ManagedObject* note = store.createObject("Note", context);
          patient->setValue("patientId", std::to_string(t) + "-" + std::to_string(i));
          note->setValue("text", "n");
          note->setObject("patient", patient);
        });
        if (store.saveChanges(context))
          saved += 1;
        else
          failed = true;
        // Reads in both contexts while the others write.
        if (i % 10 == 0 && !store.fetchObjects("Note", std::nullopt, context)) failed = true;
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
  ASSERT_GT(saved.load(), 0);
  auto mainPatients = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(mainPatients.has_value());
  EXPECT_EQ(mainPatients->size(), static_cast<std::size_t>(saved.load()));
  auto backgroundNotes = store.fetchObjects("Note", std::nullopt, store.backgroundQueueContext());
  ASSERT_TRUE(backgroundNotes.has_value());
  EXPECT_EQ(backgroundNotes->size(), static_cast<std::size_t>(saved.load()));
  for (ManagedObject* patient : *mainPatients) EXPECT_EQ(patient->objects("notes").size(), 1u);
  ObjectStore reopened;
  EXPECT_EQ(reopened.fetchObjectsWithName("Note")->size(), static_cast<std::size_t>(saved.load()));
}

TEST_F(ObjectStoreTest, MissingDocumentsDirectoryIsCreatedOwnerOnlyOnFirstLaunch) {
  const fs::path fresh = documents.path() / "home" / "new-user" / "Documents";
  platform::HostEnvironment::setDocumentsDirectory(fresh);
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    store.createObject("Patient")->setValue("patientId", "p-1");
    EXPECT_TRUE(store.saveChanges());
  }
  for (fs::path p = fresh; p != documents.path(); p = p.parent_path()) {
    struct stat info {};
    ASSERT_EQ(::stat(p.c_str(), &info), 0) << p;
    EXPECT_EQ(info.st_mode & 0777, 0700u) << p;
  }
  ObjectStore relaunched;
  auto patients = relaunched.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  ASSERT_EQ(patients->size(), 1u);
  EXPECT_EQ((*patients)[0]->value("patientId").stringValue(), "p-1");
}

TEST_F(ObjectStoreTest, TwoStoresInOneProcessShareTheFileWithoutKeyClashes) {
  ObjectStore first, second;
  platform::ConsoleCapture console;
  for (int i = 0; i < 50; ++i) {
    for (ObjectStore* store : {&first, &second}) {
      std::string id = (store == &first ? "a-" : "b-") + std::to_string(i);
      ManagedObject* patient = store->createObject("Patient");
      patient->setValue("patientId", id);
      ManagedObject* note = store->createObject("Note");
      note->setValue("text", id);
      note->setObject("patient", patient);
    }
    if (i % 10 == 9) {
      EXPECT_TRUE(first.saveChanges());
      EXPECT_TRUE(second.saveChanges());
    }
  }
  EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
  for (ObjectStore* store : {&first, &second}) {
    auto patients = store->fetchObjectsWithName("Patient");
    ASSERT_TRUE(patients.has_value());
    EXPECT_EQ(patients->size(), 100u);
    for (ManagedObject* patient : *patients) {
      auto notes = patient->objects("notes");
      ASSERT_EQ(notes.size(), 1u);
      EXPECT_EQ(notes[0]->value("text").stringValue(), patient->value("patientId").stringValue());
    }
  }
}

using test::ChildProcess;
using test::waitForFile;

const char* kChildDocuments = "ORBELIN_CHILD_DOCUMENTS";
const char* kChildTag = "ORBELIN_CHILD_TAG";

TEST_F(ObjectStoreTest, TwoProcessesSavingIntoOneFileLoseNothing) {
  const fs::path go = documents.path() / "go";
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
  std::ofstream(go) << "go";
  for (auto& child : children) EXPECT_EQ(child->wait(), 0);

  std::map<std::string, int> saved;
  for (const char* tag : {"a", "b"})
    saved[tag] = std::atoi(readFile(documents.path() / (std::string(tag) + ".saved")).c_str());
  EXPECT_GT(saved["a"], 0);
  EXPECT_GT(saved["b"], 0);
  ObjectStore store;
  auto patients = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  std::set<std::string> ids;
  for (ManagedObject* patient : *patients) {
    std::string id = patient->value("patientId").stringValue();
    EXPECT_TRUE(ids.insert(id).second) << id << " twice";
    auto notes = patient->objects("notes");
    ASSERT_EQ(notes.size(), 1u) << id;
    EXPECT_EQ(notes[0]->value("text").stringValue(), id);
  }
  for (const char* tag : {"a", "b"})
    for (int i = 0; i < saved[tag]; ++i)
      EXPECT_TRUE(ids.count(tag + std::string("-") + std::to_string(i))) << tag << "-" << i;
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(saved["a"] + saved["b"]));
}

// A second process that holds MainStore.sqlite locked until told to let go.
class StoreLocker {
 public:
  explicit StoreLocker(const fs::path& directory)
      : directory_(directory),
        child_("ObjectStoreChild.HoldsTheStoreLocked", {{kChildDocuments, directory.string()}}) {}
  bool locked() { return child_.started() && waitForFile(directory_ / "locked"); }
  void release() { std::ofstream(directory_ / "release") << "release"; }
  int wait() { return child_.wait(); }

 private:
  fs::path directory_;
  ChildProcess child_;
};

std::vector<std::string> namesIn(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST_F(ObjectStoreTest, BusyStoreIsWaitedForThenLeftUntouched) {
  {
    ObjectStore store;
    store.createObject("Patient")->setValue("patientId", "kept");
    ASSERT_TRUE(store.saveChanges());
  }
  // A lock that goes away within the wait: the store opens normally.
  {
    StoreLocker locker(documents.path());
    ASSERT_TRUE(locker.locked());
    std::thread releaser([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      locker.release();
    });
    platform::ConsoleCapture console;
    ObjectStore store;
    releaser.join();
    EXPECT_TRUE(console.lines().empty()) << console.lines()[0];
    auto patients = store.fetchObjectsWithName("Patient");
    ASSERT_TRUE(patients.has_value());
    EXPECT_EQ(patients->size(), 1u);
    EXPECT_EQ(locker.wait(), 0);
  }
  fs::remove(documents.path() / "locked");
  fs::remove(documents.path() / "release");

  // A lock held past the wait: reported, the file left alone, saves fail.
  StoreLocker locker(documents.path());
  ASSERT_TRUE(locker.locked());
  const auto before = namesIn(documents.path());
  {
    platform::ConsoleCapture console;
    ObjectStore store;
    auto lines = console.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("ObjectStore.persistentStoreCoordinator: Unable to open persistent "
                             "store; the store file was left untouched.Error Domain=",
                             0),
              0u)
        << lines[0];
    EXPECT_EQ(namesIn(documents.path()), before);
    console.clear();
    store.createObject("Patient")->setValue("patientId", "lost");
    EXPECT_FALSE(store.saveChanges());
    EXPECT_EQ(console.lines(), std::vector<std::string>{"Error saving context"});
  }
  locker.release();
  EXPECT_EQ(locker.wait(), 0);
  ObjectStore after;
  auto patients = after.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  ASSERT_EQ(patients->size(), 1u);
  EXPECT_EQ((*patients)[0]->value("patientId").stringValue(), "kept");
}

TEST_F(ObjectStoreTest, BusyStoreIsAttachedByTheFirstSaveOrFetchAfterTheLockIsGone) {
  {
    ObjectStore store;
    store.createObject("Patient")->setValue("patientId", "kept");
    ASSERT_TRUE(store.saveChanges());
  }
  StoreLocker locker(documents.path());
  ASSERT_TRUE(locker.locked());
  platform::ConsoleCapture console;
  ObjectStore store;
  ASSERT_EQ(console.lines().size(), 1u);
  console.clear();
  // Still locked: each attempt tries again and fails, without a new line.
  store.createObject("Patient")->setValue("patientId", "refused");
  EXPECT_FALSE(store.saveChanges());
  EXPECT_FALSE(store.fetchObjectsWithName("Patient").has_value());
  ManagedObject* waiting = store.createObject("Patient");
  waiting->setValue("patientId", "waited");
  EXPECT_LT(waiting->objectID().primaryKey, 0);
  EXPECT_EQ(console.lines().size(), 2u);  // "Error saving context", the fetch error
  console.clear();

  locker.release();
  EXPECT_EQ(locker.wait(), 0);
  EXPECT_TRUE(store.saveChanges());
  EXPECT_GT(waiting->objectID().primaryKey, 0);
  EXPECT_EQ(console.lines(),
            std::vector<std::string>{"ObjectStore.persistentStoreCoordinator: Attached the store "
                                     "file " +
                                     storePath().string() + ", which could not be opened before."});
  auto patients = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  EXPECT_EQ(patients->size(), 2u);
  EXPECT_EQ(console.lines().size(), 1u);  // attached once, said once

  ObjectStore relaunched;
  std::set<std::string> ids;
  auto stored = relaunched.fetchObjectsWithName("Patient");
  ASSERT_TRUE(stored.has_value());
  for (ManagedObject* patient : *stored) ids.insert(patient->value("patientId").stringValue());
  EXPECT_EQ(ids, (std::set<std::string>{"kept", "waited"}));
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
  int saved = 0;
  for (int i = 0; std::chrono::steady_clock::now() < until; ++i) {
    std::string id = tag + "-" + std::to_string(i);
    ManagedObject* patient = store.createObject("Patient");
    patient->setValue("patientId", id);
    ManagedObject* note = store.createObject("Note");
    note->setValue("text", id);
    note->setObject("patient", patient);
    ASSERT_TRUE(store.saveChanges()) << id;
    saved = i + 1;
    std::ofstream(shared / (tag + ".saved")) << saved;
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

TEST(ObjectTypeTest, RawValuesAreCaseSensitive) {
  EXPECT_EQ(rawValue(ObjectType::Patient), "Patient");
  EXPECT_EQ(rawValue(ObjectType::InformationBooklet), "InformationBooklet");
  EXPECT_EQ(rawValue(ObjectType::StaffMember), "StaffMember");
  EXPECT_EQ(objectTypeFromRawValue("StaffMember"), ObjectType::StaffMember);
  EXPECT_EQ(objectTypeFromRawValue("patient"), std::nullopt);
  EXPECT_EQ(objectTypeFromRawValue(""), std::nullopt);
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
