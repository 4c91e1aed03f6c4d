#include "orbelin/model2/instruction2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 3> kIgnoreRelations{"recoveryPath", "medication", "task"};
}  // namespace

std::string Instruction2::className() const {
  return "Instruction";
}

bool Instruction2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Instruction2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Instruction2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("shortDesc", properties.shortDesc);
  writer.set("status", properties.status);
  writer.set("longDesc", properties.longDesc);
  writer.set("educationURL", properties.educationURL);
  writer.set("imageURL", properties.imageURL);
  writer.set("startDateTime", properties.startDateTime);
  writer.set("frequency", properties.frequency);
  writer.set("frequencyUnit", properties.frequencyUnit);
  writer.set("createdAt", properties.createdAt);
  writer.set("completedAt", properties.completedAt);
  writer.set("needsReminder", properties.needsReminder);
  writer.set("actions", properties.actions);
  writer.set("issuedBy", properties.issuedBy);
  writer.set("recoveryPath", properties.recoveryPath);
  writer.set("medication", properties.medication);
  writer.set("task", properties.task);
}

std::optional<std::string> Instruction2::shortDesc() const {
  return textValue(*this, "shortDesc");
}
std::optional<std::string> Instruction2::status() const {
  return textValue(*this, "status");
}
std::optional<std::string> Instruction2::longDesc() const {
  return textValue(*this, "longDesc");
}
std::optional<std::string> Instruction2::educationURL() const {
  return textValue(*this, "educationURL");
}
std::optional<std::string> Instruction2::imageURL() const {
  return textValue(*this, "imageURL");
}
std::optional<Date> Instruction2::startDateTime() const {
  return dateValue(*this, "startDateTime");
}
std::optional<std::string> Instruction2::frequency() const {
  return textValue(*this, "frequency");
}
std::optional<std::int32_t> Instruction2::frequencyUnit() const {
  return int32Value(*this, "frequencyUnit");
}
std::optional<Date> Instruction2::createdAt() const {
  return dateValue(*this, "createdAt");
}
std::optional<Date> Instruction2::completedAt() const {
  return dateValue(*this, "completedAt");
}
std::optional<bool> Instruction2::needsReminder() const {
  return boolValue(*this, "needsReminder");
}
std::vector<InstructionAction2*> Instruction2::actions() const {
  return relatedObjects<InstructionAction2>(*this, "actions");
}
StaffMember2* Instruction2::issuedBy() const {
  return relatedObject<StaffMember2>(*this, "issuedBy");
}
RecoveryPath2* Instruction2::recoveryPath() const {
  return relatedObject<RecoveryPath2>(*this, "recoveryPath");
}
Medication2* Instruction2::medication() const {
  return relatedObject<Medication2>(*this, "medication");
}
Task2* Instruction2::task() const {
  return relatedObject<Task2>(*this, "task");
}

}  // namespace orbelin::model2
