#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "orbelin/graph/value.h"
#include "orbelin/platform/result.h"

namespace orbelin::graph {

namespace detail {
// Looked up by string_view without making a string: names are looked up on
// every insertion and every access by key.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const noexcept {
    return std::hash<std::string_view>()(name);
  }
};
template <typename V>
using NameMap = std::unordered_map<std::string, V, NameHash, std::equal_to<>>;
}  // namespace detail

class ManagedObject;
class EntityDescription;

// Index value meaning "no such attribute/relationship".
inline constexpr std::size_t kNoIndex = static_cast<std::size_t>(-1);

enum class AttributeType {
  String,
  Integer16,
  Integer32,
  Integer64,
  Double,
  Boolean,
  Date,
  Binary,
  Transformable,  // any boost::json::value
};

struct AttributeDescription {
  std::string name;
  AttributeType type = AttributeType::String;
  bool optional = true;   // a non-optional attribute must hold a value when saved
  std::size_t index = 0;  // position among the entity's attributes
};

// What happens to the objects on the other side when an object is deleted.
enum class DeleteRule { Nullify, Cascade };

struct RelationshipDescription {
  std::string name;
  std::string destinationName;
  std::string inverseName;  // empty: no inverse
  bool toMany = false;
  bool ordered = false;  // only for to-many
  DeleteRule deleteRule = DeleteRule::Nullify;
  std::size_t index = 0;  // position among the entity's relationships
  // Resolved when the model is built.
  const EntityDescription* destination = nullptr;
  const RelationshipDescription* inverse = nullptr;
};

// One entry of an entity's property order, as declared.
struct PropertyRef {
  bool isAttribute = true;
  std::size_t index = 0;
};

// How to make an instance of an entity's record class: sizeof the class, and
// a function that constructs one in memory of that size. An empty factory
// makes plain ManagedObjects. The entity allocates each object with room for
// its attribute values behind it, so an object is one allocation.
struct ObjectFactory {
  std::size_t size = 0;
  ManagedObject* (*construct)(void* memory) = nullptr;
};

// An entity of a model: its name, its record class, its attributes and
// relationships. Owned by its ManagedObjectModel and immutable once the model
// is built; pointers to it stay valid as long as the model lives.
//
// Thread safety: immutable, so every const member may be used from any thread.
class EntityDescription {
 public:
  const std::string& name() const { return name_; }
  // Position of the entity in its model's entities().
  std::size_t position() const { return position_; }
  // The record class's name as registered ("Patient2" for entity "Patient"),
  // or "ManagedObject" when the entity has no class of its own.
  const std::string& managedObjectClassName() const { return className_; }

  const std::vector<AttributeDescription>& attributes() const { return attributes_; }
  const std::vector<RelationshipDescription>& relationships() const { return relationships_; }
  // Attributes and relationships in the order they were declared.
  const std::vector<PropertyRef>& properties() const { return properties_; }

  // Index lookups for the fast path: records look these up once and then use
  // ManagedObject::valueAt / setValueAt. kNoIndex when there is no such name.
  std::size_t attributeIndex(std::string_view name) const;
  std::size_t relationshipIndex(std::string_view name) const;
  // Null when there is no such name.
  const AttributeDescription* attribute(std::string_view name) const;
  const RelationshipDescription* relationship(std::string_view name) const;

  // A new instance of the record class (ManagedObject when none is set).
  std::unique_ptr<ManagedObject> makeObject() const;

 private:
  friend class ModelBuilder;
  friend class ManagedObjectModel;
  std::string name_;
  std::size_t position_ = 0;
  std::string className_ = "ManagedObject";
  ObjectFactory factory_;
  std::vector<AttributeDescription> attributes_;
  std::vector<RelationshipDescription> relationships_;
  std::vector<PropertyRef> properties_;
  detail::NameMap<std::size_t> attributeIndex_;
  detail::NameMap<std::size_t> relationshipIndex_;
};

