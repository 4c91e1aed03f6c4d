#include "orbelin/model2/room2.h"

#include "property_access.h"

namespace orbelin::model2 {

std::string Room2::className() const {
  return "Room";
}

std::optional<std::string> Room2::externalObjectId() const {
  return textValue(*this, "roomNumber");
}

std::optional<std::string> Room2::externalObjectIdName() const {
  return "roomNumber";
}

void Room2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("roomNumber", properties.roomNumber);
  writer.set("floor", properties.floor);
  writer.set("unit", properties.unit);
  writer.set("beds", properties.beds);
  writer.set("patients", properties.patients);
}

std::optional<std::string> Room2::roomNumber() const {
  return textValue(*this, "roomNumber");
}
std::optional<std::string> Room2::floor() const {
  return textValue(*this, "floor");
}
std::optional<std::string> Room2::unit() const {
  return textValue(*this, "unit");
}
std::vector<Bed2*> Room2::beds() const {
  return relatedObjects<Bed2>(*this, "beds");
}
std::vector<Patient2*> Room2::patients() const {
  return relatedObjects<Patient2>(*this, "patients");
}

}  // namespace orbelin::model2
