#pragma once

// A small model for the dictionary-mapping tests: every attribute type, an
// identified entity that refers to itself, ordered and unordered to-many
// relationships, back-references left out of the dictionary form, and an
// attribute whose key is the class name's.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/dates/date_utils.h"
#include "orbelin/graph/graph.h"
#include "orbelin/model2/managed_object_ex.h"

namespace orbelin::model2::testing {

class MappedObject : public NSManagedObjectEx {
 public:
  explicit MappedObject(std::string entityName, std::vector<std::string> ignored = {})
      : entityName_(std::move(entityName)), ignored_(std::move(ignored)) {}
  std::string className() const override { return entityName_; }
  bool ignoreRelation(std::string_view name) const override {
    return std::find(ignored_.begin(), ignored_.end(), name) != ignored_.end();
  }

 private:
  std::string entityName_;
  std::vector<std::string> ignored_;
};

// Identified by "personId"; "patients" is the back-reference of "doctor".
class Person : public MappedObject {
 public:
  Person() : MappedObject("Person", {"patients"}) {}
  std::optional<std::string> externalObjectId() const override {
    graph::Value id = value("personId");
    return id.string() ? std::optional<std::string>(std::string(*id.string())) : std::nullopt;
  }
  std::optional<std::string> externalObjectIdName() const override { return "personId"; }
};
class Visit : public MappedObject {
 public:
  Visit() : MappedObject("Visit", {"person"}) {}
};
class Tag : public MappedObject {
 public:
  Tag() : MappedObject("Tag", {"people"}) {}
};
// Not ignored on purpose: a home writes its resident, so an unidentified
// person and its home form a cycle the writer must stop.
class Home : public MappedObject {
 public:
  Home() : MappedObject("Home") {}
};
class Odd : public MappedObject {
 public:
  Odd() : MappedObject("Odd") {}
};

inline std::shared_ptr<const graph::ManagedObjectModel> mappingModel() {
  using graph::AttributeType;
  graph::ModelBuilder builder;
  builder.entity<Person>("Person", "PersonRecord")
      .attribute("personId", AttributeType::String)
      .attribute("name", AttributeType::String)
      .attribute("born", AttributeType::Date)
      .attribute("age", AttributeType::Integer16)
      .attribute("visitsCount", AttributeType::Integer64)
      .attribute("score", AttributeType::Double)
      .attribute("active", AttributeType::Boolean)
      .attribute("photo", AttributeType::Binary)
      .attribute("extras", AttributeType::Transformable)
      .attribute("note", AttributeType::String)
      .orderedToMany("visits", "Visit", "person", graph::DeleteRule::Cascade)
      .toMany("tags", "Tag", "people")
      .toOne("home", "Home", "resident")
      .toOne("doctor", "Person", "patients")
      .toMany("patients", "Person", "doctor");
  builder.entity<Visit>("Visit", "VisitRecord")
      .attribute("when", AttributeType::Date)
      .attribute("summary", AttributeType::String)
      .toOne("person", "Person", "visits");
  builder.entity<Tag>("Tag", "TagRecord")
      .attribute("label", AttributeType::String)
      .toMany("people", "Person", "tags");
  builder.entity<Home>("Home", "HomeRecord")
      .attribute("street", AttributeType::String)
      .toOne("resident", "Person", "home");
  builder.entity("Plain").attribute("text", AttributeType::String);
  builder.entity<Odd>("Odd", "OddRecord")
      .attribute("label", AttributeType::String)
      .attribute("entityName", AttributeType::String);
  auto model = builder.build();
  return model ? *model : nullptr;
}

// A context over an in-memory store of the mapping model, with dates read
// and written in one time zone (UTC unless a test names another).
class MappingFixture : public ::testing::Test {
 protected:
  explicit MappingFixture(const char* zone = "UTC") : zone_(zone) {}
  void SetUp() override {
    DateUtils::setTimeZone(zone_);
    coordinator = std::make_shared<graph::PersistentStoreCoordinator>(mappingModel());
    ASSERT_TRUE(coordinator->addPersistentStore(graph::StoreType::InMemory, {}).ok());
    context.setPersistentStoreCoordinator(coordinator);
  }
  void TearDown() override { DateUtils::setTimeZone(std::nullopt); }

  Person* newPerson(std::optional<std::string> id = std::nullopt) {
    auto* person = context.insertNew<Person>("Person");
    if (id) person->setValue("personId", *id);
    return person;
  }

  std::shared_ptr<graph::PersistentStoreCoordinator> coordinator;
  graph::ManagedObjectContext context;

 private:
  const char* zone_;
};

}  // namespace orbelin::model2::testing
