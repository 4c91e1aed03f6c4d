#include "orbelin/graph/model.h"

#include <cstdio>
#include <memory>
#include <new>
#include <set>

#include "graph/object_access.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/platform/error.h"

namespace orbelin::graph {

namespace {

Error modelError(const std::string& text) {
  return Error(error_domain::kPersistence, 1, "Invalid model: " + text);
}

// FNV-1a: stable across runs and platforms, unlike std::hash.
std::uint64_t fnv1a(const std::string& text) {
  std::uint64_t hash = 1469598103934665603ull;
  for (char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 1099511628211ull;
  }
  return hash;
}

template <typename Map>
std::size_t findIndex(const Map& map, std::string_view name) {
  auto it = map.find(name);
  return it == map.end() ? kNoIndex : it->second;
}

}  // namespace

std::size_t EntityDescription::attributeIndex(std::string_view name) const {
  return findIndex(attributeIndex_, name);
}

std::size_t EntityDescription::relationshipIndex(std::string_view name) const {
  return findIndex(relationshipIndex_, name);
}

const AttributeDescription* EntityDescription::attribute(std::string_view name) const {
  std::size_t i = attributeIndex(name);
  return i == kNoIndex ? nullptr : &attributes_[i];
}

const RelationshipDescription* EntityDescription::relationship(std::string_view name) const {
  std::size_t i = relationshipIndex(name);
  return i == kNoIndex ? nullptr : &relationships_[i];
}

std::unique_ptr<ManagedObject> EntityDescription::makeObject() const {
  const bool ownClass = factory_.construct != nullptr;
  const std::size_t size = ownClass ? factory_.size : sizeof(ManagedObject);
  const std::size_t offset = (size + alignof(Value) - 1) / alignof(Value) * alignof(Value);
  const std::size_t count = attributes_.size();
  void* memory = ::operator new(offset + count * sizeof(Value));
  ManagedObject* object = nullptr;
  try {
    object = ownClass ? factory_.construct(memory) : new (memory) ManagedObject();
  } catch (...) {
    ::operator delete(memory);
    throw;
  }
  std::uninitialized_value_construct_n(
      reinterpret_cast<Value*>(static_cast<char*>(memory) + offset), count);
  // The offset is taken from the ManagedObject inside the record, which a
  // record class need not start with.
  const auto base = reinterpret_cast<char*>(object) - static_cast<char*>(memory);
  detail::ObjectAccess::adopt(*object, *this, offset - static_cast<std::size_t>(base), count);
  return std::unique_ptr<ManagedObject>(object);
}

const EntityDescription* ManagedObjectModel::entity(std::string_view name) const {
  auto it = byName_.find(name);
  return it == byName_.end() ? nullptr : it->second;
}

Status ManagedObjectModel::resolve() {
  byName_.clear();
  for (std::size_t i = 0; i < entities_.size(); ++i) {
    entities_[i]->position_ = i;
    if (!byName_.emplace(entities_[i]->name_, entities_[i].get()).second)
      return modelError("two entities named " + entities_[i]->name_);
  }
  for (auto& entity : entities_) {
    for (auto& r : entity->relationships_) {
      auto it = byName_.find(r.destinationName);
      if (it == byName_.end())
        return modelError(entity->name_ + "." + r.name + " has no destination " +
                          r.destinationName);
      r.destination = it->second;
      r.inverse = nullptr;
      if (r.inverseName.empty()) continue;
      const RelationshipDescription* inverse = r.destination->relationship(r.inverseName);
      if (!inverse || inverse->inverseName != r.name || inverse->destinationName != entity->name_)
        return modelError(entity->name_ + "." + r.name + " and its inverse " + r.destinationName +
                          "." + r.inverseName + " do not agree");
      r.inverse = inverse;
    }
  }
  computeVersion();
  return Status::success();
}

void ManagedObjectModel::computeVersion() {
  std::set<std::string> lines;
  for (const auto& entity : entities_) {
    lines.insert("E " + entity->name_);
    for (const auto& a : entity->attributes_)
      lines.insert("A " + entity->name_ + "." + a.name + " " +
                   std::to_string(static_cast<int>(a.type)) + (a.optional ? "?" : "!"));
    for (const auto& r : entity->relationships_)
      lines.insert("R " + entity->name_ + "." + r.name + " " + r.destinationName + " " +
                   r.inverseName + (r.toMany ? " many" : " one") + (r.ordered ? " ordered" : ""));
  }
  std::string canonical;
  for (const auto& line : lines) canonical += line + "\n";
  char text[32];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(fnv1a(canonical)));
  version_ = text;
}

