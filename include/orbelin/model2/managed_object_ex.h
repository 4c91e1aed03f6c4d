#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/object.hpp>

#include "orbelin/graph/context.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/graph/model.h"

namespace orbelin::model2 {

// The key of a dictionary that names the entity of the object it describes.
inline constexpr const char* ATTRIBUTE_NAME_FOR_CLASS = "entityName";
// How date attributes are written in the dictionary form: en_US_POSIX,
// Gregorian, in the device's time zone (DateUtils' zone), to the second.
inline constexpr const char* DATE_TIME_FORMAT = "yyyy-MM-dd HH:mm:ss";

// The dictionary form of an object: attribute and relationship names to
// values, plus "entityName".
using Dictionary = boost::json::object;

// The base of the second-generation record classes: an object of the graph
// that can be written to, and filled from, its dictionary (and JSON) form.
//
// Writing (getAsDictionary): every attribute that holds a value (dates as
// DATE_TIME_FORMAT text, binary data as an array of byte values,
// transformable values as they are), "entityName", and every relationship
// the class does not ignore: a related object with an external identifier is
// written as that identifier's text, any other as its own nested dictionary;
// to-many relationships as arrays in their order. An object already being
// written higher up the same path (a cycle), or one past the depth limit, is
// left out rather than written again.
//
// Reading (setProperties..., createManagedObjectFromDictionary):
//   - a key that is neither "entityName" nor a property of the entity is
//     ignored, with one console line naming it;
//   - attributes are read before relationships, so an object's own
//     identifier is in place when a nested object refers back to it;
//   - numbers and booleans are stored unchanged when the attribute takes
//     them (integers in the attribute's range, 0/1 and true/false for
//     booleans); a numeric attribute given text that is a number stores the
//     number; a value the attribute cannot hold is not stored (the attribute
//     keeps its current value, so a later save cannot fail on it) and gets a
//     console line;
//   - null stores an absent value (and clears a to-one relationship);
//   - text becomes a date for date attributes only; a text attribute keeps
//     text that happens to look like a date; a date attribute keeps its
//     value when the text is not a whole DATE_TIME_FORMAT date;
//   - binary attributes are written and read as arrays of byte values;
//   - a dictionary under a transformable attribute is stored as the value;
//   - a nested dictionary under a relationship key becomes a new object of
//     the entity it names (its "entityName"); one without "entityName" is
//     skipped, as is an array element that is not a dictionary and an array
//     under a key that is not a to-many relationship;
//   - text under a relationship key is an external identifier: it resolves
//     to the object of the destination entity whose identifier attribute
//     holds it, in the same context (saved or not); when there is none the
//     key is skipped with a console line;
//   - invalid JSON text, or a top level that is not an object, leaves the
//     object unchanged with a console line;
//   - dictionaries nested deeper than kMaxDictionaryDepth are skipped.
//
// Ownership and threads: like every managed object, an NSManagedObjectEx is
// owned by its context and used on that context's thread or queue; reading
// from a dictionary inserts the new nested objects into the same context.
// Overrides of the virtual members below must not touch the context: they
// are also called on unattached prototypes (externalObjectIdNameOf).
class NSManagedObjectEx : public graph::ManagedObject {
 public:
  // Nesting limit for reading and writing dictionaries: far deeper than any
  // real recovery-path record, shallow enough for any thread's stack.
  static constexpr int kMaxDictionaryDepth = 64;

  virtual std::string className() const;                            // "NSManagedObjectEx"
  virtual std::optional<std::string> externalObjectId() const;      // absent
  virtual std::optional<std::string> externalObjectIdName() const;  // absent; class-level
  std::optional<std::string> identifierAttributeName() const override {
    return externalObjectIdName();
  }
  virtual bool ignoreRelation(std::string_view name) const;  // false

  // Replaces the content of a to-many relationship with the objects, in
  // their order.
  void setRelation(std::string_view name, const std::vector<graph::ManagedObject*>& relatedObjects);
  // Sets a to-one relationship (null clears it). On a to-many relationship
  // the object becomes its only member (null empties it): a braced list of
  // one, setRelation(name, {object}), picks this overload.
  void setRelation(std::string_view name, graph::ManagedObject* relatedObject);

  // The record class's name ("Patient2").
  static std::string ClassNameAsString(const graph::ManagedObject& object);
  // The identifier attribute of an entity's objects, without an instance of
  // it (asks an unattached prototype). Absent for entities whose class is
  // not an NSManagedObjectEx or has no identifier.
  static std::optional<std::string> externalObjectIdNameOf(const graph::EntityDescription& entity);

  Dictionary getAsDictionary() const;
  // The dictionary form as pretty-printed JSON; absent if it cannot be written.
  std::optional<std::string> getAsJSONString() const;
  void setPropertiesFromJSONString(std::string_view text);
  void setPropertiesFromDictionary(const Dictionary& dictionary);
  // A new object of the entity named by the dictionary's "entityName",
  // inserted into the context and filled from the dictionary. Null (with a
  // console line) when the key is missing or names no entity of the model.
  static NSManagedObjectEx* createManagedObjectFromDictionary(const Dictionary& dictionary,
                                                              graph::ManagedObjectContext& context);
};

}  // namespace orbelin::model2
