#include <string>

#include "orbelin/graph/model_catalog.h"
#include "records/records_fixture.h"

namespace orbelin::test {
namespace {

// A second registration must not replace the model the shared stack loaded.
TEST(FirstGenerationModelTest, SharedStackCarriesTheModel) {
  registerFirstGenerationModel();
  registerFirstGenerationModel();
  auto model = CoreDataStack::sharedInstance().managedObjectModel();
  ASSERT_NE(model, nullptr);
  EXPECT_EQ(model, graph::ModelCatalog::model(CoreDataStack::kModelName));
  EXPECT_EQ(Medication::fetchRequest().entityName(), "Medication");
}

template <typename R>
using TextGetter = std::string (R::*)() const;
template <typename R>
using IntegerGetter = std::optional<std::int64_t> (R::*)() const;
template <typename R>
using DateGetter = OptionalDate (R::*)() const;

// Each value is set under its attribute's model name (as predicates, sorts
// and key-value access reach it) and must come back from the accessor of
// that name, with no two names sharing a slot. The accessors are generated
// from one table, so a few entities of each kind of member stand for all.
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

// Guards accessors that read or write another attribute than their name says.
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
  using N = Notification;
  auto* notification = Notification::create(json("{}"));
  expectNamed<N>(*notification, {{"text", &N::text}},
                 {{"id", &N::id}, {"type", &N::type}, {"status", &N::status}},
                 {{"date", &N::date}});
  auto* member = StaffMember::create(json("{}"));
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
  notification->setTask(task);
  EXPECT_EQ(notification->object("task"), task);
  EXPECT_EQ(member->object("role"), member->role());
  member->userInfo()->addTaskObject(task);
  EXPECT_EQ(task->object("userInfo"), member->userInfo());
}

}  // namespace
}  // namespace orbelin::test
