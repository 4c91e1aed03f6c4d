#include "orbelin/stores2/object_store.h"

#include <sqlite3.h>

#include <cstdlib>

#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/error.h"
#include "orbelin/platform/host_environment.h"
#include "store_files.h"

namespace orbelin {

namespace fs = std::filesystem;
using graph::ManagedObjectContext;

namespace {

void log(const std::string& line) {
  platform::Console::log(line);
}

std::string expandTilde(std::string path) {
  if (path.empty() || path[0] != '~') return path;
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + path.substr(1);
}

}  // namespace

std::string rawValue(ObjectType type) {
  switch (type) {
    case ObjectType::Patient:
      return "Patient";
    case ObjectType::InformationBooklet:
      return "InformationBooklet";
    case ObjectType::StaffMember:
      return "StaffMember";
  }
  return {};
}

std::optional<ObjectType> objectTypeFromRawValue(std::string_view text) {
  for (ObjectType type :
       {ObjectType::Patient, ObjectType::InformationBooklet, ObjectType::StaffMember})
    if (rawValue(type) == text) return type;
  return std::nullopt;
}

ObjectStore::ObjectStore() {
  auto& center = platform::NotificationCenter::defaultCenter();
  observers_.push_back(center.addObserver(platform::kApplicationDidEnterBackgroundNotification,
                                          nullptr,
                                          [this](const auto& n) { appDidEnterBackground(n); }));
  // appWillTerminate: the same save.
  observers_.push_back(center.addObserver(platform::kApplicationWillTerminateNotification, nullptr,
                                          [this](const auto& n) { appDidEnterBackground(n); }));

  model_ = graph::ModelCatalog::mergedModelFromBundle(graph::kFrameworkBundleIdentifier);
  if (!model_) {
    log("ObjectStore.init: Unable to create the model!");
    return;
  }
  auto coordinator = persistentStoreCoordinator();
  backgroundQueueContext_ =
      std::make_shared<ManagedObjectContext>(graph::ConcurrencyType::PrivateQueue);
  backgroundQueueContext_->setPersistentStoreCoordinator(coordinator);
  mainQueueContext_ = std::make_shared<ManagedObjectContext>(graph::ConcurrencyType::MainQueue);
  mainQueueContext_->setPersistentStoreCoordinator(coordinator);

  observers_.push_back(
      center.addObserver(graph::kContextDidSaveNotification, backgroundQueueContext_.get(),
                         [this](const auto& n) { contextDidSavePrivateQueueContext(n); }));
  observers_.push_back(
      center.addObserver(graph::kContextDidSaveNotification, mainQueueContext_.get(),
                         [this](const auto& n) { contextDidSaveMainQueueContext(n); }));
}

ObjectStore::~ObjectStore() {
  auto& center = platform::NotificationCenter::defaultCenter();
  for (auto token : observers_) center.removeObserver(token);
  // The private queue finishes its work before the main context goes.
  backgroundQueueContext_.reset();
  // Other stores (or processes) may keep the file open, so closing this
  // connection need not fold the log back in: do it here.
  checkpointStoreFile();
}

std::shared_ptr<ManagedObjectContext> ObjectStore::backgroundQueueContext() const {
  return backgroundQueueContext_;
}
std::shared_ptr<ManagedObjectContext> ObjectStore::mainQueueContext() const {
  return mainQueueContext_;
}
std::shared_ptr<const graph::ManagedObjectModel> ObjectStore::model() const {
  return model_;
}

std::string ObjectStore::documentDirectory() {
  std::lock_guard lock(settingsMutex_);
  if (!documentDirectory_)
    documentDirectory_ = expandTilde(platform::HostEnvironment::documentsDirectory().string());
  return *documentDirectory_;
}

void ObjectStore::setDocumentDirectory(std::string directory) {
  std::lock_guard lock(settingsMutex_);
  documentDirectory_ = std::move(directory);
}

std::string ObjectStore::storeArchivePath() {
  std::string directory = documentDirectory();
  std::lock_guard lock(settingsMutex_);
  if (!storeArchivePath_) storeArchivePath_ = (fs::path(directory) / MAIN_STORE_NAME).string();
  return *storeArchivePath_;
}

void ObjectStore::setStoreArchivePath(std::string path) {
  std::lock_guard lock(settingsMutex_);
  storeArchivePath_ = std::move(path);
}

std::shared_ptr<graph::PersistentStoreCoordinator> ObjectStore::persistentStoreCoordinator() {
  if (coordinator_) return coordinator_;
  if (!model_) {
    log("self.model must be initialized at this point!");
    std::abort();
  }
  coordinator_ = std::make_shared<graph::PersistentStoreCoordinator>(model_);
  attachStore(graph::kStoreBusyTimeout, true);
  return coordinator_;
}

// Opens the store file into the coordinator, setting an unfit file aside.
// A file that is there but cannot be read now (locked past the wait,
// unreadable) is left untouched and tried again later.
void ObjectStore::attachStore(std::chrono::milliseconds wait, bool firstTry) {
  const std::string path = storeArchivePath();
  Status added = coordinator_->addPersistentStore(graph::StoreType::SQLite, path, wait);
  storePending_ = false;
  {
    std::lock_guard lock(errorsMutex_);
    if (added) {
      storeOpenError_.reset();
      attachedPath_ = path;
    } else {
      storeOpenError_ = added.error();
    }
  }
  if (added) {
    if (!firstTry)
      log("ObjectStore.persistentStoreCoordinator: Attached the store file " + path +
          ", which could not be opened before.");
    return;
  }
  std::error_code ec;
  if (fs::exists(path, ec) && !graph::isIncompatibleStoreError(added.error())) {
    // Locked by another process past the wait, or unreadable: the file may
    // well be a good store, so it stays where it is; the next save or fetch
    // tries again.
    storePending_ = true;
    if (firstTry)
      log("ObjectStore.persistentStoreCoordinator: Unable to open persistent store; the store "
          "file was left untouched." +
          added.error().description());
  } else if (fs::exists(path, ec)) {
    if (!renameIncompatibleStore()) {
      log("ObjectStore.persistentStoreCoordinator: Unable to rename incompatible store.");
    } else if (Status retried = coordinator_->addPersistentStore(graph::StoreType::SQLite, path);
               !retried) {
      std::lock_guard lock(errorsMutex_);
      storeOpenError_ = retried.error();
      log("ObjectStore.persistentStoreCoordinator: Unable to create persistent store after "
          "recovery." +
          retried.error().description());
    } else {
      std::lock_guard lock(errorsMutex_);
      storeOpenError_.reset();
      attachedPath_ = path;
    }
  } else {
    log("ObjectStore.persistentStoreCoordinator: Unable to create persistent store. No previous "
        "store was detected." +
        added.error().description());
  }
}

void ObjectStore::attachPendingStore() {
  if (!storePending_) return;
  std::lock_guard lock(attachMutex_);
  // A short wait: this runs before a save or fetch, which should not stall
  // for long while another process still holds the file.
  if (storePending_) attachStore(kRetryWait, false);
}

bool ObjectStore::renameIncompatibleStore() {
  return setAsideStoreFiles(documentDirectory());
}

bool ObjectStore::deleteStore() {
  return removeStoreFiles(documentDirectory());
}

void ObjectStore::contextDidSavePrivateQueueContext(const platform::Notification& notification) {
  std::lock_guard lock(mergeLock_);
  if (mainQueueContext_) mainQueueContext_->mergeChanges(notification);
}

void ObjectStore::contextDidSaveMainQueueContext(const platform::Notification& notification) {
  std::lock_guard lock(mergeLock_);
  if (backgroundQueueContext_) backgroundQueueContext_->mergeChanges(notification);
}

void ObjectStore::appDidEnterBackground(const platform::Notification&) {
  if (saveChanges())
    log("Saved all core data objects.");
  else
    log("Unable to save  core data objects!");
  // The application may be stopped or killed from here on: leave the data
  // in the store file, not in the log beside it.
  checkpointStoreFile();
}

// Through a connection of its own: any connection to the file may
// checkpoint it, and the store's connection belongs to the graph layer.
void ObjectStore::checkpointStoreFile() {
  std::string path;
  {
    std::lock_guard lock(errorsMutex_);
    path = attachedPath_;
  }
  if (path.empty()) return;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    // Brief: a checkpoint that readers or a writer hold back is only put off.
    sqlite3_busy_timeout(db, static_cast<int>(kRetryWait.count()));
    sqlite3_exec(db, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
  }
  sqlite3_close(db);
}

std::optional<Error> ObjectStore::lastSaveError() const {
  std::lock_guard lock(errorsMutex_);
  return lastSaveError_;
}

void ObjectStore::clearLastSaveError() {
  std::lock_guard lock(errorsMutex_);
  lastSaveError_.reset();
}

std::optional<Error> ObjectStore::storeOpenError() const {
  std::lock_guard lock(errorsMutex_);
  return storeOpenError_;
}

void ObjectStore::saveFailed(const Error& error) {
  {
    std::lock_guard lock(errorsMutex_);
    lastSaveError_ = error;
  }
  platform::NotificationCenter::defaultCenter().post(kObjectStoreSaveDidFailNotification, this,
                                                     error);
}

std::optional<std::vector<graph::ManagedObject*>> ObjectStore::fetchObjects(
    const std::string& name, const std::optional<graph::Predicate>& predicate,
    const std::shared_ptr<ManagedObjectContext>& context) {
  if (!context) {
    log("Error performing core data fetch: " +
        Error(error_domain::kPersistence, 20, "The object store has no context.").description());
    return std::nullopt;
  }
  attachPendingStore();
  graph::FetchRequest request(name);
  request.setPredicate(predicate);
  std::vector<graph::ManagedObject*> objects;
  std::optional<Error> error;
  context->performAndWait([&] {
    auto fetched = context->fetch(request);
    if (fetched.ok())
      objects = std::move(fetched.value());
    else
      error = fetched.error();
  });
  if (error) {
    log("Error performing core data fetch: " + error->description());
    return std::nullopt;
  }
  return objects;
}

std::optional<std::vector<graph::ManagedObject*>> ObjectStore::fetchObjectsWithName(
    const std::string& name, const std::optional<graph::Predicate>& predicate) {
  return fetchObjects(name, predicate, mainQueueContext_);
}

bool ObjectStore::saveChanges(const std::shared_ptr<ManagedObjectContext>& context) {
  if (!context) {
    saveFailed(Error(error_domain::kPersistence, 20, "The object store has no context."));
    return false;
  }
  attachPendingStore();
  std::optional<Error> failure;
  context->performAndWait([&] {
    Status saved = context->save();
    if (!saved) {
      log("Error saving context");
      // Refused changes are gone with the rollback: say which and why.
      if (graph::isMergeConflictError(saved.error())) log(saved.error().description());
      context->rollback();
      failure = saved.error();
    }
  });
  // After the save's work: an observer may use the store again.
  if (failure) saveFailed(*failure);
  return !failure;
}

bool ObjectStore::saveChanges() {
  return saveChanges(backgroundQueueContext_);
}

graph::ManagedObject* ObjectStore::createObject(
    const std::string& name, const std::shared_ptr<ManagedObjectContext>& context) {
  return context ? context->insertNewObject(name) : nullptr;
}

graph::ManagedObject* ObjectStore::createObject(const std::string& name) {
  return createObject(name, backgroundQueueContext_);
}

ObjectStore& hospitalStore() {
  static ObjectStore* store = new ObjectStore();
  return *store;
}

}  // namespace orbelin
