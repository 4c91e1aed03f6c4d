#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/context.h"
#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/graph/model.h"
#include "orbelin/platform/error.h"
#include "orbelin/platform/notification_center.h"

namespace orbelin {

// Posted through platform::NotificationCenter::defaultCenter() after every
// failed save of an ObjectStore (saveChanges, and the lifecycle saves), on
// the saving thread, once the context has been rolled back. The sender is
// the store; userInfo holds the save's orbelin::Error.
inline constexpr const char* kObjectStoreSaveDidFailNotification =
    "ObjectStoreSaveDidFailNotification";

// The entities through which the second-generation stores reach the object
// store; the raw value is the entity's name in the model.
enum class ObjectType { Patient, InformationBooklet, StaffMember };

// "Patient", "InformationBooklet" or "StaffMember".
std::string rawValue(ObjectType type);
// The case whose raw value is exactly `rawValue` (case-sensitive), else nullopt.
std::optional<ObjectType> objectTypeFromRawValue(std::string_view rawValue);

// The durable store behind every second-generation entity: one SQLite file,
// MainStore.sqlite in the documents directory, under the merged model of the
// framework's resource bundle (graph::ModelCatalog, bundle
// graph::kFrameworkBundleIdentifier), with two sibling contexts over one
// coordinator: `backgroundQueueContext` (private queue), where objects are
// created and saved, and `mainQueueContext` (main queue), from which fetches
// are answered. A save in either is merged into the other before the save
// returns.
//
// The model: the libraries that define entities add them to that bundle at
// program start (the recovery-path entities do, in every program that links
// them); the store reads the bundle's merged model once, when it is made.
//
// The documents directory is created (owner-only) when it is missing. A
// store file that does not fit the model (another model version, not a
// database, damaged) is set aside with every companion file as
// "Incompatible" + old name + "yyyy-MM-dd-HH-mm-ss", and a new empty store is
// created in its place. A file that another process keeps locked is waited
// for (graph::kStoreBusyTimeout per statement); past that it is left
// untouched, the line "ObjectStore.persistentStoreCoordinator: Unable to open
// persistent store; the store file was left untouched." + the error is
// logged, and the store runs without a file until it can open it: each
// later save and fetch tries again (waiting briefly), and the first that
// succeeds attaches the file and logs "ObjectStore.persistentStoreCoordinator:
// Attached the store file " + path + ", which could not be opened before.".
// Saves and fetches before that fail; objects created meanwhile get their
// permanent keys when they are saved. Failures are reported as console
// lines and false or absent results, never by exceptions or crashes (except
// a missing model at the coordinator, which is a programming error).
//
// No save is silently lost. Several stores, in one process or several, may
// share the file: object keys never collide, and each save writes only the
// attributes, to-one links and to-many members that its objects changed
// since they were read. Merge and conflict policy, by property:
// - A save in one context is merged into the other: every object the other
//   context holds takes the saved values, except the properties that the
//   other context changed and has not saved yet, which keep its values
//   (its later save then writes them). Deleted objects leave it.
// - Between stores and processes, rows carry versions. A save whose rows
//   changed on disk since they were read still succeeds when the changes
//   touch different properties: both survive, and the saved objects are
//   read back with the other store's values. When another store saved a
//   different value to a property this save changes too, or changed a row
//   this save deletes, the whole save fails: false, "Error saving context",
//   then a line naming each entity, object key and the properties in
//   conflict (graph::isMergeConflictError), and the context is rolled back.
//   The check and the write happen in one SQLite write transaction.
//
// Ownership: the store owns both contexts, and they own the objects they
// hand out (see graph::ManagedObject). Objects returned by fetchObjects
// belong to the context fetched in; objects from createObject to the context
// given (the background context by default).
//
// Threads and locks:
// - fetchObjects and saveChanges run on the context's queue and wait for it,
//   so they may be called from any thread; for mainQueueContext from another
//   thread the main thread must be draining platform::MainQueue.
// - createObject inserts on the caller's thread. Each context has its own
//   lock, held by every operation and object accessor, so an insert from a
//   reply handler never races a save running on the private queue.
// - Merging: each context's did-save notification is posted on the saving
//   thread after the save's transaction has committed and after the saving
//   context has released its own lock. The handler takes this store's merge
//   lock (one re-entrant lock per store, so the two merges are serialized),
//   merges into the other context under that context's lock, directly on
//   the saving thread, and releases the merge lock. It never waits for the
//   other context's queue. So two saves at the same moment cannot wait on
//   each other (neither holds its context lock while merging, and no thread
//   waits for a queue while holding a lock), and each merge is complete when
//   its saveChanges returns: an object saved in the background context is
//   then returned by fetches in the main context.
// - Lifecycle: did-enter-background and will-terminate (posted through
//   platform::NotificationCenter by platform::Application) save the
//   background context and log the outcome, then move everything in the
//   write-ahead log into the store file itself (a truncating checkpoint), as
//   destruction does too: between runs MainStore.sqlite alone holds the
//   data, and the log does not keep growing. A checkpoint that other
//   connections hold back is skipped without a line; the data stays safe in
//   the log.
//
// Failed saves: the callers of saveChanges get false, and the stores that
// import downloads do not pass it on to their completion handlers. So that
// a host can still tell, every failed save is kept as lastSaveError() and
// posted as kObjectStoreSaveDidFailNotification.
class ObjectStore {
 public:
  static constexpr const char* INCOMPATIBLE_STORE_NAME = "Incompatible";
  static constexpr const char* MAIN_STORE_NAME = "MainStore.sqlite";

