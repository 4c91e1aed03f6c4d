#include "orbelin/graph/context.h"

#include <algorithm>
#include <unordered_set>

#include "graph/context_impl.h"
#include "orbelin/platform/error.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/platform/serial_queue.h"

namespace orbelin::graph {

using detail::ObjectAccess;

namespace {

Error persistenceError(long code, const std::string& text) {
  return Error(error_domain::kPersistence, code, text);
}

bool fits(const AttributeDescription& attribute, const Value& value) {
  using K = Value::Kind;
  auto inRange = [&](std::int64_t low, std::int64_t high) {
    auto i = value.integer();
    return i && *i >= low && *i <= high;
  };
  switch (attribute.type) {
    case AttributeType::String:
      return value.kind() == K::String;
    case AttributeType::Integer16:
      return inRange(INT16_MIN, INT16_MAX);
    case AttributeType::Integer32:
      return inRange(INT32_MIN, INT32_MAX);
    case AttributeType::Integer64:
      return value.kind() == K::Integer;
    case AttributeType::Double:
      return value.kind() == K::Double || value.kind() == K::Integer;
    case AttributeType::Boolean:
      return value.kind() == K::Boolean || inRange(0, 1);
    case AttributeType::Date:
      return value.kind() == K::Date;
    case AttributeType::Binary:
      return value.kind() == K::Binary;
    case AttributeType::Transformable:
      return value.kind() == K::Transformable;
  }
  return false;
}

bool attached(ManagedObject* object, const ManagedObjectContext* context) {
  return ObjectAccess::context(*object) == context;
}

}  // namespace

// Impl: graph operations ------------------------------------------------------

ManagedObject* ManagedObjectContext::Impl::insert(const EntityDescription& entity) {
  std::unique_ptr<ManagedObject> object = entity.makeObject();
  ObjectAccess::attach(*object, owner, coordinator->nextPrimaryKey(entity));
  ObjectAccess::flags(*object) = detail::kInserted | detail::kRelationsLoaded;
  ManagedObject* raw = object.get();
  registered.add(std::move(object));
  insertedList.push_back(raw);
  return raw;
}

void ManagedObjectContext::Impl::markChanged(ManagedObject* object) {
  fire(object);  // the snapshot needs the values as stored
  std::uint8_t& flags = ObjectAccess::flags(*object);
  if (flags & (detail::kInserted | detail::kUpdated | detail::kDeleted)) return;
  if (!attached(object, owner)) return;
  Snapshot snapshot;
  const auto values = ObjectAccess::values(*object);
  snapshot.values.assign(values.begin(), values.end());
  snapshot.flags = flags & detail::kRelationsLoaded;
  snapshot.relations.resize(object->entity().relationships().size());
  auto made = ObjectAccess::madeRelations(*object);
  for (std::size_t i = 0; i < made.size(); ++i)
    snapshot.relations[i] = {made[i].toOne, made[i].members};
  originals.emplace(object, std::move(snapshot));
  flags |= detail::kUpdated;
  updatedList.push_back(object);
}

void ManagedObjectContext::Impl::ensureLoaded(ManagedObject* object) {
  std::uint8_t& flags = ObjectAccess::flags(*object);
  if (flags & detail::kRelationsLoaded) return;
  flags |= detail::kRelationsLoaded;
  detail::Store* s = store();
  if (!s || !attached(object, owner)) return;
  std::vector<std::vector<std::int64_t>> targets;
  {
    std::lock_guard storeLock(coordinator->storeMutex());
    if (!s->loadRelations(object->entity(), ObjectAccess::primaryKey(*object), targets)) return;
  }
  const auto& relationships = object->entity().relationships();
  auto slots = ObjectAccess::relations(*object);
  for (std::size_t i = 0; i < relationships.size() && i < targets.size(); ++i) {
    for (std::int64_t key : targets[i]) {
      ManagedObject* target = materialize(*relationships[i].destination, key);
      if (!target || ObjectAccess::has(*target, detail::kDeleted)) continue;
      if (relationships[i].toMany) {
        if (!detail::slotContains(slots[i], target)) detail::slotAdd(slots[i], target);
      } else {
        slots[i].toOne = target;
      }
    }
  }
  // An object changed before its relationships were loaded: what was just
  // read is their state as last read, which its save compares against.
  if (auto it = originals.find(object); it != originals.end()) {
    it->second.relations.clear();
    for (const auto& slot : slots) it->second.relations.push_back({slot.toOne, slot.members});
    it->second.flags |= detail::kRelationsLoaded;
  }
}

void ManagedObjectContext::Impl::turnIntoFault(ManagedObject* object, Fault kind) {
  constexpr std::uint8_t kChanged = detail::kInserted | detail::kUpdated | detail::kDeleted;
  if (ObjectAccess::flags(*object) & kChanged) return;
  if (!store() || !attached(object, owner) || ObjectAccess::primaryKey(*object) <= 0) return;
  auto& digests = ObjectAccess::digests(*object);
  if (kind == Fault::Fresh) digests.reset();
  if (ObjectAccess::has(*object, detail::kFault)) return;
  const auto values = ObjectAccess::values(*object);
  if (kind == Fault::Remembering && !digests) {
    // An object that has digests already holds values newer than its
    // version: its digests stay those of the version, or a save would miss
    // what changed in between.
    const auto& attributes = object->entity().attributes();
    digests = std::make_unique<std::uint64_t[]>(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      digests[i] = detail::storedDigest(values[i], attributes[i].type);
  }
  for (Value& value : values) value = Value();  // frees texts and data
  ObjectAccess::flags(*object) |= detail::kFault;
}

void ManagedObjectContext::Impl::fill(ManagedObject* object) {
  ObjectAccess::flags(*object) &= static_cast<std::uint8_t>(~detail::kFault);
  // The row went with a deletion not merged here yet: nil values, as the
  // object will read once the deletion arrives.
  if (!readRow(object))
    for (Value& value : ObjectAccess::values(*object)) value = Value();
}

bool ManagedObjectContext::Impl::readRow(ManagedObject* object) {
  detail::Store* s = store();
  if (!s) return false;
  bool found = false;
  std::lock_guard storeLock(coordinator->storeMutex());
  s->loadRow(object->entity(), ObjectAccess::primaryKey(*object),
             [&](std::int64_t, const detail::RowReader& row) {
               found = true;
               fillFromRow(object, row);
             });
  return found;
}

void ManagedObjectContext::Impl::unloadRelations(ManagedObject* object) {
  ObjectAccess::dropRelations(*object);
  ObjectAccess::flags(*object) &= static_cast<std::uint8_t>(~detail::kRelationsLoaded);
}

void ManagedObjectContext::Impl::fillFromRow(ManagedObject* object, const detail::RowReader& row) {
  const auto values = ObjectAccess::values(*object);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = row.value(i);
  ObjectAccess::flags(*object) &= static_cast<std::uint8_t>(~detail::kFault);
  // A remembering fault whose row moved on keeps its version and digests:
  // the values in hand are newer than what was last read here.
  auto& digests = ObjectAccess::digests(*object);
  if (digests && row.version() != ObjectAccess::version(*object)) return;
  digests.reset();
  ObjectAccess::version(*object) = row.version();
}

ManagedObject* ManagedObjectContext::Impl::materialize(const EntityDescription& entity,
                                                       std::int64_t primaryKey) {
  if (ManagedObject* found = registered.find({&entity, primaryKey})) return found;
  detail::Store* s = store();
  if (!s) return nullptr;
  ManagedObject* result = nullptr;
  std::lock_guard storeLock(coordinator->storeMutex());
  s->loadRow(entity, primaryKey, [&](std::int64_t key, const detail::RowReader& row) {
    result = registerRow(entity, key, row);
  });
  return result;
}

Result<std::vector<ManagedObject*>> ManagedObjectContext::Impl::storedCandidates(
    const EntityDescription& entity, detail::RowQuery query, std::size_t limit) {
  constexpr auto kChanged = static_cast<std::uint8_t>(detail::kUpdated | detail::kDeleted);
  std::lock_guard storeLock(coordinator->storeMutex());
  query.limit = limit;
  while (true) {
    std::vector<ManagedObject*> rows;
    std::size_t changedRows = 0;
    auto status =
        store()->fetchRows(entity, query, [&](std::int64_t key, const detail::RowReader& row) {
          ManagedObject* found = registered.find({&entity, key});
          if (found && ObjectAccess::has(*found, detail::kFault)) fillFromRow(found, row);
          if (found && ObjectAccess::has(*found, kChanged)) ++changedRows;
          rows.push_back(found ? found : registerRow(entity, key, row));
        });
    if (!status) return status.error();
    const std::size_t kept = rows.size() - changedRows;
    if (limit == 0 || rows.size() != query.limit || kept >= limit) return rows;
    query.limit += limit - kept;
  }
}

ManagedObject* ManagedObjectContext::Impl::registerRow(const EntityDescription& entity,
                                                       std::int64_t primaryKey,
                                                       const detail::RowReader& row) {
  std::unique_ptr<ManagedObject> object = entity.makeObject();
  ObjectAccess::attach(*object, owner, primaryKey);
  fillFromRow(object.get(), row);
  ManagedObject* raw = object.get();
  registered.add(std::move(object));
  return raw;
}

void ManagedObjectContext::Impl::link(ManagedObject* from, std::size_t relationship,
                                      ManagedObject* target) {
  ensureLoaded(from);
  auto& slot = ObjectAccess::relations(*from)[relationship];
  if (from->entity().relationships()[relationship].toMany) {
    if (detail::slotContains(slot, target)) return;
    markChanged(from);
    detail::slotAdd(slot, target);
  } else {
    if (slot.toOne == target) return;
    markChanged(from);
    slot.toOne = target;
  }
}

void ManagedObjectContext::Impl::unlink(ManagedObject* from, std::size_t relationship,
                                        ManagedObject* target) {
  ensureLoaded(from);
  auto& slot = ObjectAccess::relations(*from)[relationship];
  if (from->entity().relationships()[relationship].toMany) {
    if (!detail::slotContains(slot, target)) return;
    markChanged(from);
    detail::slotRemove(slot, target);
  } else {
    if (slot.toOne != target) return;
    markChanged(from);
    slot.toOne = nullptr;
  }
}

void ManagedObjectContext::Impl::linkBothWays(ManagedObject* from, std::size_t relationship,
                                              ManagedObject* target,
                                              const RelationshipDescription* inverse) {
  if (inverse && !inverse->toMany) {
    // The inverse holds one object: the target leaves its previous owner.
    ensureLoaded(target);
    ManagedObject* previous = ObjectAccess::relations(*target)[inverse->index].toOne;
    if (previous && previous != from) {
      unlink(previous, relationship, target);
      unlink(target, inverse->index, previous);
    }
  }
  link(from, relationship, target);
  if (inverse) link(target, inverse->index, from);
}

void ManagedObjectContext::Impl::setToOne(ManagedObject* from, std::size_t relationship,
                                          ManagedObject* target) {
  ensureLoaded(from);
  ManagedObject* old = ObjectAccess::relations(*from)[relationship].toOne;
  if (old == target) return;
  const RelationshipDescription* inverse = from->entity().relationships()[relationship].inverse;
  if (old) {
    unlink(from, relationship, old);
    if (inverse) unlink(old, inverse->index, from);
  }
  if (!target) return;
  linkBothWays(from, relationship, target, inverse);
}

void ManagedObjectContext::Impl::addToMany(ManagedObject* from, std::size_t relationship,
                                           ManagedObject* target) {
  ensureLoaded(from);
  if (detail::slotContains(ObjectAccess::relations(*from)[relationship], target)) return;
  const RelationshipDescription* inverse = from->entity().relationships()[relationship].inverse;
  linkBothWays(from, relationship, target, inverse);
}

void ManagedObjectContext::Impl::removeToMany(ManagedObject* from, std::size_t relationship,
                                              ManagedObject* target) {
  ensureLoaded(from);
  if (!detail::slotContains(ObjectAccess::relations(*from)[relationship], target)) return;
  unlink(from, relationship, target);
  const RelationshipDescription* inverse = from->entity().relationships()[relationship].inverse;
  if (inverse) unlink(target, inverse->index, from);
}

bool ManagedObjectContext::Impl::acceptsTarget(ManagedObject* from, std::size_t relationship,
                                               ManagedObject* target) const {
  if (!target || !attached(target, owner)) return false;
  if (ObjectAccess::has(*target, detail::kDeleted)) return false;
  return &target->entity() == from->entity().relationships()[relationship].destination;
}

void ManagedObjectContext::Impl::remove(ManagedObject* object) {
  if (!attached(object, owner) || ObjectAccess::has(*object, detail::kDeleted)) return;
  ensureLoaded(object);
  markChanged(object);
  std::vector<ManagedObject*> cascade;
  const auto& relationships = object->entity().relationships();
  for (std::size_t i = 0; i < relationships.size(); ++i) {
    auto& slot = ObjectAccess::relations(*object)[i];
    std::vector<ManagedObject*> targets = slot.members;
    if (slot.toOne) targets.push_back(slot.toOne);
    for (ManagedObject* target : targets) {
      if (relationships[i].deleteRule == DeleteRule::Cascade) cascade.push_back(target);
      if (relationships[i].toMany)
        removeToMany(object, i, target);
      else
        setToOne(object, i, nullptr);
    }
  }
  if (ObjectAccess::has(*object, detail::kInserted)) {
    detach(object);
  } else {
    ObjectAccess::flags(*object) |= detail::kDeleted;
    deletedList.push_back(object);
  }
  for (ManagedObject* target : cascade) remove(target);
}

void ManagedObjectContext::Impl::detach(ManagedObject* object) {
  if (registered.find(object->objectID()) != object) return;
  detached.push_back(registered.take(object->objectID()));
  ObjectAccess::setContext(*object, nullptr);
  ObjectAccess::flags(*object) = 0;
}

void ManagedObjectContext::Impl::restore(ManagedObject* object, const Snapshot& snapshot) {
  const auto values = ObjectAccess::values(*object);
  for (std::size_t i = 0; i < values.size() && i < snapshot.values.size(); ++i)
    values[i] = snapshot.values[i];
  auto slots = ObjectAccess::relations(*object);
  for (std::size_t i = 0; i < slots.size() && i < snapshot.relations.size(); ++i) {
    detail::slotClear(slots[i]);
    ManagedObject* toOne = snapshot.relations[i].toOne;
    if (toOne && attached(toOne, owner)) slots[i].toOne = toOne;
    for (ManagedObject* member : snapshot.relations[i].members)
      if (attached(member, owner)) detail::slotAdd(slots[i], member);
  }
  ObjectAccess::flags(*object) = snapshot.flags;
}

void ManagedObjectContext::Impl::refresh(ManagedObject* object) {
  if (ObjectAccess::has(*object, detail::kFault)) {
    // Nothing read since the fault: it takes the row as it is when it fires.
    turnIntoFault(object, Fault::Fresh);
  } else if (store()) {
    // Read now, so that what this context shows is the stored state from
    // here on and a later change elsewhere still conflicts with its own.
    ObjectAccess::digests(*object).reset();
    if (!readRow(object)) {
      forget(object);
      return;
    }
  }
  unloadRelations(object);  // read again from the store on next use
}

detail::ObjectUpdate ManagedObjectContext::Impl::changesOf(ManagedObject* object) const {
  detail::ObjectUpdate update;
  update.object = object;
  auto it = originals.find(object);
  if (it == originals.end()) return update;
  const Snapshot& snapshot = it->second;
  update.originals = &snapshot.values;
  update.digests = ObjectAccess::digests(*object).get();
  const auto values = ObjectAccess::values(*object);
  for (std::size_t i = 0; i < values.size(); ++i)
    if (!(values[i] == snapshot.values[i])) update.attributes.push_back(i);
  if (!ObjectAccess::has(*object, detail::kRelationsLoaded) ||
      !(snapshot.flags & detail::kRelationsLoaded))
    return update;  // relationships never loaded here cannot have changed
  const auto slots = ObjectAccess::relations(*object);
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const RelationSnapshot& before = snapshot.relations[i];
    if (slots[i].toOne != before.toOne)
      update.relations.push_back({i, before.toOne, nullptr});
    else if (slots[i].members != before.members)
      update.relations.push_back({i, nullptr, &before.members});
  }
  return update;
}

std::optional<std::vector<std::vector<ManagedObject*>>> ManagedObjectContext::Impl::storedRelations(
    ManagedObject* object) {
  std::vector<std::vector<std::int64_t>> keys;
  {
    std::lock_guard storeLock(coordinator->storeMutex());
    if (!store()->loadRelations(object->entity(), ObjectAccess::primaryKey(*object), keys))
      return std::nullopt;
  }
  const auto& relationships = object->entity().relationships();
  std::vector<std::vector<ManagedObject*>> targets(relationships.size());
  for (std::size_t i = 0; i < relationships.size() && i < keys.size(); ++i)
    for (std::int64_t key : keys[i])
      if (ManagedObject* target = materialize(*relationships[i].destination, key))
        if (!ObjectAccess::has(*target, detail::kDeleted)) targets[i].push_back(target);
  return targets;
}

void ManagedObjectContext::Impl::mergeKeepingChanges(ManagedObject* object) {
  auto it = originals.find(object);
  detail::Store* s = store();
  if (it == originals.end() || !s) return;
  Snapshot& snapshot = it->second;
  const detail::ObjectUpdate local = changesOf(object);
  std::vector<Value> stored;
  std::int64_t version = 0;
  bool found = false;
  {
    std::lock_guard storeLock(coordinator->storeMutex());
    s->loadRow(object->entity(), ObjectAccess::primaryKey(*object),
               [&](std::int64_t, const detail::RowReader& row) {
                 found = true;
                 for (std::size_t i = 0; i < snapshot.values.size(); ++i)
                   stored.push_back(row.value(i));
                 version = row.version();
               });
  }
  if (!found) {
    forget(object);  // deleted there: the deletion wins, as for unchanged objects
    return;
  }
  const auto values = ObjectAccess::values(*object);
  for (std::size_t i = 0; i < values.size(); ++i) {
    bool changedHere =
        std::find(local.attributes.begin(), local.attributes.end(), i) != local.attributes.end();
    if (!changedHere) values[i] = stored[i];
  }
  snapshot.values = std::move(stored);
  ObjectAccess::version(*object) = version;
  ObjectAccess::digests(*object).reset();  // the stored state is now the state as read
  if (!ObjectAccess::has(*object, detail::kRelationsLoaded)) return;  // loaded fresh on use
  auto targets = storedRelations(object);
  if (!targets) return;
  auto slots = ObjectAccess::relations(*object);
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const auto change = std::find_if(local.relations.begin(), local.relations.end(),
                                     [i](const auto& c) { return c.index == i; });
    RelationSnapshot& before = snapshot.relations[i];
    const std::vector<ManagedObject*>& now = (*targets)[i];
    if (!object->entity().relationships()[i].toMany) {
      ManagedObject* target = now.empty() ? nullptr : now.front();
      if (change == local.relations.end()) slots[i].toOne = target;
      before.toOne = target;
      continue;
    }
    // Stored members, less the ones removed here, plus the ones added here.
    detail::MemberDiff diff = detail::diffMembers(before.members, slots[i].members);
    std::vector<ManagedObject*> merged;
    for (ManagedObject* member : now)
      if (std::find(diff.removed.begin(), diff.removed.end(), member) == diff.removed.end())
        merged.push_back(member);
    std::vector<ManagedObject*> added;
    for (std::size_t position : diff.added) added.push_back(slots[i].members[position]);
    detail::slotClear(slots[i]);
    for (ManagedObject* member : merged) detail::slotAdd(slots[i], member);
    for (ManagedObject* member : added)
      if (!detail::slotContains(slots[i], member)) detail::slotAdd(slots[i], member);
    before.members = now;
  }
}

