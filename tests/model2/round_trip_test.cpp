#include <gtest/gtest.h>

#include <algorithm>
#include <boost/json.hpp>
#include <string>
#include <vector>

#include "orbelin/dates/date_utils.h"
#include "orbelin/model2/entities.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "support/test_support.h"

// A full recovery-path patient goes out as JSON text, comes back into a new
// store file, survives closing and reopening that store, and goes out again
// unchanged.
namespace orbelin::model2 {
namespace {

namespace json = boost::json;

Date at(int minutesAfter) {
  return dateFromSeconds(1429609260.0 + 60.0 * minutesAfter);
}

// Unordered relationships carry no order; sort their arrays so two forms of
// the same graph compare equal. Ordered ones keep theirs.
void canonicalize(json::value& value, const graph::ManagedObjectModel& model) {
  auto* dictionary = value.if_object();
  const auto* name = dictionary ? dictionary->if_contains(ATTRIBUTE_NAME_FOR_CLASS) : nullptr;
  const auto* entity = name ? model.entity(std::string_view(name->as_string())) : nullptr;
  if (!entity) return;
  for (auto& [key, member] : *dictionary) {
    const auto* relationship = entity->relationship(key);
    auto* array = member.if_array();
    if (!relationship || !array) {
      if (relationship) canonicalize(member, model);
      continue;
    }
    for (auto& element : *array) canonicalize(element, model);
    if (relationship->ordered) continue;
    std::sort(array->begin(), array->end(), [](const json::value& a, const json::value& b) {
      return json::serialize(a) < json::serialize(b);
    });
  }
}

template <typename T>
T* make(ObjectStore& store, const char* entity) {
  auto* object = dynamic_cast<T*>(store.createObject(entity));
  EXPECT_NE(object, nullptr) << entity;
  return object;
}

// Every kind of link: identified objects (staff, room, bed, booklet, test)
// referred to from nested ones, ordered and unordered lists, back references.
// Each entity's own attributes are covered on their own elsewhere.
Patient2* buildPatient(ObjectStore& store, std::vector<NSManagedObjectEx*>& roots) {
  using BookletSectionCategoryEnum::Diet, GenderEnum::Female, HospitalUnitEnum::FMTODO,
      InstructionActionTypeEnum::Complete, InstructionStatusEnum::Issued,
      StaffMemberRoleEnum::ChargeNurse, VitalTypeEnum::Pain;
  std::vector<StaffMember2*> team;
  for (const std::string n : {"0", "1", "2"}) {
    team.push_back(make<StaffMember2>(store, "StaffMember"));
    team.back()->setProperties(
        {.staffId = "s" + n, .firstName = n, .lastName = n, .role = ChargeNurse, .phoneNumber = n});
    roots.push_back(team.back());
  }
  auto* room = make<Room2>(store, "Room");
  room->setProperties({.roomNumber = "R12", .floor = "3", .unit = FMTODO});
  auto* bed = make<Bed2>(store, "Bed");
  bed->setProperties({.bedNumber = "B12a", .room = room});
  auto* booklet = make<InformationBooklet2>(store, "InformationBooklet");
  booklet->setProperties({.bookletId = "bk1", .title = "Going home"});
  for (const std::string n : {"0", "1", "2"}) {
    make<BookletSection2>(store, "BookletSection")
        ->setProperties({.category = Diet, .title = n, .body = n, .informationBooklet = booklet});
  }
  auto* test = make<MedicalTest2>(store, "MedicalTest");
  test->setProperties({.testId = "t1", .shortDesc = "Blood", .dateTime = at(30), .normalMax = 1.5});
  for (bool abnormal : {false, true}) {
    auto* result = make<TestResult2>(store, "TestResult");
    result->setProperties(
        {.abnormal = abnormal, .analysis = "", .timeStamp = at(40), .test = test});
    result->setRelation("analyzedBy", team[0]);
  }
  roots.insert(roots.end(), {room, bed, booklet, test});

  // The patient's vitals, recovery path and the path's appointments are
  // linked from the other side.
  auto* patient = make<Patient2>(store, "Patient");
  const Date born = dateFromSeconds(-285206400.0);
  patient->setProperties(
      {.patientId = "p1", .firstName = "A", .lastName = "L", .gender = Female, .birthDate = born});
  patient->setRelation("bed", bed);
  patient->setRelation("room", room);
  std::vector<graph::ManagedObject*> allergies;
  for (int i = 0; i < 4; ++i) {
    auto* value = make<DatedValue2>(store, "DatedValue");
    value->setProperties({.date = at(-i * 1440), .value = std::to_string(i)});
    allergies.push_back(value);
  }
  patient->setRelation("allergies", allergies);
  for (int i = 0; i < 3; ++i) {
    auto* note = make<Note2>(store, "Note");
    note->setProperties({.created = at(i), .lastModified = at(i + 1), .number = 36.5 + i});
    auto* vital = make<Vital2>(store, "Vital");
    vital->setProperties({.type = Pain, .measurement = note, .pateint = patient});
  }
  auto* path = make<RecoveryPath2>(store, "RecoveryPath");
  for (int i = 5; i > 0; --i) {  // not in date order: the list order must survive
    auto* visit = make<Appoitment2>(store, "Appoitment");
    visit->setProperties(
        {.shortDesc = "V" + std::to_string(i), .dateTime = at(i), .recoveryPath = path});
    visit->setRelation("withStaffMembers", team[i % 3]);
  }
  for (int i = 0; i < 2; ++i) {
    auto* instruction = make<Instruction2>(store, "Instruction");
    instruction->setProperties(
        {.shortDesc = "Walk", .status = Issued, .issuedBy = team[1], .recoveryPath = path});
    for (int j = 0; j < 3; ++j) {
      auto* action = make<InstructionAction2>(store, "InstructionAction");
      action->setProperties(
          {.type = Complete, .timeStamp = at(100 + j), .instruction = instruction});
    }
  }
  path->setProperties({.patient = patient, .careTeam = team});
  path->setRelation("informationBooklets", booklet);
  path->setRelation("medicalTests", test);
  return patient;
}

json::object canonicalForm(const NSManagedObjectEx& object) {
  json::value dictionary = object.getAsDictionary();
  canonicalize(dictionary, *object.context()->persistentStoreCoordinator()->managedObjectModel());
  return dictionary.as_object();
}

class RoundTripTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DateUtils::setTimeZone("Asia/Kolkata");  // a half-hour zone
  }
  void TearDown() override {
    DateUtils::setTimeZone(std::nullopt);
    platform::HostEnvironment::setDocumentsDirectory(std::nullopt);
  }
  test::TempDir first;
  test::TempDir second;
};