Result<std::shared_ptr<const ManagedObjectModel>> ManagedObjectModel::merged(
    const std::vector<std::shared_ptr<const ManagedObjectModel>>& models) {
  auto result = std::make_shared<ManagedObjectModel>();
  for (const auto& model : models) {
    if (!model) continue;
    for (const auto& entity : model->entities_)
      result->entities_.push_back(std::make_unique<EntityDescription>(*entity));
  }
  if (auto status = result->resolve(); !status) return status.error();
  return std::shared_ptr<const ManagedObjectModel>(std::move(result));
}

ModelBuilder::EntityBuilder& ModelBuilder::EntityBuilder::attribute(std::string name,
                                                                    AttributeType type,
                                                                    bool optional) {
  std::size_t index = entity_->attributes_.size();
  entity_->attributeIndex_.emplace(name, index);
  entity_->properties_.push_back({true, index});
  entity_->attributes_.push_back({std::move(name), type, optional, index});
  return *this;
}

ModelBuilder::EntityBuilder& ModelBuilder::EntityBuilder::relationship(
    RelationshipDescription description) {
  description.index = entity_->relationships_.size();
  entity_->relationshipIndex_.emplace(description.name, description.index);
  entity_->properties_.push_back({false, description.index});
  entity_->relationships_.push_back(std::move(description));
  return *this;
}

namespace {
RelationshipDescription describeRelationship(std::string name, std::string destination,
                                             std::string inverse, DeleteRule rule, bool toMany) {
  RelationshipDescription r;
  r.name = std::move(name);
  r.destinationName = std::move(destination);
  r.inverseName = std::move(inverse);
  r.toMany = toMany;
  r.deleteRule = rule;
  return r;
}
}  // namespace

ModelBuilder::EntityBuilder& ModelBuilder::EntityBuilder::toOne(std::string name,
                                                                std::string destination,
                                                                std::string inverse,
                                                                DeleteRule rule) {
  return relationship(describeRelationship(std::move(name), std::move(destination),
                                           std::move(inverse), rule, false));
}

ModelBuilder::EntityBuilder& ModelBuilder::EntityBuilder::toMany(std::string name,
                                                                 std::string destination,
                                                                 std::string inverse,
                                                                 DeleteRule rule) {
  return relationship(describeRelationship(std::move(name), std::move(destination),
                                           std::move(inverse), rule, true));
}

ModelBuilder::EntityBuilder& ModelBuilder::EntityBuilder::orderedToMany(std::string name,
                                                                        std::string destination,
                                                                        std::string inverse,
                                                                        DeleteRule rule) {
  toMany(std::move(name), std::move(destination), std::move(inverse), rule);
  entity_->relationships_.back().ordered = true;
  return *this;
}

ModelBuilder::ModelBuilder() : model_(std::make_unique<ManagedObjectModel>()) {}
ModelBuilder::~ModelBuilder() = default;

ModelBuilder::EntityBuilder ModelBuilder::entity(std::string name) {
  return entityWithFactory(std::move(name), "ManagedObject", {});
}

ModelBuilder::EntityBuilder ModelBuilder::entityWithFactory(std::string name, std::string className,
                                                            ObjectFactory factory) {
  auto entity = std::make_unique<EntityDescription>();
  entity->className_ = className.empty() ? name : std::move(className);
  entity->name_ = std::move(name);
  entity->factory_ = std::move(factory);
  model_->entities_.push_back(std::move(entity));
  return EntityBuilder(model_->entities_.back().get());
}

Result<std::shared_ptr<const ManagedObjectModel>> ModelBuilder::build() {
  std::unique_ptr<ManagedObjectModel> model = std::move(model_);
  model_ = std::make_unique<ManagedObjectModel>();
  for (const auto& entity : model->entities_) {
    std::set<std::string> names;
    for (const auto& a : entity->attributes_)
      if (!names.insert(a.name).second)
        return modelError(entity->name_ + " declares " + a.name + " twice");
    for (const auto& r : entity->relationships_)
      if (!names.insert(r.name).second)
        return modelError(entity->name_ + " declares " + r.name + " twice");
  }
  if (auto status = model->resolve(); !status) return status.error();
  return std::shared_ptr<const ManagedObjectModel>(std::move(model));
}

}  // namespace orbelin::graph