void ManagedObjectContext::Impl::settleKeys(const detail::SaveSet& changes, bool saved) {
  for (auto [object, temporary] : changes.replacedKeys) {
    if (!saved) {
      ObjectAccess::setPrimaryKey(*object, temporary);
      continue;
    }
    std::unique_ptr<ManagedObject> owned = registered.take({&object->entity(), temporary});
    registered.add(std::move(owned));
  }
}

namespace {

// Whether the object's loaded relationships name every object that holds
// it: then its neighbours are found through it, without a scan.
bool knowsItsNeighbours(ManagedObject* object) {
  const auto& relationships = object->entity().relationships();
  return ObjectAccess::has(*object, detail::kRelationsLoaded) &&
         std::all_of(relationships.begin(), relationships.end(),
                     [](const auto& r) { return r.inverse != nullptr; });
}

}  // namespace

void ManagedObjectContext::Impl::forget(ManagedObject* object) {
  forgetAll({object});
}

void ManagedObjectContext::Impl::forgetAll(const std::vector<ManagedObject*>& objects) {
  // Loaded neighbours must not keep pointing at objects that are gone.
  std::unordered_set<const ManagedObject*> gone(objects.begin(), objects.end());
  auto drop = [&gone](ManagedObject* other) {
    if (!ObjectAccess::has(*other, detail::kRelationsLoaded)) return;
    for (auto& slot : ObjectAccess::relations(*other)) {
      if (gone.count(slot.toOne)) slot.toOne = nullptr;
      if (slot.members.empty()) continue;
      std::vector<ManagedObject*> leaving;
      for (ManagedObject* member : slot.members)
        if (gone.count(member)) leaving.push_back(member);
      for (ManagedObject* member : leaving) detail::slotRemove(slot, member);
    }
  };
  bool scan = false;
  for (ManagedObject* object : objects) {
    if (!knowsItsNeighbours(object)) {
      scan = true;
      continue;
    }
    for (auto& slot : ObjectAccess::relations(*object)) {
      if (slot.toOne) drop(slot.toOne);
      for (ManagedObject* member : std::vector<ManagedObject*>(slot.members)) drop(member);
    }
  }
  if (scan) registered.forEach(drop);  // once, however many objects went
  for (ManagedObject* object : objects) detach(object);
}

