#include <set>
#include <string>
#include <unordered_set>

#include "orbelin/graph/model_catalog.h"
#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

// The records read attributes by position: every position must name the
// attribute the accessor means.
template <typename Record>
void expectAttributes(const graph::ManagedObjectModel& model, const std::string& entity,
                      std::initializer_list<std::pair<const char*, std::size_t>> attributes,
                      std::initializer_list<std::pair<const char*, std::size_t>> relationships) {
  SCOPED_TRACE(entity);
  const auto* description = model.entity(entity);
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->attributes().size(), Record::kAttributeCount);
  EXPECT_EQ(description->relationships().size(), Record::kRelationshipCount);
  for (auto [name, index] : attributes) EXPECT_EQ(description->attributeIndex(name), index) << name;
  for (auto [name, index] : relationships) {
    EXPECT_EQ(description->relationshipIndex(name), index) << name;
  }
}

TEST(FirstGenerationModelTest, EntitiesAttributesAndPositions) {
  auto model = buildFirstGenerationModel();
  ASSERT_NE(model, nullptr);
  std::set<std::string> names;
  for (const auto& entity : model->entities()) names.insert(entity->name());
  EXPECT_EQ(names, (std::set<std::string>{"Patient", "Task", "TaskSummary", "StaffMember",
                                          "StaffSummary", "Shift", "Room", "Role", "UserAppInfo",
                                          "Notification", "Allergy", "Barrier", "Diagnosis",
                                          "Medication", "MedicalProblem"}));

  using P = Patient;
  expectAttributes<Patient>(*model, "Patient",
                            {{"doctorApproval", P::kDoctorApproval},
                             {"dischargeDisposition", P::kDischargeDisposition},
                             {"id", P::kId},
                             {"firstName", P::kFirstName},
                             {"lastName", P::kLastName},
                             {"roomNumber", P::kRoomNumber},
                             {"gender", P::kGender},
                             {"acuity", P::kAcuity},
                             {"birthdate", P::kBirthdate},
                             {"ambulatoryStatus", P::kAmbulatoryStatus},
                             {"codeStatus", P::kCodeStatus},
                             {"dietType", P::kDietType},
                             {"immunizationStatus", P::kImmunizationStatus},
                             {"coreMeasures", P::kCoreMeasures},
                             {"admittedDate", P::kAdmittedDate},
                             {"status", P::kStatus},
                             {"physician", P::kPhysician},
                             {"dischargedDate", P::kDischargedDate},
                             {"staffIds", P::kStaffIds}},
                            {{"diagnoses", P::kDiagnoses},
                             {"medications", P::kMedications},
                             {"allergies", P::kAllergies},
                             {"medicalProblems", P::kMedicalProblems},
                             {"tasks", P::kTasks},
                             {"barriers", P::kBarriers},
                             {"room", P::kRoom},
                             {"notifications", P::kNotifications},
                             {"userInfos", P::kUserInfos}});
  expectAttributes<Task>(*model, "Task",
                         {{"id", Task::kId},
                          {"groupId", Task::kGroupId},
                          {"createdDate", Task::kCreatedDate},
                          {"type", Task::kType},
                          {"status", Task::kStatus},
                          {"completedDate", Task::kCompletedDate},
                          {"statusDescription", Task::kStatusDescription},
                          {"text", Task::kText},
                          {"staffId", Task::kStaffId},
                          {"dueDate", Task::kDueDate}},
                         {{"patient", Task::kPatient},
                          {"userInfo", Task::kUserInfo},
                          {"notifications", Task::kNotifications}});
  expectAttributes<TaskSummary>(*model, "TaskSummary",
                                {{"open", TaskSummary::kOpen},
                                 {"completed", TaskSummary::kCompleted},
                                 {"patientId", TaskSummary::kPatientId},
                                 {"overdue", TaskSummary::kOverdue},
                                 {"id", TaskSummary::kId}},
                                {{"userAppInfo", TaskSummary::kUserAppInfo}});
  expectAttributes<Notification>(*model, "Notification",
                                 {{"id", Notification::kId},
                                  {"date", Notification::kDate},
                                  {"text", Notification::kText},
                                  {"type", Notification::kType},
                                  {"status", Notification::kStatus}},
                                 {{"task", Notification::kTask},
                                  {"patient", Notification::kPatient},
                                  {"userInfo", Notification::kUserInfo}});
  expectAttributes<StaffMember>(*model, "StaffMember",
                                {{"firstName", StaffMember::kFirstName},
                                 {"id", StaffMember::kId},
                                 {"lastName", StaffMember::kLastName},
                                 {"shiftId", StaffMember::kShiftId},
                                 {"image", StaffMember::kImage},
                                 {"phoneNumber", StaffMember::kPhoneNumber}},
                                {{"userInfo", StaffMember::kUserInfo},
                                 {"role", StaffMember::kRole},
                                 {"shifts", StaffMember::kShifts}});
  expectAttributes<StaffSummary>(*model, "StaffSummary",
                                 {{"staffId", StaffSummary::kStaffId},
                                  {"completedTasks", StaffSummary::kCompletedTasks},
                                  {"remainingTasks", StaffSummary::kRemainingTasks},
                                  {"reportedIssues", StaffSummary::kReportedIssues},
                                  {"id", StaffSummary::kId}},
                                 {{"overdueTasks", StaffSummary::kOverdueTasks}});
  expectAttributes<Role>(*model, "Role", {{"id", Role::kId}, {"label", Role::kLabel}},
                         {{"staffMembers", Role::kStaffMembers}});
  expectAttributes<Shift>(
      *model, "Shift",
      {{"id", Shift::kId}, {"startTime", Shift::kStartTime}, {"endTime", Shift::kEndTime}},
      {{"staffMembers", Shift::kStaffMembers}});
  expectAttributes<Room>(*model, "Room", {{"id", Room::kId}, {"name", Room::kName}},
                         {{"patient", Room::kPatient}});
  expectAttributes<UserAppInfo>(*model, "UserAppInfo",
                                {{"username", UserAppInfo::kUsername}, {"id", UserAppInfo::kId}},
                                {{"patients", UserAppInfo::kPatients},
                                 {"tasks", UserAppInfo::kTasks},
                                 {"notification", UserAppInfo::kNotification},
                                 {"staffMember", UserAppInfo::kStaffMember}});
  for (const char* lookup : {"Allergy", "Barrier", "Diagnosis", "Medication", "MedicalProblem"}) {
    expectAttributes<LookupRecord>(*model, lookup,
                                   {{"id", LookupRecord::kId}, {"name", LookupRecord::kName}},
                                   {{"patients", LookupRecord::kPatients}});
  }
}

