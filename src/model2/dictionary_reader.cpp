#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>

#include "model2/date_text.h"
#include "model2/dictionary_mapping.h"
#include "orbelin/graph/fetch_request.h"
#include "orbelin/platform/console.h"

namespace orbelin::model2::detail {
namespace {

namespace json = boost::json;
using graph::AttributeType;

void logLine(std::string_view text) {
  platform::Console::log(std::string(kReaderPrefix) + std::string(text));
}

std::string inQuotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// Whole-text number parsing, correctly rounded (std::from_chars).
std::optional<double> doubleFromText(std::string_view text) {
  double number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number))
    return std::nullopt;
  return number;
}

std::optional<std::int64_t> integerFromDouble(double number) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!std::isfinite(number) || std::trunc(number) != number) return std::nullopt;
  if (number >= kLimit || number < -kLimit) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> integerFrom(const json::value& value) {
  if (value.is_int64()) return value.get_int64();
  if (value.is_uint64()) {
    if (value.get_uint64() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      return std::nullopt;
    return static_cast<std::int64_t>(value.get_uint64());
  }
  if (value.is_double()) return integerFromDouble(value.get_double());
  if (!value.is_string()) return std::nullopt;
  std::string_view text = value.get_string();
  std::int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) return number;
  auto asDouble = doubleFromText(text);
  return asDouble ? integerFromDouble(*asDouble) : std::nullopt;
}

std::optional<double> doubleFrom(const json::value& value) {
  if (value.is_number()) return value.to_number<double>();
  if (value.is_string()) return doubleFromText(value.get_string());
  return std::nullopt;
}

std::optional<graph::Value> integerIn(const json::value& value, std::int64_t low,
                                      std::int64_t high) {
  auto number = integerFrom(value);
  if (!number || *number < low || *number > high) return std::nullopt;
  return graph::Value(*number);
}

std::optional<graph::Value> booleanFrom(const json::value& value) {
  if (value.is_bool()) return graph::Value(value.get_bool());
  if (value.is_string()) {
    std::string_view text = value.get_string();
    if (text == "true") return graph::Value(true);
    if (text == "false") return graph::Value(false);
  }
  auto number = integerFrom(value);
  if (number && (*number == 0 || *number == 1)) return graph::Value(*number == 1);
  return std::nullopt;
}

std::optional<graph::Value> bytesFrom(const json::value& value) {
  if (!value.is_array()) return std::nullopt;
  graph::Bytes bytes;
  bytes.reserve(value.get_array().size());
  for (const json::value& element : value.get_array()) {
    auto byte = integerFrom(element);
    if (!byte || *byte < 0 || *byte > 255 || element.is_string()) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(*byte));
  }
  return graph::Value(std::move(bytes));
}

// The value to store for `attribute`, or nullopt when `value` is not of a
// kind the attribute can hold (the attribute then keeps what it has).
std::optional<graph::Value> attributeValue(const graph::AttributeDescription& attribute,
                                           const json::value& value) {
  if (value.is_null()) return graph::Value();
  switch (attribute.type) {
    case AttributeType::String:
      if (value.is_string()) return graph::Value(std::string(value.get_string()));
      return std::nullopt;
    case AttributeType::Date:
      if (!value.is_string()) return std::nullopt;
      if (auto date = parseDateTime(value.get_string())) return graph::Value(*date);
      return std::nullopt;
    case AttributeType::Integer16:
      return integerIn(value, INT16_MIN, INT16_MAX);
    case AttributeType::Integer32:
      return integerIn(value, INT32_MIN, INT32_MAX);
    case AttributeType::Integer64:
      return integerIn(value, INT64_MIN, INT64_MAX);
    case AttributeType::Double:
      if (auto number = doubleFrom(value)) return graph::Value(*number);
      return std::nullopt;
    case AttributeType::Boolean:
      return booleanFrom(value);
    case AttributeType::Binary:
      return bytesFrom(value);
    case AttributeType::Transformable:
      return graph::Value(json::value(value, json::storage_ptr()));  // out of the reply's arena
  }
  return std::nullopt;
}

void readAttribute(graph::ManagedObject& object, const graph::AttributeDescription& attribute,
                   const json::value& value) {
  if (auto stored = attributeValue(attribute, value)) {
    object.setValueAt(attribute.index, std::move(*stored));
    return;
  }
  logLine("The value under " + inQuotes(attribute.name) + " does not fit the attribute; kept " +
          "the previous value");
}