Status ManagedObjectContext::Impl::validate(ManagedObject* object) const {
  const auto& attributes = object->entity().attributes();
  const auto values = ObjectAccess::values(*object);
  for (const auto& attribute : attributes) {
    const Value& value = values[attribute.index];
    if (value.isNil() ? attribute.optional : fits(attribute, value)) continue;
    return persistenceError(
        3, "The value of " + object->entity().name() + "." + attribute.name +
               (value.isNil() ? " is missing." : " does not fit its type: " + value.description()));
  }
  return Status::success();
}

// Public members ---------------------------------------------------------------

ManagedObjectContext::ManagedObjectContext(ConcurrencyType type)
    : type_(type), impl_(std::make_unique<Impl>(this)) {
  if (type == ConcurrencyType::PrivateQueue)
    queue_ = std::make_unique<platform::SerialQueue>("orbelin.graph.context");
}

ManagedObjectContext::~ManagedObjectContext() {
  queue_.reset();
}

void ManagedObjectContext::setPersistentStoreCoordinator(
    std::shared_ptr<PersistentStoreCoordinator> coordinator) {
  std::lock_guard lock(impl_->mutex);
  impl_->coordinator = std::move(coordinator);
}

std::shared_ptr<PersistentStoreCoordinator> ManagedObjectContext::persistentStoreCoordinator()
    const {
  std::lock_guard lock(impl_->mutex);
  return impl_->coordinator;
}

