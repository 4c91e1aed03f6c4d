#pragma once

// A small hospital model shared by the graph tests: every attribute type and
// every kind of relationship.

#include <filesystem>
#include <memory>

#include "orbelin/graph/graph.h"

namespace orbelin::graph::testing {

class Ward : public ManagedObject {
 public:
  std::string name() const { return value("name").stringValue(); }
};

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

// A coordinator with one SQLite store on `file` and a context on it; `status`
// says whether the store could be added.
struct SQLiteStack {
  explicit SQLiteStack(const std::filesystem::path& file,
                       std::shared_ptr<const ManagedObjectModel> model = hospitalModel())
      : coordinator(std::make_shared<PersistentStoreCoordinator>(std::move(model))) {
    status = coordinator->addPersistentStore(StoreType::SQLite, file);
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  Status status;
  ManagedObjectContext context;
};

}  // namespace orbelin::graph::testing
