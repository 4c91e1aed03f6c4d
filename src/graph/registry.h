#pragma once

// Internal: the objects a context owns, by identity.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <vector>

#include "orbelin/graph/managed_object.h"

namespace orbelin::graph::detail {

// Primary keys come from a counter per entity, so they are dense: most
// objects sit in a vector indexed by key (no hashing, no node per object).
// A key far beyond the vector's end (a store written elsewhere) goes to a
// hash map instead, so a stray key never allocates a huge vector.
class Registry {
 public:
  ManagedObject* find(const ObjectID& id) const {
    if (const auto* slot = temporarySlot(id.primaryKey)) {
      ManagedObject* object = slot->get();
      if (object && &object->entity() == id.entity) return object;
    }
    const auto& dense = denseFor(id.entity->position());
    if (id.primaryKey >= 0 && static_cast<std::size_t>(id.primaryKey) < dense.size())
      return dense[static_cast<std::size_t>(id.primaryKey)].get();
    auto it = sparse_.find(id);
    return it == sparse_.end() ? nullptr : it->second.get();
  }

  void add(std::unique_ptr<ManagedObject> object) {
    ObjectID id = object->objectID();
    if (id.primaryKey < 0 && addTemporary(object)) return;
    std::size_t position = id.entity->position();
    if (dense_.size() <= position) dense_.resize(position + 1);
    auto& dense = dense_[position];
    auto key = static_cast<std::size_t>(id.primaryKey);
    if (id.primaryKey >= 0 && key < dense.size() * 2 + kSlack) {
      if (key >= dense.size()) dense.resize(std::max(key + 1, dense.size() * 3 / 2));
      place(dense[key], std::move(object));
    } else {
      place(sparse_[id], std::move(object));
    }
  }

  std::unique_ptr<ManagedObject> take(const ObjectID& id) {
    std::unique_ptr<ManagedObject> result;
    std::size_t position = id.entity->position();
    auto* temporary = const_cast<std::unique_ptr<ManagedObject>*>(temporarySlot(id.primaryKey));
    if (temporary && *temporary && &(*temporary)->entity() == id.entity) {
      result = std::move(*temporary);
      if (--temporaryCount_ == 0) temporary_.clear();  // all saved: give the slots back
    } else if (position < dense_.size() && id.primaryKey >= 0 &&
               static_cast<std::size_t>(id.primaryKey) < dense_[position].size()) {
      result = std::move(dense_[position][static_cast<std::size_t>(id.primaryKey)]);
    } else if (auto it = sparse_.find(id); it != sparse_.end()) {
      result = std::move(it->second);
      sparse_.erase(it);
    }
    if (result) --count_;
    return result;
  }

  template <typename F>
  void forEach(F&& f) const {
    for (const auto& dense : dense_)
      for (const auto& object : dense)
        if (object) f(object.get());
    for (const auto& object : temporary_)
      if (object) f(object.get());
    for (const auto& [id, object] : sparse_) f(object.get());
  }

  std::size_t size() const { return count_; }

  void clear() {
    dense_.clear();
    temporary_.clear();
    temporaryCount_ = 0;
    sparse_.clear();
    count_ = 0;
  }

 private:
  static constexpr std::size_t kSlack = 4096;

  // Two live objects with one identity would leave every pointer to the
  // first dangling: a broken invariant of the graph, so stop at once.
  void place(std::unique_ptr<ManagedObject>& slot, std::unique_ptr<ManagedObject> object) {
    if (slot) {
      std::fprintf(stderr, "OrbelinData: two objects registered as %s %lld in one context\n",
                   object->entity().name().c_str(),
                   static_cast<long long>(object->objectID().primaryKey));
      std::abort();
    }
    slot = std::move(object);
    ++count_;
  }
  // Temporary keys count down from -1, so -1 - key is dense as well. The
  // vector starts at the first one it holds: keys handed to other contexts
  // of the coordinator before it are not this context's.
  static std::size_t temporaryIndex(std::int64_t key) {
    return static_cast<std::size_t>(-(key + 1));
  }
  const std::unique_ptr<ManagedObject>* temporarySlot(std::int64_t key) const {
    if (key >= 0 || temporary_.empty()) return nullptr;
    const std::size_t index = temporaryIndex(key);
    if (index < temporaryBase_ || index - temporaryBase_ >= temporary_.size()) return nullptr;
    return &temporary_[index - temporaryBase_];
  }
  bool addTemporary(std::unique_ptr<ManagedObject>& object) {
    const std::size_t index = temporaryIndex(object->objectID().primaryKey);
    if (temporary_.empty()) temporaryBase_ = index;
    if (index < temporaryBase_) return false;
    const std::size_t offset = index - temporaryBase_;
    if (offset >= temporary_.size() * 2 + kSlack) return false;
    if (offset >= temporary_.size())
      temporary_.resize(std::max(offset + 1, temporary_.size() * 3 / 2));
    place(temporary_[offset], std::move(object));
    ++temporaryCount_;
    return true;
  }
  const std::vector<std::unique_ptr<ManagedObject>>& denseFor(std::size_t position) const {
    static const std::vector<std::unique_ptr<ManagedObject>> none;
    return position < dense_.size() ? dense_[position] : none;
  }

  std::vector<std::vector<std::unique_ptr<ManagedObject>>> dense_;  // by entity position, then key
  std::vector<std::unique_ptr<ManagedObject>> temporary_;  // by temporaryIndex - temporaryBase_
  std::size_t temporaryBase_ = 0;
  std::size_t temporaryCount_ = 0;  // live objects in temporary_
  std::unordered_map<ObjectID, std::unique_ptr<ManagedObject>, ObjectIDHash> sparse_;
  std::size_t count_ = 0;
};

}  // namespace orbelin::graph::detail