// A complete, immutable model: a set of entities whose relationships all
// resolve and whose inverses agree. Built by ModelBuilder, shared through
// std::shared_ptr<const ManagedObjectModel>; every context, coordinator and
// object refers into the model it was made with, so keep it alive (the
// coordinator holds a reference).
//
// Thread safety: immutable, so it may be used from any thread.
class ManagedObjectModel {
 public:
  const std::vector<std::unique_ptr<EntityDescription>>& entities() const { return entities_; }
  // Null when the model has no entity of that name.
  const EntityDescription* entity(std::string_view name) const;

  // A text derived from every entity, attribute (name, type, optionality) and
  // relationship (name, destination, inverse, cardinality, order) but not
  // from class names: two models with equal identifiers store the same way.
  const std::string& versionIdentifier() const { return version_; }

  // One model holding the entities of all given models (the phone's merged
  // model of a bundle). Fails when two models name the same entity.
  static Result<std::shared_ptr<const ManagedObjectModel>> merged(
      const std::vector<std::shared_ptr<const ManagedObjectModel>>& models);

 private:
  friend class ModelBuilder;
  Status resolve();
  void computeVersion();
  std::vector<std::unique_ptr<EntityDescription>> entities_;
  detail::NameMap<EntityDescription*> byName_;
  std::string version_;
};

// Builds a model in code.
//
//   ModelBuilder builder;
//   builder.entity<Patient>("Patient")
//       .attribute("firstName", AttributeType::String)
//       .attribute("staffIds", AttributeType::Transformable)
//       .toMany("tasks", "Task", "patient")
//       .toOne("room", "Room", "patients");
//   builder.entity<Task>("Task").attribute("id", AttributeType::Integer64)
//       .toOne("patient", "Patient", "tasks");
//   auto model = builder.build();  // Result<std::shared_ptr<const ManagedObjectModel>>
//
// build() checks that every destination exists and that every named inverse
// exists on the destination and names the relationship back; it fails with
// an error (domain error_domain::kPersistence) otherwise.
class ModelBuilder {
 public:
  class EntityBuilder {
   public:
    EntityBuilder& attribute(std::string name, AttributeType type, bool optional = true);
    EntityBuilder& toOne(std::string name, std::string destination, std::string inverse = {},
                         DeleteRule rule = DeleteRule::Nullify);
    EntityBuilder& toMany(std::string name, std::string destination, std::string inverse = {},
                          DeleteRule rule = DeleteRule::Nullify);
    EntityBuilder& orderedToMany(std::string name, std::string destination,
                                 std::string inverse = {}, DeleteRule rule = DeleteRule::Nullify);

   private:
    friend class ModelBuilder;
    explicit EntityBuilder(EntityDescription* entity) : entity_(entity) {}
    EntityBuilder& relationship(RelationshipDescription description);
    EntityDescription* entity_;
  };

  ModelBuilder();
  ~ModelBuilder();
  ModelBuilder(const ModelBuilder&) = delete;
  ModelBuilder& operator=(const ModelBuilder&) = delete;

  // Declares an entity whose objects are plain ManagedObjects.
  EntityBuilder entity(std::string name);
  // Declares an entity whose objects are instances of T (a default-
  // constructible subclass of ManagedObject); className is what
  // managedObjectClassName() reports.
  template <typename T>
  EntityBuilder entity(std::string name, std::string className = {}) {
    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "over-aligned record class");
    static_assert(sizeof(T) < 0xFFF0, "record class too large for its values' offset");
    return entityWithFactory(
        std::move(name), className.empty() ? std::string() : className,
        {sizeof(T), [](void* memory) -> ManagedObject* { return new (memory) T(); }});
  }
  EntityBuilder entityWithFactory(std::string name, std::string className, ObjectFactory factory);

  // Consumes the builder's entities. A second call yields an empty model.
  Result<std::shared_ptr<const ManagedObjectModel>> build();

 private:
  std::unique_ptr<ManagedObjectModel> model_;
};

}  // namespace orbelin::graph
