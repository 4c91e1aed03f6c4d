#include "orbelin/model2/medication2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"recoveryPath"};
}  // namespace

std::string Medication2::className() const {
  return "Medication";
}

bool Medication2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Medication2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Medication2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("name", properties.name);
  writer.set("commonName", properties.commonName);
  writer.set("drugIdentificationNumber", properties.drugIdentificationNumber);
  writer.set("dosage", properties.dosage);
  writer.set("instruction", properties.instruction);
  writer.set("recoveryPath", properties.recoveryPath);
}

std::optional<std::string> Medication2::name() const {
  return textValue(*this, "name");
}
std::optional<std::string> Medication2::commonName() const {
  return textValue(*this, "commonName");
}
std::optional<std::string> Medication2::drugIdentificationNumber() const {
  return textValue(*this, "drugIdentificationNumber");
}
std::optional<std::string> Medication2::dosage() const {
  return textValue(*this, "dosage");
}
Instruction2* Medication2::instruction() const {
  return relatedObject<Instruction2>(*this, "instruction");
}
RecoveryPath2* Medication2::recoveryPath() const {
  return relatedObject<RecoveryPath2>(*this, "recoveryPath");
}

}  // namespace orbelin::model2