void ManagedObjectContext::perform(std::function<void()> work) {
  switch (type_) {
    case ConcurrencyType::PrivateQueue:
      queue_->async(std::move(work));
      return;
    case ConcurrencyType::MainQueue:
      platform::MainQueue::async(std::move(work));
      return;
    case ConcurrencyType::Confinement:
      work();
      return;
  }
}

ManagedObjectContext::Batch::Batch(ManagedObjectContext& context) : context_(context) {
  context_.impl_->mutex.lock();
}

ManagedObjectContext::Batch::~Batch() {
  context_.impl_->mutex.unlock();
}

void ManagedObjectContext::performAndWait(const std::function<void()>& work) {
  switch (type_) {
    case ConcurrencyType::PrivateQueue:
      queue_->sync(work);
      return;
    case ConcurrencyType::MainQueue:
      platform::MainQueue::sync(work);
      return;
    case ConcurrencyType::Confinement:
      work();
      return;
  }
}

ManagedObject* ManagedObjectContext::insertNewObject(std::string_view entityName) {
  std::lock_guard lock(impl_->mutex);
  if (!impl_->coordinator) return nullptr;
  const EntityDescription* entity = impl_->coordinator->managedObjectModel()->entity(entityName);
  return entity ? impl_->insert(*entity) : nullptr;
}

