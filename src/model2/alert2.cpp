#include "orbelin/model2/alert2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"patient"};
}  // namespace

std::string Alert2::className() const {
  return "Alert";
}

std::optional<std::string> Alert2::externalObjectId() const {
  return textValue(*this, "alertId");
}

std::optional<std::string> Alert2::externalObjectIdName() const {
  return "alertId";
}

bool Alert2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Alert2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Alert2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("alertId", properties.alertId);
  writer.set("shortDesc", properties.shortDesc);
  writer.set("category", properties.category);
  writer.set("severity", properties.severity);
  writer.set("created", properties.created);
  writer.set("lastModified", properties.lastModified);
  writer.set("longDesc", properties.longDesc);
  writer.set("patient", properties.patient);
}

std::optional<std::string> Alert2::alertId() const {
  return textValue(*this, "alertId");
}
std::optional<std::string> Alert2::shortDesc() const {
  return textValue(*this, "shortDesc");
}
std::optional<std::string> Alert2::category() const {
  return textValue(*this, "category");
}
std::optional<std::string> Alert2::severity() const {
  return textValue(*this, "severity");
}
std::optional<Date> Alert2::created() const {
  return dateValue(*this, "created");
}
std::optional<Date> Alert2::lastModified() const {
  return dateValue(*this, "lastModified");
}
std::optional<std::string> Alert2::longDesc() const {
  return textValue(*this, "longDesc");
}
Patient2* Alert2::patient() const {
  return relatedObject<Patient2>(*this, "patient");
}

}  // namespace orbelin::model2
