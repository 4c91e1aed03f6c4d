// Saves that meet on one patient: the two contexts of one store, two stores
// on one file, two processes. Whatever each save acknowledged must be in the
// file afterwards, as a fresh process reads it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <tuple>

#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "stores2/child_process.h"
#include "support/test_support.h"

namespace orbelin {
namespace {

namespace fs = std::filesystem;
using namespace orbelin::graph;
using Context = std::shared_ptr<ManagedObjectContext>;
using Ids = std::vector<std::string>;
using ::testing::HasSubstr;

constexpr int kStressPatients = 50;
const char* const kPatientTexts[] = {"firstName", "lastName", "diagnosis", "notes", "status"};

std::shared_ptr<const ManagedObjectModel> wardModel() {
  ModelBuilder builder;
  auto patient = builder.entity("Patient");
  patient.attribute("patientId", AttributeType::String);
  for (const char* key : kPatientTexts) patient.attribute(key, AttributeType::String);
  patient.toOne("room", "Room", "patients").toMany("careTeam", "StaffMember", "patients");
  builder.entity("Room")
      .attribute("number", AttributeType::String)
      .toMany("patients", "Patient", "room");
  builder.entity("StaffMember")
      .attribute("staffId", AttributeType::String)
      .toMany("patients", "Patient", "careTeam");
  return *builder.build();
}

// One context of a store, with the ward's objects looked up by their ids.
struct Ward {
  ObjectStore& store;
  Context context;
  ManagedObject* find(const std::string& entity, const std::string& id) const {
    static const std::map<std::string, std::string> key{
        {"Patient", "patientId"}, {"Room", "number"}, {"StaffMember", "staffId"}};
    auto found = store.fetchObjects(entity, Predicate::equal(key.at(entity), id), context);
    return found && found->size() == 1 ? found->front() : nullptr;
  }
  ManagedObject* patient(const std::string& id) const { return find("Patient", id); }
  ManagedObject* room(const std::string& number) const { return find("Room", number); }
  ManagedObject* staff(const std::string& id) const { return find("StaffMember", id); }
};

Ids careTeam(ManagedObject* patient) {
  Ids ids;
  for (ManagedObject* member : patient->objects("careTeam"))
    ids.push_back(member->value("staffId").stringValue());
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::string text(ManagedObject* object, const char* key) {
  return object ? object->value(key).stringValue() : "-";
}

// Every patient as one line, sorted.
std::string describe(ObjectStore& store) {
  auto patients = store.fetchObjectsWithName("Patient");
  if (!patients) return "no store";
  std::vector<std::string> lines;
  for (ManagedObject* p : *patients) {
    std::string line = text(p, "patientId");
    for (const char* key : kPatientTexts) line += std::string(" ") + key + "=" + text(p, key);
    line += " room=" + text(p->object("room"), "number") + " team=";
    for (const std::string& id : careTeam(p)) line += id + ",";
    lines.push_back(line + "\n");
  }
  std::sort(lines.begin(), lines.end());
  std::string all;
  for (const auto& line : lines) all += line;
  return all;
}

// Saves what must be refused as a conflict; returns the line that says why.
std::string refusedSave(ObjectStore& store) {
  platform::ConsoleCapture console;
  EXPECT_FALSE(store.saveChanges());
  const auto lines = console.lines();
  EXPECT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines.empty() ? "" : lines[0], "Error saving context");
  return lines.size() == 2 ? lines[1] : "";
}

class LostUpdateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
    ModelCatalog::registerBundleModel(kFrameworkBundleIdentifier, "OrbelinData2", wardModel);
    platform::HostEnvironment::setDocumentsDirectory(documents.path());
  }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }

  // Rooms 101-103, staff s-1 to s-3; Ann (p-1) in room 101 with s-1 on her
  // care team; Bob (p-2) in room 102.
  void seed() {
    ObjectStore store;
    std::map<std::string, ManagedObject*> made;  // by id
    for (const char* number : {"101", "102", "103"})
      (made[number] = store.createObject("Room"))->setValue("number", number);
    for (const char* id : {"s-1", "s-2", "s-3"})
      (made[id] = store.createObject("StaffMember"))->setValue("staffId", id);
    for (const auto& [id, first, last, room] :
         {std::tuple{"p-1", "Ann", "Lee", "101"}, std::tuple{"p-2", "Bob", "Ray", "102"}}) {
      ManagedObject* p = made[id] = store.createObject("Patient");
      p->setValue("patientId", id);
      p->setValue("firstName", first);
      p->setValue("lastName", last);
      p->setValue("status", "admitted");
      p->setObject("room", made[room]);
    }
    made["p-1"]->mutableSet("careTeam").add(made["s-1"]);
    ASSERT_TRUE(store.saveChanges());
  }

  // What a process that opens the file afresh finds in it.
  std::string describedByAnotherProcess() {
    fs::remove(documents.path() / "described.txt");
    test::ChildProcess child("LostUpdateChild.DescribesTheStore", documents.path());
    EXPECT_EQ(child.wait(), 0);
    return test::readFile(documents.path() / "described.txt");
  }

  test::TempDir documents;
};

