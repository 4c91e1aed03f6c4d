#include "orbelin/stack/core_data_stack.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/host_environment.h"
#include "support/test_support.h"

namespace orbelin {
namespace {

using namespace orbelin::graph;

std::shared_ptr<const ManagedObjectModel> recordsModel() {
  ModelBuilder builder;
  builder.entity("Patient")
      .attribute("firstName", AttributeType::String)
      .attribute("id", AttributeType::Integer64, false)
      .toMany("tasks", "Task", "patient");
  builder.entity("Task")
      .attribute("title", AttributeType::String)
      .toOne("patient", "Patient", "tasks");
  return *builder.build();
}

// Guards pieces rebuilt on every call (losing unsaved changes) and a store
// that outlives the process.
TEST(CoreDataStackTest, BuildsItsPiecesLazilyOnceAndKeepsThem) {
  test::TempDir documents;
  CoreDataStack stack(recordsModel());
  stack.setApplicationDocumentsDirectory(documents.path());
  auto context = stack.managedObjectContext();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(stack.managedObjectContext(), context);
  auto coordinator = stack.persistentStoreCoordinator();
  EXPECT_EQ(context->persistentStoreCoordinator(), coordinator);
  EXPECT_EQ(stack.persistentStoreCoordinator(), coordinator);

  ManagedObject* patient = context->insertNewObject("Patient");
  ASSERT_NE(patient, nullptr);
  patient->setValue("id", 7);
  stack.saveContext();
  EXPECT_FALSE(context->hasChanges());
  // The store is in memory: nothing was written to the documents directory.
  EXPECT_TRUE(std::filesystem::is_empty(documents.path()));

  // A fresh stack starts empty, as after a restart.
  CoreDataStack restarted(recordsModel());
  restarted.setApplicationDocumentsDirectory(documents.path());
  EXPECT_EQ(*restarted.managedObjectContext()->count(FetchRequest("Patient")), 0u);
}

// Guards a replaced or removed piece being rebuilt behind the caller's back.
TEST(CoreDataStackTest, SettersReplaceAndAbsentPiecesAreRemembered) {
  CoreDataStack stack(recordsModel());
  stack.setPersistentStoreCoordinator(nullptr);
  EXPECT_EQ(stack.persistentStoreCoordinator(), nullptr);
  EXPECT_EQ(stack.managedObjectContext(), nullptr);
  auto replacement = std::make_shared<ManagedObjectContext>();
  stack.setManagedObjectContext(replacement);
  EXPECT_EQ(stack.managedObjectContext(), replacement);
  stack.saveContext();  // no changes: nothing happens

  platform::HostEnvironment::setDocumentsDirectory(std::filesystem::path("/tmp/orbelin-docs"));
  CoreDataStack defaults(recordsModel());
  EXPECT_EQ(defaults.applicationDocumentsDirectory(), std::filesystem::path("/tmp/orbelin-docs"));
  platform::HostEnvironment::setDocumentsDirectory(std::nullopt);
}

// Guards two shared stacks made by threads racing for the first one.
TEST(CoreDataStackTest, SharedInstanceIsCreatedOnceAndLoadsTheCatalogModel) {
  ModelCatalog::registerModel(CoreDataStack::kModelName, recordsModel);
  std::vector<CoreDataStack*> seen(8);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = &CoreDataStack::sharedInstance(); });
  for (auto& t : threads) t.join();
  for (auto* s : seen) EXPECT_EQ(s, seen[0]);
  auto model = CoreDataStack::sharedInstance().managedObjectModel();
  ASSERT_NE(model, nullptr);
  EXPECT_NE(model->entity("Task"), nullptr);
}

// Guards against going on without a model or after a failed save.
TEST(CoreDataStackDeathTest, MissingModelAndFailedSavesStopTheProcessWithALine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // Console lines go to stdout; death tests read stderr.
  EXPECT_DEATH(
      {
        dup2(2, 1);
        CoreDataStack stack(nullptr);
        stack.managedObjectContext();
      },
      "CoreDataStack: Unable to load the model OrbelinData.");
  EXPECT_DEATH(
      {
        dup2(2, 1);
        CoreDataStack stack(recordsModel());
        stack.managedObjectContext()->insertNewObject("Patient");  // "id" is required
        stack.saveContext();
      },
      "Unresolved error Error Domain=OrbelinPersistence Code=3 .*, \\{.*\\}");
}

}  // namespace
}  // namespace orbelin
