#include "orbelin/model2/message2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 2> kIgnoreRelations{"patient", "task"};
}  // namespace

std::string Message2::className() const {
  return "Message";
}

std::optional<std::string> Message2::externalObjectId() const {
  return textValue(*this, "messageId");
}

std::optional<std::string> Message2::externalObjectIdName() const {
  return "messageId";
}

bool Message2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> Message2::ignoreRelations() const {
  return kIgnoreRelations;
}

void Message2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("messageId", properties.messageId);
  writer.set("from", properties.from);
  writer.set("to", properties.to);
  writer.set("body", properties.body);
  writer.set("timeStamp", properties.timeStamp);
  writer.set("category", properties.category);
  writer.set("priority", properties.priority);
  writer.set("status", properties.status);
  writer.set("thread", properties.thread);
  writer.set("patient", properties.patient);
  writer.set("task", properties.task);
}

std::optional<std::string> Message2::messageId() const {
  return textValue(*this, "messageId");
}
std::optional<std::string> Message2::from() const {
  return textValue(*this, "from");
}
std::optional<std::string> Message2::to() const {
  return textValue(*this, "to");
}
std::optional<std::string> Message2::body() const {
  return textValue(*this, "body");
}
std::optional<Date> Message2::timeStamp() const {
  return dateValue(*this, "timeStamp");
}
std::optional<std::string> Message2::category() const {
  return textValue(*this, "category");
}
std::optional<std::string> Message2::priority() const {
  return textValue(*this, "priority");
}
std::optional<std::string> Message2::status() const {
  return textValue(*this, "status");
}
std::optional<std::string> Message2::thread() const {
  return textValue(*this, "thread");
}
Patient2* Message2::patient() const {
  return relatedObject<Patient2>(*this, "patient");
}
Task2* Message2::task() const {
  return relatedObject<Task2>(*this, "task");
}

}  // namespace orbelin::model2
