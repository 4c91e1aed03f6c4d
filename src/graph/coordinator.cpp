#include "orbelin/graph/coordinator.h"

#include "graph/store.h"
#include "orbelin/platform/error.h"

namespace orbelin::graph {

PersistentStoreCoordinator::PersistentStoreCoordinator(
    std::shared_ptr<const ManagedObjectModel> model)
    : model_(std::move(model)) {
  std::size_t count = model_ ? model_->entities().size() : 0;
  nextKeys_ = std::make_unique<std::atomic<std::int64_t>[]>(count);
  for (std::size_t i = 0; i < count; ++i) nextKeys_[i] = 1;
}

PersistentStoreCoordinator::~PersistentStoreCoordinator() = default;

Status PersistentStoreCoordinator::addPersistentStore(StoreType type,
                                                      const std::filesystem::path& location) {
  if (!model_) return Error(error_domain::kPersistence, 6, "The coordinator has no model.");
  std::lock_guard lock(storeMutex_);
  if (store_) return Error(error_domain::kPersistence, 7, "The coordinator already has a store.");
  std::unique_ptr<detail::Store> store;
  if (type == StoreType::InMemory) {
    store = detail::makeMemoryStore(*model_);
  } else {
    auto opened = detail::openSQLiteStore(*model_, location);
    if (!opened) return opened.error();
    store = std::move(*opened);
  }
  for (const auto& entity : model_->entities())
    nextKeys_[entity->position()] = store->maxPrimaryKey(*entity) + 1;
  store_ = std::move(store);
  storePtr_.store(store_.get(), std::memory_order_release);
  return Status::success();
}

bool PersistentStoreCoordinator::hasStore() const {
  return store() != nullptr;
}

std::int64_t PersistentStoreCoordinator::nextPrimaryKey(const EntityDescription& entity) {
  return nextKeys_[entity.position()].fetch_add(1, std::memory_order_relaxed);
}

}  // namespace orbelin::graph