  // Builds the whole stack: loads the model, opens (or sets aside and
  // recreates) the store file, creates both contexts and registers the four
  // observers. Without a model it logs
  // "ObjectStore.init: Unable to create the model!" and has no contexts.
  ObjectStore();
  // Removes the observers; waits for work queued on the private context.
  virtual ~ObjectStore();
  ObjectStore(const ObjectStore&) = delete;
  ObjectStore& operator=(const ObjectStore&) = delete;

  // Null when the model could not be loaded.
  virtual std::shared_ptr<graph::ManagedObjectContext> backgroundQueueContext() const;
  virtual std::shared_ptr<graph::ManagedObjectContext> mainQueueContext() const;
  virtual std::shared_ptr<const graph::ManagedObjectModel> model() const;

  // Lazy and settable; first read during construction (the open store stays
  // where it was opened). renameIncompatibleStore and deleteStore read
  // documentDirectory on every call. Default: the platform's documents
  // directory with a leading "~" expanded.
  virtual std::string documentDirectory();
  virtual void setDocumentDirectory(std::string directory);
  virtual std::string storeArchivePath();
  virtual void setStoreArchivePath(std::string path);

  // Sets aside every file in documentDirectory whose name matches
  // MAIN_STORE_NAME followed by "*" (case-sensitive; "*" any run, "."
  // literal). Files set aside earlier start with "Incompatible" and are left
  // alone; an existing destination is never overwritten. True when every
  // move succeeded (also when nothing matched); false when the directory
  // cannot be listed or any move failed (one line per failed file).
  virtual bool renameIncompatibleStore();
  // Removes the same files. It neither detaches the open store nor resets
  // the contexts.
  virtual bool deleteStore();

  // Observer callbacks (public so that a host can forward notifications).
  virtual void contextDidSavePrivateQueueContext(const platform::Notification& notification);
  virtual void contextDidSaveMainQueueContext(const platform::Notification& notification);
  virtual void appDidEnterBackground(const platform::Notification& notification);

  // Every object of the entity (filtered by the predicate when given) in the
  // context, or nullopt after logging "Error performing core data fetch: "
  // + description (unknown entity, no store, no context).
  virtual std::optional<std::vector<graph::ManagedObject*>> fetchObjects(
      const std::string& name, const std::optional<graph::Predicate>& predicate,
      const std::shared_ptr<graph::ManagedObjectContext>& context);
  // fetchObjects in mainQueueContext.
  virtual std::optional<std::vector<graph::ManagedObject*>> fetchObjectsWithName(
      const std::string& name, const std::optional<graph::Predicate>& predicate = std::nullopt);

  // Saves the context on its queue (also without changes, which succeeds).
  // On failure logs "Error saving context", rolls the context back and
  // returns false. False without a context.
  virtual bool saveChanges(const std::shared_ptr<graph::ManagedObjectContext>& context);
  virtual bool saveChanges();  // the background context

  // A new object of the entity in the context, inserted on the caller's
  // thread; null without a context or for an unknown entity.
  virtual graph::ManagedObject* createObject(
      const std::string& name, const std::shared_ptr<graph::ManagedObjectContext>& context);
  virtual graph::ManagedObject* createObject(const std::string& name);  // background context

  // The error of the latest save of this store that failed (a save without
  // a context included), kept until clearLastSaveError(); later successful
  // saves leave it. nullopt when no save failed since construction or the
  // last clear. Thread-safe.
  std::optional<Error> lastSaveError() const;
  void clearLastSaveError();

  // Why the store file is not attached: the error of the last attempt to
  // open it (locked by another process past the wait, not a file, not
  // readable, not creatable, ...). nullopt once it is attached, and when
  // there is no model. While it is set, saves and fetches fail.
  // Thread-safe.
  std::optional<Error> storeOpenError() const;

 private:
  static constexpr std::chrono::milliseconds kRetryWait{250};

  std::shared_ptr<graph::PersistentStoreCoordinator> persistentStoreCoordinator();
  void attachStore(std::chrono::milliseconds wait, bool firstTry);
  void attachPendingStore();
  void saveFailed(const Error& error);
  void checkpointStoreFile();

  std::shared_ptr<graph::ManagedObjectContext> backgroundQueueContext_;
  std::shared_ptr<graph::ManagedObjectContext> mainQueueContext_;
  std::shared_ptr<const graph::ManagedObjectModel> model_;
  std::optional<std::string> documentDirectory_;  // guarded by settingsMutex_
  std::optional<std::string> storeArchivePath_;   // guarded by settingsMutex_
  std::shared_ptr<graph::PersistentStoreCoordinator> coordinator_;
  std::mutex settingsMutex_;
  std::recursive_mutex mergeLock_;         // serializes the two did-save merges
  std::mutex attachMutex_;                 // one retry of a pending store at a time
  std::atomic<bool> storePending_{false};  // the file is there but could not be opened yet
  std::vector<platform::NotificationCenter::Token> observers_;
  mutable std::mutex errorsMutex_;
  std::optional<Error> lastSaveError_;   // guarded by errorsMutex_
  std::optional<Error> storeOpenError_;  // guarded by errorsMutex_
  std::string attachedPath_;             // guarded by errorsMutex_; where the open store is
};

// The process-wide store, created on first use (exactly once, even when
// several threads reach it together) and never destroyed.
ObjectStore& hospitalStore();

}  // namespace orbelin
