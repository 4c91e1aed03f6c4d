// Saved objects give their values back and read them again on first use:
// what they read must be what the file holds then, never a stale copy, and
// never nothing where something is stored.

#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <chrono>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "graph/test_model.h"
#include "orbelin/platform/notification_center.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using testing::Stack;

// The same row as `object`, in another stack's context.
ManagedObject* sameRow(Stack& stack, const ManagedObject* object) {
  const EntityDescription* entity =
      stack.coordinator->managedObjectModel()->entity(object->entity().name());
  return stack.context.objectWithID({entity, object->objectID().primaryKey});
}

// A patient with a ward and a task, saved in a fresh store file.
class FaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(stack.status.ok()) << stack.status.error().description();
    patient = stack.context.insertNewObject("Patient");
    for (const auto& [key, value] : stored) patient->setValue(key, value);
    patient->setObject("ward", testing::insert(stack.context, "Ward", {{"name", "3A"}}));
    patient->mutableOrderedSet("tasks").add(
        testing::insert(stack.context, "Task", {{"title", "Walk"}}));
    ASSERT_TRUE(stack.context.save().ok());
  }
  // Another stack on the file changes (or, given nothing, deletes) the patient's row.
  void changeElsewhere(const char* key = nullptr, Value value = {}) {
    Stack elsewhere(file);
    ManagedObject* far = sameRow(elsewhere, patient);
    ASSERT_NE(far, nullptr);
    key ? void(far->setValue(key, std::move(value))) : elsewhere.context.deleteObject(far);
    ASSERT_TRUE(elsewhere.context.save().ok());
  }
  // What a fresh stack on the file reads for the patient's age and first name.
  void expectStored(std::int64_t age, const char* firstName) {
    Stack reader(file);
    ManagedObject* read = sameRow(reader, patient);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->value("age").integer(), age);
    EXPECT_EQ(read->value("firstName"), Value(firstName));
  }

  // A value of every kind, at the edges of what each column keeps: quotes
  // that would end an SQL literal, the limits of the integers, a date before
  // 1970 with a fraction of a second.
  const Value name = "Eleanor \"O'Neil\"; DROP TABLE x";
  // clang-format off
  const std::vector<std::pair<const char*, Value>> stored = {
      {"firstName", name}, {"age", 71}, {"acuity", 2147483647}, {"id", INT64_MIN},
      {"weight", -2.5}, {"isAdmitted", true},
      {"birthdate", Date(std::chrono::nanoseconds(-123456789012345678))},
      {"photo", Bytes{0, 1, 255}}, {"staffIds", boost::json::parse(R"([4,2,9,{"k":"v"}])")}};
  // clang-format on
  test::TempDir dir;
  const fs::path file = dir.path() / "Faults.sqlite";
  Stack stack{file};
  ManagedObject* patient = nullptr;
};

// Guards against faults that read back a wrong value or index, or count a read as a change.
TEST_F(FaultTest, ASavedObjectReadsBackEveryValueAndKeepsItsRelationships) {
  ManagedObject* ward = patient->object("ward");
  EXPECT_TRUE(patient->isFault());
  EXPECT_TRUE(ward->isFault());
  EXPECT_EQ(patient->object("ward"), ward);  // pointers stay, no value read
  EXPECT_TRUE(patient->isFault());
  for (const auto& [key, value] : stored) EXPECT_EQ(patient->value(key), value) << key;
  EXPECT_FALSE(patient->isFault());
  const std::size_t nameIndex = ward->entity().attributeIndex("name");
  bool read = false;
  ward->readValues([&](std::span<const Value> values) {
    read = values.size() == ward->entity().attributes().size() && values[nameIndex] == Value("3A");
  });
  EXPECT_TRUE(read);
  EXPECT_FALSE(ward->isFault());
  EXPECT_EQ(patient->objects("tasks")[0]->value("title"), Value("Walk"));
  EXPECT_FALSE(stack.context.hasChanges());

  // A fetch fills the fault it finds, and finds the object already held.
  stack.context.refreshObject(patient);
  auto found = stack.context.fetch(testing::request("Patient", Predicate::equal("id", INT64_MIN)));
  ASSERT_TRUE(found.ok() && found->size() == 1u);
  EXPECT_EQ(found->front(), patient);
  EXPECT_FALSE(patient->isFault());
}

// Guards against a fault reading a stale copy of a row others changed or deleted.
TEST_F(FaultTest, AFaultReadsWhatOthersSavedWithOrWithoutAMergeAndNilOnceTheRowIsGone) {
  ASSERT_EQ(patient->value("age").integer(), 71);
  ManagedObject* ward = patient->object("ward");
  ManagedObjectContext other;
  other.setPersistentStoreCoordinator(stack.coordinator);
  ManagedObject* there = other.objectWithID(patient->objectID());
  ASSERT_NE(there, nullptr);
  auto token = platform::NotificationCenter::defaultCenter().addObserver(
      kContextDidSaveNotification, &other,
      [this](const platform::Notification& n) { stack.context.mergeChanges(n); });
  there->setValue("age", 72);
  there->object("ward")->setValue("name", "4B");
  ASSERT_TRUE(other.save().ok());
  platform::NotificationCenter::defaultCenter().removeObserver(token);
  EXPECT_EQ(patient->value("age").integer(), 72);
  EXPECT_EQ(patient->value("firstName"), name);
  EXPECT_TRUE(ward->isFault());
  EXPECT_EQ(ward->value("name"), Value("4B"));

  changeElsewhere("firstName", "Nell");
  stack.context.refreshObject(patient);
  EXPECT_EQ(patient->value("firstName"), Value("Nell"));
  EXPECT_EQ(patient->value("age").integer(), 72);

  stack.context.refreshObject(patient);
  changeElsewhere();
  EXPECT_TRUE(patient->value("firstName").isNil());
  EXPECT_TRUE(patient->value("age").isNil());
}

// Guards against a change to a fault losing other values or overwriting another store's change.
TEST_F(FaultTest, ChangesToAFaultSaveOnlyWhatChangedAndRefuseWhatAnotherStoreChanged) {
  patient->setValue("age", 80);
  stack.context.rollback();
  EXPECT_EQ(patient->value("age").integer(), 71);

  patient->setValue("firstName", "Ellie");
  ASSERT_TRUE(stack.context.save().ok());
  EXPECT_EQ(patient->value("photo"), Value(Bytes{0, 1, 255}));

  // Writing values in place fills the fault first and counts as a change.
  stack.context.refreshObject(patient);
  const std::size_t age = patient->entity().attributeIndex("age");
  patient->writeValues([&](std::span<Value> values) {
    EXPECT_EQ(values[age].integer(), 71);
    values[age] = 81;
  });
  ASSERT_TRUE(stack.context.save().ok());
  expectStored(81, "Ellie");

  // Another store changes the age last read as 81: changing it now is
  // refused; another property saves, and the age read since is the stored one.
  ASSERT_TRUE(patient->isFault());
  changeElsewhere("age", 90);
  patient->setValue("age", 75);
  EXPECT_TRUE(isMergeConflictError(stack.context.save().error()));
  stack.context.rollback();
  EXPECT_EQ(patient->value("age").integer(), 90);
  patient->setValue("firstName", "Nell");
  ASSERT_TRUE(stack.context.save().ok());
  patient->setValue("age", 76);
  ASSERT_TRUE(stack.context.save().ok());
  expectStored(76, "Nell");
}

}  // namespace
}  // namespace orbelin::graph
