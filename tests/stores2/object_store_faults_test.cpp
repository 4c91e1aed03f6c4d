// What a host sees when the object store cannot do its work: failed saves
// (invalid objects, a full disk), a store file that cannot be attached, and
// whether the data has left the write-ahead log when the application goes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <any>
#include <fstream>
#include <string>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/platform/notification_center.h"
#include "orbelin/stores2/object_store.h"
#include "stores2/child_process.h"
#include "support/test_support.h"

namespace orbelin {
namespace {

namespace fs = std::filesystem;
using namespace orbelin::graph;

constexpr const char* kChildDocuments = "ORBELIN_FAULTS_CHILD_DOCUMENTS";

std::shared_ptr<const ManagedObjectModel> faultsModel() {
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

class ObjectStoreFaultsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
    ModelCatalog::registerBundleModel(kFrameworkBundleIdentifier, "OrbelinFaults", faultsModel);
    platform::HostEnvironment::setDocumentsDirectory(documents.path());
  }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }
  fs::path storePath() const { return documents.path() / "MainStore.sqlite"; }
  test::TempDir documents;
};

// Counts the failed-save notifications of one store and keeps the last error.
class SaveFailures {
 public:
  explicit SaveFailures(const ObjectStore& store) {
    token_ = platform::NotificationCenter::defaultCenter().addObserver(
        kObjectStoreSaveDidFailNotification, &store, [this](const platform::Notification& n) {
          ++count;
          if (const Error* error = std::any_cast<Error>(&n.userInfo)) last = *error;
        });
  }
  ~SaveFailures() { platform::NotificationCenter::defaultCenter().removeObserver(token_); }
  int count = 0;
  std::optional<Error> last;

 private:
  platform::NotificationCenter::Token token_{};
};

TEST_F(ObjectStoreFaultsTest, EveryFailedSaveIsKeptAndPostedUntilCleared) {
  ObjectStore store;
  ObjectStore other;
  SaveFailures failures(store);
  SaveFailures otherFailures(other);
  platform::ConsoleCapture console;
  EXPECT_FALSE(store.lastSaveError().has_value());
  EXPECT_FALSE(store.storeOpenError().has_value());

  store.createObject("Note");  // without its required text: the save fails
  EXPECT_FALSE(store.saveChanges());
  ASSERT_TRUE(store.lastSaveError().has_value());
  EXPECT_FALSE(store.lastSaveError()->description().empty());
  EXPECT_EQ(failures.count, 1);
  ASSERT_TRUE(failures.last.has_value());
  EXPECT_EQ(failures.last->description(), store.lastSaveError()->description());
  EXPECT_EQ(otherFailures.count, 0) << "only the store whose save failed posts";
  EXPECT_FALSE(other.lastSaveError().has_value());

  // A later good save does not hide the earlier failure; a clear does.
  store.createObject("Patient")->setValue("patientId", "1");
  EXPECT_TRUE(store.saveChanges());
  EXPECT_TRUE(store.lastSaveError().has_value());
  store.clearLastSaveError();
  EXPECT_FALSE(store.lastSaveError().has_value());

  // A failure in the main context and one in a lifecycle save count too.
  store.createObject("Note", store.mainQueueContext());
  EXPECT_FALSE(store.saveChanges(store.mainQueueContext()));
  store.createObject("Note");
  platform::Application::didEnterBackground();
  EXPECT_TRUE(console.contains("Unable to save  core data objects!"));
  EXPECT_EQ(failures.count, 3);
  EXPECT_TRUE(store.lastSaveError().has_value());
  EXPECT_EQ(store.fetchObjectsWithName("Patient")->size(), 1u);
}

