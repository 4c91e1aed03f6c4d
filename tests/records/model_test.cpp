#include <set>
#include <string>
#include <unordered_set>

#include "orbelin/graph/model_catalog.h"
#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

TEST(FirstGenerationModelTest, FifteenEntitiesByTheirRecordNames) {
  auto model = buildFirstGenerationModel();
  ASSERT_NE(model, nullptr);
  std::set<std::string> names;
  for (const auto& entity : model->entities()) names.insert(entity->name());
  EXPECT_EQ(names, (std::set<std::string>{"Patient", "Task", "TaskSummary", "StaffMember",
                                          "StaffSummary", "Shift", "Room", "Role", "UserAppInfo",
                                          "Notification", "Allergy", "Barrier", "Diagnosis",
                                          "Medication", "MedicalProblem"}));
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

namespace orbelin::test {
namespace {

template <typename R>
using TextGetter = std::string (R::*)() const;
template <typename R>
using IntegerGetter = std::optional<std::int64_t> (R::*)() const;
template <typename R>
using DateGetter = OptionalDate (R::*)() const;

// Each value is set under its attribute's model name (as predicates, sorts
// and key-value access reach it) and must come back from the accessor of
// that name, with no two names sharing a slot.
template <typename R>
void expectNamed(R& record, std::initializer_list<std::pair<const char*, TextGetter<R>>> texts,
                 std::initializer_list<std::pair<const char*, IntegerGetter<R>>> integers = {},
                 std::initializer_list<std::pair<const char*, DateGetter<R>>> dates = {}) {
  std::int64_t number = 100;
  for (auto [name, get] : texts) ASSERT_TRUE(record.setValue(name, std::string(name))) << name;
  for (auto [name, get] : integers) ASSERT_TRUE(record.setValue(name, ++number)) << name;
  for (auto [name, get] : dates) ASSERT_TRUE(record.setValue(name, dateFromSeconds(++number)));
  number = 100;
  for (auto [name, get] : texts) EXPECT_EQ((record.*get)(), name);
  for (auto [name, get] : integers) EXPECT_EQ((record.*get)(), ++number) << name;
  for (auto [name, get] : dates) EXPECT_EQ((record.*get)(), dateFromSeconds(++number)) << name;
}

TEST_F(RecordsTest, AccessorsReachTheAttributesOfTheirModelNames) {
  using P = Patient;
  auto* patient = Patient::create(json("{}"));
  expectNamed<P>(*patient,
                 {{"doctorApproval", &P::doctorApproval},
                  {"dischargeDisposition", &P::dischargeDisposition},
                  {"firstName", &P::firstName},
                  {"lastName", &P::lastName},
                  {"roomNumber", &P::roomNumber},
                  {"gender", &P::gender},
                  {"ambulatoryStatus", &P::ambulatoryStatus},
                  {"codeStatus", &P::codeStatus},
                  {"dietType", &P::dietType},
                  {"immunizationStatus", &P::immunizationStatus},
                  {"coreMeasures", &P::coreMeasures},
                  {"physician", &P::physician}},
                 {{"id", &P::id}, {"acuity", &P::acuity}, {"status", &P::status}},
                 {{"birthdate", &P::birthdate},
                  {"admittedDate", &P::admittedDate},
                  {"dischargedDate", &P::dischargedDate}});
  auto* task = Task::create(json("{}"));
  expectNamed<Task>(*task, {{"statusDescription", &Task::statusDescription}, {"text", &Task::text}},
                    {{"id", &Task::id},
                     {"groupId", &Task::groupId},
                     {"type", &Task::type},
                     {"status", &Task::status},
                     {"staffId", &Task::staffId}},
                    {{"createdDate", &Task::createdDate},
                     {"completedDate", &Task::completedDate},
                     {"dueDate", &Task::dueDate}});
  using TS = TaskSummary;
  expectNamed<TS>(*TaskSummary::create(json("{}")), {},
                  {{"open", &TS::open},
                   {"completed", &TS::completed},
                   {"patientId", &TS::patientId},
                   {"overdue", &TS::overdue},
                   {"id", &TS::id}});
  using N = Notification;
  auto* notification = Notification::create(json("{}"));
  expectNamed<N>(*notification, {{"text", &N::text}},
                 {{"id", &N::id}, {"type", &N::type}, {"status", &N::status}},
                 {{"date", &N::date}});
  using SM = StaffMember;
  auto* member = StaffMember::create(json("{}"));
  expectNamed<SM>(*member,
                  {{"firstName", &SM::firstName},
                   {"lastName", &SM::lastName},
                   {"image", &SM::image},
                   {"phoneNumber", &SM::phoneNumber}},
                  {{"id", &SM::id}, {"shiftId", &SM::shiftId}});
  using SS = StaffSummary;
  expectNamed<SS>(*StaffSummary::create(json("{}")), {},
                  {{"staffId", &SS::staffId},
                   {"completedTasks", &SS::completedTasks},
                   {"remainingTasks", &SS::remainingTasks},
                   {"reportedIssues", &SS::reportedIssues},
                   {"id", &SS::id}});
  expectNamed<Role>(*Role::create(json("{}")), {{"label", &Role::label}}, {{"id", &Role::id}});
  expectNamed<Shift>(*Shift::create(json("{}")), {}, {{"id", &Shift::id}},
                     {{"startTime", &Shift::startTime}, {"endTime", &Shift::endTime}});
  expectNamed<Room>(*Room::create(json("{}")), {{"name", &Room::name}}, {{"id", &Room::id}});
  using U = UserAppInfo;
  expectNamed<U>(*UserAppInfo::create(json("{}")), {{"username", &U::username}}, {{"id", &U::id}});
  auto* problem = MedicalProblem::create("Asthma");
  expectNamed<MedicalProblem>(*problem, {{"name", &MedicalProblem::name}},
                              {{"id", &MedicalProblem::id}});

  // Relationships set through the accessors are found under their names.
  Room* room = Room::create(json("{}"));
  patient->setRoom(room);
  EXPECT_EQ(patient->object("room"), room);
  EXPECT_EQ(room->object("patient"), patient);
  problem->setPatients(patient);
  EXPECT_EQ(patient->objects("medicalProblems"), std::vector<graph::ManagedObject*>{problem});
  Allergy* allergy = Allergy::create("Latex");
  patient->setAllergies({allergy});
  EXPECT_EQ(allergy->objects("patients"), std::vector<graph::ManagedObject*>{patient});
  task->setPatient(patient);
  EXPECT_EQ(task->object("patient"), patient);
  notification->setTask(task);
  EXPECT_EQ(notification->object("task"), task);
  EXPECT_EQ(member->object("role"), member->role());
  EXPECT_EQ(member->object("userInfo"), member->userInfo());
  member->userInfo()->addTaskObject(task);
  EXPECT_EQ(task->object("userInfo"), member->userInfo());
}

}  // namespace
}  // namespace orbelin::test
