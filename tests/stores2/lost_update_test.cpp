// Saves that meet on one patient: the two contexts of one store, two stores
// on one file, two processes. Whatever each save acknowledged must be in the
// file afterwards, as a fresh process reads it.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

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

constexpr const char* kSharedDirectory = "ORBELIN_CHILD_DOCUMENTS";
constexpr const char* kWriterTag = "ORBELIN_CHILD_TAG";
constexpr int kStressPatients = 50;

std::shared_ptr<const ManagedObjectModel> wardModel() {
  ModelBuilder builder;
  builder.entity("Patient")
      .attribute("patientId", AttributeType::String)
      .attribute("firstName", AttributeType::String)
      .attribute("lastName", AttributeType::String)
      .attribute("diagnosis", AttributeType::String)
      .attribute("notes", AttributeType::String)
      .attribute("status", AttributeType::String)
      .toOne("room", "Room", "patients")
      .toMany("careTeam", "StaffMember", "patients");
  builder.entity("Room")
      .attribute("number", AttributeType::String)
      .toMany("patients", "Patient", "room");
  builder.entity("StaffMember")
      .attribute("staffId", AttributeType::String)
      .toMany("patients", "Patient", "careTeam");
  builder.entity("InformationBooklet").attribute("bookletId", AttributeType::String);
  return *builder.build();
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The object of the entity whose `key` holds `id`, in the context.
ManagedObject* find(ObjectStore& store, const Context& context, const std::string& entity,
                    const std::string& key, const std::string& id) {
  auto found = store.fetchObjects(entity, Predicate::equal(key, id), context);
  return found && found->size() == 1 ? found->front() : nullptr;
}

std::vector<std::string> careTeam(ManagedObject* patient) {
  std::vector<std::string> ids;
  for (ManagedObject* member : patient->objects("careTeam"))
    ids.push_back(member->value("staffId").stringValue());
  std::sort(ids.begin(), ids.end());
  return ids;
}

// Every patient as one line, sorted.
std::string describe(ObjectStore& store) {
  auto patients = store.fetchObjectsWithName("Patient");
  if (!patients) return "no store";
  std::vector<std::string> lines;
  for (ManagedObject* p : *patients) {
    std::string line = p->value("patientId").stringValue();
    for (const char* key : {"firstName", "lastName", "diagnosis", "notes", "status"})
      line += std::string(" ") + key + "=" + p->value(key).stringValue();
    ManagedObject* room = p->object("room");
    line += " room=" + (room ? room->value("number").stringValue() : "-") + " team=";
    for (const std::string& id : careTeam(p)) line += id + ",";
    lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  return text;
}

class LostUpdateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ModelCatalog::removeBundle(kFrameworkBundleIdentifier);
    ModelCatalog::registerBundleModel(kFrameworkBundleIdentifier, "OrbelinData2", wardModel);
    platform::HostEnvironment::setDocumentsDirectory(documents.path());
  }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }

  // Ann (p-1) in room 101 with s-1 on her care team; Bob (p-2) in room 102.
  void seed() {
    ObjectStore store;
    std::map<std::string, ManagedObject*> rooms, staff;
    for (const char* number : {"101", "102", "103"}) {
      rooms[number] = store.createObject("Room");
      rooms[number]->setValue("number", number);
    }
    for (const char* id : {"s-1", "s-2", "s-3"}) {
      staff[id] = store.createObject("StaffMember");
      staff[id]->setValue("staffId", id);
    }
    auto patient = [&](const char* id, const char* first, const char* last, const char* room) {
      ManagedObject* p = store.createObject("Patient");
      p->setValue("patientId", id);
      p->setValue("firstName", first);
      p->setValue("lastName", last);
      p->setValue("status", "admitted");
      p->setObject("room", rooms[room]);
      return p;
    };
    patient("p-1", "Ann", "Lee", "101")->mutableSet("careTeam").add(staff["s-1"]);
    patient("p-2", "Bob", "Ray", "102");
    ASSERT_TRUE(store.saveChanges());
  }

  // What a process that opens the file afresh finds in it.
  std::string describedByAnotherProcess() {
    fs::remove(documents.path() / "described.txt");
    test::ChildProcess child("LostUpdateChild.DescribesTheStore",
                             {{kSharedDirectory, documents.path().string()}});
    EXPECT_EQ(child.wait(), 0);
    return readFile(documents.path() / "described.txt");
  }

  test::TempDir documents;
};

