#include "orbelin/model2/multi_media2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 3> kIgnoreRelations{"bookletSection", "note", "testResult"};
}  // namespace

std::string MultiMedia2::className() const {
  return "MultiMedia";
}

bool MultiMedia2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> MultiMedia2::ignoreRelations() const {
  return kIgnoreRelations;
}

void MultiMedia2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("mimeType", properties.mimeType);
  writer.set("binaryData", properties.binaryData);
  writer.set("thumbnailURL", properties.thumbnailURL);
  writer.set("url", properties.url);
  writer.set("bookletSection", properties.bookletSection);
  writer.set("note", properties.note);
  writer.set("testResult", properties.testResult);
}

std::optional<std::string> MultiMedia2::mimeType() const {
  return textValue(*this, "mimeType");
}
std::optional<graph::Bytes> MultiMedia2::binaryData() const {
  return bytesValue(*this, "binaryData");
}
std::optional<std::string> MultiMedia2::thumbnailURL() const {
  return textValue(*this, "thumbnailURL");
}
std::optional<std::string> MultiMedia2::url() const {
  return textValue(*this, "url");
}
BookletSection2* MultiMedia2::bookletSection() const {
  return relatedObject<BookletSection2>(*this, "bookletSection");
}
Note2* MultiMedia2::note() const {
  return relatedObject<Note2>(*this, "note");
}
TestResult2* MultiMedia2::testResult() const {
  return relatedObject<TestResult2>(*this, "testResult");
}

}  // namespace orbelin::model2
