// Fetches from an SQLite store, whose predicates, sorts and limits run in
// SQL where they can, must return exactly what the in-memory store returns
// for the same objects and the same unsaved changes.

#include <gtest/gtest.h>

#include "graph/test_model.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using P = Predicate;
using testing::fetched;

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

ManagedObject* byId(ManagedObjectContext& context, int id) {
  auto found = context.fetch(testing::request("Patient", P::equal("id", id)));
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
      // Bounds some patients hold exactly, so that < and <= (> and >=) differ.
      {"less", P::less("age", 39)},
      {"less or equal double", P::lessOrEqual("weight", 5.0)},
      {"greater text", P::greater("firstName", "Ann0")},
      {"greater or equal date", P::greaterOrEqual("birthdate", when)},
      {"less than nil", P::less("age", Value())},
      {"truth value", P::equal("isAdmitted", true)},
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

// Guards against SQL fetches that differ from memory in objects, order or count.
TEST(SqlFetchTest, EveryOperatorSortAndLimitMatchesTheInMemoryResultWithUnsavedChanges) {
  test::TempDir dir;
  testing::Stack memory, file(dir.path() / "Fetch.sqlite");
  for (ManagedObjectContext* context : {&memory.context, &file.context}) {
    fill(*context);
    ASSERT_TRUE(context->save().ok());
  }
  const std::vector<std::vector<SortDescriptor>> sorts = {
      {}, {{"age", true}}, {{"firstName", false}, {"weight", true}}, {{"photo", true}}};
  auto compareAll = [&](const std::string& when) {
    for (const auto& [name, predicate] : predicates()) {
      for (const auto& sort : sorts) {
        for (std::size_t limit : {0, 1, 3}) {
          const FetchRequest request = testing::request("Patient", predicate, sort, limit);
          EXPECT_EQ(fetched(file.context, request, "id"), fetched(memory.context, request, "id"))
              << when << ": " << name << ", " << sort.size() << " sort keys, limit " << limit;
        }
      }
    }
  };
  compareAll("saved");

  // A matching insertion alone leaves the limit to SQL: it only adds to the rows.
  for (ManagedObjectContext* context : {&memory.context, &file.context})
    testing::insert(*context, "Patient", {{"id", 100}, {"firstName", "Ann0"}, {"age", 1}});
  compareAll("inserted");

  // Then deletions and changes that move objects in and out of the predicates.
  for (ManagedObjectContext* context : {&memory.context, &file.context}) {
    context->deleteObject(byId(*context, 0));
    context->deleteObject(byId(*context, 3));
    byId(*context, 8)->setValue("firstName", "Zoe1");
    byId(*context, 8)->setValue("age", 2);
    byId(*context, 13)->setValue("age", Value());
  }
  compareAll("unsaved");
}

// Guards against limited fetches that read every matching row when the
// context has changes: an import resolving identifiers would slow down as
// the store grows.
TEST(SqlFetchTest, ALimitedFetchReadsOnlyTheRowsItCanKeep) {
  test::TempDir dir;
  testing::Stack file(dir.path() / "Limit.sqlite");
  fill(file.context);
  ASSERT_TRUE(file.context.save().ok());
  ManagedObjectContext fresh;
  fresh.setPersistentStoreCoordinator(file.coordinator);
  testing::insert(fresh, "Patient", {{"age", 1}});
  const FetchRequest firstAdult = testing::request("Patient", P::greater("age", 17), {}, 1);
  auto adults = fresh.fetch(firstAdult);
  ASSERT_TRUE(adults.ok() && adults->size() == 1);
  EXPECT_EQ(fresh.registeredCount(), 2u);
  // A changed object that no longer matches costs one row more.
  adults->front()->setValue("age", 2);
  EXPECT_EQ(fetched(fresh, firstAdult, "id").size(), 1u);
  EXPECT_EQ(fresh.registeredCount(), 3u);
}

// Guards against identifier lookups scanning the table, in new and in older files.
TEST(SqlFetchTest, IdentifierLookupsGoThroughAnIndex) {
  test::TempDir dir;
  const fs::path file = dir.path() / "Index.sqlite";
  const char* indexedColumn =
      "SELECT COUNT(*) FROM pragma_index_info('Z_Patient_id_INDEX') WHERE name = 'id'";
  { testing::Stack created(file); }
  EXPECT_EQ(testing::sql(file, indexedColumn), 1);
  ASSERT_EQ(testing::sql(file, "DROP INDEX \"Z_Patient_id_INDEX\""), 0);
  { testing::Stack reopened(file); }
  EXPECT_EQ(testing::sql(file, indexedColumn), 1);
}

}  // namespace
}  // namespace orbelin::graph
