#include "orbelin/model2/bed2.h"

#include "property_access.h"

namespace orbelin::model2 {

std::string Bed2::className() const {
  return "Bed";
}

std::optional<std::string> Bed2::externalObjectId() const {
  return textValue(*this, "bedNumber");
}

std::optional<std::string> Bed2::externalObjectIdName() const {
  return "bedNumber";
}

void Bed2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("bedNumber", properties.bedNumber);
  writer.set("room", properties.room);
  writer.set("patient", properties.patient);
}

std::optional<std::string> Bed2::bedNumber() const {
  return textValue(*this, "bedNumber");
}
Room2* Bed2::room() const {
  return relatedObject<Room2>(*this, "room");
}
Patient2* Bed2::patient() const {
  return relatedObject<Patient2>(*this, "patient");
}

}  // namespace orbelin::model2
