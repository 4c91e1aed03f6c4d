// Fetches from an SQLite store, whose predicates, sorts and limits run in
// SQL where they can, must return exactly what the in-memory store returns
// for the same objects and the same unsaved changes.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "graph/test_model.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using P = Predicate;

// The same patients in a store; some with nil attributes.
void fill(ManagedObjectContext& context) {
  const char* names[] = {"Ann", "bob", "Abe", "Zoe", "[x]", "Amy", "Al*", ""};
  for (int i = 0; i < 40; ++i) {
    ManagedObject* p = context.insertNewObject("Patient");
    p->setValue("id", i);
    if (i % 7 != 3) p->setValue("firstName", std::string(names[i % 8]) + std::to_string(i % 3));
    if (i % 5 != 0) p->setValue("age", (i * 13) % 90);
    p->setValue("weight", i * 1.5 - 10);
    if (i % 4 != 1) p->setValue("isAdmitted", i % 2 == 0);
    if (i % 6 != 2) p->setValue("birthdate", dateFromSeconds(-1e9 + i * 1e8));
  }
}

struct Stores {
  explicit Stores(const fs::path& file) {
    memory->addPersistentStore(StoreType::InMemory, {});
    EXPECT_TRUE(sqlite->addPersistentStore(StoreType::SQLite, file).ok());
    inMemory.setPersistentStoreCoordinator(memory);
    inFile.setPersistentStoreCoordinator(sqlite);
    fill(inMemory);
    fill(inFile);
    EXPECT_TRUE(inMemory.save().ok());
    EXPECT_TRUE(inFile.save().ok());
  }
  std::shared_ptr<PersistentStoreCoordinator> memory =
      std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel());
  std::shared_ptr<PersistentStoreCoordinator> sqlite =
      std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel());
  ManagedObjectContext inMemory, inFile;
};

std::vector<std::int64_t> ids(ManagedObjectContext& context, const FetchRequest& request) {
  auto found = context.fetch(request);
  EXPECT_TRUE(found.ok());
  std::vector<std::int64_t> result;
  if (found.ok())
    for (ManagedObject* o : *found) result.push_back(o->value("id").integerValue());
  return result;
}

ManagedObject* byId(ManagedObjectContext& context, int id) {
  FetchRequest request("Patient");
  request.setPredicate(P::equal("id", id));
  auto found = context.fetch(request);
  return found.ok() && found->size() == 1 ? found->front() : nullptr;
}

std::vector<std::pair<std::string, Predicate>> predicates() {
  Date when = dateFromSeconds(-1e9 + 15e8);
  return {
      {"equal text", P::equal("firstName", "Ann0")},
      {"equal number across kinds", P::equal("age", 39.0)},
      {"equal nil", P::equal("firstName", Value())},
      {"equal other kind", P::equal("firstName", 5)},
      {"not equal", P::notEqual("firstName", "Ann0")},
      {"not equal nil", P::notEqual("age", Value())},
      {"not equal other kind", P::notEqual("age", "x")},
      {"less", P::less("age", 40)},
      {"less or equal double", P::lessOrEqual("weight", 5.0)},
      {"greater text", P::greater("firstName", "Amy")},
      {"greater other kind", P::greater("firstName", 5)},
      {"greater or equal date", P::greaterOrEqual("birthdate", when)},
      {"less than nil", P::less("age", Value())},
      {"truth value", P::equal("isAdmitted", true)},
      {"truth value not", P::notEqual("isAdmitted", false)},
      {"like", P::like("firstName", "A*1")},
      {"like one character", P::like("firstName", "?o?2")},
      {"like a bracket", P::like("firstName", "[x]*")},
      {"like a star", P::like("firstName", "Al[*]*")},
      {"like case-insensitive", P::like("firstName", "a*", true)},
      {"in", P::in("id", {3, 5, 8, 1000})},
      {"in texts", P::in("firstName", {"Zoe0", "Zoe1", "bob2"})},
      {"in nothing", P::in("id", {})},
      {"in mixed kinds", P::in("age", {13, "13"})},
      {"and", P::greater("age", 20) && P::like("firstName", "A*")},
      {"or", P::less("age", 10) || P::equal("firstName", "Zoe1")},
      {"not over nil", !P::equal("age", 26)},
      {"not and", !(P::greater("age", 20) && P::equal("isAdmitted", true))},
      {"any empty", P::any({})},
      {"all empty", P::all({})},
      {"function in and", P::greater("age", 30) && P::matching([](const ManagedObject& o) {
                            return o.value("id").integerValue() % 2;
                          })},
      {"function in or", P::equal("id", 4) || P::matching([](const ManagedObject& o) {
                           return o.value("id").integerValue() > 35;
                         })},
  };
}

TEST(SqlFetchTest, EveryOperatorSortAndLimitMatchesTheInMemoryResultWithUnsavedChanges) {
  test::TempDir dir;
  Stores stores(dir.path() / "Fetch.sqlite");
  const std::vector<std::vector<SortDescriptor>> sorts = {
      {}, {{"age", true}}, {{"firstName", false}, {"weight", true}}, {{"photo", true}}};
  auto compareAll = [&](const std::string& when) {
    for (const auto& [name, predicate] : predicates()) {
      for (const auto& sort : sorts) {
        for (std::size_t limit : {0, 1, 3}) {
          FetchRequest request("Patient");
          request.setPredicate(predicate);
          request.setSortDescriptors(sort);
          request.setFetchLimit(limit);
          EXPECT_EQ(ids(stores.inFile, request), ids(stores.inMemory, request))
              << when << ": " << name << ", " << sort.size() << " sort keys, limit " << limit;
        }
      }
    }
  };
  compareAll("saved");

  // Unsaved: a matching insertion, a deletion, changes that move objects in
  // and out of the predicates.
  for (ManagedObjectContext* context : {&stores.inMemory, &stores.inFile}) {
    ManagedObject* added = context->insertNewObject("Patient");
    added->setValue("id", 100);
    added->setValue("firstName", "Ann0");
    added->setValue("age", 1);
    context->deleteObject(byId(*context, 0));
    context->deleteObject(byId(*context, 3));
    byId(*context, 8)->setValue("firstName", "Zoe1");
    byId(*context, 8)->setValue("age", 2);
    byId(*context, 13)->setValue("age", Value());
  }
  compareAll("unsaved");
}

TEST(SqlFetchTest, IdentifierLookupsGoThroughAnIndex) {
  test::TempDir dir;
  const fs::path file = dir.path() / "Index.sqlite";
  { Stores stores(file); }
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  // Files written before the index existed get it on their next open.
  ASSERT_EQ(sqlite3_exec(db, "DROP INDEX \"Z_Patient_id_INDEX\"", nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  {
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel());
    ASSERT_TRUE(coordinator->addPersistentStore(StoreType::SQLite, file).ok());
  }
  ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
  std::string plan;
  sqlite3_stmt* stmt = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db,
                               "EXPLAIN QUERY PLAN SELECT Z_PK FROM \"ZPatient\" WHERE "
                               "(\"id\" IS NOT NULL AND \"id\" = 7)",
                               -1, &stmt, nullptr),
            SQLITE_OK);
  while (sqlite3_step(stmt) == SQLITE_ROW)
    plan += reinterpret_cast<const char*>(sqlite3_column_text(stmt, 3));
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  EXPECT_NE(plan.find("Z_Patient_id_INDEX"), std::string::npos) << plan;
}

}  // namespace
}  // namespace orbelin::graph
