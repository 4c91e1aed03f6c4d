#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orbelin/graph/value.h"
#include "orbelin/model2/managed_object_ex.h"
#include "orbelin/model2/vocabulary.h"
#include "orbelin/platform/date.h"

// What every recovery-path entity class shares: the names of the others, the
// argument form of setProperties, and the table that declares an entity's
// properties once.
namespace orbelin::model2 {

class Alert2;
class Appoitment2;
class Bed2;
class BookletSection2;
class DatedValue2;
class InformationBooklet2;
class Instruction2;
class InstructionAction2;
class MedicalTest2;
class Medication2;
class Message2;
class MultiMedia2;
class Note2;
class Patient2;
class RecoveryPath2;
class Room2;
class Shift2;
class StaffMember2;
class Task2;
class TestResult2;
class Vital2;

// setProperties takes one aggregate per entity, `<Entity>::Properties`,
// filled with designated initializers:
//
//   patient->setProperties({.patientId = "p1",
//                            .firstName = "Ann",
//                            .lastName = "Lee",
//                            .gender = GenderEnum::Female,
//                            .birthDate = birthDate,
//                            .status = PatientStatusEnum::Admitted});
//
// C++ has no argument labels; designators keep every argument's name at the
// call site, and must follow the members' order, which is the order of the
// entity's properties. Whether an argument is required is a compile-time
// matter: a required one is a Required<T>, which has no default, so leaving
// it out does not compile; an optional one is a std::optional<T> (a to-one
// object: a pointer, null when absent) and is absent unless given.
//
// Argument types: text std::string, date Date, truth value bool, 32-bit
// number std::int32_t, double and boxed number double (the one boxed number,
// Note2.number, is a measured value: held as a double, stored unchanged),
// binary data graph::Bytes, dictionary Dictionary, a vocabulary case its
// enumeration (its raw value is what gets stored), a to-one object a pointer
// to its class, a to-many relationship a std::vector of pointers in order.
template <typename T>
class Required {
 public:
  template <typename U>
  requires std::convertible_to<U&&, T> Required(U&& value)
      : value_(std::forward<U>(value)) {}  // NOLINT: implicit, reads as `.x = v`

  const T& get() const { return value_; }

 private:
  T value_;
};

// What a typed read of an attribute returns: its argument type, except that a
// vocabulary attribute reads back as the raw value text it stores.
namespace detail {
template <typename T>
struct Stored {
  using type = T;
};
template <Vocabulary E>
struct Stored<E> {
  using type = std::string;
};
}  // namespace detail
template <typename T>
using StoredAs = typename detail::Stored<T>::type;

}  // namespace orbelin::model2

// Each entity is declared once, in model/recovery_path.toml. The build
// writes from it each entity's header (orbelin/model2/<entity>2.h, in the
// build tree and installed beside this one), holding the class and a macro
// ORBELIN_MODEL2_PROPERTIES_<Class> that lists one row per property, in the
// order of setProperties' arguments, which is also the order of the entity's
// model and of its dictionary form:
//
//   ATTRIBUTE(name, ArgumentType, Required | Optional)
//   TO_ONE(name, DestinationEntity, inverse, Required | Optional | NotSet)
//   TO_MANY(name, DestinationEntity, inverse, Unordered | Ordered)
//
// The name is the property's name in the model and its key in the dictionary
// form. A destination is named by its entity ("Patient"); its class is that
// name with a 2 ("Patient2"). A to-one relationship marked NotSet has no
// argument (it is linked from the other side); a to-many argument is always
// optional.
//
// Inside the class, ORBELIN_MODEL2_ENTITY(table) declares className (the
// entity's name) and, from the table, the Properties aggregate,
// setProperties and one typed read per property: an attribute reads as
// std::optional<StoredAs<ArgumentType>> (absent when unset), a to-one
// relationship as a pointer (null when unset), a to-many one as a
// std::vector of pointers, in order.
//
// setProperties writes every required property and every optional one that
// is present; absent ones keep their values. A present list replaces the
// relationship's whole content (an empty list empties it). Nothing is saved.
//
// The model, setProperties and the reads all come from the same table
// (src/model2/entity_definition.h), so they cannot disagree on a name, a
// type or an order.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// an entity object, which is used on that context's thread or queue.
#define ORBELIN_MODEL2_ENTITY(TABLE)                                 \
  std::string className() const override;                            \
  struct Properties {                                                \
    TABLE(ORBELIN_MODEL2_ARGUMENT_, ORBELIN_MODEL2_TO_ONE_ARGUMENT_, \
          ORBELIN_MODEL2_TO_MANY_ARGUMENT_)                          \
  };                                                                 \
  void setProperties(const Properties& properties);                  \
  TABLE(ORBELIN_MODEL2_READ_, ORBELIN_MODEL2_TO_ONE_READ_, ORBELIN_MODEL2_TO_MANY_READ_)

// For the classes with a service identifier: the name of its attribute and
// its current value.
#define ORBELIN_MODEL2_IDENTIFIED_ENTITY()                      \
  std::optional<std::string> externalObjectId() const override; \
  std::optional<std::string> externalObjectIdName() const override;

// For the classes whose dictionary form leaves relations out: whether `name`
// is one of them (whole text, case-sensitive), and the list, in order, the
// same for every instance.
#define ORBELIN_MODEL2_IGNORES_RELATIONS()                   \
  bool ignoreRelation(std::string_view name) const override; \
  std::span<const std::string_view> ignoreRelations() const;

#define ORBELIN_MODEL2_ARGUMENT_(name, Type, presence) \
  ORBELIN_MODEL2_ARGUMENT_##presence(Type, name)
#define ORBELIN_MODEL2_ARGUMENT_Required(Type, name) ::orbelin::model2::Required<Type> name;
#define ORBELIN_MODEL2_ARGUMENT_Optional(Type, name) std::optional<Type> name = std::nullopt;
#define ORBELIN_MODEL2_TO_ONE_ARGUMENT_(name, Destination, inverse, presence) \
  ORBELIN_MODEL2_TO_ONE_ARGUMENT_##presence(Destination##2 *, name)
#define ORBELIN_MODEL2_TO_ONE_ARGUMENT_Required(Type, name) ::orbelin::model2::Required<Type> name;
#define ORBELIN_MODEL2_TO_ONE_ARGUMENT_Optional(Type, name) Type name = nullptr;
#define ORBELIN_MODEL2_TO_ONE_ARGUMENT_NotSet(Type, name)
#define ORBELIN_MODEL2_TO_MANY_ARGUMENT_(name, Destination, inverse, order) \
  std::optional<std::vector<Destination##2 *>> name = std::nullopt;

#define ORBELIN_MODEL2_READ_(name, Type, presence) \
  std::optional<::orbelin::model2::StoredAs<Type>> name() const;
#define ORBELIN_MODEL2_TO_ONE_READ_(name, Destination, inverse, presence) \
  Destination##2 * name() const;
#define ORBELIN_MODEL2_TO_MANY_READ_(name, Destination, inverse, order) \
  std::vector<Destination##2 *> name() const;
