// The shared first-generation stack touched before any record exists, as a
// host does that saves when it goes to the background before anyone logged
// in. This binary links the records library but calls none of its
// functions: the model must be there all the same.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <typeinfo>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/stack/core_data_stack.h"

namespace orbelin {
namespace {

using graph::ManagedObject;

// The first and the last entity of the model's table.
const char* const kEntities[] = {"Patient", "MedicalProblem"};

// Whether the stack is whole once `first` has been the first thing to touch
// it, in a process of its own (an abort there fails only that child).
bool wholeAfter(const std::function<void()>& first) {
  pid_t child = fork();
  if (child == 0) {
    first();
    auto model = CoreDataStack::sharedInstance().managedObjectModel();
    bool whole = model && CoreDataStack::sharedInstance().managedObjectContext();
    for (const char* name : kEntities) whole = whole && model->entity(name);
    _exit(whole ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Guards a shared stack built before the records registered their model.
TEST(CoreDataStackFirstUseTest, AnyFirstTouchBeforeARecordFindsTheModel) {
  // This process's own first action: the background save of a host.
  CoreDataStack::sharedInstance().saveContext();

  auto& stack = CoreDataStack::sharedInstance();
  auto model = stack.managedObjectModel();
  ASSERT_NE(model, nullptr);
  for (const char* name : kEntities) EXPECT_NE(model->entity(name), nullptr) << name;
  auto context = stack.managedObjectContext();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(context->persistentStoreCoordinator()->managedObjectModel(), model);
  // Objects are the records' own classes, not plain managed objects.
  ManagedObject* patient = context->insertNewObject("Patient");
  ASSERT_NE(patient, nullptr);
  EXPECT_NE(typeid(*patient), typeid(ManagedObject));
  patient->setValue("id", 7);
  stack.saveContext();
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(*context->count(graph::FetchRequest("Patient")), 1u);

  // The other first touches, each in a fresh process.
  EXPECT_TRUE(wholeAfter([] { CoreDataStack::sharedInstance().managedObjectModel(); }));
  EXPECT_TRUE(wholeAfter([] { CoreDataStack::sharedInstance().managedObjectContext(); }));
  EXPECT_TRUE(wholeAfter([] { CoreDataStack::sharedInstance().persistentStoreCoordinator(); }));
}

}  // namespace
}  // namespace orbelin
