#pragma once

// What each entity class defines, generated from its property table (see
// entity_support.h): className, setProperties, the typed reads, its part of
// the model, and the check that a model numbers its properties the way the
// reads and writes expect.
//
// Reads and writes go by index (ManagedObject::valueAt / objectAt /
// mutableSetAt), not by name: a table's ATTRIBUTE rows are the entity's
// attributes 0, 1, 2... in order, and its TO_ONE and TO_MANY rows its
// relationships, because describe() declares them to ModelBuilder in table
// order and ModelBuilder numbers them in declaration order. slotsMatch()
// checks that once per entity of a built model, instead of on every read.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "model2/entity_list.h"
#include "orbelin/graph/model.h"
#include "orbelin/model2/entities.h"

namespace orbelin::model2::detail {

// Declares every entity, each from its table.
void describeEntities(graph::ModelBuilder& builder);
// Whether every entity of the model that has one of these classes numbers
// its attributes and relationships as the class's table does, with the
// table's types and shapes. False (with a console line naming the entity)
// otherwise: then the typed reads would read the wrong property.
bool slotsMatch(const graph::ManagedObjectModel& model);

// Per entity, generated from its table: the indices (Slots<C>::Attribute::
// name, Slots<C>::Relationship::name), describe() and matches().
template <typename Entity>
struct Slots;

template <typename T>
constexpr graph::AttributeType attributeType() {
  if constexpr (Vocabulary<T> || std::same_as<T, std::string>)
    return graph::AttributeType::String;
  else if constexpr (std::same_as<T, Date>)
    return graph::AttributeType::Date;
  else if constexpr (std::same_as<T, bool>)
    return graph::AttributeType::Boolean;
  else if constexpr (std::same_as<T, std::int32_t>)
    return graph::AttributeType::Integer32;
  else if constexpr (std::same_as<T, double>)
    return graph::AttributeType::Double;
  else if constexpr (std::same_as<T, graph::Bytes>)
    return graph::AttributeType::Binary;
  else {
    static_assert(std::same_as<T, Dictionary>, "no attribute type for this argument type");
    return graph::AttributeType::Transformable;
  }
}

// Attribute reads: absent when the attribute holds no value of that kind.
void decode(const graph::Value& value, std::optional<std::string>& out);
void decode(const graph::Value& value, std::optional<Date>& out);
void decode(const graph::Value& value, std::optional<bool>& out);
void decode(const graph::Value& value, std::optional<std::int32_t>& out);
void decode(const graph::Value& value, std::optional<double>& out);
void decode(const graph::Value& value, std::optional<graph::Bytes>& out);
void decode(const graph::Value& value, std::optional<Dictionary>& out);

template <typename T>
std::optional<StoredAs<T>> readAttribute(const graph::ManagedObject& object, std::size_t slot) {
  std::optional<StoredAs<T>> out;
  decode(object.valueAt(slot), out);
  return out;
}

template <typename T>
std::vector<T*> readToMany(const graph::ManagedObject& object, std::size_t slot) {
  std::vector<T*> typed;
  // Reading goes through the live set view, which only changes the object
  // when it is asked to.
  for (graph::ManagedObject* member :
       const_cast<graph::ManagedObject&>(object).mutableSetAt(slot).objects())
    if (T* cast = dynamic_cast<T*>(member)) typed.push_back(cast);
  return typed;
}

bool containsName(std::span<const std::string_view> names, std::string_view name);

// Applies setProperties' rule to one argument at a time: a required value is
// always written, an absent optional one leaves the property as it is, a
// vocabulary case is written as its raw value, a to-one object is linked and
// a list replaces the whole relationship (the graph keeps the inverses in
// step).
class PropertyWriter {
 public:
  explicit PropertyWriter(graph::ManagedObject& object) : object_(object) {}

  template <typename T>
  void attribute(std::size_t slot, const Required<T>& value) {
    store(slot, value.get());
  }
  template <typename T>
  void attribute(std::size_t slot, const std::optional<T>& value) {
    if (value) store(slot, *value);
  }
  template <typename T>
  void toOne(std::size_t slot, const Required<T*>& object) {
    object_.setObjectAt(slot, object.get());
  }
  void toOne(std::size_t slot, graph::ManagedObject* object) {
    if (object != nullptr) object_.setObjectAt(slot, object);
  }
  template <typename T>
  void toMany(std::size_t slot, const std::optional<std::vector<T*>>& objects) {
    if (objects)
      object_.mutableSetAt(slot).assign(
          std::vector<graph::ManagedObject*>(objects->begin(), objects->end()));
  }

