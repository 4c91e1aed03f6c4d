// Saved objects give their values back and read them again on first use:
// what they read must be what the file holds then, never a stale copy, and
// never nothing where something is stored.

#include <gtest/gtest.h>

#include <cmath>
#include <span>
#include <utility>
#include <vector>

#include "graph/test_model.h"
#include "orbelin/platform/notification_center.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;
using Stack = testing::SQLiteStack;

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
    patient->setObject("ward", stack.context.insertNewObject("Ward"));
    patient->object("ward")->setValue("name", "3A");
    patient->mutableOrderedSet("tasks").add(stack.context.insertNewObject("Task"));
    patient->objects("tasks")[0]->setValue("title", "Walk");
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

  // A value of every kind; the weight is -0.0, which equals 0.0.
  // clang-format off
  const std::vector<std::pair<const char*, Value>> stored = {
      {"firstName", "Eleanor"}, {"age", 71}, {"acuity", 70000}, {"id", 45}, {"weight", -0.0},
      {"isAdmitted", true}, {"birthdate", dateFromSeconds(-1234567.25)},
      {"photo", Bytes{0, 1, 255}}, {"staffIds", boost::json::value{boost::json::array{3, 4}}}};
  // clang-format on
  test::TempDir dir;
  const fs::path file = dir.path() / "Faults.sqlite";
  Stack stack{file};
  ManagedObject* patient = nullptr;
};

TEST_F(FaultTest, ASavedObjectReadsBackEveryValueAndKeepsItsRelationships) {
  ManagedObject* ward = patient->object("ward");
  EXPECT_TRUE(patient->isFault());
  EXPECT_TRUE(ward->isFault());
  EXPECT_EQ(patient->object("ward"), ward);  // pointers stay, no value read
  EXPECT_TRUE(patient->isFault());
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));
  EXPECT_FALSE(patient->isFault());
  for (const auto& [key, value] : stored) EXPECT_EQ(patient->value(key), value) << key;
  EXPECT_EQ(patient->value("isAdmitted").kind(), Value::Kind::Boolean);
  EXPECT_TRUE(std::signbit(patient->value("weight").doubleValue()));
  // Reading every value at once fills a fault too, each at its index.
  ASSERT_TRUE(ward->isFault());
  const std::size_t nameIndex = ward->entity().attributeIndex("name");
  bool read = false;
  ward->readValues([&](std::span<const Value> values) {
    read = true;
    ASSERT_EQ(values.size(), ward->entity().attributes().size());
    EXPECT_EQ(values[nameIndex], Value("3A"));
  });
  EXPECT_TRUE(read);
  EXPECT_FALSE(ward->isFault());
  ASSERT_EQ(patient->objects("tasks").size(), 1u);
  EXPECT_EQ(patient->objects("tasks")[0]->value("title"), Value("Walk"));
  EXPECT_FALSE(stack.context.hasChanges());  // reading a fault changes nothing

  // A fetch fills the fault it finds, and finds the object already held.
  stack.context.refreshObject(patient);
  ASSERT_TRUE(patient->isFault());
  FetchRequest request("Patient");
  request.setPredicate(Predicate::equal("id", 45));
  auto found = stack.context.fetch(request);
  ASSERT_TRUE(found.ok() && found->size() == 1u);
  EXPECT_EQ(found->front(), patient);
  EXPECT_FALSE(patient->isFault());
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));
}

TEST_F(FaultTest, AFaultReadsWhatOthersSavedWithOrWithoutAMergeAndNilOnceTheRowIsGone) {
  ASSERT_EQ(patient->value("age").integer(), 71);

  // A second context on the same coordinator changes the patient, read
  // here, and the ward, still a fault here; its save is merged here.
  ManagedObject* ward = patient->object("ward");
  ASSERT_TRUE(ward->isFault());
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
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));
  EXPECT_TRUE(ward->isFault());
  EXPECT_EQ(ward->value("name"), Value("4B"));

  // Another store on the file (no merge at all): a fault reads the file.
  ASSERT_TRUE(stack.context.save().ok());
  changeElsewhere("firstName", "Nell");
  stack.context.refreshObject(patient);
  EXPECT_EQ(patient->value("firstName"), Value("Nell"));
  EXPECT_EQ(patient->value("age").integer(), 72);

  stack.context.refreshObject(patient);
  changeElsewhere();
  EXPECT_TRUE(patient->value("firstName").isNil());
  EXPECT_TRUE(patient->value("age").isNil());
}

TEST_F(FaultTest, ChangesToAFaultSaveOnlyWhatChangedAndRefuseWhatAnotherStoreChanged) {
  ASSERT_TRUE(patient->isFault());
  patient->setValue("age", 80);
  EXPECT_TRUE(patient->isUpdated());
  stack.context.rollback();
  EXPECT_EQ(patient->value("age").integer(), 71);
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));

  patient->setValue("firstName", "Ellie");
  ASSERT_TRUE(stack.context.save().ok());
  EXPECT_EQ(patient->value("firstName"), Value("Ellie"));
  EXPECT_EQ(patient->value("age").integer(), 71);
  EXPECT_EQ(patient->value("photo"), Value(Bytes{0, 1, 255}));

  // Writing values in place is a change like any other: the fault is filled
  // first, the object counts as updated, and a save writes it.
  stack.context.refreshObject(patient);
  ASSERT_TRUE(patient->isFault());
  const std::size_t age = patient->entity().attributeIndex("age");
  patient->writeValues([&](std::span<Value> values) {
    EXPECT_EQ(values[age].integer(), 71);
    values[age] = 81;
  });
  EXPECT_TRUE(patient->isUpdated());
  ASSERT_TRUE(stack.context.save().ok());
  expectStored(81, "Ellie");

  // Another store changes the age this context last read as 81: changing it
  // now would overwrite a change it never saw. Another property saves, and
  // the age read since is the one stored.
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
