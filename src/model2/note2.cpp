#include "orbelin/model2/note2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 2> kIgnoreRelations{"multiMedia", "vital"};
}  // namespace

std::string Note2::className() const {
  return "Note";
}

bool Note2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Note2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Note2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("created", properties.created);
  writer.set("lastModified", properties.lastModified);
  writer.set("dictionary", properties.dictionary);
  writer.set("number", properties.number);
  writer.set("text", properties.text);
  writer.set("multiMedia", properties.multiMedia);
  writer.set("vital", properties.vital);
}

std::optional<Date> Note2::created() const {
  return dateValue(*this, "created");
}
std::optional<Date> Note2::lastModified() const {
  return dateValue(*this, "lastModified");
}
std::optional<Dictionary> Note2::dictionary() const {
  return dictionaryValue(*this, "dictionary");
}
std::optional<double> Note2::number() const {
  return doubleValue(*this, "number");
}
std::optional<std::string> Note2::text() const {
  return textValue(*this, "text");
}
MultiMedia2* Note2::multiMedia() const {
  return relatedObject<MultiMedia2>(*this, "multiMedia");
}
Vital2* Note2::vital() const {
  return relatedObject<Vital2>(*this, "vital");
}

}  // namespace orbelin::model2
