#include "model2/entity_definition.h"

#include <algorithm>
#include <limits>

namespace orbelin::model2::detail {

void decode(const graph::Value& value, std::optional<std::string>& out) {
  if (auto text = value.string()) out = *text;
}

void decode(const graph::Value& value, std::optional<Date>& out) {
  out = value.date();
}

void decode(const graph::Value& value, std::optional<bool>& out) {
  if (auto flag = value.boolean()) {
    out = flag;
  } else if (auto number = value.integer()) {
    out = *number != 0;
  }
}

void decode(const graph::Value& value, std::optional<std::int32_t>& out) {
  auto number = value.integer();
  if (number && *number >= std::numeric_limits<std::int32_t>::min() &&
      *number <= std::numeric_limits<std::int32_t>::max())
    out = static_cast<std::int32_t>(*number);
}

void decode(const graph::Value& value, std::optional<double>& out) {
  out = value.number();
}

void decode(const graph::Value& value, std::optional<graph::Bytes>& out) {
  if (const graph::Bytes* bytes = value.binary()) out = *bytes;
}

void decode(const graph::Value& value, std::optional<Dictionary>& out) {
  const boost::json::value* json = value.transformable();
  if (json != nullptr && json->is_object()) out = json->get_object();
}

bool containsName(std::span<const std::string_view> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool attributeMatches(const graph::EntityDescription& entity, std::string_view name,
                      std::size_t slot, graph::AttributeType type) {
  return slot < entity.attributes().size() && entity.attributes()[slot].name == name &&
         entity.attributes()[slot].type == type;
}

bool relationshipMatches(const graph::EntityDescription& entity, std::string_view name,
                         std::size_t slot, std::string_view destination, std::string_view inverse,
                         bool toMany, bool ordered) {
  if (slot >= entity.relationships().size()) return false;
  const graph::RelationshipDescription& relationship = entity.relationships()[slot];
  return relationship.name == name && relationship.destinationName == destination &&
         relationship.inverseName == inverse && relationship.toMany == toMany &&
         relationship.ordered == ordered;
}

}  // namespace orbelin::model2::detail
