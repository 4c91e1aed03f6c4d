#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "orbelin/graph/model.h"
#include "orbelin/graph/value.h"

namespace orbelin::graph {

class ManagedObjectContext;
class ManagedObject;

// The identity of an object: its entity and its row number in the store.
// Numbers are never reused while the store is open and are equal in every
// context over the same coordinator. An object inserted while its entity
// has no reserved keys left (or no store is attached) gets a temporary,
// negative number, replaced by a permanent one when its save succeeds: an
// ObjectID taken before that save names the object only until then.
struct ObjectID {
  const EntityDescription* entity = nullptr;
  std::int64_t primaryKey = 0;
  bool operator==(const ObjectID&) const = default;
};
struct ObjectIDHash {
  std::size_t operator()(const ObjectID& id) const {
    return std::hash<const void*>()(id.entity) ^ std::hash<std::int64_t>()(id.primaryKey);
  }
};

namespace detail {
// Storage of one relationship of one object. Internal.
struct RelationSlot {
  ManagedObject* toOne = nullptr;
  std::vector<ManagedObject*> members;                        // to-many, in order
  std::unique_ptr<std::unordered_set<ManagedObject*>> index;  // membership, for large sets
};
struct ObjectAccess;
}  // namespace detail

// A live view of one to-many relationship of one object (the phone's mutable
// set / mutable ordered set for a key). Adding and removing keep the inverse
// relationship in step on the other objects and mark both sides changed.
// Members are kept in insertion order; for an ordered relationship that order
// is saved and restored, for an unordered one it carries no meaning.
//
// Valid while its owner is; same thread rules as the owner. The vector from
// objects() is a copy; at() and size() read the live relationship.
class RelationshipSet {
 public:
  std::size_t size() const;
  bool empty() const { return size() == 0; }
  bool contains(const ManagedObject* object) const;
  // Null past the end.
  ManagedObject* at(std::size_t position) const;
  std::vector<ManagedObject*> objects() const;

  // Adding an object already present, or null, does nothing. REQUIRES: the
  // object belongs to the owner's context and to the relationship's
  // destination entity (anything else is ignored).
  void add(ManagedObject* object);
  void addAll(const std::vector<ManagedObject*>& objects);
  // Inserts at `position` (clamped to the end); moves the object if present.
  void insert(ManagedObject* object, std::size_t position);
  void remove(ManagedObject* object);
  void removeAll();
  // Replaces the content with `objects`, in their order.
  void assign(const std::vector<ManagedObject*>& objects);

  // An empty description when the set names no to-many relationship.
  const RelationshipDescription& relationship() const;
  ManagedObject* owner() const { return owner_; }

 private:
  friend class ManagedObject;
  RelationshipSet(ManagedObject* owner, std::size_t index) : owner_(owner), index_(index) {}
  ManagedObject* owner_;
  std::size_t index_;
};

// An object of the graph: one instance of an entity, living in one context.
// Record classes derive from it and add typed accessors on top of the
// key-value access below (cache the indices per entity once and use the
// ...At forms: they skip the name lookup).
//
// Ownership: the context an object was inserted into, or fetched into, owns
// it. Callers get raw pointers that stay valid while the context lives; an
// object that is deleted and saved, or whose insertion is rolled back, is
// detached (context() becomes null) but stays readable until the context is
// destroyed or reset(). Never delete an object yourself.
//
// Faults: a save turns the objects it wrote into faults, and a merge does
// the same to the objects another context changed. A fault has dropped its
// attribute values (the texts and data they held are freed) and reads them
// from the store on first use, so it shows what the file holds then; its
// pointer, identity and loaded relationships stay. Objects with unsaved changes are never
// faults. A fault whose row is gone reads as nil.
//
// Thread safety: an object follows its context. Each accessor takes the
// context's lock, so one call never races a save, fetch or merge of that
// context, but a sequence of calls is not atomic: fill an object from one
// thread at a time (the context's queue, or the thread that created it). A
// save takes every inserted object as it stands, so when several threads
// share a context, create and fill each object inside one performAndWait
// block, or a save from another thread may catch it half filled.
//
// Unknown keys, and a value for a relationship key or vice versa, are
// programming errors; they are ignored (setters do nothing, getters give
// nil/null/an empty set) rather than crashing.
class ManagedObject {
 public:
  ManagedObject();
  virtual ~ManagedObject();
  ManagedObject(const ManagedObject&) = delete;
  ManagedObject& operator=(const ManagedObject&) = delete;
  // Objects made by their entity are larger than their class: free them
  // without a size.
  static void operator delete(void* memory) { ::operator delete(memory); }

