#include "orbelin/graph/coordinator.h"

#include <algorithm>

#include "graph/store.h"
#include "orbelin/platform/error.h"

namespace orbelin::graph {

namespace {

// Blocks start small, so that a short-lived coordinator wastes few keys, and
// grow, so that a large import reserves rarely.
constexpr std::int64_t kFirstBlock = 16;
constexpr std::int64_t kLargestBlock = 4096;

}  // namespace

PersistentStoreCoordinator::PersistentStoreCoordinator(
    std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)), keys_(model_ ? model_->entities().size() : 0) {}

PersistentStoreCoordinator::~PersistentStoreCoordinator() = default;

Status PersistentStoreCoordinator::addPersistentStore(StoreType type,
                                                      const std::filesystem::path& location,
                                                      std::chrono::milliseconds openWait) {
  if (!model_) return Error(error_domain::kPersistence, 6, "The coordinator has no model.");
  std::lock_guard keysLock(keysMutex_);
  std::lock_guard lock(storeMutex_);
  if (store_) return Error(error_domain::kPersistence, 7, "The coordinator already has a store.");
  std::unique_ptr<detail::Store> store;
  if (type == StoreType::InMemory) {
    store = detail::makeMemoryStore(*model_);
  } else {
    auto opened = detail::openSQLiteStore(*model_, location, openWait);
    if (!opened) return opened.error();
    store = std::move(*opened);
  }
  // Keys handed out from now on come from the store's blocks.
  for (KeyBlock& block : keys_) block.limit = block.next;
  store_ = std::move(store);
  storePtr_.store(store_.get(), std::memory_order_release);
  return Status::success();
}

bool PersistentStoreCoordinator::hasStore() const {
  return store() != nullptr;
}

std::int64_t PersistentStoreCoordinator::nextPrimaryKey(const EntityDescription& entity) {
  std::lock_guard keysLock(keysMutex_);
  KeyBlock& block = keys_[entity.position()];
  if (block.next < block.limit) return block.next++;
  return --temporaryKey_;
}

std::vector<detail::KeyRequest> PersistentStoreCoordinator::keyRequests(
    const std::vector<ManagedObject*>& inserted) {
  std::vector<detail::KeyRequest> requests;
  for (ManagedObject* object : inserted) {
    if (object->objectID().primaryKey > 0) continue;
    const EntityDescription* entity = &object->entity();
    auto same = [entity](const detail::KeyRequest& r) { return r.entity == entity; };
    auto it = std::find_if(requests.begin(), requests.end(), same);
    if (it == requests.end()) it = requests.insert(it, detail::KeyRequest{entity, 0, 0, 0});
    ++it->needed;
  }
  std::lock_guard keysLock(keysMutex_);
  for (detail::KeyRequest& request : requests) {
    const KeyBlock& block = keys_[request.entity->position()];
    if (block.next >= block.limit)
      request.spare = std::clamp(block.size * 2, kFirstBlock, kLargestBlock);
  }
  return requests;
}

void PersistentStoreCoordinator::adoptSpareKeys(const std::vector<detail::KeyRequest>& requests) {
  std::lock_guard keysLock(keysMutex_);
  for (const detail::KeyRequest& request : requests) {
    KeyBlock& block = keys_[request.entity->position()];
    // A block another save adopted meanwhile is kept; these keys are skipped.
    if (request.spare == 0 || block.next < block.limit) continue;
    const std::int64_t next = request.first + request.needed;
    block = KeyBlock{next, next + request.spare, request.spare};
  }
}

bool isIncompatibleStoreError(const Error& error) {
  if (error.domain() != error_domain::kPersistence) return false;
  return error.code() == detail::kNotThisModel || error.code() == detail::kOtherModelVersion ||
         error.code() == detail::kNotAStore;
}

bool isMergeConflictError(const Error& error) {
  return error.domain() == error_domain::kPersistence && error.code() == detail::kMergeConflict;
}

bool isBusyStoreError(const Error& error) {
  return error.domain() == error_domain::kPersistence && error.code() == detail::kStoreBusy;
}

}  // namespace orbelin::graph
