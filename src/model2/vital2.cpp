#include "orbelin/model2/vital2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"pateint"};
}  // namespace

std::string Vital2::className() const {
  return "Vital";
}

bool Vital2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Vital2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Vital2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("type", properties.type);
  writer.set("measurement", properties.measurement);
  writer.set("pateint", properties.pateint);
  writer.set("comments", properties.comments);
}

std::optional<std::string> Vital2::type() const {
  return textValue(*this, "type");
}
Note2* Vital2::measurement() const {
  return relatedObject<Note2>(*this, "measurement");
}
Patient2* Vital2::pateint() const {
  return relatedObject<Patient2>(*this, "pateint");
}
std::optional<std::string> Vital2::comments() const {
  return textValue(*this, "comments");
}

}  // namespace orbelin::model2