  // The entity that made the object (EntityDescription::makeObject, which
  // every context uses). An object constructed any other way has an empty
  // entity: no name, no properties.
  const EntityDescription& entity() const { return entity_ ? *entity_ : unmadeEntity(); }
  // Null once the object is detached (deleted and saved, or rolled back).
  ManagedObjectContext* context() const;
  ObjectID objectID() const { return {entity_, primaryKey_}; }

  bool isInserted() const;  // inserted and not yet saved
  bool isUpdated() const;   // changed since the last save or fetch
  bool isDeleted() const;   // deleted and not yet saved
  bool isFault() const;     // values not read since the last save or merge
  bool hasChanges() const { return isInserted() || isUpdated() || isDeleted(); }

  // The attribute that identifies objects of this class to the outside (a
  // service's id), if any. Also called on unattached prototypes. Stores
  // index it, so that finding an object by it stays fast as they grow.
  virtual std::optional<std::string> identifierAttributeName() const { return std::nullopt; }

  // Attributes by name.
  Value value(std::string_view key) const;
  bool setValue(std::string_view key, Value value);  // false for an unknown key
  // Attributes by index (EntityDescription::attributeIndex).
  Value valueAt(std::size_t attributeIndex) const;
  void setValueAt(std::size_t attributeIndex, Value value);
  // Calls `read` once with every attribute value, by index, read in place
  // under one hold of the context's lock (a fault is filled first). For
  // walks that read every value of many objects, such as an export: no
  // copies, one lock. The span is valid only during the call; `read` may
  // read this and other objects of the same context, but must not change
  // them or wait on another thread that does.
  template <typename Read>
  void readValues(Read&& read) const {
    using F = std::remove_reference_t<Read>;
    readValuesWith([](void* f, std::span<const Value> values) { (*static_cast<F*>(f))(values); },
                   const_cast<void*>(static_cast<const void*>(&read)));
  }
  // The writing twin of readValues, for imports that set many values of one
  // object: `write` gets every attribute value, by index, to assign in
  // place, and the object counts as changed, as after setValueAt. The same
  // rules hold for `write` as for `read`.
  template <typename Write>
  void writeValues(Write&& write) {
    using F = std::remove_reference_t<Write>;
    writeValuesWith([](void* f, std::span<Value> values) { (*static_cast<F*>(f))(values); },
                    const_cast<void*>(static_cast<const void*>(&write)));
  }

  // To-one relationships by name or index. Setting keeps the inverse in step.
  ManagedObject* object(std::string_view key) const;
  bool setObject(std::string_view key, ManagedObject* object);
  ManagedObject* objectAt(std::size_t relationshipIndex) const;
  void setObjectAt(std::size_t relationshipIndex, ManagedObject* object);

  // To-many relationships by name or index. For an unknown or to-one key the
  // set is empty and ignores changes.
  RelationshipSet mutableSet(std::string_view key);
  RelationshipSet mutableOrderedSet(std::string_view key) { return mutableSet(key); }
  RelationshipSet mutableSetAt(std::size_t relationshipIndex);
  // A copy of the members of a to-many relationship.
  std::vector<ManagedObject*> objects(std::string_view key) const;

 private:
  friend class ManagedObjectContext;
  friend class RelationshipSet;
  friend struct detail::ObjectAccess;

  static const EntityDescription& unmadeEntity();
  void readValuesWith(void (*read)(void*, std::span<const Value>), void* f) const;
  void writeValuesWith(void (*write)(void*, std::span<Value>), void* f);
  std::span<Value> values() {
    if (valueCount_ == 0) return {};
    auto* first = reinterpret_cast<Value*>(reinterpret_cast<char*>(this) + valuesOffset_);
    return {std::launder(first), valueCount_};
  }
  std::span<const Value> values() const { return const_cast<ManagedObject*>(this)->values(); }

  const EntityDescription* entity_ = nullptr;
  // Atomic: read without the lock to find the lock; written under it.
  std::atomic<ManagedObjectContext*> context_{nullptr};
  std::int64_t primaryKey_ = 0;
  std::int64_t version_ = 0;  // of the stored row, as last read or written here
  std::uint8_t flags_ = 0;
  // The attribute values live in the object's own allocation, right behind
  // the record class (EntityDescription::makeObject puts them there): one
  // allocation per object. An object made any other way has none.
  std::uint16_t valuesOffset_ = 0;  // from this subobject
  std::uint32_t valueCount_ = 0;
  std::unique_ptr<detail::RelationSlot[]> relations_;  // one per relationship, made on first use
  // Set while the values in hand may be newer than version_: a digest per
  // attribute of the values as they stood at version_.
  std::unique_ptr<std::uint64_t[]> digests_;
};

}  // namespace orbelin::graph