ManagedObject* ManagedObjectContext::insertNewObject(const EntityDescription& entity) {
  std::lock_guard lock(impl_->mutex);
  if (!impl_->coordinator) return nullptr;
  // Only entities of this context's model have identities here.
  const auto& entities = impl_->coordinator->managedObjectModel()->entities();
  if (entity.position() >= entities.size() || entities[entity.position()].get() != &entity)
    return nullptr;
  return impl_->insert(entity);
}

void ManagedObjectContext::deleteObject(ManagedObject* object) {
  if (!object) return;
  std::lock_guard lock(impl_->mutex);
  impl_->remove(object);
}

bool ManagedObjectContext::hasChanges() const {
  std::lock_guard lock(impl_->mutex);
  auto live = [this](ManagedObject* o, std::uint8_t flag) {
    return attached(o, this) && ObjectAccess::has(*o, flag);
  };
  for (ManagedObject* o : impl_->insertedList)
    if (live(o, detail::kInserted)) return true;
  for (ManagedObject* o : impl_->updatedList)
    if (live(o, detail::kUpdated)) return true;
  for (ManagedObject* o : impl_->deletedList)
    if (live(o, detail::kDeleted)) return true;
  return false;
}

Status ManagedObjectContext::save() {
  ContextDidSaveInfo info;
  {
    std::lock_guard lock(impl_->mutex);
    detail::SaveSet changes;
    // Objects marked updated whose properties all came back to the values
    // read are not written, and lose their mark with the others.
    std::vector<ManagedObject*> unchanged;
    for (ManagedObject* o : impl_->insertedList)
      if (attached(o, this) && ObjectAccess::has(*o, detail::kInserted))
        changes.inserted.push_back(o);
    for (ManagedObject* o : impl_->updatedList) {
      if (!attached(o, this) || !ObjectAccess::has(*o, detail::kUpdated) ||
          ObjectAccess::has(*o, detail::kDeleted))
        continue;
      detail::ObjectUpdate update = impl_->changesOf(o);
      if (update.attributes.empty() && update.relations.empty())
        unchanged.push_back(o);
      else
        changes.updated.push_back(std::move(update));
    }
    for (ManagedObject* o : impl_->deletedList)
      if (attached(o, this) && ObjectAccess::has(*o, detail::kDeleted))
        changes.deleted.push_back(o);
    auto clearMarks = [&] {
      for (ManagedObject* o : unchanged)
        ObjectAccess::flags(*o) &= static_cast<std::uint8_t>(~detail::kUpdated);
      impl_->insertedList.clear();
      impl_->updatedList.clear();
      impl_->deletedList.clear();
      impl_->originals.clear();
    };
    if (changes.inserted.empty() && changes.updated.empty() && changes.deleted.empty()) {
      clearMarks();
      return Status::success();
    }
    for (ManagedObject* o : changes.inserted)
      if (auto status = impl_->validate(o); !status) return status;
    for (const detail::ObjectUpdate& update : changes.updated)
      if (auto status = impl_->validate(update.object); !status) return status;
    detail::Store* store = impl_->store();
    if (!store) return persistenceError(2, "The context has no persistent store to save to.");
    changes.keys = impl_->coordinator->keyRequests(changes.inserted);
    std::vector<ManagedObject*> refetch;
    Status saved = [&] {
      std::lock_guard storeLock(impl_->coordinator->storeMutex());
      return store->save(changes, refetch);
    }();
    impl_->settleKeys(changes, saved.ok());
    if (saved) impl_->coordinator->adoptSpareKeys(changes.keys);
    if (!saved) {
      // The objects now know what the file holds: kept changes on top of
      // it, so a rollback shows the stored state and a new save decides
      // again.
      if (isMergeConflictError(saved.error())) {
        for (const detail::ObjectUpdate& update : changes.updated)
          impl_->mergeKeepingChanges(update.object);
        for (ManagedObject* o : changes.deleted) impl_->mergeKeepingChanges(o);
      }
      return saved;
    }
    for (ManagedObject* o : changes.inserted) {
      ObjectAccess::flags(*o) &= static_cast<std::uint8_t>(~detail::kInserted);
      info.inserted.push_back(o->objectID());
    }
    for (const detail::ObjectUpdate& update : changes.updated) {
      ObjectAccess::flags(*update.object) &= static_cast<std::uint8_t>(~detail::kUpdated);
      info.updated.push_back(update.object->objectID());
    }
    for (ManagedObject* o : changes.deleted) {
      info.deleted.push_back(o->objectID());
      impl_->detach(o);
    }
    clearMarks();
    // Rows that another store had changed meanwhile now hold both saves:
    // read them back, so this context shows what the file holds.
    for (ManagedObject* o : refetch) impl_->refresh(o);
    // What was just written is in the file: the objects give their values
    // back and read them again if they are used again.
    for (ManagedObject* o : changes.inserted) impl_->turnIntoFault(o, Impl::Fault::Remembering);
    for (const detail::ObjectUpdate& update : changes.updated) {
      ObjectAccess::digests(*update.object).reset();  // written at the version just set
      impl_->turnIntoFault(update.object, Impl::Fault::Remembering);
    }
    info.coordinator = impl_->coordinator;
  }
  // Posted without the lock, so observers can merge into other contexts.
  platform::NotificationCenter::defaultCenter().post(kContextDidSaveNotification, this,
                                                     std::move(info));
  return Status::success();
}

