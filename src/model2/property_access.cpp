#include "property_access.h"

#include <algorithm>
#include <limits>

namespace orbelin::model2 {

std::optional<std::string> textValue(const graph::ManagedObject& object, std::string_view key) {
  graph::Value value = object.value(key);
  if (const std::string* text = value.string()) return *text;
  return std::nullopt;
}

std::optional<Date> dateValue(const graph::ManagedObject& object, std::string_view key) {
  return object.value(key).date();
}

std::optional<bool> boolValue(const graph::ManagedObject& object, std::string_view key) {
  graph::Value value = object.value(key);
  if (auto flag = value.boolean()) return flag;
  if (auto number = value.integer()) return *number != 0;
  return std::nullopt;
}

std::optional<std::int32_t> int32Value(const graph::ManagedObject& object, std::string_view key) {
  auto number = object.value(key).integer();
  if (!number || *number < std::numeric_limits<std::int32_t>::min() ||
      *number > std::numeric_limits<std::int32_t>::max())
    return std::nullopt;
  return static_cast<std::int32_t>(*number);
}

std::optional<double> doubleValue(const graph::ManagedObject& object, std::string_view key) {
  return object.value(key).number();
}

std::optional<graph::Bytes> bytesValue(const graph::ManagedObject& object, std::string_view key) {
  graph::Value value = object.value(key);
  if (const graph::Bytes* bytes = value.binary()) return *bytes;
  return std::nullopt;
}

std::optional<Dictionary> dictionaryValue(const graph::ManagedObject& object,
                                          std::string_view key) {
  graph::Value value = object.value(key);
  const boost::json::value* json = value.transformable();
  if (json == nullptr || !json->is_object()) return std::nullopt;
  return json->get_object();
}

bool containsName(std::span<const std::string_view> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace orbelin::model2
