// The demo's recovery and patients commands when the store cannot keep what
// they download: a full disk, a read-only folder, a store path that is not a
// file, a store another process keeps locked. Each must end in one error
// line that says what failed, never in a report of data that is not there.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "apps/demo_runner.h"
#include "support/test_support.h"

using namespace orbelin::test;
namespace fs = std::filesystem;

namespace {

// No file the demo writes may grow past `kilobytes`; past that a write fails
// with EFBIG (the signal that would kill the process is ignored).
std::string fileSizeLimit(int kilobytes) {
  return "trap '' XFSZ; ulimit -f " + std::to_string(kilobytes) + ";";
}

// Runs the demo without the right to write into folders it does not own
// the write bits of, also when the tests run as root.
std::string withoutOverride() {
  if (::geteuid() != 0) return "";
  return "setpriv --inh-caps=-dac_override,-dac_read_search "
         "--bounding-set=-dac_override,-dac_read_search";
}

// Rows of the entity in a copy of the store file alone (no -wal, no -shm).
std::int64_t rowsInFileAlone(const fs::path& store, const fs::path& scratch,
                             const std::string& table) {
  const fs::path copy = scratch / "alone.sqlite";
  fs::remove(copy);
  fs::copy_file(store, copy);
  sqlite3* db = nullptr;
  std::int64_t count = -1;
  if (sqlite3_open_v2(copy.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    const std::string sql = "SELECT COUNT(*) FROM " + table;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
      count = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return count;
}

class DemoStoreFaultsTest : public ::testing::Test {
 protected:
  DemoRun demo(const fs::path& documents, std::vector<std::string> arguments,
               const std::string& prefix = "") {
    return runDemoWith("--documents", documents, std::move(arguments), prefix);
  }
  TempDir scratch;
};

TEST_F(DemoStoreFaultsTest, AFullDiskEndsInCouldNotSaveWithTheReason) {
  for (const Args& command : {Args{"recovery", "1"}, Args{"patients", "1"}}) {
    SCOPED_TRACE(command[0]);
    const fs::path documents = scratch.path() / ("full-" + command[0]);
    // An empty store first; then no file may grow by more than 16 KiB,
    // too little for the records (the write-ahead log starts empty).
    ASSERT_EQ(demo(documents, {"recovery", "--stored", "1"}).err, "error: no stored patient 1\n");
    const auto kilobytes = fs::file_size(documents / "MainStore.sqlite") / 1024 + 16;
    DemoRun run = demo(documents, command, fileSizeLimit(static_cast<int>(kilobytes)));
    expectOneErrorLine(run, "error: could not save ");
    EXPECT_TRUE(contains(run.err, "disk")) << run.err;
  }
}

TEST_F(DemoStoreFaultsTest, AReadOnlyStoreIsNeverReportedAsStored) {
  // A store that was written before the folder became read-only, and a
  // folder that never held one.
  const fs::path used = scratch.path() / "used";
  ASSERT_EQ(demo(used, {"patients", "1"}).exitCode, 0);
  const fs::path empty = scratch.path() / "empty";
  fs::create_directories(empty);
  for (const fs::path& documents : {used, empty}) {
    SCOPED_TRACE(documents.filename().string());
    // As on a read-only file system: neither the folder nor its files.
    for (const auto& entry : fs::directory_iterator(documents))
      fs::permissions(entry.path(), fs::perms::owner_read, fs::perm_options::replace);
    fs::permissions(documents, fs::perms::owner_read | fs::perms::owner_exec,
                    fs::perm_options::replace);
    for (const Args& command : {Args{"patients", "1"}, Args{"recovery", "2"}}) {
      DemoRun run = demo(documents, command, withoutOverride());
      EXPECT_EQ(run.exitCode, 1) << run.out << run.err;
      EXPECT_TRUE(run.out.empty()) << run.out;
      EXPECT_TRUE(run.err.rfind("error: could not save ", 0) == 0 ||
                  (run.err.rfind("error: the store ", 0) == 0 &&
                   contains(run.err, "MainStore.sqlite is not attached: ")))
          << run.err;
      EXPECT_FALSE(contains(run.err, "no stored patient")) << run.err;
    }
    fs::permissions(documents, fs::perms::owner_all, fs::perm_options::replace);
  }
}

TEST_F(DemoStoreFaultsTest, AStorePathThatIsNoStoreFileIsNamedWithTheReason) {
  using Make = void (*)(const fs::path& store);
  const std::vector<std::pair<const char*, Make>> cases = {
      {"folder", [](const fs::path& store) { fs::create_directories(store); }},
      {"fifo", [](const fs::path& store) { ASSERT_EQ(::mkfifo(store.c_str(), 0600), 0); }},
      {"dangling symlink",
       [](const fs::path& store) {
         fs::create_symlink(store.parent_path() / "gone/MainStore.sqlite", store);
       }},
  };
  for (const auto& [what, make] : cases) {
    SCOPED_TRACE(what);
    const fs::path documents = scratch.path() / what;
    fs::create_directories(documents);
    const fs::path store = documents / "MainStore.sqlite";
    make(store);
    for (const Args& command :
         {Args{"recovery", "--stored", "1"}, Args{"recovery", "1"}, Args{"patients", "1"}}) {
      expectOneErrorLine(demo(documents, command),
                         "error: the store " + store.string() + " is not attached: ");
    }
  }
}

TEST_F(DemoStoreFaultsTest, AStoreLockedByAnotherProcessIsReportedAfterABoundedWait) {
  const fs::path documents = scratch.path() / "locked";
  ASSERT_EQ(demo(documents, {"patients", "1"}).exitCode, 0);
  // This process plays the other one: it holds the file, readers shut out.
  sqlite3* holder = nullptr;
  const fs::path store = documents / "MainStore.sqlite";
  ASSERT_EQ(sqlite3_open(store.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder,
                         "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; "
                         "UPDATE Z_METADATA SET Z_VALUE = Z_VALUE",
                         nullptr, nullptr, nullptr),
            SQLITE_OK)
      << sqlite3_errmsg(holder);
  // `timeout` only keeps a broken demo from hanging the suite.
  DemoRun run = demo(documents, {"recovery", "--stored", "1"}, "timeout 120");
  sqlite3_exec(holder, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  expectOneErrorLine(run, "error: the store " + store.string() + " is not attached: ");
  EXPECT_TRUE(contains(run.err, "locked")) << run.err;
}

TEST_F(DemoStoreFaultsTest, AStoppedDemoHoldingTheFolderDoesNotStopTheNext) {
  const fs::path documents = scratch.path() / "shared";
  fs::create_directories(documents);
  // What a demo stopped with SIGSTOP held: a lock on the documents folder.
  int folder = ::open(documents.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(folder, 0);
  ASSERT_EQ(::flock(folder, LOCK_EX), 0);
  // `timeout` only keeps a waiting demo from hanging the suite.
  DemoRun run = demo(documents, {"recovery", "1"}, "timeout 120");
  ::close(folder);
  EXPECT_TRUE(contains(run.out, "Patient 1: Eleanor Hughes")) << run.out << run.err;
}

TEST_F(DemoStoreFaultsTest, BetweenRunsTheStoreFileAloneHoldsTheData) {
  const fs::path documents = scratch.path() / "docs";
  DemoRun run = demo(documents, {"recovery", "1"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const fs::path wal = documents / "MainStore.sqlite-wal";
  EXPECT_TRUE(!fs::exists(wal) || fs::file_size(wal) == 0) << fs::file_size(wal) << " bytes";
  EXPECT_EQ(rowsInFileAlone(documents / "MainStore.sqlite", scratch.path(), "ZPatient"), 1);
  EXPECT_EQ(rowsInFileAlone(documents / "MainStore.sqlite", scratch.path(), "ZStaffMember"), 6);
}

}  // namespace
