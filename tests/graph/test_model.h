#pragma once

// A small hospital model shared by the graph tests: every attribute type and
// every kind of relationship; and the stacks, inserts and fetches they share.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orbelin/graph/graph.h"

namespace orbelin::graph::testing {

class Ward : public ManagedObject {};

class Patient : public ManagedObject {
 public:
  std::optional<std::string> identifierAttributeName() const override { return "id"; }
  std::string firstName() const { return valueAt(index().firstName).stringValue(); }
  void setFirstName(std::string name) { setValueAt(index().firstName, std::move(name)); }

 private:
  struct Index {
    std::size_t firstName;
  };
  const Index& index() const {
    static const Index i{entity().attributeIndex("firstName")};
    return i;
  }
};

inline ModelBuilder& addHospital(ModelBuilder& builder) {
  builder.entity<Patient>("Patient")
      .attribute("firstName", AttributeType::String)
      .attribute("age", AttributeType::Integer16)
      .attribute("acuity", AttributeType::Integer32)
      .attribute("id", AttributeType::Integer64)
      .attribute("weight", AttributeType::Double)
      .attribute("isAdmitted", AttributeType::Boolean)
      .attribute("birthdate", AttributeType::Date)
      .attribute("photo", AttributeType::Binary)
      .attribute("staffIds", AttributeType::Transformable)
      .toOne("ward", "Ward", "patients")
      .orderedToMany("tasks", "Task", "patient", DeleteRule::Cascade)
      .toMany("nurses", "Nurse", "patients")
      .toOne("bed", "Bed", "patient");
  builder.entity<Ward>("Ward", "WardRecord")
      .attribute("name", AttributeType::String, false)
      .toMany("patients", "Patient", "ward");
  builder.entity("Task")
      .attribute("title", AttributeType::String)
      .toOne("patient", "Patient", "tasks");
  builder.entity("Nurse")
      .attribute("name", AttributeType::String)
      .toMany("patients", "Patient", "nurses");
  builder.entity("Bed")
      .attribute("number", AttributeType::Integer32)
      .toOne("patient", "Patient", "bed");
  return builder;
}

inline std::shared_ptr<const ManagedObjectModel> hospitalModel() {
  ModelBuilder builder;
  return *addHospital(builder).build();
}

// A coordinator with one store (SQLite on `file`, or in memory when `file`
// is empty) and a context on it; `status` says whether the store was added.
struct Stack {
  explicit Stack(const std::filesystem::path& file = {},
                 std::shared_ptr<const ManagedObjectModel> model = hospitalModel(),
                 ConcurrencyType concurrency = ConcurrencyType::Confinement)
      : coordinator(std::make_shared<PersistentStoreCoordinator>(std::move(model))),
        context(concurrency) {
    status = coordinator->addPersistentStore(file.empty() ? StoreType::InMemory : StoreType::SQLite,
                                             file);
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  Status status;
  ManagedObjectContext context;
};

// A new object of `entity` with the given values.
inline ManagedObject* insert(ManagedObjectContext& context, const char* entity,
                             std::initializer_list<std::pair<const char*, Value>> values = {}) {
  ManagedObject* object = context.insertNewObject(entity);
  for (const auto& [key, value] : values) object->setValue(key, value);
  return object;
}

inline FetchRequest request(const char* entity, std::optional<Predicate> predicate = {},
                            std::vector<SortDescriptor> sort = {}, std::size_t limit = 0) {
  FetchRequest request(entity);
  request.setPredicate(std::move(predicate));
  request.setSortDescriptors(std::move(sort));
  request.setFetchLimit(limit);
  return request;
}

// The `key` of every object fetched, as text, in fetch order; a failed
// fetch fails the test.
inline std::vector<std::string> fetched(ManagedObjectContext& context, const FetchRequest& request,
                                        const char* key) {
  auto found = context.fetch(request);
  std::vector<std::string> result;
  if (!found.ok()) {
    ADD_FAILURE() << "fetch failed: " << found.error().description();
    return result;
  }
  for (ManagedObject* object : *found) result.push_back(object->value(key).description());
  return result;
}

// Runs one statement on the file with a connection of its own, as another
// program would; gives the first column of its first row, 0 without a row,
// or -1 when the statement fails.
inline std::int64_t sql(const std::filesystem::path& file, const std::string& statement) {
  sqlite3* db = nullptr;
  sqlite3_stmt* stmt = nullptr;
  std::int64_t result = -1;
  if (sqlite3_open(file.c_str(), &db) == SQLITE_OK &&
      sqlite3_prepare_v2(db, statement.c_str(), -1, &stmt, nullptr) == SQLITE_OK) {
    const int step = sqlite3_step(stmt);
    if (step == SQLITE_ROW) result = sqlite3_column_int64(stmt, 0);
    if (step == SQLITE_DONE) result = 0;
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return result;
}

}  // namespace orbelin::graph::testing
