#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "orbelin/graph/context.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/model.h"

namespace orbelin {

// The one object-graph stack behind every first-generation record: the
// "OrbelinData" model, a coordinator with an in-memory store, and one
// thread-confined context. It is a working area, not a database: nothing is
// written to disk and each launch starts empty.
//
// The model: the stack reads it from graph::ModelCatalog under kModelName,
// where the library that defines it registered it at program start (the
// first-generation records do, in every program that links them), or is
// given one (constructor, setManagedObjectModel).
//
// Each of the four pieces is computed on its first read and then kept; a
// setter replaces it and marks it computed. The coordinator and the context
// may be computed as absent (null): that is remembered and not retried.
// Reading the context forces the coordinator, which forces the model and the
// documents directory.
//
// Failures stop the process, since no record can be made without the stack:
// a missing model logs "CoreDataStack: Unable to load the model OrbelinData."
// and aborts; a store that cannot be added, or a failed saveContext(), logs
// "Unresolved error " + the error's description + ", " + its user info, and
// aborts.
//
// Ownership: the stack owns its context, which owns every first-generation
// record; sharedInstance() lives until the process ends, so records do too.
//
// Thread safety: sharedInstance() may be called from any thread and creates
// the stack exactly once. The lazy pieces take no lock: make the first reads
// from one thread. The context is thread-confined: insert and read records
// on one thread (the one that delivers networking replies).
class CoreDataStack {
 public:
  // Name of the model resource the stack loads through graph::ModelCatalog.
  static constexpr const char* kModelName = "OrbelinData";
  // File name of the store location (computed, though the store is in memory).
  static constexpr const char* kStoreFileName = "OrbelinData.sqlite";

  static CoreDataStack& sharedInstance();

  // Computes nothing; the model is loaded from the catalog on first use.
  CoreDataStack();
  // Uses `model` instead of loading one (a null model counts as missing).
  explicit CoreDataStack(std::shared_ptr<const graph::ManagedObjectModel> model);
  ~CoreDataStack();
  CoreDataStack(const CoreDataStack&) = delete;
  CoreDataStack& operator=(const CoreDataStack&) = delete;

  std::filesystem::path applicationDocumentsDirectory();
  void setApplicationDocumentsDirectory(std::filesystem::path directory);

  std::shared_ptr<const graph::ManagedObjectModel> managedObjectModel();
  void setManagedObjectModel(std::shared_ptr<const graph::ManagedObjectModel> model);

  // Null when computed as absent (or set so).
  std::shared_ptr<graph::PersistentStoreCoordinator> persistentStoreCoordinator();
  void setPersistentStoreCoordinator(
      std::shared_ptr<graph::PersistentStoreCoordinator> coordinator);

  // Null when the coordinator is absent (or set so).
  std::shared_ptr<graph::ManagedObjectContext> managedObjectContext();
  void setManagedObjectContext(std::shared_ptr<graph::ManagedObjectContext> context);

  // Saves the context when it is present and has changes.
  void saveContext();

 private:
  std::optional<std::filesystem::path> documentsDirectory_;
  std::optional<std::shared_ptr<const graph::ManagedObjectModel>> model_;
  std::optional<std::shared_ptr<graph::PersistentStoreCoordinator>> coordinator_;
  std::optional<std::shared_ptr<graph::ManagedObjectContext>> context_;
};

}  // namespace orbelin
