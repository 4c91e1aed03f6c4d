// The in-memory store: rows in ordered maps, gone with the coordinator.

#include <map>

#include "graph/object_access.h"
#include "graph/store.h"

namespace orbelin::graph::detail {

namespace {

struct Row {
  std::vector<Value> values;
  std::vector<std::vector<std::int64_t>> relations;
  std::int64_t version = 1;
};

class ValuesReader : public RowReader {
 public:
  explicit ValuesReader(const Row& row) : row_(row) {}
  Value value(std::size_t index) const override {
    return index < row_.values.size() ? row_.values[index] : Value();
  }
  std::int64_t version() const override { return row_.version; }

 private:
  const Row& row_;
};

std::vector<std::vector<std::int64_t>> relationKeys(ManagedObject& object) {
  std::vector<std::vector<std::int64_t>> keys;
  for (const auto& slot : ObjectAccess::relations(object)) {
    std::vector<std::int64_t> targets;
    if (slot.toOne) targets.push_back(ObjectAccess::primaryKey(*slot.toOne));
    for (const ManagedObject* member : slot.members)
      targets.push_back(ObjectAccess::primaryKey(*member));
    keys.push_back(std::move(targets));
  }
  return keys;
}

class MemoryStore : public Store {
 public:
  explicit MemoryStore(const ManagedObjectModel& model)
      : tables_(model.entities().size()), nextKeys_(model.entities().size(), 1) {}

  // Every row: the context filters them.
  Status fetchRows(const EntityDescription& entity, const RowQuery&,
                   const RowVisitor& visit) override {
    for (const auto& [key, row] : tables_[entity.position()]) visit(key, ValuesReader(row));
    return Status::success();
  }

  Result<bool> loadRow(const EntityDescription& entity, std::int64_t primaryKey,
                       const RowVisitor& visit) override {
    const auto& table = tables_[entity.position()];
    auto it = table.find(primaryKey);
    if (it == table.end()) return false;
    visit(primaryKey, ValuesReader(it->second));
    return true;
  }

  Status loadRelations(const EntityDescription& entity, std::int64_t primaryKey,
                       std::vector<std::vector<std::int64_t>>& targets) override {
    const auto& table = tables_[entity.position()];
    auto it = table.find(primaryKey);
    targets = it == table.end() ? std::vector<std::vector<std::int64_t>>() : it->second.relations;
    return Status::success();
  }

  // One coordinator and no other connection: nothing can change a row
  // behind a context's back except its sibling contexts, whose changes to
  // other properties are kept by writing only what changed.
  Status save(SaveSet& changes, std::vector<ManagedObject*>&) override {
    // One coordinator owns the store: a counter per entity is enough.
    for (KeyRequest& request : changes.keys) {
      std::int64_t& next = nextKeys_[request.entity->position()];
      request.first = next;
      next += request.needed + request.spare;
    }
    giveReservedKeys(changes);
    for (ManagedObject* object : changes.inserted) {
      Row& row = tables_[object->entity().position()][ObjectAccess::primaryKey(*object)];
      const auto values = ObjectAccess::values(*object);
      row.values.assign(values.begin(), values.end());
      row.relations = relationKeys(*object);
      ObjectAccess::version(*object) = row.version;
    }
    for (const ObjectUpdate& update : changes.updated) write(update);
    for (ManagedObject* object : changes.deleted)
      tables_[object->entity().position()].erase(ObjectAccess::primaryKey(*object));
    return Status::success();
  }

 private:
  void write(const ObjectUpdate& update) {
    ManagedObject& object = *update.object;
    auto& table = tables_[object.entity().position()];
    auto it = table.find(ObjectAccess::primaryKey(object));
    if (it == table.end()) return;  // deleted by a sibling context meanwhile
    Row& row = it->second;
    const auto values = ObjectAccess::values(object);
    for (std::size_t i : update.attributes) row.values[i] = values[i];
    const auto slots = ObjectAccess::relations(object);
    row.relations.resize(slots.size());
    for (const RelationChange& change : update.relations) {
      auto& keys = row.relations[change.index];
      if (!change.originalMembers) {
        keys.clear();
        if (slots[change.index].toOne)
          keys.push_back(ObjectAccess::primaryKey(*slots[change.index].toOne));
        continue;
      }
      const auto& members = slots[change.index].members;
      if (object.entity().relationships()[change.index].ordered) {
        keys.clear();  // the order is this context's
        for (const ManagedObject* member : members)
          keys.push_back(ObjectAccess::primaryKey(*member));
        continue;
      }
      MemberDiff diff = diffMembers(*change.originalMembers, members);
      for (ManagedObject* removed : diff.removed)
        std::erase(keys, ObjectAccess::primaryKey(*removed));
      for (std::size_t i : diff.added) keys.push_back(ObjectAccess::primaryKey(*members[i]));
    }
    ObjectAccess::version(object) = ++row.version;
  }

  std::vector<std::map<std::int64_t, Row>> tables_;  // by entity position
  std::vector<std::int64_t> nextKeys_;               // by entity position
};

}  // namespace

std::unique_ptr<Store> makeMemoryStore(const ManagedObjectModel& model) {
  return std::make_unique<MemoryStore>(model);
}

}  // namespace orbelin::graph::detail
