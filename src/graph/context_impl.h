#pragma once

// Internal: the state of a context and the graph operations done under its lock.

#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "graph/context_lock.h"
#include "graph/object_access.h"
#include "graph/registry.h"
#include "graph/store.h"
#include "orbelin/graph/context.h"

namespace orbelin::graph {

struct ManagedObjectContext::Impl {
  struct RelationSnapshot {
    ManagedObject* toOne = nullptr;
    std::vector<ManagedObject*> members;
  };
  // The state of an object as last read from the store (or merged from
  // another context's save), kept from its first change until the save or
  // rollback. Its relations are valid once the object's relations are
  // loaded (flags has kRelationsLoaded).
  struct Snapshot {
    std::vector<Value> values;
    std::vector<RelationSnapshot> relations;
    std::uint8_t flags = 0;
  };

  explicit Impl(ManagedObjectContext* context) : owner(context) {}

  ManagedObjectContext* owner;
  mutable detail::ContextLock mutex;
  std::shared_ptr<PersistentStoreCoordinator> coordinator;  // guarded by mutex
  // Every attached object; owns them.
  detail::Registry registered;
  std::vector<ManagedObject*> insertedList;  // in insertion order; may hold stale entries
  std::vector<ManagedObject*> updatedList;
  std::vector<ManagedObject*> deletedList;
  std::unordered_map<const ManagedObject*, Snapshot> originals;
  // Objects detached by a save, rollback or merge: readable until the context goes.
  std::vector<std::unique_ptr<ManagedObject>> detached;

  // Everything below REQUIRES: mutex held.
  ManagedObject* insert(const EntityDescription& entity);
  void markChanged(ManagedObject* object);
  // Loads the relationships of a saved object from the store, once.
  void ensureLoaded(ManagedObject* object);
  // Drops the values of a saved object without changes; fire() reads them
  // again. Relationships stay as they are. A fault that remembers keeps
  // digests of the values dropped, so a later save still notices what
  // another connection changed since they were read; a fresh one takes
  // whatever the row holds when it fires, as a merge does.
  enum class Fault { Remembering, Fresh };
  void turnIntoFault(ManagedObject* object, Fault kind);
  void fire(ManagedObject* object) {
    if (detail::ObjectAccess::has(*object, detail::kFault)) fill(object);
  }
  // Gives a fault the values of its row.
  void fill(ManagedObject* object);
  void fillFromRow(ManagedObject* object, const detail::RowReader& row);
  // fillFromRow from the store; false when the row is gone or there is no store.
  bool readRow(ManagedObject* object);
  // Relationships are read again from the store on next use.
  void unloadRelations(ManagedObject* object);
  // The registered object, else one made from its stored row, else null.
  ManagedObject* materialize(const EntityDescription& entity, std::int64_t primaryKey);
  ManagedObject* registerRow(const EntityDescription& entity, std::int64_t primaryKey,
                             const detail::RowReader& row);
  // The store's rows for a fetch, as registered objects, up to `limit` (0:
  // all) rows of objects without changes here. The rows of changed objects
  // may leave the result, since their values in hand decide, so while some
  // rows returned are theirs and the store may hold more, it is asked again
  // for that many more rows: a lookup among many updated objects reads one
  // or two rows, not every match.
  Result<std::vector<ManagedObject*>> storedCandidates(const EntityDescription& entity,
                                                       detail::RowQuery query, std::size_t limit);

  // One side of a relationship, without touching the inverse.
  void link(ManagedObject* owner, std::size_t relationship, ManagedObject* target);
  void unlink(ManagedObject* owner, std::size_t relationship, ManagedObject* target);
  // Links both sides; when the inverse is to-one, the target first leaves
  // whatever object held it.
  void linkBothWays(ManagedObject* from, std::size_t relationship, ManagedObject* target,
                    const RelationshipDescription* inverse);
  // Both sides.
  void setToOne(ManagedObject* owner, std::size_t relationship, ManagedObject* target);
  void addToMany(ManagedObject* owner, std::size_t relationship, ManagedObject* target);
  void removeToMany(ManagedObject* owner, std::size_t relationship, ManagedObject* target);
  bool acceptsTarget(ManagedObject* owner, std::size_t relationship, ManagedObject* target) const;

  void remove(ManagedObject* object);
  void detach(ManagedObject* object);
  void restore(ManagedObject* object, const Snapshot& snapshot);
  // What an updated object changed since it was read; no properties when
  // it changed nothing.
  detail::ObjectUpdate changesOf(ManagedObject* object) const;
  // Gives a saved object without unsaved changes the stored values.
  void refresh(ManagedObject* object);
  // Gives an object with unsaved changes the stored values of every
  // property it did not change; what it changed stays, and its snapshot
  // becomes the stored state.
  void mergeKeepingChanges(ManagedObject* object);
  // Loads the stored members of each relationship: null where the row is gone.
  std::optional<std::vector<std::vector<ManagedObject*>>> storedRelations(ManagedObject* object);
  // After a save: the registry follows the keys it gave, or a failed save's
  // objects get their temporary keys back.
  void settleKeys(const detail::SaveSet& changes, bool saved);
  void forget(ManagedObject* object);  // drops a deleted-elsewhere object from loaded neighbours
  // forget for many objects, with at most one pass over the registry.
  void forgetAll(const std::vector<ManagedObject*>& objects);
  Status validate(ManagedObject* object) const;
  detail::Store* store() const { return coordinator ? coordinator->store() : nullptr; }
};

}  // namespace orbelin::graph
