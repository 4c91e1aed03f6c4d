#include "orbelin/model2/test_result2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"test"};
}  // namespace

std::string TestResult2::className() const {
  return "TestResult";
}

bool TestResult2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> TestResult2::ignoreRelations() const {
  return kIgnoreRelations;
}

void TestResult2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("abnormal", properties.abnormal);
  writer.set("analysis", properties.analysis);
  writer.set("timeStamp", properties.timeStamp);
  writer.set("test", properties.test);
  writer.set("analyzedBy", properties.analyzedBy);
  writer.set("imagery", properties.imagery);
}

std::optional<bool> TestResult2::abnormal() const {
  return boolValue(*this, "abnormal");
}
std::optional<std::string> TestResult2::analysis() const {
  return textValue(*this, "analysis");
}
std::optional<Date> TestResult2::timeStamp() const {
  return dateValue(*this, "timeStamp");
}
MedicalTest2* TestResult2::test() const {
  return relatedObject<MedicalTest2>(*this, "test");
}
StaffMember2* TestResult2::analyzedBy() const {
  return relatedObject<StaffMember2>(*this, "analyzedBy");
}
MultiMedia2* TestResult2::imagery() const {
  return relatedObject<MultiMedia2>(*this, "imagery");
}

}  // namespace orbelin::model2
