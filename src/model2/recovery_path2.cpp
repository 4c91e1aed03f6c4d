#include "orbelin/model2/recovery_path2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 1> kIgnoreRelations{"patient"};
}  // namespace

std::string RecoveryPath2::className() const {
  return "RecoveryPath";
}

bool RecoveryPath2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> RecoveryPath2::ignoreRelations() const {
  return kIgnoreRelations;
}

void RecoveryPath2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("patient", properties.patient);
  writer.set("admissionDate", properties.admissionDate);
  writer.set("dischargeDate", properties.dischargeDate);
  writer.set("dischargeDisposition", properties.dischargeDisposition);
  writer.set("dischargeApprovalState", properties.dischargeApprovalState);
  writer.set("appoitments", properties.appoitments);
  writer.set("careTeam", properties.careTeam);
  writer.set("informationBooklets", properties.informationBooklets);
  writer.set("instructions", properties.instructions);
  writer.set("medicalTests", properties.medicalTests);
  writer.set("medications", properties.medications);
}

Patient2* RecoveryPath2::patient() const {
  return relatedObject<Patient2>(*this, "patient");
}
std::optional<Date> RecoveryPath2::admissionDate() const {
  return dateValue(*this, "admissionDate");
}
std::optional<Date> RecoveryPath2::dischargeDate() const {
  return dateValue(*this, "dischargeDate");
}
std::optional<std::string> RecoveryPath2::dischargeDisposition() const {
  return textValue(*this, "dischargeDisposition");
}
std::optional<std::string> RecoveryPath2::dischargeApprovalState() const {
  return textValue(*this, "dischargeApprovalState");
}
std::vector<Appoitment2*> RecoveryPath2::appoitments() const {
  return relatedObjects<Appoitment2>(*this, "appoitments");
}
std::vector<StaffMember2*> RecoveryPath2::careTeam() const {
  return relatedObjects<StaffMember2>(*this, "careTeam");
}
std::vector<InformationBooklet2*> RecoveryPath2::informationBooklets() const {
  return relatedObjects<InformationBooklet2>(*this, "informationBooklets");
}
std::vector<Instruction2*> RecoveryPath2::instructions() const {
  return relatedObjects<Instruction2>(*this, "instructions");
}
std::vector<MedicalTest2*> RecoveryPath2::medicalTests() const {
  return relatedObjects<MedicalTest2>(*this, "medicalTests");
}
std::vector<Medication2*> RecoveryPath2::medications() const {
  return relatedObjects<Medication2>(*this, "medications");
}

}  // namespace orbelin::model2
