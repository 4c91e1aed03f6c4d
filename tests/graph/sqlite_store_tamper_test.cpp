// SQLite files changed behind the store's back (keys at the top of int64),
// and the values a REAL column does not keep by itself (-0.0).
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "graph/test_model.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

struct Stack {
  explicit Stack(const fs::path& file)
      : coordinator(std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel())) {
    status = coordinator->addPersistentStore(StoreType::SQLite, file);
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  Status status;
  ManagedObjectContext context;
};

// Runs SQL on the file with a connection of its own, as a tampering tool would.
void tamper(const fs::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  sqlite3_close(db);
}

// One integer from the file (a query yielding one row of one column).
std::int64_t queryInteger(const fs::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  std::int64_t result = -1;
  if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) return result;
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK &&
      sqlite3_step(stmt) == SQLITE_ROW)
    result = sqlite3_column_int64(stmt, 0);
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return result;
}

void saveOneWard(const fs::path& file, const std::string& name) {
  Stack s(file);
  ASSERT_TRUE(s.status.ok()) << s.status.error().description();
  s.context.insertNewObject("Ward")->setValue("name", name);
  auto saved = s.context.save();
  ASSERT_TRUE(saved.ok()) << saved.error().description();
}

// A highest key at (or just under) the top of int64, either in the key
// table or as a row's key: the save fails and says why, nothing is written,
// and no wrapped (negative) maximum reaches the file.
TEST(SQLiteStoreTamperTest, KeysAtTheTopOfInt64FailTheSaveInsteadOfWrapping) {
  struct Case {
    const char* what;
    std::string sql;
  };
  const std::vector<Case> cases = {
      {"reserved maximum at the top",
       "UPDATE Z_PRIMARYKEY SET Z_MAX = " + std::to_string(kMax) + " WHERE Z_NAME = 'Ward'"},
      {"reserved maximum one block short of the top",
       "UPDATE Z_PRIMARYKEY SET Z_MAX = " + std::to_string(kMax - 10) + " WHERE Z_NAME = 'Ward'"},
      {"row key at the top", "UPDATE ZWard SET Z_PK = " + std::to_string(kMax)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    test::TempDir dir;
    const fs::path file = dir.path() / "Tampered.sqlite";
    saveOneWard(file, "first");
    tamper(file, c.sql);
    const std::int64_t reservedBefore =
        queryInteger(file, "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Ward'");

    Stack s(file);
    ASSERT_TRUE(s.status.ok()) << s.status.error().description();
    ManagedObject* ward = s.context.insertNewObject("Ward");
    ward->setValue("name", "second");
    auto saved = s.context.save();
    ASSERT_FALSE(saved.ok()) << "a save past the last key";
    EXPECT_NE(saved.error().description().find("used up"), std::string::npos)
        << saved.error().description();
    // Asked again, the store still refuses: no key wrapped round meanwhile.
    EXPECT_FALSE(s.context.save().ok());

    EXPECT_EQ(queryInteger(file, "SELECT COUNT(*) FROM ZWard"), 1);
    EXPECT_EQ(queryInteger(file, "SELECT COUNT(*) FROM ZWard WHERE Z_PK <= 0"), 0);
    EXPECT_EQ(queryInteger(file, "SELECT Z_MAX FROM Z_PRIMARYKEY WHERE Z_NAME = 'Ward'"),
              reservedBefore)
        << "the refused reservation was rolled back";
    // Other entities keep their own key space.
    ManagedObject* nurse = s.context.insertNewObject("Nurse");
    nurse->setValue("name", "N");
    s.context.deleteObject(ward);
    auto other = s.context.save();
    EXPECT_TRUE(other.ok()) << other.error().description();
  }
}

TEST(SQLiteStoreTamperTest, NegativeZeroAndOtherDoublesReadBackBitForBit) {
  test::TempDir dir;
  const fs::path file = dir.path() / "Doubles.sqlite";
  const std::vector<double> values = {-0.0,
                                      0.0,
                                      1.0,
                                      -1.0,
                                      71.5,
                                      -2.5e-310,
                                      1e300,
                                      std::numeric_limits<double>::max(),
                                      -std::numeric_limits<double>::denorm_min()};
  {
    Stack s(file);
    ASSERT_TRUE(s.status.ok());
    for (std::size_t i = 0; i < values.size(); ++i) {
      ManagedObject* patient = s.context.insertNewObject("Patient");
      patient->setValue("age", static_cast<std::int64_t>(i));
      patient->setValue("weight", values[i]);
    }
    // An update to -0.0 is written as well as an insert.
    ManagedObject* updated = s.context.insertNewObject("Patient");
    updated->setValue("age", 100);
    updated->setValue("weight", 3.0);
    ASSERT_TRUE(s.context.save().ok());
    updated->setValue("weight", -0.0);
    ASSERT_TRUE(s.context.save().ok());
  }
  Stack reader(file);
  auto found = reader.context.fetch(FetchRequest("Patient"));
  ASSERT_TRUE(found.ok());
  ASSERT_EQ(found->size(), values.size() + 1);
  for (ManagedObject* patient : *found) {
    const std::int64_t index = *patient->value("age").integer();
    const double expected = index == 100 ? -0.0 : values[static_cast<std::size_t>(index)];
    auto weight = patient->value("weight").number();
    ASSERT_TRUE(weight.has_value()) << index;
    EXPECT_EQ(*weight, expected) << index;
    EXPECT_EQ(std::signbit(*weight), std::signbit(expected)) << "value " << index;
  }
}

}  // namespace
}  // namespace orbelin::graph
