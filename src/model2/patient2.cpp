#include "orbelin/model2/patient2.h"

#include "property_access.h"

namespace orbelin::model2 {

std::string Patient2::className() const {
  return "Patient";
}

std::optional<std::string> Patient2::externalObjectId() const {
  return textValue(*this, "patientId");
}

std::optional<std::string> Patient2::externalObjectIdName() const {
  return "patientId";
}

void Patient2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("patientId", properties.patientId);
  writer.set("firstName", properties.firstName);
  writer.set("lastName", properties.lastName);
  writer.set("gender", properties.gender);
  writer.set("birthDate", properties.birthDate);
  writer.set("acuity", properties.acuity);
  writer.set("ambulatoryStatus", properties.ambulatoryStatus);
  writer.set("physicianName", properties.physicianName);
  writer.set("status", properties.status);
  writer.set("alerts", properties.alerts);
  writer.set("allergies", properties.allergies);
  writer.set("barriers", properties.barriers);
  writer.set("bed", properties.bed);
  writer.set("diagnoses", properties.diagnoses);
  writer.set("diets", properties.diets);
  writer.set("immunizations", properties.immunizations);
  writer.set("pertainingMessages", properties.pertainingMessages);
  writer.set("pertainingTasks", properties.pertainingTasks);
  writer.set("recoveryPath", properties.recoveryPath);
  writer.set("room", properties.room);
  writer.set("roundedBy", properties.roundedBy);
  writer.set("roundingNotes", properties.roundingNotes);
  writer.set("symptoms", properties.symptoms);
  writer.set("vitals", properties.vitals);
}

std::optional<std::string> Patient2::patientId() const {
  return textValue(*this, "patientId");
}
std::optional<std::string> Patient2::firstName() const {
  return textValue(*this, "firstName");
}
std::optional<std::string> Patient2::lastName() const {
  return textValue(*this, "lastName");
}
std::optional<std::string> Patient2::gender() const {
  return textValue(*this, "gender");
}
std::optional<Date> Patient2::birthDate() const {
  return dateValue(*this, "birthDate");
}
std::optional<std::string> Patient2::acuity() const {
  return textValue(*this, "acuity");
}
std::optional<std::string> Patient2::ambulatoryStatus() const {
  return textValue(*this, "ambulatoryStatus");
}
std::optional<std::string> Patient2::physicianName() const {
  return textValue(*this, "physicianName");
}
std::optional<std::string> Patient2::status() const {
  return textValue(*this, "status");
}
std::vector<Alert2*> Patient2::alerts() const {
  return relatedObjects<Alert2>(*this, "alerts");
}
std::vector<DatedValue2*> Patient2::allergies() const {
  return relatedObjects<DatedValue2>(*this, "allergies");
}
std::vector<DatedValue2*> Patient2::barriers() const {
  return relatedObjects<DatedValue2>(*this, "barriers");
}
Bed2* Patient2::bed() const {
  return relatedObject<Bed2>(*this, "bed");
}
std::vector<DatedValue2*> Patient2::diagnoses() const {
  return relatedObjects<DatedValue2>(*this, "diagnoses");
}
std::vector<DatedValue2*> Patient2::diets() const {
  return relatedObjects<DatedValue2>(*this, "diets");
}
std::vector<DatedValue2*> Patient2::immunizations() const {
  return relatedObjects<DatedValue2>(*this, "immunizations");
}
std::vector<Message2*> Patient2::pertainingMessages() const {
  return relatedObjects<Message2>(*this, "pertainingMessages");
}
std::vector<Task2*> Patient2::pertainingTasks() const {
  return relatedObjects<Task2>(*this, "pertainingTasks");
}
RecoveryPath2* Patient2::recoveryPath() const {
  return relatedObject<RecoveryPath2>(*this, "recoveryPath");
}
Room2* Patient2::room() const {
  return relatedObject<Room2>(*this, "room");
}
StaffMember2* Patient2::roundedBy() const {
  return relatedObject<StaffMember2>(*this, "roundedBy");
}
std::vector<DatedValue2*> Patient2::roundingNotes() const {
  return relatedObjects<DatedValue2>(*this, "roundingNotes");
}
std::vector<DatedValue2*> Patient2::symptoms() const {
  return relatedObjects<DatedValue2>(*this, "symptoms");
}
std::vector<Vital2*> Patient2::vitals() const {
  return relatedObjects<Vital2>(*this, "vitals");
}

}  // namespace orbelin::model2