void ManagedObjectContext::rollback() {
  std::lock_guard lock(impl_->mutex);
  for (auto& [object, snapshot] : impl_->originals)
    impl_->restore(const_cast<ManagedObject*>(object), snapshot);
  std::vector<ManagedObject*> inserted;
  for (ManagedObject* o : impl_->insertedList)
    if (attached(o, this) && ObjectAccess::has(*o, detail::kInserted)) inserted.push_back(o);
  for (ManagedObject* o : inserted) impl_->detach(o);
  impl_->insertedList.clear();
  impl_->updatedList.clear();
  impl_->deletedList.clear();
  impl_->originals.clear();
}

void ManagedObjectContext::reset() {
  std::lock_guard lock(impl_->mutex);
  impl_->insertedList.clear();
  impl_->updatedList.clear();
  impl_->deletedList.clear();
  impl_->originals.clear();
  impl_->registered.clear();
  impl_->detached.clear();
}

Result<std::vector<ManagedObject*>> ManagedObjectContext::fetch(const FetchRequest& request) {
  std::lock_guard lock(impl_->mutex);
  if (!impl_->coordinator) return persistenceError(4, "The context has no coordinator.");
  const EntityDescription* entity =
      impl_->coordinator->managedObjectModel()->entity(request.entityName());
  if (!entity)
    return persistenceError(5, "The model has no entity named " + request.entityName() + ".");
  detail::Store* store = impl_->store();
  if (!store) return persistenceError(2, "The context has no persistent store to fetch from.");

  // Objects changed here may match where their rows do not, and the other
  // way round: they join the rows the store returns, and the filter below
  // decides.
  auto ofEntity = [&](ManagedObject* o, std::uint8_t flag) {
    return &o->entity() == entity && attached(o, this) && ObjectAccess::has(*o, flag);
  };
  std::vector<ManagedObject*> changed, inserted;
  for (ManagedObject* o : impl_->updatedList)
    if (ofEntity(o, detail::kUpdated)) changed.push_back(o);
  for (ManagedObject* o : impl_->deletedList)
    if (ofEntity(o, detail::kDeleted)) changed.push_back(o);
  for (ManagedObject* o : impl_->insertedList)
    if (ofEntity(o, detail::kInserted)) inserted.push_back(o);
  detail::RowQuery query;
  if (request.predicate()) query.predicate = &*request.predicate();
  query.sort = &request.sortDescriptors();
  auto stored = impl_->storedCandidates(*entity, query, request.fetchLimit());
  if (!stored) return stored.error();
  std::vector<ManagedObject*> candidates = std::move(*stored);
  if (!changed.empty()) {
    std::unordered_set<ManagedObject*> seen(candidates.begin(), candidates.end());
    for (ManagedObject* o : changed)
      if (seen.insert(o).second) candidates.push_back(o);
    // Saved objects in the store's order, as without changes.
    std::stable_sort(candidates.begin(), candidates.end(), [](ManagedObject* a, ManagedObject* b) {
      return ObjectAccess::primaryKey(*a) < ObjectAccess::primaryKey(*b);
    });
  }
  candidates.insert(candidates.end(), inserted.begin(), inserted.end());

  // Predicates run without the store lock: a user function may read relationships.
  const auto& predicate = request.predicate();
  std::vector<ManagedObject*> result = std::move(candidates);
  std::erase_if(result, [&](ManagedObject* o) {
    return ObjectAccess::has(*o, detail::kDeleted) || (predicate && !predicate->evaluate(*o));
  });
  if (!request.sortDescriptors().empty()) {
    std::vector<std::size_t> indices;
    for (const auto& d : request.sortDescriptors())
      indices.push_back(entity->attributeIndex(d.key));
    std::stable_sort(result.begin(), result.end(), [&](ManagedObject* a, ManagedObject* b) {
      for (std::size_t i = 0; i < indices.size(); ++i) {
        if (indices[i] == kNoIndex) continue;
        const Value& va = ObjectAccess::values(*a)[indices[i]];
        const Value& vb = ObjectAccess::values(*b)[indices[i]];
        bool ascending = request.sortDescriptors()[i].ascending;
        if (detail::valueLess(va, vb)) return ascending;
        if (detail::valueLess(vb, va)) return !ascending;
      }
      return false;
    });
  }
  if (request.fetchLimit() && result.size() > request.fetchLimit())
    result.resize(request.fetchLimit());
  return result;
}