TEST_F(LostUpdateTest, BothContextsOfOneStoreKeepEachOthersSaves) {
  seed();
  ObjectStore store;
  const Context main = store.mainQueueContext();
  const Context background = store.backgroundQueueContext();
  ManagedObject* ann = find(store, main, "Patient", "patientId", "p-1");
  ManagedObject* bob = find(store, main, "Patient", "patientId", "p-2");
  ASSERT_TRUE(ann && bob);
  ASSERT_EQ(careTeam(ann), std::vector<std::string>{"s-1"});  // relationships loaded here

  // Main holds an unsaved first name while the background saves the rest.
  ann->setValue("firstName", "Anna");
  background->performAndWait([&] {
    ManagedObject* hers = find(store, background, "Patient", "patientId", "p-1");
    hers->setValue("lastName", "Leigh");
    hers->setObject("room", find(store, background, "Room", "number", "103"));
    hers->mutableSet("careTeam").add(find(store, background, "StaffMember", "staffId", "s-2"));
    find(store, background, "Patient", "patientId", "p-2")->setValue("status", "discharged");
  });
  ASSERT_TRUE(store.saveChanges());

  // Merged into the objects main already holds, with no new fetch.
  EXPECT_EQ(ann->value("firstName").stringValue(), "Anna");
  EXPECT_EQ(ann->value("lastName").stringValue(), "Leigh");
  ASSERT_NE(ann->object("room"), nullptr);
  EXPECT_EQ(ann->object("room")->value("number").stringValue(), "103");
  EXPECT_EQ(careTeam(ann), (std::vector<std::string>{"s-1", "s-2"}));
  EXPECT_EQ(bob->value("status").stringValue(), "discharged");
  ASSERT_TRUE(store.saveChanges(main));

  // The other way round: the background holds a change while main saves.
  ManagedObject* inBackground = nullptr;
  background->performAndWait([&] {
    inBackground = find(store, background, "Patient", "patientId", "p-1");
    inBackground->setValue("diagnosis", "appendicitis");
  });
  ann->setValue("notes", "fasting");
  ann->mutableSet("careTeam").remove(find(store, main, "StaffMember", "staffId", "s-1"));
  ASSERT_TRUE(store.saveChanges(main));
  EXPECT_EQ(inBackground->value("notes").stringValue(), "fasting");
  EXPECT_EQ(inBackground->value("firstName").stringValue(), "Anna");
  EXPECT_EQ(careTeam(inBackground), std::vector<std::string>{"s-2"});
  ASSERT_TRUE(store.saveChanges());

  EXPECT_EQ(describedByAnotherProcess(),
            "p-1 firstName=Anna lastName=Leigh diagnosis=appendicitis notes=fasting "
            "status=admitted room=103 team=s-2,\n"
            "p-2 firstName=Bob lastName=Ray diagnosis= notes= status=discharged room=102 team=\n");
}

