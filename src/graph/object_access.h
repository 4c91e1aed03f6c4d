#pragma once

// Internal: reach into managed objects from the context and the stores.

#include <cstdint>
#include <span>
#include <vector>

#include "orbelin/graph/context.h"
#include "orbelin/graph/managed_object.h"

namespace orbelin::graph::detail {

enum ObjectFlag : std::uint8_t {
  kInserted = 1,
  kUpdated = 2,
  kDeleted = 4,
  kRelationsLoaded = 8,  // relation slots hold the full, current relationships
  kFault = 16,           // values dropped; read again from the store on first use
};

struct ObjectAccess {
  static std::span<Value> values(ManagedObject& o) { return o.values(); }
  // Called once, by the entity that made the object with its values behind it.
  static void adopt(ManagedObject& o, const EntityDescription& entity, std::size_t offset,
                    std::size_t count) {
    o.entity_ = &entity;
    o.valuesOffset_ = static_cast<std::uint16_t>(offset);
    o.valueCount_ = static_cast<std::uint32_t>(count);
  }
  // The relationship slots, made on first use: most fetched objects are
  // never asked for a relationship and never pay for them.
  static std::span<RelationSlot> relations(ManagedObject& o) {
    const std::size_t count = o.entity_ ? o.entity_->relationships().size() : 0;
    if (!o.relations_ && count > 0) o.relations_ = std::make_unique<RelationSlot[]>(count);
    return {o.relations_.get(), o.relations_ ? count : 0};
  }
  static void dropRelations(ManagedObject& o) { o.relations_.reset(); }
  // The slots already made: empty when no relationship was used yet.
  static std::span<const RelationSlot> madeRelations(const ManagedObject& o) {
    if (!o.relations_) return {};
    return {o.relations_.get(), o.entity_->relationships().size()};
  }
  static std::uint8_t& flags(ManagedObject& o) { return o.flags_; }
  static bool has(const ManagedObject& o, std::uint8_t flag) { return (o.flags_ & flag) != 0; }
  static std::int64_t primaryKey(const ManagedObject& o) { return o.primaryKey_; }
  static void setPrimaryKey(ManagedObject& o, std::int64_t key) { o.primaryKey_ = key; }
  static std::int64_t& version(ManagedObject& o) { return o.version_; }
  static std::unique_ptr<std::uint64_t[]>& digests(ManagedObject& o) { return o.digests_; }
  static ManagedObjectContext* context(const ManagedObject& o) {
    return o.context_.load(std::memory_order_acquire);
  }
  static void setContext(ManagedObject& o, ManagedObjectContext* c) {
    o.context_.store(c, std::memory_order_release);
  }
  // REQUIRES: the object was made by its entity (which set entity_).
  static void attach(ManagedObject& o, ManagedObjectContext* c, std::int64_t primaryKey) {
    o.context_.store(c, std::memory_order_release);
    o.primaryKey_ = primaryKey;
  }
  static ManagedObjectContext::Impl* impl(const ManagedObject& o) {
    ManagedObjectContext* c = o.context_.load(std::memory_order_acquire);
    return c ? c->impl_.get() : nullptr;
  }
};

// Membership helpers for a to-many slot.
bool slotContains(const RelationSlot& slot, const ManagedObject* object);
void slotAdd(RelationSlot& slot, ManagedObject* object);
void slotRemove(RelationSlot& slot, const ManagedObject* object);
void slotClear(RelationSlot& slot);

// Sort order of attribute values: nil first, then by the order predicates
// use; values that cannot be ordered keep their places.
bool valueLess(const Value& a, const Value& b);

}  // namespace orbelin::graph::detail
