#include "orbelin/model2/task2.h"

#include "property_access.h"

namespace orbelin::model2 {

std::string Task2::className() const {
  return "Task";
}

void Task2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("type", properties.type);
  writer.set("instruction", properties.instruction);
  writer.set("owner", properties.owner);
  writer.set("group", properties.group);
  writer.set("messages", properties.messages);
  writer.set("pertainingPatient", properties.pertainingPatient);
}

std::optional<std::string> Task2::type() const {
  return textValue(*this, "type");
}
Instruction2* Task2::instruction() const {
  return relatedObject<Instruction2>(*this, "instruction");
}
StaffMember2* Task2::owner() const {
  return relatedObject<StaffMember2>(*this, "owner");
}
std::optional<std::string> Task2::group() const {
  return textValue(*this, "group");
}
std::vector<Message2*> Task2::messages() const {
  return relatedObjects<Message2>(*this, "messages");
}
Patient2* Task2::pertainingPatient() const {
  return relatedObject<Patient2>(*this, "pertainingPatient");
}

}  // namespace orbelin::model2
