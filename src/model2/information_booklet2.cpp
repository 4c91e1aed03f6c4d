#include "orbelin/model2/information_booklet2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"recoveryPaths"};
}  // namespace

std::string InformationBooklet2::className() const {
  return "InformationBooklet";
}

std::optional<std::string> InformationBooklet2::externalObjectId() const {
  return textValue(*this, "bookletId");
}

std::optional<std::string> InformationBooklet2::externalObjectIdName() const {
  return "bookletId";
}

bool InformationBooklet2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> InformationBooklet2::ignoreRelations() const {
  return kIgnoreRelations;
}

void InformationBooklet2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("bookletId", properties.bookletId);
  writer.set("title", properties.title);
  writer.set("shortDesc", properties.shortDesc);
  writer.set("longDesc", properties.longDesc);
  writer.set("provider", properties.provider);
  writer.set("created", properties.created);
  writer.set("lastModified", properties.lastModified);
  writer.set("recoveryPaths", properties.recoveryPaths);
  writer.set("sections", properties.sections);
}

std::optional<std::string> InformationBooklet2::bookletId() const {
  return textValue(*this, "bookletId");
}
std::optional<std::string> InformationBooklet2::title() const {
  return textValue(*this, "title");
}
std::optional<std::string> InformationBooklet2::shortDesc() const {
  return textValue(*this, "shortDesc");
}
std::optional<std::string> InformationBooklet2::longDesc() const {
  return textValue(*this, "longDesc");
}
std::optional<std::string> InformationBooklet2::provider() const {
  return textValue(*this, "provider");
}
std::optional<Date> InformationBooklet2::created() const {
  return dateValue(*this, "created");
}
std::optional<Date> InformationBooklet2::lastModified() const {
  return dateValue(*this, "lastModified");
}
std::vector<RecoveryPath2*> InformationBooklet2::recoveryPaths() const {
  return relatedObjects<RecoveryPath2>(*this, "recoveryPaths");
}
std::vector<BookletSection2*> InformationBooklet2::sections() const {
  return relatedObjects<BookletSection2>(*this, "sections");
}

}  // namespace orbelin::model2