 private:
  // One overload per argument type, so that nothing converts on the way.
  void store(std::size_t slot, const std::string& text) { object_.setValueAt(slot, text); }
  void store(std::size_t slot, Date date) { object_.setValueAt(slot, date); }
  void store(std::size_t slot, bool flag) { object_.setValueAt(slot, flag); }
  void store(std::size_t slot, std::int32_t number) { object_.setValueAt(slot, number); }
  void store(std::size_t slot, double number) { object_.setValueAt(slot, number); }
  void store(std::size_t slot, const graph::Bytes& bytes) { object_.setValueAt(slot, bytes); }
  void store(std::size_t slot, const Dictionary& dictionary) {
    object_.setValueAt(slot, boost::json::value(dictionary));
  }
  template <Vocabulary E>
  void store(std::size_t slot, E value) {
    object_.setValueAt(slot, std::string(rawValue(value)));
  }

  graph::ManagedObject& object_;
};

// Checks one row of a table against an entity description.
bool attributeMatches(const graph::EntityDescription& entity, std::string_view name,
                      std::size_t slot, graph::AttributeType type);
bool relationshipMatches(const graph::EntityDescription& entity, std::string_view name,
                         std::size_t slot, std::string_view destination, std::string_view inverse,
                         bool toMany, bool ordered);

}  // namespace orbelin::model2::detail

// Defines the class Entity##2 from its table. ORBELIN_MODEL2_SELF must name
// the same class while this and the two macros below expand: the rows that
// define member functions need the class, and a table row is handed only its
// own fields.
#define ORBELIN_MODEL2_DEFINE_ENTITY(Entity)                                                   \
  static_assert(std::is_same_v<ORBELIN_MODEL2_SELF, Entity##2>);                               \
  template <>                                                                                  \
  struct detail::Slots<Entity##2> {                                                            \
    ORBELIN_MODEL2_NUMBERING_(Attribute, ORBELIN_MODEL2_PROPERTIES_##Entity##2,                \
                              ORBELIN_MODEL2_NAME_, ORBELIN_MODEL2_SKIP_)                      \
    ORBELIN_MODEL2_NUMBERING_(Relationship, ORBELIN_MODEL2_PROPERTIES_##Entity##2,             \
                              ORBELIN_MODEL2_SKIP_, ORBELIN_MODEL2_NAME_)                      \
    static void describe(graph::ModelBuilder& builder) {                                       \
      builder.entity<Entity##2>(#Entity, #Entity "2") ORBELIN_MODEL2_PROPERTIES_##Entity##2(   \
          ORBELIN_MODEL2_DESCRIBE_, ORBELIN_MODEL2_DESCRIBE_TO_ONE_,                           \
          ORBELIN_MODEL2_DESCRIBE_TO_MANY_);                                                   \
    }                                                                                          \
    static bool matches(const graph::EntityDescription& entity) {                              \
      return entity.attributes().size() == Attribute::kCount &&                                \
             entity.relationships().size() ==                                                  \
                 Relationship::kCount ORBELIN_MODEL2_PROPERTIES_##Entity##2(                   \
                     ORBELIN_MODEL2_MATCH_, ORBELIN_MODEL2_MATCH_TO_ONE_,                      \
                     ORBELIN_MODEL2_MATCH_TO_MANY_);                                           \
    }                                                                                          \
  };                                                                                           \
  std::string Entity##2 ::className() const {                                                  \
    return #Entity;                                                                            \
  }                                                                                            \
  void Entity##2 ::setProperties(const Properties& properties) {                               \
    detail::PropertyWriter writer(*this);                                                      \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(ORBELIN_MODEL2_WRITE_, ORBELIN_MODEL2_WRITE_TO_ONE_, \
                                          ORBELIN_MODEL2_WRITE_TO_MANY_)                       \
  }                                                                                            \
  ORBELIN_MODEL2_PROPERTIES_##Entity##2(ORBELIN_MODEL2_DEFINE_READ_,                           \
                                        ORBELIN_MODEL2_DEFINE_TO_ONE_READ_,                    \
                                        ORBELIN_MODEL2_DEFINE_TO_MANY_READ_)

// The class's service identifier: the text attribute `name`.
#define ORBELIN_MODEL2_DEFINE_IDENTIFIER(name)                                   \
  std::optional<std::string> ORBELIN_MODEL2_SELF::externalObjectId() const {     \
    return detail::readAttribute<std::string>(                                   \
        *this, detail::Slots<ORBELIN_MODEL2_SELF>::Attribute::name);             \
  }                                                                              \
  std::optional<std::string> ORBELIN_MODEL2_SELF::externalObjectIdName() const { \
    return #name;                                                                \
  }

