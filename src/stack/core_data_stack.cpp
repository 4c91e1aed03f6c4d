#include "orbelin/stack/core_data_stack.h"

#include <cstdlib>
#include <mutex>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/error.h"
#include "orbelin/platform/host_environment.h"

namespace orbelin {

namespace {

[[noreturn]] void stopWith(const Error& error) {
  platform::Console::log("Unresolved error " + error.description() + ", " +
                         error.userInfoDescription());
  std::abort();
}

}  // namespace

CoreDataStack& CoreDataStack::sharedInstance() {
  // Created once even when several threads ask together; never destroyed,
  // because records live until the process ends.
  static CoreDataStack* instance = new CoreDataStack();
  return *instance;
}

CoreDataStack::CoreDataStack() = default;

CoreDataStack::CoreDataStack(std::shared_ptr<const graph::ManagedObjectModel> model)
    : model_(std::move(model)) {}

CoreDataStack::~CoreDataStack() = default;

std::filesystem::path CoreDataStack::applicationDocumentsDirectory() {
  if (!documentsDirectory_) documentsDirectory_ = platform::HostEnvironment::documentsDirectory();
  return *documentsDirectory_;
}

void CoreDataStack::setApplicationDocumentsDirectory(std::filesystem::path directory) {
  documentsDirectory_ = std::move(directory);
}

std::shared_ptr<const graph::ManagedObjectModel> CoreDataStack::managedObjectModel() {
  if (!model_) model_ = graph::ModelCatalog::model(kModelName);
  if (!*model_) {
    // A packaging fault: no record can be made without the model.
    platform::Console::log(std::string("CoreDataStack: Unable to load the model ") + kModelName +
                           ".");
    std::abort();
  }
  return *model_;
}

void CoreDataStack::setManagedObjectModel(std::shared_ptr<const graph::ManagedObjectModel> model) {
  model_ = std::move(model);
}

std::shared_ptr<graph::PersistentStoreCoordinator> CoreDataStack::persistentStoreCoordinator() {
  if (coordinator_) return *coordinator_;
  auto coordinator = std::make_shared<graph::PersistentStoreCoordinator>(managedObjectModel());
  std::filesystem::path url = applicationDocumentsDirectory() / kStoreFileName;
  const std::string reason = "There was an error creating or loading the application's saved data.";
  // The store lives in memory: the location is computed but never written.
  Status added = coordinator->addPersistentStore(graph::StoreType::InMemory, url);
  if (!added) {
    coordinator_ = nullptr;
    Error error(
        "YOUR_ERROR_DOMAIN", 9999,
        std::map<std::string, std::string>{
            {Error::kLocalizedDescriptionKey, "Failed to initialize the application's saved data"},
            {Error::kLocalizedFailureReasonKey, reason}});
    error.setUnderlyingError(added.error());
    stopWith(error);
  }
  coordinator_ = coordinator;
  return coordinator;
}

void CoreDataStack::setPersistentStoreCoordinator(
    std::shared_ptr<graph::PersistentStoreCoordinator> coordinator) {
  coordinator_ = std::move(coordinator);
}

std::shared_ptr<graph::ManagedObjectContext> CoreDataStack::managedObjectContext() {
  if (context_) return *context_;
  auto coordinator = persistentStoreCoordinator();
  if (!coordinator) {
    context_ = nullptr;
    return nullptr;
  }
  auto context = std::make_shared<graph::ManagedObjectContext>(graph::ConcurrencyType::Confinement);
  context->setPersistentStoreCoordinator(std::move(coordinator));
  context_ = context;
  return context;
}

void CoreDataStack::setManagedObjectContext(std::shared_ptr<graph::ManagedObjectContext> context) {
  context_ = std::move(context);
}

void CoreDataStack::saveContext() {
  auto context = managedObjectContext();
  if (!context || !context->hasChanges()) return;
  if (Status saved = context->save(); !saved) stopWith(saved.error());
}

}  // namespace orbelin
