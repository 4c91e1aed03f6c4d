#include "orbelin/model2/instruction_action2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"instruction"};
}  // namespace

std::string InstructionAction2::className() const {
  return "InstructionAction";
}

bool InstructionAction2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> InstructionAction2::ignoreRelations() const {
  return kIgnoreRelations;
}

void InstructionAction2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("type", properties.type);
  writer.set("timeStamp", properties.timeStamp);
  writer.set("instruction", properties.instruction);
  writer.set("comments", properties.comments);
}

std::optional<std::string> InstructionAction2::type() const {
  return textValue(*this, "type");
}
std::optional<Date> InstructionAction2::timeStamp() const {
  return dateValue(*this, "timeStamp");
}
Instruction2* InstructionAction2::instruction() const {
  return relatedObject<Instruction2>(*this, "instruction");
}
std::optional<std::string> InstructionAction2::comments() const {
  return textValue(*this, "comments");
}

}  // namespace orbelin::model2