// The relations left out of the class's dictionary form, in order.
#define ORBELIN_MODEL2_DEFINE_IGNORED_RELATIONS(...)                               \
  std::span<const std::string_view> ORBELIN_MODEL2_SELF::ignoreRelations() const { \
    static constexpr std::string_view kNames[] = {__VA_ARGS__};                    \
    return kNames;                                                                 \
  }                                                                                \
  bool ORBELIN_MODEL2_SELF::ignoreRelation(std::string_view name) const {          \
    return detail::containsName(ignoreRelations(), name);                          \
  }

// Helpers and row forms for the expansions above.
#define ORBELIN_MODEL2_NUMBERING_(Kind, TABLE, ATTRIBUTE, RELATIONSHIP)         \
  struct Kind {                                                                 \
    enum : std::size_t { TABLE(ATTRIBUTE, RELATIONSHIP, RELATIONSHIP) kCount }; \
  };
#define ORBELIN_MODEL2_NAME_(name, ...) name,
#define ORBELIN_MODEL2_SKIP_(...)
#define ORBELIN_MODEL2_SLOT_(kind, name) detail::Slots<ORBELIN_MODEL2_SELF>::kind::name

#define ORBELIN_MODEL2_DESCRIBE_(name, Type, presence) \
  .attribute(#name, detail::attributeType<Type>())
#define ORBELIN_MODEL2_DESCRIBE_TO_ONE_(name, Destination, inverse, presence) \
  .toOne(#name, #Destination, #inverse)
#define ORBELIN_MODEL2_DESCRIBE_TO_MANY_(name, Destination, inverse, order) \
  .ORBELIN_MODEL2_TO_MANY_##order(#name, #Destination, #inverse)
#define ORBELIN_MODEL2_TO_MANY_Unordered toMany
#define ORBELIN_MODEL2_TO_MANY_Ordered orderedToMany

#define ORBELIN_MODEL2_MATCH_(name, Type, presence) \
  &&detail::attributeMatches(entity, #name, Attribute::name, detail::attributeType<Type>())
#define ORBELIN_MODEL2_MATCH_TO_ONE_(name, Destination, inverse, presence)                        \
  &&detail::relationshipMatches(entity, #name, Relationship::name, #Destination, #inverse, false, \
                                false)
#define ORBELIN_MODEL2_MATCH_TO_MANY_(name, Destination, inverse, order)                         \
  &&detail::relationshipMatches(entity, #name, Relationship::name, #Destination, #inverse, true, \
                                ORBELIN_MODEL2_ORDERED_##order)
#define ORBELIN_MODEL2_ORDERED_Unordered false
#define ORBELIN_MODEL2_ORDERED_Ordered true

#define ORBELIN_MODEL2_WRITE_(name, Type, presence) \
  writer.attribute(ORBELIN_MODEL2_SLOT_(Attribute, name), properties.name);
#define ORBELIN_MODEL2_WRITE_TO_ONE_(name, Destination, inverse, presence) \
  ORBELIN_MODEL2_WRITE_TO_ONE_##presence(name)
#define ORBELIN_MODEL2_WRITE_TO_ONE_Required(name) \
  writer.toOne(ORBELIN_MODEL2_SLOT_(Relationship, name), properties.name);
#define ORBELIN_MODEL2_WRITE_TO_ONE_Optional(name) ORBELIN_MODEL2_WRITE_TO_ONE_Required(name)
#define ORBELIN_MODEL2_WRITE_TO_ONE_NotSet(name)
#define ORBELIN_MODEL2_WRITE_TO_MANY_(name, Destination, inverse, order) \
  writer.toMany(ORBELIN_MODEL2_SLOT_(Relationship, name), properties.name);

#define ORBELIN_MODEL2_DEFINE_READ_(name, Type, presence)                             \
  std::optional<StoredAs<Type>> ORBELIN_MODEL2_SELF::name() const {                   \
    return detail::readAttribute<Type>(*this, ORBELIN_MODEL2_SLOT_(Attribute, name)); \
  }
#define ORBELIN_MODEL2_DEFINE_TO_ONE_READ_(name, Destination, inverse, presence)               \
  Destination##2 * ORBELIN_MODEL2_SELF::name() const {                                         \
    return dynamic_cast<Destination##2 *>(objectAt(ORBELIN_MODEL2_SLOT_(Relationship, name))); \
  }
#define ORBELIN_MODEL2_DEFINE_TO_MANY_READ_(name, Destination, inverse, order)                  \
  std::vector<Destination##2 *> ORBELIN_MODEL2_SELF::name() const {                             \
    return detail::readToMany<Destination##2>(*this, ORBELIN_MODEL2_SLOT_(Relationship, name)); \
  }
