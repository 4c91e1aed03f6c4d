#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "orbelin/graph/model.h"
#include "orbelin/platform/result.h"

namespace orbelin::graph {

namespace detail {
class Store;
}

enum class StoreType {
  InMemory,  // rows kept in memory, gone when the coordinator goes
  SQLite,    // rows in an SQLite file
};

// Joins a model to (at most) one store. Contexts over the same coordinator
// share the store and see each other's saves there.
//
// SQLite files: created owner-only (0600) together with their journal files,
// one table per entity, a join table per to-many relationship whose inverse is
// not to-one, an order column where a relationship is ordered. Every save is
// one transaction, so a process killed in the middle of a save leaves the
// file holding all or none of it. A file written with a model of another
// versionIdentifier, or a file that is not an SQLite database, is refused
// with an error and left exactly as it was.
//
// Ownership: contexts hold the coordinator through a shared_ptr; the
// coordinator holds the model and the store.
//
// Thread safety: every member may be called from any thread; store access is
// serialized by the coordinator's own lock (the innermost lock of the graph).
class PersistentStoreCoordinator {
 public:
  explicit PersistentStoreCoordinator(std::shared_ptr<const ManagedObjectModel> model);
  ~PersistentStoreCoordinator();
  PersistentStoreCoordinator(const PersistentStoreCoordinator&) = delete;
  PersistentStoreCoordinator& operator=(const PersistentStoreCoordinator&) = delete;

  const std::shared_ptr<const ManagedObjectModel>& managedObjectModel() const { return model_; }

  // Attaches a store. The location is ignored for InMemory. Fails (error
  // domain error_domain::kPersistence) when a store is already attached, or
  // the file cannot be opened, is not a database or fits another model.
  Status addPersistentStore(StoreType type, const std::filesystem::path& location);
  bool hasStore() const;

  // Internal: used by contexts.
  std::int64_t nextPrimaryKey(const EntityDescription& entity);
  detail::Store* store() const { return storePtr_.load(std::memory_order_acquire); }
  std::mutex& storeMutex() const { return storeMutex_; }

 private:
  std::shared_ptr<const ManagedObjectModel> model_;
  mutable std::mutex storeMutex_;
  std::unique_ptr<detail::Store> store_;                   // guarded by storeMutex_ (set once)
  std::atomic<detail::Store*> storePtr_{nullptr};          // store_, readable without the lock
  std::unique_ptr<std::atomic<std::int64_t>[]> nextKeys_;  // per entity, by position in the model
};

}  // namespace orbelin::graph
