#include "orbelin/graph/managed_object.h"

#include <algorithm>
#include <memory>

#include "graph/context_impl.h"

namespace orbelin::graph {

using detail::ObjectAccess;

namespace detail {

// Past this size a to-many slot keeps a hash index, so adding to a large
// relationship (a ward with thousands of tasks) stays constant time.
constexpr std::size_t kIndexThreshold = 16;

bool slotContains(const RelationSlot& slot, const ManagedObject* object) {
  if (slot.index) return slot.index->count(const_cast<ManagedObject*>(object)) != 0;
  return std::find(slot.members.begin(), slot.members.end(), object) != slot.members.end();
}

void slotAdd(RelationSlot& slot, ManagedObject* object) {
  slot.members.push_back(object);
  if (slot.index) {
    slot.index->insert(object);
  } else if (slot.members.size() > kIndexThreshold) {
    slot.index = std::make_unique<std::unordered_set<ManagedObject*>>(slot.members.begin(),
                                                                      slot.members.end());
  }
}

void slotRemove(RelationSlot& slot, const ManagedObject* object) {
  auto it = std::find(slot.members.begin(), slot.members.end(), object);
  if (it == slot.members.end()) return;
  slot.members.erase(it);
  if (slot.index) slot.index->erase(const_cast<ManagedObject*>(object));
}

void slotClear(RelationSlot& slot) {
  slot.toOne = nullptr;
  slot.members.clear();
  slot.index.reset();
}

}  // namespace detail

namespace {

// Runs f with the object's context locked (or unlocked for a detached object).
template <typename F>
auto locked(const ManagedObject& object, F&& f) {
  ManagedObjectContext::Impl* impl = ObjectAccess::impl(object);
  if (!impl) return f(static_cast<ManagedObjectContext::Impl*>(nullptr));
  std::lock_guard lock(impl->mutex);
  return f(impl);
}

const RelationshipDescription* relationshipAt(const ManagedObject& object, std::size_t index) {
  const auto& relationships = object.entity().relationships();
  return index < relationships.size() ? &relationships[index] : nullptr;
}

}  // namespace

ManagedObject::ManagedObject() = default;
ManagedObject::~ManagedObject() {
  std::destroy(values().begin(), values().end());
}

const EntityDescription& ManagedObject::unmadeEntity() {
  static const EntityDescription none;
  return none;
}

ManagedObjectContext* ManagedObject::context() const {
  return locked(*this, [this](auto*) { return context_.load(std::memory_order_acquire); });
}

bool ManagedObject::isInserted() const {
  return locked(*this, [this](auto*) { return ObjectAccess::has(*this, detail::kInserted); });
}
bool ManagedObject::isUpdated() const {
  return locked(*this, [this](auto*) {
    return ObjectAccess::has(*this, detail::kUpdated) &&
           !ObjectAccess::has(*this, detail::kDeleted);
  });
}
bool ManagedObject::isFault() const {
  return locked(*this, [this](auto*) { return ObjectAccess::has(*this, detail::kFault); });
}
bool ManagedObject::isDeleted() const {
  return locked(*this, [this](auto*) { return ObjectAccess::has(*this, detail::kDeleted); });
}

Value ManagedObject::value(std::string_view key) const {
  if (!entity_) return {};
  std::size_t index = entity_->attributeIndex(key);
  return index == kNoIndex ? Value() : valueAt(index);
}

bool ManagedObject::setValue(std::string_view key, Value value) {
  if (!entity_) return false;
  std::size_t index = entity_->attributeIndex(key);
  if (index == kNoIndex) return false;
  setValueAt(index, std::move(value));
  return true;
}

Value ManagedObject::valueAt(std::size_t attributeIndex) const {
  return locked(*this, [&](ManagedObjectContext::Impl* impl) {
    if (impl) impl->fire(const_cast<ManagedObject*>(this));
    return attributeIndex < valueCount_ ? values()[attributeIndex] : Value();
  });
}

void ManagedObject::readValuesWith(void (*read)(void*, std::span<const Value>), void* f) const {
  locked(*this, [&](ManagedObjectContext::Impl* impl) {
    if (impl) impl->fire(const_cast<ManagedObject*>(this));
    read(f, values());
  });
}

void ManagedObject::writeValuesWith(void (*write)(void*, std::span<Value>), void* f) {
  locked(*this, [&](ManagedObjectContext::Impl* impl) {
    if (impl) impl->markChanged(this);  // fills a fault first
    write(f, values());
  });
}

void ManagedObject::setValueAt(std::size_t attributeIndex, Value value) {
  locked(*this, [&](ManagedObjectContext::Impl* impl) {
    if (impl) impl->fire(this);
    if (attributeIndex >= valueCount_) return;
    if (impl) impl->markChanged(this);
    values()[attributeIndex] = std::move(value);
  });
}

ManagedObject* ManagedObject::object(std::string_view key) const {
  if (!entity_) return nullptr;
  std::size_t index = entity_->relationshipIndex(key);
  return index == kNoIndex ? nullptr : objectAt(index);
}

bool ManagedObject::setObject(std::string_view key, ManagedObject* object) {
  if (!entity_) return false;
  std::size_t index = entity_->relationshipIndex(key);
  const RelationshipDescription* r = relationshipAt(*this, index);
  if (!r || r->toMany) return false;
  setObjectAt(index, object);
  return true;
}

ManagedObject* ManagedObject::objectAt(std::size_t relationshipIndex) const {
  return locked(*this, [&](ManagedObjectContext::Impl* impl) -> ManagedObject* {
    const RelationshipDescription* r = relationshipAt(*this, relationshipIndex);
    if (!r || r->toMany) return nullptr;
    if (impl) impl->ensureLoaded(const_cast<ManagedObject*>(this));
    return relations_ ? relations_[relationshipIndex].toOne : nullptr;
  });
}

void ManagedObject::setObjectAt(std::size_t relationshipIndex, ManagedObject* object) {
  locked(*this, [&](ManagedObjectContext::Impl* impl) {
    const RelationshipDescription* r = relationshipAt(*this, relationshipIndex);
    if (!impl || !r || r->toMany) return;
    if (object && !impl->acceptsTarget(this, relationshipIndex, object)) return;
    impl->setToOne(this, relationshipIndex, object);
  });
}

RelationshipSet ManagedObject::mutableSet(std::string_view key) {
  return RelationshipSet(this, entity_ ? entity_->relationshipIndex(key) : kNoIndex);
}

RelationshipSet ManagedObject::mutableSetAt(std::size_t relationshipIndex) {
  return RelationshipSet(this, relationshipIndex);
}

std::vector<ManagedObject*> ManagedObject::objects(std::string_view key) const {
  return const_cast<ManagedObject*>(this)->mutableSet(key).objects();
}

// RelationshipSet ---------------------------------------------------------

namespace {

// Runs f(impl, slot) when the set names a to-many relationship of a live
// object; otherwise returns `fallback`.
template <typename R, typename F>
R onSlot(ManagedObject* owner, std::size_t index, R fallback, F&& f) {
  return locked(*owner, [&](ManagedObjectContext::Impl* impl) -> R {
    const RelationshipDescription* r = relationshipAt(*owner, index);
    if (!r || !r->toMany) return fallback;
    if (impl) impl->ensureLoaded(owner);
    return f(impl, ObjectAccess::relations(*owner)[index]);
  });
}

}  // namespace

std::size_t RelationshipSet::size() const {
  return onSlot(owner_, index_, std::size_t{0},
                [](auto*, detail::RelationSlot& slot) { return slot.members.size(); });
}

bool RelationshipSet::contains(const ManagedObject* object) const {
  return onSlot(owner_, index_, false, [object](auto*, detail::RelationSlot& slot) {
    return detail::slotContains(slot, object);
  });
}

ManagedObject* RelationshipSet::at(std::size_t position) const {
  return onSlot(owner_, index_, static_cast<ManagedObject*>(nullptr),
                [position](auto*, detail::RelationSlot& slot) -> ManagedObject* {
                  return position < slot.members.size() ? slot.members[position] : nullptr;
                });
}

std::vector<ManagedObject*> RelationshipSet::objects() const {
  return onSlot(owner_, index_, std::vector<ManagedObject*>{},
                [](auto*, detail::RelationSlot& slot) { return slot.members; });
}

void RelationshipSet::add(ManagedObject* object) {
  onSlot(owner_, index_, 0, [&](ManagedObjectContext::Impl* impl, detail::RelationSlot&) {
    if (impl && impl->acceptsTarget(owner_, index_, object))
      impl->addToMany(owner_, index_, object);
    return 0;
  });
}

void RelationshipSet::addAll(const std::vector<ManagedObject*>& objects) {
  for (ManagedObject* object : objects) add(object);
}

void RelationshipSet::insert(ManagedObject* object, std::size_t position) {
  onSlot(owner_, index_, 0, [&](ManagedObjectContext::Impl* impl, detail::RelationSlot& slot) {
    if (!impl || !impl->acceptsTarget(owner_, index_, object)) return 0;
    impl->addToMany(owner_, index_, object);
    // Now a member, last; move it to its place (only the order changes).
    auto& members = slot.members;
    position = std::min(position, members.size() - 1);
    auto it = std::find(members.begin(), members.end(), object);
    auto current = static_cast<std::size_t>(it - members.begin());
    if (current == position) return 0;
    impl->markChanged(owner_);
    members.erase(it);
    members.insert(members.begin() + static_cast<std::ptrdiff_t>(position), object);
    return 0;
  });
}

void RelationshipSet::remove(ManagedObject* object) {
  onSlot(owner_, index_, 0, [&](ManagedObjectContext::Impl* impl, detail::RelationSlot&) {
    if (impl && object) impl->removeToMany(owner_, index_, object);
    return 0;
  });
}

void RelationshipSet::removeAll() {
  for (ManagedObject* object : objects()) remove(object);
}

void RelationshipSet::assign(const std::vector<ManagedObject*>& objects) {
  removeAll();
  addAll(objects);
}

const RelationshipDescription& RelationshipSet::relationship() const {
  static const RelationshipDescription none;
  const auto& relationships = owner_->entity().relationships();
  return index_ < relationships.size() ? relationships[index_] : none;
}

}  // namespace orbelin::graph
