#include "orbelin/model2/shift2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"staffMember"};
}  // namespace

std::string Shift2::className() const {
  return "Shift";
}

bool Shift2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Shift2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Shift2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("title", properties.title);
  writer.set("durationinHours", properties.durationinHours);
  writer.set("startDateTime", properties.startDateTime);
  writer.set("endDateTime", properties.endDateTime);
  writer.set("staffMember", properties.staffMember);
}

std::optional<std::string> Shift2::title() const {
  return textValue(*this, "title");
}
std::optional<std::int32_t> Shift2::durationinHours() const {
  return int32Value(*this, "durationinHours");
}
std::optional<Date> Shift2::startDateTime() const {
  return dateValue(*this, "startDateTime");
}
std::optional<Date> Shift2::endDateTime() const {
  return dateValue(*this, "endDateTime");
}
StaffMember2* Shift2::staffMember() const {
  return relatedObject<StaffMember2>(*this, "staffMember");
}

}  // namespace orbelin::model2
