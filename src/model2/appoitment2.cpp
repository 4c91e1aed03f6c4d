#include "orbelin/model2/appoitment2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"recoveryPath"};
}  // namespace

std::string Appoitment2::className() const {
  return "Appoitment";
}

bool Appoitment2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Appoitment2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Appoitment2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("shortDesc", properties.shortDesc);
  writer.set("dateTime", properties.dateTime);
  writer.set("recoveryPath", properties.recoveryPath);
  writer.set("status", properties.status);
  writer.set("longDesc", properties.longDesc);
  writer.set("location", properties.location);
  writer.set("withStaffMembers", properties.withStaffMembers);
}

std::optional<std::string> Appoitment2::shortDesc() const {
  return textValue(*this, "shortDesc");
}
std::optional<Date> Appoitment2::dateTime() const {
  return dateValue(*this, "dateTime");
}
RecoveryPath2* Appoitment2::recoveryPath() const {
  return relatedObject<RecoveryPath2>(*this, "recoveryPath");
}
std::optional<std::string> Appoitment2::status() const {
  return textValue(*this, "status");
}
std::optional<std::string> Appoitment2::longDesc() const {
  return textValue(*this, "longDesc");
}
std::optional<std::string> Appoitment2::location() const {
  return textValue(*this, "location");
}
std::vector<StaffMember2*> Appoitment2::withStaffMembers() const {
  return relatedObjects<StaffMember2>(*this, "withStaffMembers");
}

}  // namespace orbelin::model2