// A save in one context must not overwrite the other context's unsaved
// changes, nor be missed by the objects that context already holds.
TEST_F(LostUpdateTest, BothContextsOfOneStoreKeepEachOthersSaves) {
  seed();
  ObjectStore store;
  const Ward main{store, store.mainQueueContext()};
  const Ward background{store, store.backgroundQueueContext()};
  ManagedObject* ann = main.patient("p-1");
  ManagedObject* bob = main.patient("p-2");
  ASSERT_TRUE(ann && bob);
  ASSERT_EQ(careTeam(ann), Ids{"s-1"});  // relationships loaded here

  // Main holds an unsaved first name while the background saves the rest.
  ann->setValue("firstName", "Anna");
  background.context->performAndWait([&] {
    ManagedObject* hers = background.patient("p-1");
    hers->setValue("lastName", "Leigh");
    hers->setObject("room", background.room("103"));
    hers->mutableSet("careTeam").add(background.staff("s-2"));
    background.patient("p-2")->setValue("status", "discharged");
  });
  ASSERT_TRUE(store.saveChanges());

  // Merged into the objects main already holds, with no new fetch.
  EXPECT_EQ(text(ann, "firstName"), "Anna");
  EXPECT_EQ(text(ann, "lastName"), "Leigh");
  EXPECT_EQ(text(ann->object("room"), "number"), "103");
  EXPECT_EQ(careTeam(ann), (Ids{"s-1", "s-2"}));
  EXPECT_EQ(text(bob, "status"), "discharged");
  ASSERT_TRUE(store.saveChanges(main.context));

  // The other way round: the background holds a change while main saves.
  ManagedObject* inBackground = nullptr;
  background.context->performAndWait([&] {
    inBackground = background.patient("p-1");
    inBackground->setValue("diagnosis", "appendicitis");
  });
  ann->setValue("notes", "fasting");
  ann->mutableSet("careTeam").remove(main.staff("s-1"));
  ASSERT_TRUE(store.saveChanges(main.context));
  EXPECT_EQ(text(inBackground, "notes"), "fasting");
  EXPECT_EQ(text(inBackground, "firstName"), "Anna");
  EXPECT_EQ(careTeam(inBackground), Ids{"s-2"});
  ASSERT_TRUE(store.saveChanges());

  EXPECT_EQ(describedByAnotherProcess(),
            "p-1 firstName=Anna lastName=Leigh diagnosis=appendicitis notes=fasting "
            "status=admitted room=103 team=s-2,\n"
            "p-2 firstName=Bob lastName=Ray diagnosis= notes= status=discharged room=102 team=\n");
}

