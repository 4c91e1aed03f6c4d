#include <algorithm>
#include <string>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>

#include "model2/date_text.h"
#include "model2/dictionary_mapping.h"

namespace orbelin::model2::detail {
namespace {

namespace json = boost::json;

std::optional<json::value> attributeValue(const graph::Value& value) {
  using K = graph::Value::Kind;
  switch (value.kind()) {
    case K::Nil:
      return std::nullopt;
    case K::String:
      return json::value(*value.string());
    case K::Integer:
      return json::value(value.integerValue());
    case K::Double:
      return json::value(value.doubleValue());
    case K::Boolean:
      return json::value(value.boolValue());
    case K::Date: {
      auto text = formatDateTime(*value.date());
      if (!text) return std::nullopt;
      return json::value(*text);
    }
    case K::Binary: {
      json::array bytes;
      for (std::uint8_t byte : *value.binary()) bytes.emplace_back(static_cast<std::int64_t>(byte));
      return json::value(std::move(bytes));
    }
    case K::Transformable:
      return *value.transformable();
  }
  return std::nullopt;
}

// Walks the graph from one object. The objects on the current path are
// remembered, so a relationship cycle that no identifier or ignored
// relationship breaks ends at the object that closes it, and the path never
// grows past the nesting limit.
class Writer {
 public:
  Dictionary write(const graph::ManagedObject& object) {
    path_.push_back(&object);
    const auto* ex = dynamic_cast<const NSManagedObjectEx*>(&object);
    Dictionary dictionary;
    dictionary[ATTRIBUTE_NAME_FOR_CLASS] = ex ? ex->className() : object.entity().name();
    const auto& entity = object.entity();
    for (const graph::PropertyRef& property : entity.properties()) {
      if (property.isAttribute) {
        const auto& attribute = entity.attributes()[property.index];
        if (auto value = attributeValue(object.valueAt(attribute.index)))
          dictionary[attribute.name] = std::move(*value);
        continue;
      }
      const auto& relationship = entity.relationships()[property.index];
      if (ex && ex->ignoreRelation(relationship.name)) continue;
      writeRelationship(object, relationship, dictionary);
    }
    path_.pop_back();
    return dictionary;
  }

 private:
  void writeRelationship(const graph::ManagedObject& object,
                         const graph::RelationshipDescription& relationship,
                         Dictionary& dictionary) {
    if (relationship.toMany) {
      json::array members;
      for (graph::ManagedObject* member : object.objects(relationship.name)) {
        if (auto value = related(*member)) members.push_back(std::move(*value));
      }
      dictionary[relationship.name] = std::move(members);
    } else if (graph::ManagedObject* member = object.objectAt(relationship.index)) {
      if (auto value = related(*member)) dictionary[relationship.name] = std::move(*value);
    }
  }

  std::optional<json::value> related(const graph::ManagedObject& member) {
    if (const auto* ex = dynamic_cast<const NSManagedObjectEx*>(&member)) {
      if (auto id = ex->externalObjectId()) return json::value(*id);
    }
    bool onPath = std::find(path_.begin(), path_.end(), &member) != path_.end();
    if (onPath || path_.size() > static_cast<std::size_t>(NSManagedObjectEx::kMaxDictionaryDepth))
      return std::nullopt;
    return json::value(write(member));
  }

  std::vector<const graph::ManagedObject*> path_;
};

}  // namespace

Dictionary writeDictionary(const graph::ManagedObject& object) {
  return Writer().write(object);
}

}  // namespace orbelin::model2::detail