TEST_F(LostUpdateTest, TwoStoresOnOneFileKeepBothChangesAndRefuseTrueConflicts) {
  seed();
  ObjectStore a, b;
  const Context inA = a.backgroundQueueContext(), inB = b.backgroundQueueContext();
  ManagedObject* annA = find(a, inA, "Patient", "patientId", "p-1");
  ManagedObject* annB = find(b, inB, "Patient", "patientId", "p-1");
  ASSERT_TRUE(annA && annB);

  // Different properties of one row: both stay, and B reads A's back.
  annA->setValue("lastName", "Leigh");
  ASSERT_TRUE(a.saveChanges());
  annB->setValue("firstName", "Anna");
  ASSERT_TRUE(b.saveChanges());
  EXPECT_EQ(annB->value("lastName").stringValue(), "Leigh");
  annA->mutableSet("careTeam").add(find(a, inA, "StaffMember", "staffId", "s-3"));
  ASSERT_TRUE(a.saveChanges());
  annB->mutableSet("careTeam").remove(find(b, inB, "StaffMember", "staffId", "s-1"));
  ASSERT_TRUE(b.saveChanges());

  // One property changed in both: the later save is refused, says why, and
  // leaves B with what the file holds.
  annA->setValue("status", "in surgery");
  ASSERT_TRUE(a.saveChanges());
  annB->setValue("status", "discharged");
  annB->setValue("notes", "refused with the status");
  {
    platform::ConsoleCapture console;
    EXPECT_FALSE(b.saveChanges());
    auto lines = console.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "Error saving context");
    const std::string key = std::to_string(annB->objectID().primaryKey);
    EXPECT_NE(lines[1].find("Patient " + key + " (status)"), std::string::npos) << lines[1];
  }
  EXPECT_EQ(annB->value("status").stringValue(), "in surgery");
  EXPECT_EQ(annB->value("notes").stringValue(), "");

  // A to-one is one property too; once refused, B may decide again.
  ASSERT_EQ(annB->object("room")->value("number").stringValue(), "101");  // B reads it first
  annA->setObject("room", find(a, inA, "Room", "number", "102"));
  ASSERT_TRUE(a.saveChanges());
  annB->setObject("room", find(b, inB, "Room", "number", "103"));
  {
    platform::ConsoleCapture console;
    EXPECT_FALSE(b.saveChanges());
    ASSERT_EQ(console.lines().size(), 2u);
    EXPECT_NE(console.lines()[1].find("(room)"), std::string::npos) << console.lines()[1];
  }
  EXPECT_EQ(annB->object("room")->value("number").stringValue(), "102");
  annB->setObject("room", find(b, inB, "Room", "number", "103"));
  ASSERT_TRUE(b.saveChanges());

  // A row changed since it was read is not deleted from under the change.
  ManagedObject* bobB = find(b, inB, "Patient", "patientId", "p-2");
  find(a, inA, "Patient", "patientId", "p-2")->setValue("status", "discharged");
  ASSERT_TRUE(a.saveChanges());
  inB->deleteObject(bobB);
  {
    platform::ConsoleCapture console;
    EXPECT_FALSE(b.saveChanges());
    ASSERT_EQ(console.lines().size(), 2u);
    EXPECT_NE(console.lines()[1].find("(changed elsewhere, not deleted)"), std::string::npos);
  }

  EXPECT_EQ(describedByAnotherProcess(),
            "p-1 firstName=Anna lastName=Leigh diagnosis= notes= status=in surgery room=103 "
            "team=s-3,\n"
            "p-2 firstName=Bob lastName=Ray diagnosis= notes= status=discharged room=102 team=\n");
}