// Two stores on one file: saves of different properties of one row both
// stay; a save that would overwrite or delete what the other store saved
// since it read the row is refused, says why, and leaves the file's values.
TEST_F(LostUpdateTest, TwoStoresOnOneFileKeepBothChangesAndRefuseTrueConflicts) {
  seed();
  ObjectStore storeA, storeB;
  const Ward a{storeA, storeA.backgroundQueueContext()};
  const Ward b{storeB, storeB.backgroundQueueContext()};
  ManagedObject* annA = a.patient("p-1");
  ManagedObject* annB = b.patient("p-1");
  ASSERT_TRUE(annA && annB);

  // Different properties of one row: both stay, and B reads A's back.
  annA->setValue("lastName", "Leigh");
  ASSERT_TRUE(storeA.saveChanges());
  annB->setValue("firstName", "Anna");
  ASSERT_TRUE(storeB.saveChanges());
  EXPECT_EQ(text(annB, "lastName"), "Leigh");
  annA->mutableSet("careTeam").add(a.staff("s-3"));
  ASSERT_TRUE(storeA.saveChanges());
  annB->mutableSet("careTeam").remove(b.staff("s-1"));
  ASSERT_TRUE(storeB.saveChanges());

  // One property changed in both: B's whole save is refused and B is left
  // with what the file holds.
  annA->setValue("status", "in surgery");
  ASSERT_TRUE(storeA.saveChanges());
  annB->setValue("status", "discharged");
  annB->setValue("notes", "refused with the status");
  const std::string key = std::to_string(annB->objectID().primaryKey);
  EXPECT_THAT(refusedSave(storeB), HasSubstr("Patient " + key + " (status)"));
  EXPECT_EQ(text(annB, "status"), "in surgery");
  EXPECT_EQ(text(annB, "notes"), "");

  // A to-one is one property too; once refused, B may decide again.
  ASSERT_EQ(text(annB->object("room"), "number"), "101");  // B reads it first
  annA->setObject("room", a.room("102"));
  ASSERT_TRUE(storeA.saveChanges());
  annB->setObject("room", b.room("103"));
  EXPECT_THAT(refusedSave(storeB), HasSubstr("(room)"));
  EXPECT_EQ(text(annB->object("room"), "number"), "102");
  annB->setObject("room", b.room("103"));
  ASSERT_TRUE(storeB.saveChanges());

  // A row changed since it was read is not deleted from under the change.
  ManagedObject* bobB = b.patient("p-2");
  a.patient("p-2")->setValue("status", "discharged");
  ASSERT_TRUE(storeA.saveChanges());
  b.context->deleteObject(bobB);
  EXPECT_THAT(refusedSave(storeB), HasSubstr("(changed elsewhere, not deleted)"));

  EXPECT_EQ(describedByAnotherProcess(),
            "p-1 firstName=Anna lastName=Leigh diagnosis= notes= status=in surgery room=103 "
            "team=s-3,\n"
            "p-2 firstName=Bob lastName=Ray diagnosis= notes= status=discharged room=102 team=\n");
}

// Another process's save must survive this one's later save of another
// property, and be read back with it.
TEST_F(LostUpdateTest, TwoProcessesKeepEachOthersSaves) {
  seed();
  ObjectStore store;
  ManagedObject* ann = Ward{store, store.mainQueueContext()}.patient("p-1");
  ASSERT_NE(ann, nullptr);
  ASSERT_EQ(careTeam(ann), Ids{"s-1"});
  ann->setValue("firstName", "Anna");  // unsaved while the other process saves
  test::ChildProcess child("LostUpdateChild.ChangesAnnInItsBackgroundContext", documents.path());
  ASSERT_EQ(child.wait(), 0);
  ASSERT_TRUE(store.saveChanges(store.mainQueueContext()));
  EXPECT_EQ(text(ann, "lastName"), "Leigh");  // read back with the save
  EXPECT_EQ(describedByAnotherProcess(),
            "p-1 firstName=Anna lastName=Leigh diagnosis= notes= status=admitted room=103 "
            "team=s-1,s-2,\n"
            "p-2 firstName=Bob lastName=Ray diagnosis= notes= status=admitted room=102 team=\n");
}

// The writers of the stress test, a process tag and a context each, and
// the attribute that only the writer writes.
const std::map<std::string, std::string> kOwnAttribute = {{"a-main", "firstName"},
                                                          {"a-background", "lastName"},
                                                          {"b-main", "diagnosis"},
                                                          {"b-background", "notes"}};

// One writer: its own attribute of random patients, now and then the shared
// status and a new care-team member. Each line of its log: seq patient
// acknowledged status staff.
void write(ObjectStore& store, const Context& context, const std::string& name, const fs::path& log,
           std::chrono::steady_clock::time_point until) {
  const std::string attribute = kOwnAttribute.at(name);
  std::vector<ManagedObject*> patients(kStressPatients);
  auto fetched = store.fetchObjects("Patient", std::nullopt, context);
  ASSERT_TRUE(fetched.has_value());
  for (ManagedObject* p : *fetched) patients[std::stoul(text(p, "patientId").substr(2))] = p;
  std::mt19937 random(static_cast<unsigned>(std::hash<std::string>()(name)));
  std::ofstream out(log);
  for (int seq = 0; std::chrono::steady_clock::now() < until; ++seq) {
    const auto i = random() % kStressPatients;
    const bool status = random() % 4 == 0, staff = random() % 4 == 0;
    const std::string value = name + "-" + std::to_string(seq);
    context->performAndWait([&] {
      patients[i]->setValue(attribute, value);
      if (status) patients[i]->setValue("status", value);
      if (!staff) return;
      ManagedObject* member = store.createObject("StaffMember", context);
      member->setValue("staffId", value);
      patients[i]->mutableSet("careTeam").add(member);
    });
    const bool acknowledged = store.saveChanges(context);
    out << seq << ' ' << i << ' ' << acknowledged << ' ' << status << ' ' << staff << '\n';
  }
}

