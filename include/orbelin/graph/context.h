#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/platform/notification_center.h"
#include "orbelin/platform/result.h"

namespace orbelin::platform {
class SerialQueue;
}

namespace orbelin::graph {

// Name of the notification a context posts after each successful save with
// changes, through platform::NotificationCenter::defaultCenter(), with the
// context as sender and a ContextDidSaveInfo as userInfo. It is posted on the
// saving thread after the transaction has committed and after the context
// has released its lock, so observers may take other locks and touch other
// contexts (never wait for the saving context's own queue from an observer).
inline constexpr const char* kContextDidSaveNotification =
    "NSManagedObjectContextDidSaveNotification";

// The payload of kContextDidSaveNotification: what the save wrote. Read it
// with std::any_cast<const ContextDidSaveInfo&>(notification.userInfo).
struct ContextDidSaveInfo {
  std::vector<ObjectID> inserted;
  std::vector<ObjectID> updated;
  std::vector<ObjectID> deleted;
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
};

enum class ConcurrencyType {
  Confinement,   // used on one thread of the caller's choosing; perform runs inline
  PrivateQueue,  // owns a platform::SerialQueue
  MainQueue,     // bound to platform::MainQueue
};

// A scratch pad of objects over a coordinator: insert, change, delete, then
// save to the store in one transaction, or roll back.
//
// Ownership: the context owns every object registered in it (inserted or
// fetched) and destroys them with itself or on reset(); see ManagedObject.
// Objects never move between contexts; to see another context's saves, merge
// its did-save notification (mergeChanges) or fetch again.
//
// Thread safety: every member may be called from any thread. The context
// has one lock (recursive) that each operation, and each object accessor,
// holds for its duration; so inserts from one thread, a save on the
// context's queue and a merge from a third thread never race. The lock is
// never held while waiting for a queue. Lock order: a merge takes the
// target context's lock, then the coordinator's store lock; nothing takes a
// context lock while holding the store lock.
//
// perform/performAndWait run work on the context's queue (the private queue,
// the main queue, or inline for Confinement); performAndWait on the context's
// own queue runs inline. performAndWait on a MainQueue context from another
// thread needs the main thread to be draining platform::MainQueue.
class ManagedObjectContext {
 public:
  explicit ManagedObjectContext(ConcurrencyType type = ConcurrencyType::Confinement);
  // Waits for work queued on a private queue. REQUIRES: not called from the
  // context's own queue.
  ~ManagedObjectContext();
  ManagedObjectContext(const ManagedObjectContext&) = delete;
  ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;

  ConcurrencyType concurrencyType() const { return type_; }
  void setPersistentStoreCoordinator(std::shared_ptr<PersistentStoreCoordinator> coordinator);
  std::shared_ptr<PersistentStoreCoordinator> persistentStoreCoordinator() const;

  void perform(std::function<void()> work);
  void performAndWait(const std::function<void()>& work);

  // Holds the context's lock from construction to destruction, for a long
  // run of calls from one thread (an import that makes thousands of
  // objects): the run is not interleaved with a save, fetch or merge from
  // another thread, and each call inside it finds the lock already held.
  // REQUIRES: nothing inside the run waits for a queue or another thread
  // that may need this context. A save inside the run posts its did-save
  // notification with the lock still held, so its observers run under it.
  class Batch {
   public:
    explicit Batch(ManagedObjectContext& context);
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

   private:
    ManagedObjectContext& context_;
  };

  // A new object of the named entity, registered as inserted. Null when the
  // context has no coordinator or the model has no such entity.
  ManagedObject* insertNewObject(std::string_view entityName);
  ManagedObject* insertNewObject(const EntityDescription& entity);
  template <typename T>
  T* insertNew(std::string_view entityName) {
    return dynamic_cast<T*>(insertNewObject(entityName));
  }

  // Marks the object deleted; the save removes it from the store and
  // nullifies (or cascades to) its relationships.
  void deleteObject(ManagedObject* object);

  // True when there are inserted, updated or deleted objects not yet saved.
  bool hasChanges() const;
  // Writes every change in one transaction: new objects whole, and of each
  // updated object only the attributes, to-one keys and to-many members it
  // changed since it was read. Without changes it succeeds at once and
  // touches no store. Fails (nothing written, changes kept) when there is no
  // store, a value does not fit its attribute's type, a non-optional
  // attribute is nil, the store reports an error, or another context or
  // process saved a different value to a property this save changes, or
  // changed a row this save deletes, since this context read it
  // (isMergeConflictError; the description names entity, key and
  // properties). Changes saved elsewhere to other properties of the same
  // rows are kept, and the saved objects are read back with them.
  Status save();
  // Discards unsaved changes: updated and deleted objects get their saved
  // state back, inserted objects are detached.
  void rollback();
  // Forgets every change and destroys every object of the context: all
  // pointers it handed out become invalid.
  void reset();

  // Saved objects of the entity merged with this context's unsaved state:
  // its inserted objects are included, its deleted ones left out, and the
  // predicate sees its changed values. Objects not yet registered are
  // registered (and owned) by this context.
  Result<std::vector<ManagedObject*>> fetch(const FetchRequest& request);
  Result<std::size_t> count(const FetchRequest& request);

  // The registered object with that identity, else one loaded from the
  // store, else null.
  ManagedObject* objectWithID(const ObjectID& id);

  // Brings a did-save notification of another context over the same
  // coordinator into this one: every object registered here that the save
  // updated takes the stored values, except the properties that this
  // context changed and has not saved, which keep their values here (a
  // to-many keeps the members added and removed here, and takes the others'
  // additions and removals). Objects the save deleted are detached, and
  // leave the relationships loaded here. Inserted objects need nothing: a
  // fetch here reads them from the store. Notifications of other
  // coordinators, and this context's own, are ignored.
  void mergeChanges(const platform::Notification& didSave);

  // Turns an object of this context without unsaved changes into a fault:
  // its values and relationships are read from the store again on next use,
  // so it shows what another coordinator or process saved since. Objects
  // with changes, and objects of other contexts, are left as they are.
  void refreshObject(ManagedObject* object);

  // Number of registered (attached) objects.
  std::size_t registeredCount() const;

  struct Impl;

 private:
  friend class ManagedObject;
  friend class RelationshipSet;
  friend struct detail::ObjectAccess;

  ConcurrencyType type_;
  std::unique_ptr<Impl> impl_;
  std::unique_ptr<platform::SerialQueue> queue_;  // PrivateQueue only; destroyed first
};

}  // namespace orbelin::graph
