#include "orbelin/model2/medical_test2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"recoveryPath"};
}  // namespace

std::string MedicalTest2::className() const {
  return "MedicalTest";
}

std::optional<std::string> MedicalTest2::externalObjectId() const {
  return textValue(*this, "testId");
}

std::optional<std::string> MedicalTest2::externalObjectIdName() const {
  return "testId";
}

bool MedicalTest2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> MedicalTest2::ignoreRelations() const {
  return kIgnoreRelations;
}

void MedicalTest2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("testId", properties.testId);
  writer.set("shortDesc", properties.shortDesc);
  writer.set("dateTime", properties.dateTime);
  writer.set("longDesc", properties.longDesc);
  writer.set("normalMax", properties.normalMax);
  writer.set("normalMin", properties.normalMin);
  writer.set("technicianId", properties.technicianId);
  writer.set("recoveryPath", properties.recoveryPath);
  writer.set("results", properties.results);
}

std::optional<std::string> MedicalTest2::testId() const {
  return textValue(*this, "testId");
}
std::optional<std::string> MedicalTest2::shortDesc() const {
  return textValue(*this, "shortDesc");
}
std::optional<Date> MedicalTest2::dateTime() const {
  return dateValue(*this, "dateTime");
}
std::optional<std::string> MedicalTest2::longDesc() const {
  return textValue(*this, "longDesc");
}
std::optional<double> MedicalTest2::normalMax() const {
  return doubleValue(*this, "normalMax");
}
std::optional<double> MedicalTest2::normalMin() const {
  return doubleValue(*this, "normalMin");
}
std::optional<std::string> MedicalTest2::technicianId() const {
  return textValue(*this, "technicianId");
}
RecoveryPath2* MedicalTest2::recoveryPath() const {
  return relatedObject<RecoveryPath2>(*this, "recoveryPath");
}
std::vector<TestResult2*> MedicalTest2::results() const {
  return relatedObjects<TestResult2>(*this, "results");
}

}  // namespace orbelin::model2
