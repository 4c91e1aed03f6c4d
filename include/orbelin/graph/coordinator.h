#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "orbelin/graph/model.h"
#include "orbelin/platform/result.h"

namespace orbelin::graph {

class ManagedObject;
namespace detail {
class Store;
struct KeyRequest;
}  // namespace detail

// How long one statement on an SQLite store waits for a lock that another
// connection holds before it gives up with SQLITE_BUSY.
inline constexpr std::chrono::milliseconds kStoreBusyTimeout{5000};

enum class StoreType {
  InMemory,  // rows kept in memory, gone when the coordinator goes
  SQLite,    // rows in an SQLite file
};

// Joins a model to (at most) one store. Contexts over the same coordinator
// share the store and see each other's saves there.
//
// SQLite files: created owner-only (0600) together with their journal files;
// missing parent directories are created owner-only (0700) first. One table
// per entity, a join table per to-many relationship whose inverse is not
// to-one, an order column where a relationship is ordered. Every save is
// one transaction, so a process killed in the middle of a save leaves the
// file holding all or none of it. A file written with a model of another
// versionIdentifier, or a file that is not an SQLite database, is refused
// with an error and left exactly as it was (isIncompatibleStoreError).
//
// Primary keys: keys come from blocks reserved in the file itself (table
// Z_PRIMARYKEY, one row per entity), by a save, inside its own write
// transaction, so coordinators in one process or in several processes on
// the same file never hand out the same key. An object inserted while its
// entity's block has keys left gets a permanent key at once; otherwise it
// gets a temporary negative key, replaced at its save, which also reserves
// the entity's next block: 16 keys at first, doubling with each reservation
// up to 4096. Unused keys of a block are simply skipped.
//
// Row versions: every row carries a version that each save writing it
// raises. A save writes only the properties its objects changed since they
// were read, and checks, in the same write transaction, each row whose
// version moved in between: a property changed both there and here (to
// different values) fails the whole save with isMergeConflictError; changes
// to different properties of one row are all kept.
//
// Locks held by other processes: every statement waits up to
// kStoreBusyTimeout for a lock. An open that still finds the file locked
// fails with isBusyStoreError and leaves the file alone; a save that does
// fails and rolls back, and its objects keep their temporary keys.
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
  // `openWait`: how long opening waits for a lock another connection holds.
  Status addPersistentStore(StoreType type, const std::filesystem::path& location,
                            std::chrono::milliseconds openWait = kStoreBusyTimeout);
  bool hasStore() const;

  // Internal: used by contexts. The next key of the entity's block, which
  // no other coordinator on the same store hands out; else a temporary
  // (negative) one, replaced when the object is saved.
  std::int64_t nextPrimaryKey(const EntityDescription& entity);
  // Internal: the keys a save of these inserted objects reserves, and the
  // spare keys it reserved becoming the entities' blocks once it succeeded.
  std::vector<detail::KeyRequest> keyRequests(const std::vector<ManagedObject*>& inserted);
  void adoptSpareKeys(const std::vector<detail::KeyRequest>& requests);
  detail::Store* store() const { return storePtr_.load(std::memory_order_acquire); }
  std::mutex& storeMutex() const { return storeMutex_; }

 private:
  std::shared_ptr<const ManagedObjectModel> model_;
  mutable std::mutex storeMutex_;
  std::unique_ptr<detail::Store> store_;           // guarded by storeMutex_ (set once)
  std::atomic<detail::Store*> storePtr_{nullptr};  // store_, readable without the lock
  struct KeyBlock {
    std::int64_t next = 1;
    std::int64_t limit = 1;  // first key past the block
    std::int64_t size = 8;   // of the last reservation
  };
  std::mutex keysMutex_;           // never held with storeMutex_
  std::vector<KeyBlock> keys_;     // guarded by keysMutex_; by entity position
  std::int64_t temporaryKey_ = 0;  // guarded by keysMutex_; counts down
};

// Whether addPersistentStore failed because the file is not a store of this
// model: written by another model version, not an SQLite database, or
// damaged. Only such a file may be set aside; any other failure says
// nothing about the file's content.
bool isIncompatibleStoreError(const Error& error);
// Whether addPersistentStore (or a save) failed because another connection
// held the file locked for longer than kStoreBusyTimeout.
bool isBusyStoreError(const Error& error);
// Whether a save failed because a property it changed was changed in the
// store by another context or process since this context read it.
bool isMergeConflictError(const Error& error);

}  // namespace orbelin::graph
