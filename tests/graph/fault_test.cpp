// Saved objects give their values back and read them again on first use:
// what they read must be what the file holds then, never a stale copy, and
// never nothing where something is stored.

#include <gtest/gtest.h>

#include <cmath>
#include <span>

#include "graph/test_model.h"
#include "orbelin/platform/notification_center.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

namespace fs = std::filesystem;

struct Stack {
  explicit Stack(const fs::path& file)
      : coordinator(std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel())) {
    EXPECT_TRUE(coordinator->addPersistentStore(StoreType::SQLite, file).ok());
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  ManagedObjectContext context;
};

// The same row as `object`, in another stack's context.
ManagedObject* sameRow(Stack& stack, const ManagedObject* object) {
  const EntityDescription* entity =
      stack.coordinator->managedObjectModel()->entity(object->entity().name());
  return stack.context.objectWithID({entity, object->objectID().primaryKey});
}

// What a fresh stack on the file reads for the patient's age and first name.
void expectStoredPatient(const fs::path& file, const ManagedObject* patient, std::int64_t age,
                         const char* firstName) {
  Stack reader(file);
  ManagedObject* read = sameRow(reader, patient);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->value("age").integer(), age);
  EXPECT_EQ(read->value("firstName"), Value(firstName));
}

ManagedObject* storedPatient(ManagedObjectContext& context) {
  ManagedObject* patient = context.insertNewObject("Patient");
  patient->setValue("firstName", "Eleanor");
  patient->setValue("age", 71);
  patient->setValue("acuity", 70000);
  patient->setValue("id", 45);
  patient->setValue("weight", -0.0);
  patient->setValue("isAdmitted", true);
  patient->setValue("birthdate", dateFromSeconds(-1234567.25));
  patient->setValue("photo", Bytes{0, 1, 255});
  patient->setValue("staffIds", boost::json::value{boost::json::array{3, 4}});
  ManagedObject* ward = context.insertNewObject("Ward");
  ward->setValue("name", "3A");
  patient->setObject("ward", ward);
  ManagedObject* task = context.insertNewObject("Task");
  task->setValue("title", "Walk");
  patient->mutableOrderedSet("tasks").add(task);
  return patient;
}

// A patient with a ward and a task, saved in a fresh store file.
class FaultTest : public ::testing::Test {
 protected:
  void SetUp() override {
    patient = storedPatient(stack.context);
    ASSERT_FALSE(patient->isFault());
    ASSERT_TRUE(stack.context.save().ok());
  }
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
  EXPECT_EQ(patient->value("age").integer(), 71);
  EXPECT_EQ(patient->value("acuity").integer(), 70000);
  EXPECT_EQ(patient->value("id").integer(), 45);
  EXPECT_TRUE(std::signbit(patient->value("weight").doubleValue()));
  EXPECT_EQ(patient->value("isAdmitted").boolean(), true);
  EXPECT_EQ(patient->value("birthdate").date(), dateFromSeconds(-1234567.25));
  EXPECT_EQ(patient->value("photo"), Value(Bytes{0, 1, 255}));
  EXPECT_EQ(patient->value("staffIds"), Value(boost::json::value{boost::json::array{3, 4}}));
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
}

TEST_F(FaultTest, AFaultReadsWhatAnotherContextSavedWithOrWithoutAMerge) {
  Stack& main = stack;
  ASSERT_EQ(patient->value("age").integer(), 71);

  // A second context on the same coordinator changes the patient, read
  // here, and the ward, still a fault here; its save is merged here.
  ManagedObject* ward = patient->object("ward");
  ASSERT_TRUE(ward->isFault());
  ManagedObjectContext other;
  other.setPersistentStoreCoordinator(main.coordinator);
  ManagedObject* there = other.objectWithID(patient->objectID());
  ASSERT_NE(there, nullptr);
  auto token = platform::NotificationCenter::defaultCenter().addObserver(
      kContextDidSaveNotification, &other,
      [&main](const platform::Notification& n) { main.context.mergeChanges(n); });
  there->setValue("age", 72);
  there->object("ward")->setValue("name", "4B");
  ASSERT_TRUE(other.save().ok());
  platform::NotificationCenter::defaultCenter().removeObserver(token);
  EXPECT_EQ(patient->value("age").integer(), 72);
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));
  EXPECT_TRUE(ward->isFault());
  EXPECT_EQ(ward->value("name"), Value("4B"));

  // Another store on the file (no merge at all): a fault reads the file.
  ASSERT_TRUE(main.context.save().ok());
  Stack elsewhere(file);
  ManagedObject* far = sameRow(elsewhere, patient);
  ASSERT_NE(far, nullptr);
  far->setValue("firstName", "Nell");
  ASSERT_TRUE(elsewhere.context.save().ok());
  main.context.refreshObject(patient);
  EXPECT_EQ(patient->value("firstName"), Value("Nell"));
  EXPECT_EQ(patient->value("age").integer(), 72);
}

TEST_F(FaultTest, ChangesToAFaultSaveOnlyWhatChangedAndRollBackToTheFile) {
  ASSERT_TRUE(patient->isFault());

  patient->setValue("age", 80);
  EXPECT_TRUE(patient->isUpdated());
  stack.context.rollback();
  EXPECT_EQ(patient->value("age").integer(), 71);
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));

  ASSERT_TRUE(stack.context.save().ok());
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
  expectStoredPatient(file, patient, 81, "Ellie");
}

TEST_F(FaultTest, AFaultStillRefusesAChangeToWhatAnotherStoreChangedSinceItWasRead) {
  Stack& here = stack;
  ASSERT_TRUE(patient->isFault());

  Stack elsewhere(file);
  ManagedObject* far = sameRow(elsewhere, patient);
  ASSERT_NE(far, nullptr);
  far->setValue("age", 90);
  ASSERT_TRUE(elsewhere.context.save().ok());

  // The age this context last read was 71: changing it now would overwrite
  // a change it never saw. Another property saves, and the age read since
  // is the one stored.
  patient->setValue("age", 75);
  EXPECT_TRUE(isMergeConflictError(here.context.save().error()));
  here.context.rollback();
  EXPECT_EQ(patient->value("age").integer(), 90);
  patient->setValue("firstName", "Ellie");
  ASSERT_TRUE(here.context.save().ok());
  patient->setValue("age", 76);
  ASSERT_TRUE(here.context.save().ok());

  expectStoredPatient(file, patient, 76, "Ellie");
}

TEST_F(FaultTest, FetchesFillFaultsAndAFaultWhoseRowIsGoneReadsNil) {
  FetchRequest request("Patient");
  request.setPredicate(Predicate::equal("id", 45));
  request.setSortDescriptors({{"firstName", true}});
  auto found = stack.context.fetch(request);
  ASSERT_TRUE(found.ok());
  ASSERT_EQ(found->size(), 1u);
  EXPECT_EQ(found->front(), patient);
  EXPECT_FALSE(patient->isFault());
  EXPECT_EQ(patient->value("firstName"), Value("Eleanor"));

  ASSERT_TRUE(stack.context.save().ok());
  stack.context.refreshObject(patient);
  {
    Stack elsewhere(file);
    ManagedObject* far = sameRow(elsewhere, patient);
    ASSERT_NE(far, nullptr);
    elsewhere.context.deleteObject(far);
    ASSERT_TRUE(elsewhere.context.save().ok());
  }
  EXPECT_TRUE(patient->value("firstName").isNil());
  EXPECT_TRUE(patient->value("age").isNil());
}

}  // namespace
}  // namespace orbelin::graph