TEST(FirstGenerationModelTest, InversePairsAndCardinality) {
  auto model = buildFirstGenerationModel();
  ASSERT_NE(model, nullptr);
  auto inverse = [&](const char* entity, const char* relationship) {
    const auto* r = model->entity(entity)->relationship(relationship);
    return r && r->inverse ? r->destinationName + "." + r->inverse->name : std::string("none");
  };
  EXPECT_EQ(inverse("Role", "staffMembers"), "StaffMember.role");
  EXPECT_EQ(inverse("Shift", "staffMembers"), "StaffMember.shifts");
  EXPECT_EQ(inverse("UserAppInfo", "staffMember"), "StaffMember.userInfo");
  EXPECT_EQ(inverse("UserAppInfo", "tasks"), "Task.userInfo");
  EXPECT_EQ(inverse("UserAppInfo", "notification"), "Notification.userInfo");
  EXPECT_EQ(inverse("UserAppInfo", "patients"), "Patient.userInfos");
  EXPECT_EQ(inverse("Room", "patient"), "Patient.room");
  EXPECT_EQ(inverse("Diagnosis", "patients"), "Patient.diagnoses");
  EXPECT_EQ(inverse("Medication", "patients"), "Patient.medications");
  EXPECT_EQ(inverse("Allergy", "patients"), "Patient.allergies");
  EXPECT_EQ(inverse("Barrier", "patients"), "Patient.barriers");
  EXPECT_EQ(inverse("MedicalProblem", "patients"), "Patient.medicalProblems");
  // A task keeps its own nested patient.
  EXPECT_EQ(inverse("Task", "patient"), "none");
  EXPECT_EQ(inverse("Patient", "tasks"), "none");
  EXPECT_FALSE(model->entity("MedicalProblem")->relationship("patients")->toMany);
  EXPECT_TRUE(model->entity("Allergy")->relationship("patients")->toMany);
  EXPECT_FALSE(model->entity("Patient")->relationship("room")->toMany);
}

TEST(FirstGenerationModelTest, SharedStackCarriesTheModel) {
  registerFirstGenerationModel();
  registerFirstGenerationModel();  // once only
  auto model = CoreDataStack::sharedInstance().managedObjectModel();
  ASSERT_NE(model, nullptr);
  ASSERT_NE(model->entity("Patient"), nullptr);
  EXPECT_EQ(model, graph::ModelCatalog::model(CoreDataStack::kModelName));
  EXPECT_EQ(Patient::fetchRequest().entityName(), "Patient");
  EXPECT_EQ(Medication::fetchRequest().entityName(), "Medication");
  EXPECT_EQ(UserAppInfo::fetchRequest().entityName(), "UserAppInfo");
  EXPECT_EQ(Patient::fetchRequest().predicate().has_value(), false);
  EXPECT_TRUE(Task::fetchRequest().sortDescriptors().empty());
}

TEST(EnumerationTest, RawValuesLabelsAndHashing) {
  EXPECT_EQ(fromRawValue<DischargeStatus>(1), DischargeStatus::InToday);
  EXPECT_EQ(fromRawValue<DischargeStatus>(3), std::nullopt);
  EXPECT_EQ(fromRawValue<DischargeStatus>(-1), std::nullopt);
  EXPECT_EQ(fromRawValue<TaskType>(2), TaskType::PatientRequest);
  EXPECT_EQ(fromRawValue<TaskType>(3), std::nullopt);
  EXPECT_EQ(fromRawValue<TaskStatus>(3), TaskStatus::Overdue);
  EXPECT_EQ(fromRawValue<TaskStatus>(4), std::nullopt);
  EXPECT_EQ(fromRawValue<NotificationType>(3), NotificationType::HospitalAlert);
  EXPECT_EQ(fromRawValue<NotificationStatus>(2), std::nullopt);
  EXPECT_EQ(rawValue(TaskStatus::Forward), 2);
  EXPECT_EQ(label(NotificationType::Undefined), "Undefined");
  EXPECT_EQ(label(NotificationType::LabStatus), "Lab Status");
  EXPECT_EQ(label(NotificationType::EquipmentAlert), "Equipment Alert");
  EXPECT_EQ(label(NotificationType::HospitalAlert), "Hospital Alert");
  std::unordered_set<DischargeStatus> statuses{DischargeStatus::InToday, DischargeStatus::InToday,
                                               DischargeStatus::InThePast};
  EXPECT_EQ(statuses.size(), 2u);
}

}  // namespace
}  // namespace orbelin::test
