#include "orbelin/model2/booklet_section2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"informationBooklet"};
}  // namespace

std::string BookletSection2::className() const {
  return "BookletSection";
}

bool BookletSection2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> BookletSection2::ignoreRelations() const {
  return kIgnoreRelations;
}

void BookletSection2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("category", properties.category);
  writer.set("title", properties.title);
  writer.set("body", properties.body);
  writer.set("informationBooklet", properties.informationBooklet);
  writer.set("multiMedias", properties.multiMedias);
}

std::optional<std::string> BookletSection2::category() const {
  return textValue(*this, "category");
}
std::optional<std::string> BookletSection2::title() const {
  return textValue(*this, "title");
}
std::optional<std::string> BookletSection2::body() const {
  return textValue(*this, "body");
}
InformationBooklet2* BookletSection2::informationBooklet() const {
  return relatedObject<InformationBooklet2>(*this, "informationBooklet");
}
std::vector<MultiMedia2*> BookletSection2::multiMedias() const {
  return relatedObjects<MultiMedia2>(*this, "multiMedias");
}

}  // namespace orbelin::model2
