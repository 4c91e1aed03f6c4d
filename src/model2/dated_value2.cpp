#include "orbelin/model2/dated_value2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 7> kIgnoreRelations{
    "patient_allergy", "patient_barrier",      "patient_diagnosis", "patient_roundingNote",
    "patient_symptom", "patient_immunization", "patient_diet"};
}  // namespace

std::string DatedValue2::className() const {
  return "DatedValue";
}

bool DatedValue2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> DatedValue2::ignoreRelations() const {
  return kIgnoreRelations;
}

void DatedValue2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("date", properties.date);
  writer.set("value", properties.value);
}

std::optional<Date> DatedValue2::date() const {
  return dateValue(*this, "date");
}
std::optional<std::string> DatedValue2::value() const {
  return textValue(*this, "value");
}
Patient2* DatedValue2::patient_allergy() const {
  return relatedObject<Patient2>(*this, "patient_allergy");
}
Patient2* DatedValue2::patient_barrier() const {
  return relatedObject<Patient2>(*this, "patient_barrier");
}
Patient2* DatedValue2::patient_diagnosis() const {
  return relatedObject<Patient2>(*this, "patient_diagnosis");
}
Patient2* DatedValue2::patient_roundingNote() const {
  return relatedObject<Patient2>(*this, "patient_roundingNote");
}
Patient2* DatedValue2::patient_symptom() const {
  return relatedObject<Patient2>(*this, "patient_symptom");
}
Patient2* DatedValue2::patient_immunization() const {
  return relatedObject<Patient2>(*this, "patient_immunization");
}
Patient2* DatedValue2::patient_diet() const {
  return relatedObject<Patient2>(*this, "patient_diet");
}

}  // namespace orbelin::model2