// Child side: a file size limit makes the disk full for this process only.
TEST_F(ObjectStoreFaultsTest, ChildSavesIntoAFullDisk) {
  const char* folder = std::getenv(kChildDocuments);
  if (folder == nullptr) GTEST_SKIP() << "runs as the child of FullDiskFailsTheSaveVisibly";
  platform::HostEnvironment::setDocumentsDirectory(fs::path(folder));
  ObjectStore store;
  ASSERT_FALSE(store.storeOpenError().has_value());
  // Past the limit a write fails with EFBIG instead of the process being
  // killed by SIGXFSZ.
  ::signal(SIGXFSZ, SIG_IGN);
  struct rlimit limit {
    256 * 1024, 256 * 1024
  };
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  SaveFailures failures(store);
  platform::ConsoleCapture console;
  const std::string text(64 * 1024, 'x');
  bool failed = false;
  for (int i = 0; i < 64 && !failed; ++i) {
    ManagedObject* patient = store.createObject("Patient");
    patient->setValue("patientId", std::to_string(i));
    patient->setValue("name", text);
    failed = !store.saveChanges();
  }
  ASSERT_TRUE(failed) << "4 MiB went into a file limited to 256 KiB";
  ASSERT_TRUE(store.lastSaveError().has_value());
  EXPECT_NE(store.lastSaveError()->description().find("disk"), std::string::npos)
      << store.lastSaveError()->description();
  EXPECT_EQ(failures.count, 1);
}

TEST_F(ObjectStoreFaultsTest, FullDiskFailsTheSaveVisibly) {
  test::ChildProcess child("ObjectStoreFaultsTest.ChildSavesIntoAFullDisk",
                           {{kChildDocuments, documents.path().string()}});
  ASSERT_TRUE(child.started());
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(ObjectStoreFaultsTest, AStoreFileThatCannotBeAttachedSaysWhy) {
  fs::create_directories(storePath());  // a folder where the file should be
  platform::ConsoleCapture console;
  ObjectStore store;
  ASSERT_TRUE(store.storeOpenError().has_value());
  EXPECT_NE(store.storeOpenError()->description().find(storePath().string()), std::string::npos)
      << store.storeOpenError()->description();
  store.createObject("Patient");
  EXPECT_FALSE(store.saveChanges());
  EXPECT_TRUE(store.lastSaveError().has_value());

  // Once the file can be opened, the next save attaches it and the reason goes.
  fs::remove(storePath());
  store.createObject("Patient")->setValue("patientId", "1");
  EXPECT_TRUE(store.saveChanges());
  EXPECT_FALSE(store.storeOpenError().has_value());
}

// Rows of ZPatient in a copy of the store file alone, without its companions.
std::int64_t patientsInMainFileAlone(const fs::path& store, const fs::path& scratch) {
  const fs::path copy = scratch / "Alone.sqlite";
  fs::remove(copy);
  fs::copy_file(store, copy);
  sqlite3* db = nullptr;
  std::int64_t count = -1;
  if (sqlite3_open_v2(copy.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "SELECT COUNT(*) FROM ZPatient", -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
      count = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return count;
}

TEST_F(ObjectStoreFaultsTest, BackgroundTerminateAndDestructionLeaveTheDataInTheStoreFile) {
  test::TempDir scratch;
  platform::ConsoleCapture console;
  sqlite3* neighbour = nullptr;
  auto store = std::make_unique<ObjectStore>();
  // Another connection keeps the file open, as another store or process
  // would: closing the store's own connection then folds nothing back.
  ASSERT_EQ(sqlite3_open(storePath().c_str(), &neighbour), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(neighbour, "SELECT COUNT(*) FROM ZPatient", nullptr, nullptr, nullptr),
            SQLITE_OK);
  const fs::path wal = storePath().string() + "-wal";
  auto savePatients = [&](int from, int count) {
    for (int i = from; i < from + count; ++i)
      store->createObject("Patient")->setValue("patientId", std::to_string(i));
    ASSERT_TRUE(store->saveChanges());
  };

  savePatients(0, 50);
  ASSERT_GT(fs::file_size(wal), 0u) << "saves go to the log first";
  platform::Application::didEnterBackground();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 50);
  EXPECT_EQ(fs::file_size(wal), 0u);

  savePatients(50, 20);
  platform::Application::willTerminate();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 70);

  savePatients(70, 5);
  store.reset();
  EXPECT_EQ(patientsInMainFileAlone(storePath(), scratch.path()), 75);
  EXPECT_EQ(fs::file_size(wal), 0u);
  sqlite3_close(neighbour);
}

}  // namespace
}  // namespace orbelin