// The object of the relationship's destination whose identifier attribute
// holds `identifier`, among the context's saved and unsaved objects.
graph::ManagedObject* resolveIdentifier(const graph::RelationshipDescription& relationship,
                                        std::string_view identifier,
                                        graph::ManagedObjectContext& context) {
  const graph::EntityDescription& destination = *relationship.destination;
  auto idName = NSManagedObjectEx::externalObjectIdNameOf(destination);
  if (!idName || !destination.attribute(*idName)) {
    logLine("The key " + inQuotes(relationship.name) + " holds a text but " + destination.name() +
            " has no identifier; skipped");
    return nullptr;
  }
  graph::FetchRequest request(destination.name());
  request.setPredicate(graph::Predicate::equal(*idName, graph::Value(identifier)));
  request.setFetchLimit(1);
  auto found = context.fetch(request);
  if (found && !found->empty()) return found->front();
  logLine("No " + destination.name() + " with " + *idName + " " + inQuotes(identifier) +
          " for the key " + inQuotes(relationship.name) + "; skipped");
  return nullptr;
}

// A related object described by `value` (a nested dictionary or an
// identifier text); null when it describes none.
graph::ManagedObject* relatedObject(const graph::RelationshipDescription& relationship,
                                    const json::value& value, graph::ManagedObjectContext& context,
                                    int depth) {
  if (value.is_string()) return resolveIdentifier(relationship, value.get_string(), context);
  if (!value.is_object()) return nullptr;
  const Dictionary& nested = value.get_object();
  const auto* name = nested.if_contains(ATTRIBUTE_NAME_FOR_CLASS);
  if (!name || !name->is_string() || name->get_string() != relationship.destination->name()) {
    logLine("A dictionary under " + inQuotes(relationship.name) + " does not name the entity " +
            inQuotes(relationship.destination->name()) + "; skipped");
    return nullptr;
  }
  return createFromDictionary(nested, context, depth);
}

void readToMany(graph::ManagedObject& object, const graph::RelationshipDescription& relationship,
                const json::value& value, graph::ManagedObjectContext& context, int depth) {
  if (value.is_null()) return;
  if (!value.is_array()) {
    logLine("The value under " + inQuotes(relationship.name) + " is not an array; skipped");
    return;
  }
  // The import adds to what the relationship holds; it never replaces.
  graph::RelationshipSet members = object.mutableSetAt(relationship.index);
  std::size_t skipped = 0;
  for (const json::value& element : value.get_array()) {
    if (element.is_object() || element.is_string()) {
      if (graph::ManagedObject* member = relatedObject(relationship, element, context, depth)) {
        members.add(member);
        continue;
      }
    }
    ++skipped;
  }
  if (skipped > 0)
    logLine("Skipped " + std::to_string(skipped) + " elements under " +
            inQuotes(relationship.name));
}

void readRelationship(graph::ManagedObject& object,
                      const graph::RelationshipDescription& relationship, const json::value& value,
                      graph::ManagedObjectContext& context, int depth) {
  if (relationship.toMany) return readToMany(object, relationship, value, context, depth);
  if (value.is_null()) return object.setObjectAt(relationship.index, nullptr);
  if (!value.is_object() && !value.is_string()) {
    logLine("The value under " + inQuotes(relationship.name) + " is not an object; skipped");
    return;
  }
  if (graph::ManagedObject* related = relatedObject(relationship, value, context, depth))
    object.setObjectAt(relationship.index, related);
}

}  // namespace

void readDictionary(graph::ManagedObject& object, const Dictionary& dictionary, int depth) {
  graph::ManagedObjectContext* context = object.context();
  if (!context) {
    logLine("Unable to get the context!");
    return;
  }
  const graph::EntityDescription& entity = object.entity();
  // Attributes first: the object's own identifier is then in place when a
  // nested object refers back to it by that identifier.
  for (const auto& [key, value] : dictionary) {
    if (key == ATTRIBUTE_NAME_FOR_CLASS) continue;
    if (const auto* attribute = entity.attribute(key)) {
      readAttribute(object, *attribute, value);
    } else if (!entity.relationship(key)) {
      logLine("Ignoring the key " + inQuotes(key) + ": " + entity.name() +
              " has no such attribute or relationship");
    }
  }
  for (const auto& [key, value] : dictionary) {
    if (const auto* relationship = entity.relationship(key))
      readRelationship(object, *relationship, value, *context, depth + 1);
  }
}

graph::ManagedObject* createFromDictionary(const Dictionary& dictionary,
                                           graph::ManagedObjectContext& context, int depth) {
  if (depth > NSManagedObjectEx::kMaxDictionaryDepth) {
    logLine("Skipping a dictionary nested deeper than " +
            std::to_string(NSManagedObjectEx::kMaxDictionaryDepth) + " levels");
    return nullptr;
  }
  const auto* name = dictionary.if_contains(ATTRIBUTE_NAME_FOR_CLASS);
  graph::ManagedObject* object = name && name->is_string()
                                     ? context.insertNewObject(std::string_view(name->get_string()))
                                     : nullptr;
  if (!object) return nullptr;
  readDictionary(*object, dictionary, depth);
  return object;
}

}  // namespace orbelin::model2::detail
