#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "graph/object_access.h"
#include "graph/registry.h"
#include "graph/test_model.h"

namespace orbelin::graph {
namespace {

struct Graph {
  Graph() : coordinator(std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel())) {
    EXPECT_TRUE(coordinator->addPersistentStore(StoreType::InMemory, {}).ok());
    context.setPersistentStoreCoordinator(coordinator);
  }
  std::shared_ptr<PersistentStoreCoordinator> coordinator;
  ManagedObjectContext context;
};

TEST(ManagedObjectTest, InsertYieldsTheRegisteredClassWithKeyValueAccess) {
  Graph g;
  auto* patient = g.context.insertNew<testing::Patient>("Patient");
  ASSERT_NE(patient, nullptr);
  EXPECT_NE(dynamic_cast<testing::Ward*>(g.context.insertNewObject("Ward")), nullptr);
  EXPECT_EQ(g.context.insertNewObject("NoSuchEntity"), nullptr);
  EXPECT_EQ(&patient->entity(), g.coordinator->managedObjectModel()->entity("Patient"));
  EXPECT_EQ(patient->context(), &g.context);
  EXPECT_TRUE(patient->isInserted());

  patient->setFirstName("Jo");
  EXPECT_EQ(patient->value("firstName").stringValue(), "Jo");
  EXPECT_TRUE(patient->setValue("age", 42));
  EXPECT_EQ(patient->value("age").integer(), 42);
  Date born = dateFromSeconds(1e9);
  patient->setValue("birthdate", born);
  EXPECT_EQ(patient->value("birthdate").date(), born);
  patient->setValue("staffIds", boost::json::value{3, 1, 2});
  EXPECT_EQ(*patient->value("staffIds").transformable(), (boost::json::value{3, 1, 2}));
  patient->setValue("photo", Bytes{1, 2, 3});
  EXPECT_EQ(*patient->value("photo").binary(), (Bytes{1, 2, 3}));
  patient->setValue("weight", std::optional<double>());
  EXPECT_TRUE(patient->value("weight").isNil());

  // Unknown keys and relationship keys used as attributes are ignored.
  EXPECT_FALSE(patient->setValue("nope", 1));
  EXPECT_FALSE(patient->setValue("ward", 1));
  EXPECT_TRUE(patient->value("nope").isNil());
  EXPECT_FALSE(patient->setObject("firstName", patient));
  EXPECT_EQ(patient->object("tasks"), nullptr);
  EXPECT_TRUE(patient->mutableSet("firstName").empty());
  patient->mutableSet("nope").add(patient);
}

TEST(ManagedObjectTest, KeepsInversesInStepOnBothSides) {
  Graph g;
  ManagedObjectContext& c = g.context;
  ManagedObject* jo = c.insertNewObject("Patient");
  ManagedObject* al = c.insertNewObject("Patient");
  ManagedObject* north = c.insertNewObject("Ward");
  ManagedObject* south = c.insertNewObject("Ward");

  // to-one sets the to-many side; moving removes from the old owner.
  jo->setObject("ward", north);
  EXPECT_EQ(north->objects("patients"), std::vector<ManagedObject*>{jo});
  jo->setObject("ward", south);
  EXPECT_TRUE(north->objects("patients").empty());
  EXPECT_EQ(south->objects("patients"), std::vector<ManagedObject*>{jo});
  // to-many side sets the to-one side.
  north->mutableSet("patients").add(jo);
  EXPECT_EQ(jo->object("ward"), north);
  EXPECT_TRUE(south->objects("patients").empty());
  north->mutableSet("patients").remove(jo);
  EXPECT_EQ(jo->object("ward"), nullptr);

  // one-to-one: the bed leaves its previous patient.
  ManagedObject* bed = c.insertNewObject("Bed");
  jo->setObject("bed", bed);
  EXPECT_EQ(bed->object("patient"), jo);
  al->setObject("bed", bed);
  EXPECT_EQ(jo->object("bed"), nullptr);
  EXPECT_EQ(bed->object("patient"), al);

  // many-to-many.
  ManagedObject* nurse = c.insertNewObject("Nurse");
  jo->mutableSet("nurses").add(nurse);
  al->mutableSet("nurses").add(nurse);
  EXPECT_EQ(nurse->objects("patients"), (std::vector<ManagedObject*>{jo, al}));
  nurse->mutableSet("patients").remove(jo);
  EXPECT_TRUE(jo->objects("nurses").empty());

  // Objects of the wrong entity are refused.
  jo->setObject("ward", bed);
  EXPECT_EQ(jo->object("ward"), nullptr);
  jo->mutableSet("tasks").add(nurse);
  EXPECT_TRUE(jo->objects("tasks").empty());
}

TEST(ManagedObjectTest, OrderedSetsKeepOrderAndMoveOnInsert) {
  Graph g;
  ManagedObject* jo = g.context.insertNewObject("Patient");
  std::vector<ManagedObject*> tasks;
  for (int i = 0; i < 40; ++i) tasks.push_back(g.context.insertNewObject("Task"));
  RelationshipSet set = jo->mutableOrderedSet("tasks");
  set.addAll(tasks);
  set.add(tasks[3]);  // already present: nothing changes
  EXPECT_EQ(set.objects(), tasks);
  set.insert(tasks[39], 0);
  set.insert(g.context.insertNewObject("Task"), 1000);  // clamped to the end
  EXPECT_EQ(set.at(0), tasks[39]);
  EXPECT_EQ(set.at(1), tasks[0]);
  EXPECT_EQ(set.size(), 41u);
  EXPECT_EQ(set.at(41), nullptr);
  EXPECT_TRUE(set.contains(tasks[20]));
  set.remove(tasks[20]);
  EXPECT_FALSE(set.contains(tasks[20]));
  EXPECT_EQ(tasks[20]->object("patient"), nullptr);
  set.assign({tasks[2], tasks[1]});
  EXPECT_EQ(set.objects(), (std::vector<ManagedObject*>{tasks[2], tasks[1]}));
  EXPECT_EQ(tasks[5]->object("patient"), nullptr);
  EXPECT_EQ(tasks[2]->object("patient"), jo);
}

TEST(ManagedObjectTest, DeleteNullifiesOrCascades) {
  Graph g;
  ManagedObjectContext& c = g.context;
  ManagedObject* jo = c.insertNewObject("Patient");
  ManagedObject* ward = c.insertNewObject("Ward");
  ward->setValue("name", "North");
  ManagedObject* task = c.insertNewObject("Task");
  jo->setObject("ward", ward);
  jo->mutableSet("tasks").add(task);
  ASSERT_TRUE(c.save().ok());

  c.deleteObject(jo);
  EXPECT_TRUE(jo->isDeleted());
  EXPECT_TRUE(task->isDeleted());                  // cascade
  EXPECT_TRUE(ward->objects("patients").empty());  // nullify
  EXPECT_TRUE(ward->isUpdated());
  ASSERT_TRUE(c.save().ok());
  EXPECT_EQ(jo->context(), nullptr);
  EXPECT_EQ(jo->value("firstName").stringValue(), "");  // still readable
  auto patients = c.fetch(FetchRequest("Patient"));
  ASSERT_TRUE(patients.ok());
  EXPECT_TRUE(patients->empty());
  EXPECT_EQ(*c.count(FetchRequest("Task")), 0u);
  EXPECT_EQ(*c.count(FetchRequest("Ward")), 1u);
}

TEST(ManagedObjectDeathTest, TwoObjectsWithOneKeyStopTheProcessInsteadOfFreeingOne) {
  auto model = testing::hospitalModel();
  const EntityDescription& ward = *model->entity("Ward");
  auto make = [&] {
    std::unique_ptr<ManagedObject> object = ward.makeObject();
    detail::ObjectAccess::attach(*object, nullptr, 7);
    return object;
  };
  detail::Registry registry;
  registry.add(make());
  EXPECT_DEATH(registry.add(make()), "two objects registered as Ward 7 in one context");
}

}  // namespace
}  // namespace orbelin::graph