// Four writers in two processes for three seconds: no acknowledged save
// may be missing from the file, and no refused one may be in it.
TEST_F(LostUpdateTest, TwoProcessesAndBothContextsUnderLoadLoseNoAcknowledgedSave) {
  {
    ObjectStore store;
    for (int i = 0; i < kStressPatients; ++i) {
      ManagedObject* p = store.createObject("Patient");
      p->setValue("patientId", "p-" + std::to_string(i));
      for (const char* key : kPatientTexts) p->setValue(key, "initial");
    }
    ASSERT_TRUE(store.saveChanges());
  }
  auto children = test::startTwoWriters("LostUpdateChild.WritesForThreeSeconds", documents.path());
  ASSERT_EQ(children.size(), 2u);
  for (auto& child : children) ASSERT_EQ(child->wait(), 0);

  // What the file must hold: each writer's attribute as its last
  // acknowledged save left it; a status and a member from some acknowledged
  // save; nothing from a refused one.
  std::vector<std::map<std::string, std::string>> expected(kStressPatients);
  std::vector<std::set<std::string>> allowedStatus(kStressPatients, {"initial"});
  std::vector<std::set<std::string>> expectedTeam(kStressPatients);
  std::set<std::string> refusedStaff;
  for (const auto& [writer, attribute] : kOwnAttribute) {
    std::ifstream log(documents.path() / (writer + ".log"));
    int seq = 0, acknowledged = 0;
    unsigned i = 0;
    bool ok = false, status = false, staff = false;
    while (log >> seq >> i >> ok >> status >> staff) {
      const std::string value = writer + "-" + std::to_string(seq);
      if (!ok) {
        if (staff) refusedStaff.insert(value);
        continue;
      }
      ++acknowledged;
      expected[i][attribute] = value;
      if (status) allowedStatus[i].insert(value);
      if (staff) expectedTeam[i].insert(value);
    }
    EXPECT_GT(acknowledged, 0) << writer;
  }
  ObjectStore store;
  auto patients = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  ASSERT_EQ(patients->size(), static_cast<std::size_t>(kStressPatients));
  for (ManagedObject* p : *patients) {
    const auto i = std::stoul(text(p, "patientId").substr(2));
    for (const auto& [writer, attribute] : kOwnAttribute) {
      auto it = expected[i].find(attribute);
      EXPECT_EQ(text(p, attribute.c_str()), it == expected[i].end() ? "initial" : it->second)
          << "p-" << i << "." << attribute;
    }
    EXPECT_TRUE(allowedStatus[i].count(text(p, "status")))
        << "p-" << i << ".status " << text(p, "status");
    const Ids team = careTeam(p);
    EXPECT_EQ(std::set<std::string>(team.begin(), team.end()), expectedTeam[i]) << "p-" << i;
  }
  auto staff = store.fetchObjectsWithName("StaffMember");
  ASSERT_TRUE(staff.has_value());
  for (ManagedObject* member : *staff) EXPECT_FALSE(refusedStaff.count(text(member, "staffId")));
}

// The other processes of the tests above.
using LostUpdateChild = test::ChildOf<LostUpdateTest>;

TEST_F(LostUpdateChild, DescribesTheStore) {
  ObjectStore store;
  std::ofstream(shared / "described.txt") << describe(store);
}

TEST_F(LostUpdateChild, ChangesAnnInItsBackgroundContext) {
  ObjectStore store;
  const Ward background{store, store.backgroundQueueContext()};
  background.context->performAndWait([&] {
    ManagedObject* ann = background.patient("p-1");
    ASSERT_NE(ann, nullptr);
    ann->setValue("lastName", "Leigh");
    ann->setObject("room", background.room("103"));
    ann->mutableSet("careTeam").add(background.staff("s-2"));
  });
  ASSERT_TRUE(store.saveChanges());
}

TEST_F(LostUpdateChild, WritesForThreeSeconds) {
  ObjectStore store;
  const std::string tag = test::readyThenWaitForGo(shared);
  ASSERT_FALSE(tag.empty());
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  std::thread background([&] {
    write(store, store.backgroundQueueContext(), tag + "-background",
          shared / (tag + "-background.log"), until);
  });
  // The main context's writer runs on the main thread, its queue.
  write(store, store.mainQueueContext(), tag + "-main", shared / (tag + "-main.log"), until);
  background.join();
}

}  // namespace
}  // namespace orbelin
