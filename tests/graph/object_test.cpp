#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "graph/object_access.h"
#include "graph/registry.h"
#include "graph/test_model.h"

namespace orbelin::graph {
namespace {

using testing::insert;
using Objects = std::vector<ManagedObject*>;

// Guards against the wrong class, lost values, and writes under relationship or unknown keys.
TEST(ManagedObjectTest, InsertYieldsTheRegisteredClassWithKeyValueAccess) {
  testing::Stack g;
  auto* patient = g.context.insertNew<testing::Patient>("Patient");
  ASSERT_NE(patient, nullptr);
  EXPECT_NE(dynamic_cast<testing::Ward*>(g.context.insertNewObject("Ward")), nullptr);
  EXPECT_EQ(g.context.insertNewObject("NoSuchEntity"), nullptr);
  EXPECT_EQ(patient->context(), &g.context);
  EXPECT_TRUE(patient->isInserted());

  patient->setFirstName("Jo");
  EXPECT_EQ(patient->value("firstName").stringValue(), "Jo");
  const std::pair<const char*, Value> values[] = {
      {"age", 42},
      {"birthdate", dateFromSeconds(1e9)},
      {"staffIds", boost::json::value{3, 1, 2}},
      {"photo", Bytes{1, 2, 3}},
      {"weight", Value()},
  };
  for (const auto& [key, value] : values) {
    EXPECT_TRUE(patient->setValue(key, value)) << key;
    EXPECT_EQ(patient->value(key), value) << key;
  }

  EXPECT_FALSE(patient->setValue("nope", 1));
  EXPECT_FALSE(patient->setValue("ward", 1));
  EXPECT_TRUE(patient->value("nope").isNil());
  EXPECT_FALSE(patient->setObject("firstName", patient));
  EXPECT_EQ(patient->object("tasks"), nullptr);
  EXPECT_TRUE(patient->mutableSet("firstName").empty());
  patient->mutableSet("nope").add(patient);
}

// Guards against inverses out of step, old owners keeping moved objects, and wrong entities.
TEST(ManagedObjectTest, KeepsInversesInStepOnBothSides) {
  testing::Stack g;
  ManagedObjectContext& c = g.context;
  ManagedObject* jo = c.insertNewObject("Patient");
  ManagedObject* al = c.insertNewObject("Patient");
  ManagedObject* north = c.insertNewObject("Ward");
  ManagedObject* south = c.insertNewObject("Ward");

  jo->setObject("ward", north);
  jo->setObject("ward", south);
  EXPECT_TRUE(north->objects("patients").empty());
  EXPECT_EQ(south->objects("patients"), Objects{jo});
  north->mutableSet("patients").add(jo);
  EXPECT_EQ(jo->object("ward"), north);
  EXPECT_TRUE(south->objects("patients").empty());
  north->mutableSet("patients").remove(jo);
  EXPECT_EQ(jo->object("ward"), nullptr);

  // one-to-one: the bed leaves its previous patient.
  ManagedObject* bed = c.insertNewObject("Bed");
  jo->setObject("bed", bed);
  al->setObject("bed", bed);
  EXPECT_EQ(jo->object("bed"), nullptr);
  EXPECT_EQ(bed->object("patient"), al);

  ManagedObject* nurse = c.insertNewObject("Nurse");
  jo->mutableSet("nurses").add(nurse);
  al->mutableSet("nurses").add(nurse);
  EXPECT_EQ(nurse->objects("patients"), (Objects{jo, al}));
  nurse->mutableSet("patients").remove(jo);
  EXPECT_TRUE(jo->objects("nurses").empty());

  jo->setObject("ward", bed);
  EXPECT_EQ(jo->object("ward"), nullptr);
  jo->mutableSet("tasks").add(nurse);
  EXPECT_TRUE(jo->objects("tasks").empty());
}

// Guards against ordered members lost, doubled or misplaced, and inverses left behind.
TEST(ManagedObjectTest, OrderedSetsKeepOrderAndMoveOnInsert) {
  testing::Stack g;
  ManagedObject* jo = g.context.insertNewObject("Patient");
  Objects tasks;
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
  set.remove(tasks[20]);
  EXPECT_FALSE(set.contains(tasks[20]));
  EXPECT_EQ(tasks[20]->object("patient"), nullptr);
  set.assign({tasks[2], tasks[1]});
  EXPECT_EQ(set.objects(), (Objects{tasks[2], tasks[1]}));
  EXPECT_EQ(tasks[5]->object("patient"), nullptr);
  EXPECT_EQ(tasks[2]->object("patient"), jo);
}

// Guards against a delete that skips its cascade, leaves an inverse, or leaves its row.
TEST(ManagedObjectTest, DeleteNullifiesOrCascades) {
  testing::Stack g;
  ManagedObjectContext& c = g.context;
  ManagedObject* jo = c.insertNewObject("Patient");
  ManagedObject* ward = insert(c, "Ward", {{"name", "North"}});
  ManagedObject* task = c.insertNewObject("Task");
  jo->setObject("ward", ward);
  jo->mutableSet("tasks").add(task);
  ASSERT_TRUE(c.save().ok());

  c.deleteObject(jo);
  EXPECT_TRUE(task->isDeleted());                  // cascade
  EXPECT_TRUE(ward->objects("patients").empty());  // nullify
  EXPECT_TRUE(ward->isUpdated());
  ASSERT_TRUE(c.save().ok());
  EXPECT_EQ(jo->context(), nullptr);
  EXPECT_EQ(jo->value("firstName").stringValue(), "");  // still readable
  EXPECT_EQ(*c.count(FetchRequest("Patient")), 0u);
  EXPECT_EQ(*c.count(FetchRequest("Task")), 0u);
  EXPECT_EQ(*c.count(FetchRequest("Ward")), 1u);
}

// Guards against a second object under one key silently freeing the first.
TEST(ManagedObjectDeathTest, TwoObjectsWithOneKeyStopTheProcessInsteadOfFreeingOne) {
  auto model = testing::hospitalModel();
  auto make = [&] {
    std::unique_ptr<ManagedObject> object = model->entity("Ward")->makeObject();
    detail::ObjectAccess::attach(*object, nullptr, 7);
    return object;
  };
  detail::Registry registry;
  registry.add(make());
  EXPECT_DEATH(registry.add(make()), "two objects registered as Ward 7 in one context");
}

}  // namespace
}  // namespace orbelin::graph