TEST_F(LostUpdateTest, TwoProcessesKeepEachOthersSaves) {
  seed();
  ObjectStore store;
  ManagedObject* ann = find(store, store.mainQueueContext(), "Patient", "patientId", "p-1");
  ASSERT_NE(ann, nullptr);
  ASSERT_EQ(careTeam(ann), std::vector<std::string>{"s-1"});
  ann->setValue("firstName", "Anna");  // unsaved while the other process saves
  test::ChildProcess child("LostUpdateChild.ChangesAnnInItsBackgroundContext",
                           {{kSharedDirectory, documents.path().string()}});
  ASSERT_EQ(child.wait(), 0);
  ASSERT_TRUE(store.saveChanges(store.mainQueueContext()));
  EXPECT_EQ(ann->value("lastName").stringValue(), "Leigh");  // read back with the save
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
  for (ManagedObject* p : *fetched)
    patients[std::stoul(p->value("patientId").stringValue().substr(2))] = p;
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

struct Save {
  int seq = 0;
  unsigned patient = 0;
  bool acknowledged = false, status = false, staff = false;
};

std::vector<Save> readLog(const fs::path& path) {
  std::vector<Save> saves;
  std::ifstream in(path);
  Save s;
  while (in >> s.seq >> s.patient >> s.acknowledged >> s.status >> s.staff) saves.push_back(s);
  return saves;
}

TEST_F(LostUpdateTest, TwoProcessesAndBothContextsUnderLoadLoseNoAcknowledgedSave) {
  {
    ObjectStore store;
    for (int i = 0; i < kStressPatients; ++i) {
      ManagedObject* p = store.createObject("Patient");
      p->setValue("patientId", "p-" + std::to_string(i));
      for (const auto& [writer, attribute] : kOwnAttribute) p->setValue(attribute, "initial");
      p->setValue("status", "initial");
    }
    ASSERT_TRUE(store.saveChanges());
  }
  std::vector<std::unique_ptr<test::ChildProcess>> children;
  for (const char* tag : {"a", "b"})
    children.push_back(std::make_unique<test::ChildProcess>(
        "LostUpdateChild.WritesForThreeSeconds",
        std::vector<std::pair<std::string, std::string>>{
            {kSharedDirectory, documents.path().string()}, {kWriterTag, tag}}));
  for (const char* tag : {"a", "b"})
    ASSERT_TRUE(test::waitForFile(documents.path() / (std::string(tag) + ".ready")));
  std::ofstream(documents.path() / "go") << "go";
  for (auto& child : children) ASSERT_EQ(child->wait(), 0);

  // What the file must hold: each writer's attribute as its last
  // acknowledged save left it; a status and a member from some acknowledged
  // save; nothing from a refused one.
  std::vector<std::map<std::string, std::string>> expected(kStressPatients);
  std::vector<std::set<std::string>> allowedStatus(kStressPatients, {"initial"});
  std::vector<std::set<std::string>> expectedTeam(kStressPatients);
  std::set<std::string> refusedStaff;
  for (const auto& [writer, attribute] : kOwnAttribute) {
    auto saves = readLog(documents.path() / (writer + ".log"));
    int acknowledged = 0;
    for (const Save& s : saves) {
      const std::string value = writer + "-" + std::to_string(s.seq);
      if (!s.acknowledged) {
        if (s.staff) refusedStaff.insert(value);
        continue;
      }
      ++acknowledged;
      expected[s.patient][attribute] = value;
      if (s.status) allowedStatus[s.patient].insert(value);
      if (s.staff) expectedTeam[s.patient].insert(value);
    }
    EXPECT_GT(acknowledged, 0) << writer;
    std::cout << writer << ": " << acknowledged << " of " << saves.size()
              << " saves acknowledged\n";
  }
  ObjectStore store;
  auto patients = store.fetchObjectsWithName("Patient");
  ASSERT_TRUE(patients.has_value());
  ASSERT_EQ(patients->size(), static_cast<std::size_t>(kStressPatients));
  for (ManagedObject* p : *patients) {
    const auto i = std::stoul(p->value("patientId").stringValue().substr(2));
    for (const auto& [writer, attribute] : kOwnAttribute) {
      auto it = expected[i].find(attribute);
      EXPECT_EQ(p->value(attribute).stringValue(), it == expected[i].end() ? "initial" : it->second)
          << "p-" << i << "." << attribute;
    }
    EXPECT_TRUE(allowedStatus[i].count(p->value("status").stringValue()))
        << "p-" << i << ".status " << p->value("status").stringValue();
    auto team = careTeam(p);
    EXPECT_EQ(std::set<std::string>(team.begin(), team.end()), expectedTeam[i]) << "p-" << i;
  }
  auto staff = store.fetchObjectsWithName("StaffMember");
  ASSERT_TRUE(staff.has_value());
  for (ManagedObject* member : *staff)
    EXPECT_FALSE(refusedStaff.count(member->value("staffId").stringValue()));
}

// The other processes of the tests above; skipped when run on their own.
class LostUpdateChild : public LostUpdateTest {
 protected:
  void SetUp() override {
    LostUpdateTest::SetUp();
    const char* directory = std::getenv(kSharedDirectory);
    if (!directory) GTEST_SKIP() << "run by the two-process tests";
    shared = directory;
    platform::HostEnvironment::setDocumentsDirectory(shared);
  }
  fs::path shared;
};

TEST_F(LostUpdateChild, DescribesTheStore) {
  ObjectStore store;
  std::ofstream(shared / "described.txt") << describe(store);
}

TEST_F(LostUpdateChild, ChangesAnnInItsBackgroundContext) {
  ObjectStore store;
  const Context background = store.backgroundQueueContext();
  background->performAndWait([&] {
    ManagedObject* ann = find(store, background, "Patient", "patientId", "p-1");
    ASSERT_NE(ann, nullptr);
    ann->setValue("lastName", "Leigh");
    ann->setObject("room", find(store, background, "Room", "number", "103"));
    ann->mutableSet("careTeam").add(find(store, background, "StaffMember", "staffId", "s-2"));
  });
  ASSERT_TRUE(store.saveChanges());
}

TEST_F(LostUpdateChild, WritesForThreeSeconds) {
  const std::string tag = std::getenv(kWriterTag);
  ObjectStore store;
  std::ofstream(shared / (tag + ".ready")) << "ready";
  ASSERT_TRUE(test::waitForFile(shared / "go"));
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
