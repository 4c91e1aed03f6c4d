#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/platform/date.h"
#include "orbelin/records/enums.h"

namespace orbelin {

// Common ground of every first-generation record. Each record's entity is
// declared once, in model/records.toml; the build writes from it, per record,
// a base class <Name>Properties (records/<header>_properties.h, in the build
// tree and installed beside this header) holding the JSON keys (Static),
// fetchRequest(), the table of properties (kProperties) and the typed
// accessors. The model is built from the tables (records/model.h), the
// accessors find their attributes and relationships by name in the same
// table when compiling, and the imports read the JSON members the table
// names. Reordering, adding or removing a row moves everything with it.
//
// Ownership and threads: a record belongs to the one thread-confined context
// of CoreDataStack::sharedInstance() and lives until the process ends;
// callers hold raw pointers. Read and change records on the thread that
// imports them (the one that delivers networking replies).
//
// Missing values: a text attribute that holds nothing reads as "", a number
// or a date as std::nullopt; a to-one relationship as null.
class FirstGenerationRecord : public graph::ManagedObject {
 public:
  // What a property holds: an attribute (text, 64-bit integer, date, or a
  // stored list of integers) or a relationship to other records.
  enum Kind : std::uint8_t { kText, kInteger, kDate, kList, kToOne, kToMany };
  // How a create fills an attribute from its JSON member.
  enum Read : std::uint8_t {
    kPlain,           // stringValue, intValue or dateValue, after the kind
    kMovedOntoToday,  // dateValue, then moved onto today (the date as sent if it cannot be)
    kByHand,          // by the record's own create, as are all relationships
  };
  // One row of a record's table.
  struct Property {
    std::string_view name;  // in the model
    Kind kind;
    std::string_view key = {};          // the JSON member the create reads; "" for none
    std::string_view destination = {};  // relationships: the entity on the other side
    std::string_view inverse = {};      // relationships: the way back; "" for none
    Read read = kPlain;
    bool optional = true;
  };

  static constexpr bool isRelationship(Kind kind) { return kind == kToOne || kind == kToMany; }

  // The position of the property `name` among the attributes, or among the
  // relationships, of a table: the model numbers each kind on its own, in
  // table order. A name the table does not hold does not compile.
  static consteval std::size_t indexIn(std::span<const Property> table, std::string_view name) {
    std::size_t attributes = 0;
    std::size_t relationships = 0;
    for (const Property& property : table) {
      bool relationship = isRelationship(property.kind);
      if (property.name == name) return relationship ? relationships : attributes;
      ++(relationship ? relationships : attributes);
    }
    throw "the record has no such property";
  }

 protected:
  // A request for every record of the entity, no predicate, no sort.
  static graph::FetchRequest fetchRequestFor(std::string_view entityName);

  std::string textAt(std::size_t index) const { return valueAt(index).stringValue(); }
  std::optional<std::int64_t> integerAt(std::size_t index) const;
  OptionalDate dateAt(std::size_t index) const { return valueAt(index).date(); }
  // The case whose raw value equals the stored number (compared numerically),
  // else `fallback`: nothing stored, a fraction or a number outside the
  // enumeration reads as the fallback.
  template <typename Enum>
  Enum enumAt(std::size_t index, Enum fallback) const {
    auto number = valueAt(index).number();
    if (!number || !(*number >= 0 && *number <= static_cast<double>(kLastRawValue<Enum>))) {
      return fallback;
    }
    auto raw = static_cast<std::int64_t>(*number);
    if (static_cast<double>(raw) != *number) return fallback;
    return fromRawValue<Enum>(raw).value_or(fallback);
  }

  // Relationships by position; defined (in record.cpp) for every record class,
  // so that headers may use them on classes they only declare.
  template <typename T>
  T* toOneAt(std::size_t index) const;
  template <typename T>
  void setToOneAt(std::size_t index, T* record);
  template <typename T>
  std::vector<T*> toManyAt(std::size_t index) const;
  template <typename T>
  void setToManyAt(std::size_t index, const std::vector<T*>& records);
};

}  // namespace orbelin