// Every identified object is written on its own, the patient last; the
// patient refers to them by identifier.
TEST_F(RoundTripTest, PatientGraphSurvivesTextAndANewStoreFile) {
  std::vector<std::string> texts;
  std::vector<json::object> expected;
  platform::HostEnvironment::setDocumentsDirectory(first.path());
  {
    ObjectStore store;
    auto context = store.backgroundQueueContext();
    ASSERT_NE(context, nullptr);
    context->performAndWait([&] {
      platform::ConsoleCapture quiet;
      std::vector<NSManagedObjectEx*> roots;
      roots.push_back(buildPatient(store, roots));
      for (auto* root : roots) {
        auto text = root->getAsJSONString();
        EXPECT_TRUE(text.has_value());
        texts.push_back(text.value_or(""));
        expected.push_back(canonicalForm(*root));
      }
    });
    ASSERT_TRUE(store.saveChanges());
  }
  // The form itself: identified objects as identifiers, lists in order.
  json::object patientForm = json::parse(texts.back()).as_object();
  EXPECT_EQ(patientForm.at("room"), "R12");
  EXPECT_EQ(patientForm.at("birthDate"), "1960-12-18 05:30:00");  // midnight UTC
  const auto& path = patientForm.at("recoveryPath").as_object();
  EXPECT_FALSE(path.contains("patient"));
  EXPECT_EQ(path.at("medicalTests"), json::parse(R"(["t1"])"));
  EXPECT_EQ(path.at("appoitments").as_array().at(0).at("shortDesc"), "V5");

  // Read into a new store file: identified objects first, then the patient.
  platform::HostEnvironment::setDocumentsDirectory(second.path());
  {
    ObjectStore store;
    auto context = store.backgroundQueueContext();
    platform::ConsoleCapture console;
    context->performAndWait([&] {
      for (std::size_t i = 0; i + 1 < texts.size(); ++i) {
        auto dictionary = json::parse(texts[i]).as_object();
        EXPECT_NE(NSManagedObjectEx::createManagedObjectFromDictionary(dictionary, *context),
                  nullptr)
            << texts[i];
      }
      auto* patient = store.createObject("Patient");
      dynamic_cast<NSManagedObjectEx&>(*patient).setPropertiesFromJSONString(texts.back());
    });
    ASSERT_TRUE(store.saveChanges());
  }
  // Closed and reopened: every object comes back from the file, found by its
  // identifier.
  ObjectStore store;
  auto context = store.backgroundQueueContext();
  const auto& model = *context->persistentStoreCoordinator()->managedObjectModel();
  std::vector<json::object> reread;
  context->performAndWait([&] {
    for (const auto& written : expected) {
      std::string entity(written.at(ATTRIBUTE_NAME_FOR_CLASS).as_string());
      auto key = NSManagedObjectEx::externalObjectIdNameOf(*model.entity(entity)).value();
      graph::Value id(std::string(written.at(key).as_string()));
      auto found = store.fetchObjects(entity, graph::Predicate::equal(key, id), context);
      ASSERT_TRUE(found && found->size() == 1) << entity << " " << json::serialize(written);
      reread.push_back(canonicalForm(dynamic_cast<NSManagedObjectEx&>(*found->front())));
    }
  });
  ASSERT_EQ(reread.size(), expected.size());
  // Links to identified objects came back, also those read before their target.
  EXPECT_EQ(reread[3].at("patients"), json::parse(R"(["p1"])"));
  EXPECT_EQ(reread[3].at("beds"), json::parse(R"(["B12a"])"));
  EXPECT_EQ(reread.back().at("vitals").as_array().size(), 3u);
  EXPECT_EQ(reread.back().at("recoveryPath").at("careTeam"), json::parse(R"(["s0","s1","s2"])"));
  EXPECT_EQ(reread, expected);
}

}  // namespace
}  // namespace orbelin::model2