Result<std::size_t> ManagedObjectContext::count(const FetchRequest& request) {
  auto objects = fetch(request);
  if (!objects) return objects.error();
  return objects->size();
}

ManagedObject* ManagedObjectContext::objectWithID(const ObjectID& id) {
  if (!id.entity) return nullptr;
  std::lock_guard lock(impl_->mutex);
  if (!impl_->coordinator ||
      impl_->coordinator->managedObjectModel()->entity(id.entity->name()) != id.entity)
    return nullptr;
  return impl_->materialize(*id.entity, id.primaryKey);
}

void ManagedObjectContext::mergeChanges(const platform::Notification& didSave) {
  if (didSave.name != kContextDidSaveNotification || didSave.sender == this) return;
  const auto* info = std::any_cast<ContextDidSaveInfo>(&didSave.userInfo);
  if (!info) return;
  std::lock_guard lock(impl_->mutex);
  if (!impl_->coordinator || info->coordinator != impl_->coordinator) return;
  auto& registered = impl_->registered;
  constexpr std::uint8_t kChanged = detail::kUpdated | detail::kDeleted;
  for (const ObjectID& id : info->updated) {
    ManagedObject* found = registered.find(id);
    if (!found) continue;
    if (ObjectAccess::flags(*found) & kChanged)
      impl_->mergeKeepingChanges(found);
    else
      impl_->refresh(found);
  }
  std::vector<ManagedObject*> gone;
  for (const ObjectID& id : info->deleted)
    if (ManagedObject* found = registered.find(id)) gone.push_back(found);
  impl_->forgetAll(gone);
}

void ManagedObjectContext::refreshObject(ManagedObject* object) {
  if (!object) return;
  std::lock_guard lock(impl_->mutex);
  constexpr std::uint8_t kChanged = detail::kInserted | detail::kUpdated | detail::kDeleted;
  if (!attached(object, this) || (ObjectAccess::flags(*object) & kChanged)) return;
  impl_->turnIntoFault(object, Impl::Fault::Fresh);
  impl_->unloadRelations(object);
}

std::size_t ManagedObjectContext::registeredCount() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->registered.size();
}

}  // namespace orbelin::graph
