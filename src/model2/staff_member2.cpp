#include "orbelin/model2/staff_member2.h"

#include <array>

#include "property_access.h"

namespace orbelin::model2 {

namespace {
constexpr std::array<std::string_view, 4> kIgnoreRelations{"analyzedResults", "appoitments",
                                                           "issuedInstructions", "careMemberIn"};
}  // namespace

std::string StaffMember2::className() const {
  return "StaffMember";
}

std::optional<std::string> StaffMember2::externalObjectId() const {
  return textValue(*this, "staffId");
}

std::optional<std::string> StaffMember2::externalObjectIdName() const {
  return "staffId";
}

bool StaffMember2::ignoreRelation(std::string_view name) const {
  return containsName(kIgnoreRelations, name);
}

std::span<const std::string_view> StaffMember2::ignoreRelations() const {
  return kIgnoreRelations;
}

void StaffMember2::setProperties(const Properties& properties) {
  PropertyWriter writer(*this);
  writer.set("staffId", properties.staffId);
  writer.set("firstName", properties.firstName);
  writer.set("lastName", properties.lastName);
  writer.set("role", properties.role);
  writer.set("phoneNumber", properties.phoneNumber);
  writer.set("email", properties.email);
  writer.set("faceTimeId", properties.faceTimeId);
  writer.set("profilePictureURL", properties.profilePictureURL);
  writer.set("analyzedResults", properties.analyzedResults);
  writer.set("appoitments", properties.appoitments);
  writer.set("issuedInstructions", properties.issuedInstructions);
  writer.set("careMemberIn", properties.careMemberIn);
  writer.set("shifts", properties.shifts);
  writer.set("tasks", properties.tasks);
  writer.set("roundingPatients", properties.roundingPatients);
}

std::optional<std::string> StaffMember2::staffId() const {
  return textValue(*this, "staffId");
}
std::optional<std::string> StaffMember2::firstName() const {
  return textValue(*this, "firstName");
}
std::optional<std::string> StaffMember2::lastName() const {
  return textValue(*this, "lastName");
}
std::optional<std::string> StaffMember2::role() const {
  return textValue(*this, "role");
}
std::optional<std::string> StaffMember2::phoneNumber() const {
  return textValue(*this, "phoneNumber");
}
std::optional<std::string> StaffMember2::email() const {
  return textValue(*this, "email");
}
std::optional<std::string> StaffMember2::faceTimeId() const {
  return textValue(*this, "faceTimeId");
}
std::optional<std::string> StaffMember2::profilePictureURL() const {
  return textValue(*this, "profilePictureURL");
}
std::vector<TestResult2*> StaffMember2::analyzedResults() const {
  return relatedObjects<TestResult2>(*this, "analyzedResults");
}
std::vector<Appoitment2*> StaffMember2::appoitments() const {
  return relatedObjects<Appoitment2>(*this, "appoitments");
}
std::vector<Instruction2*> StaffMember2::issuedInstructions() const {
  return relatedObjects<Instruction2>(*this, "issuedInstructions");
}
std::vector<RecoveryPath2*> StaffMember2::careMemberIn() const {
  return relatedObjects<RecoveryPath2>(*this, "careMemberIn");
}
std::vector<Shift2*> StaffMember2::shifts() const {
  return relatedObjects<Shift2>(*this, "shifts");
}
std::vector<Task2*> StaffMember2::tasks() const {
  return relatedObjects<Task2>(*this, "tasks");
}
std::vector<Patient2*> StaffMember2::roundingPatients() const {
  return relatedObjects<Patient2>(*this, "roundingPatients");
}

}  // namespace orbelin::model2
