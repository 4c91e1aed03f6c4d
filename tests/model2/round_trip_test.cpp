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
void canonicalize(json::object& dictionary, const graph::ManagedObjectModel& model) {
  const auto* name = dictionary.if_contains(ATTRIBUTE_NAME_FOR_CLASS);
  const auto* entity = name ? model.entity(std::string_view(name->as_string())) : nullptr;
  if (!entity) return;
  for (auto& [key, value] : dictionary) {
    const auto* relationship = entity->relationship(key);
    if (!relationship) continue;
    if (value.is_object()) canonicalize(value.as_object(), model);
    if (!value.is_array()) continue;
    for (auto& element : value.as_array()) {
      if (element.is_object()) canonicalize(element.as_object(), model);
    }
    if (!relationship->ordered) {
      auto& array = value.as_array();
      std::sort(array.begin(), array.end(), [](const json::value& a, const json::value& b) {
        return json::serialize(a) < json::serialize(b);
      });
    }
  }
}

// Every identified object is written on its own; the patient refers to
// them by identifier.
struct Written {
  std::vector<std::string> roots;  // JSON texts, identified objects first
  std::string patient;
};

template <typename T>
T* make(ObjectStore& store, const char* entity) {
  auto* object = dynamic_cast<T*>(store.createObject(entity));
  EXPECT_NE(object, nullptr) << entity;
  return object;
}

Patient2* buildPatient(ObjectStore& store, std::vector<NSManagedObjectEx*>& roots) {
  std::vector<StaffMember2*> team;
  for (int i = 0; i < 3; ++i) {
    auto* member = make<StaffMember2>(store, "StaffMember");
    member->setProperties({.staffId = "s" + std::to_string(i),
                           .firstName = "First" + std::to_string(i),
                           .lastName = "Last",
                           .role = StaffMemberRoleEnum::ChargeNurse,
                           .phoneNumber = "555-010" + std::to_string(i)});
    team.push_back(member);
    roots.push_back(member);
  }
  auto* room = make<Room2>(store, "Room");
  room->setProperties({.roomNumber = "R12", .floor = "3", .unit = HospitalUnitEnum::FMTODO});
  auto* bed = make<Bed2>(store, "Bed");
  bed->setProperties({.bedNumber = "B12a", .room = room});
  auto* booklet = make<InformationBooklet2>(store, "InformationBooklet");
  booklet->setProperties({.bookletId = "bk1", .title = "Going home", .created = at(-600)});
  for (int i = 0; i < 3; ++i) {
    auto* section = make<BookletSection2>(store, "BookletSection");
    section->setProperties({.category = BookletSectionCategoryEnum::Diet,
                            .title = "Section " + std::to_string(i),
                            .body = "Body",
                            .informationBooklet = booklet});
  }
  auto* test = make<MedicalTest2>(store, "MedicalTest");
  test->setProperties({.testId = "t1",
                       .shortDesc = "Blood count",
                       .dateTime = at(30),
                       .normalMax = 11.5,
                       .normalMin = 4.5});
  for (int i = 0; i < 2; ++i) {
    auto* result = make<TestResult2>(store, "TestResult");
    result->setProperties({.abnormal = i == 1,
                           .analysis = "ok",
                           .timeStamp = at(40 + i),
                           .test = test,
                           .analyzedBy = team[0]});
  }
  roots.insert(roots.end(), {room, bed, booklet, test});

  auto* patient = make<Patient2>(store, "Patient");
  auto* path = make<RecoveryPath2>(store, "RecoveryPath");
  std::vector<DatedValue2*> allergies;
  for (int i = 0; i < 4; ++i) {
    auto* value = make<DatedValue2>(store, "DatedValue");
    value->setProperties({.date = at(-i * 1440), .value = "Allergy " + std::to_string(i)});
    allergies.push_back(value);
  }
  std::vector<Vital2*> vitals;
  for (int i = 0; i < 3; ++i) {
    auto* note = make<Note2>(store, "Note");
    note->setProperties(
        {.created = at(i), .lastModified = at(i + 1), .number = 36.5 + i, .text = "measured"});
    auto* vital = make<Vital2>(store, "Vital");
    vital->setProperties({.type = VitalTypeEnum::Pain,
                          .measurement = note,
                          .pateint = patient,
                          .comments = "after walk"});
    vitals.push_back(vital);
  }
  patient->setProperties({.patientId = "p1",
                          .firstName = "Ada",
                          .lastName = "Lovelace",
                          .gender = GenderEnum::Female,
                          .birthDate = dateFromSeconds(-285206400.0),
                          .physicianName = "Dr. Who",
                          .allergies = allergies,
                          .bed = bed,
                          .recoveryPath = path,
                          .room = room,
                          .vitals = vitals});
  std::vector<Appoitment2*> appointments;
  for (int i = 5; i > 0; --i) {  // not in date order: the list order must survive
    auto* appointment = make<Appoitment2>(store, "Appoitment");
    appointment->setProperties({.shortDesc = "Visit " + std::to_string(i),
                                .dateTime = at(i * 1440),
                                .recoveryPath = path,
                                .status = AppoitmentStatusEnum::Scheduled,
                                .withStaffMembers = std::vector<StaffMember2*>{team[i % 3]}});
    appointments.push_back(appointment);
  }
  std::vector<Instruction2*> instructions;
  for (int i = 0; i < 2; ++i) {
    auto* instruction = make<Instruction2>(store, "Instruction");
    instruction->setProperties({.shortDesc = "Walk",
                                .status = InstructionStatusEnum::Issued,
                                .frequencyUnit = 2,
                                .needsReminder = true,
                                .issuedBy = team[1]});
    for (int j = 0; j < 3; ++j) {
      auto* action = make<InstructionAction2>(store, "InstructionAction");
      action->setProperties({.type = InstructionActionTypeEnum::Complete,
                             .timeStamp = at(100 + j),
                             .instruction = instruction});
    }
    instructions.push_back(instruction);
  }
  path->setProperties({.patient = patient,
                       .admissionDate = at(-2880),
                       .appoitments = appointments,
                       .careTeam = team,
                       .informationBooklets = std::vector<InformationBooklet2*>{booklet},
                       .instructions = instructions,
                       .medicalTests = std::vector<MedicalTest2*>{test}});
  return patient;
}

std::string textOf(const NSManagedObjectEx& object) {
  platform::ConsoleCapture quiet;
  auto text = object.getAsJSONString();
  EXPECT_TRUE(text.has_value());
  return text.value_or("");
}

json::object canonicalForm(const NSManagedObjectEx& object) {
  json::object dictionary = object.getAsDictionary();
  canonicalize(dictionary, *object.context()->persistentStoreCoordinator()->managedObjectModel());
  return dictionary;
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

TEST_F(RoundTripTest, PatientGraphSurvivesTextAndANewStoreFile) {
  // Written from the store it was built in.
  Written written;
  std::vector<json::object> expected;
  platform::HostEnvironment::setDocumentsDirectory(first.path());
  {
    ObjectStore store;
    auto context = store.backgroundQueueContext();
    ASSERT_NE(context, nullptr);
    context->performAndWait([&] {
      std::vector<NSManagedObjectEx*> roots;
      Patient2* patient = buildPatient(store, roots);
      for (auto* root : roots) {
        written.roots.push_back(textOf(*root));
        expected.push_back(canonicalForm(*root));
      }
      written.patient = textOf(*patient);
      expected.push_back(canonicalForm(*patient));
    });
    ASSERT_TRUE(store.saveChanges());
  }
  // The form itself: identified objects as identifiers, lists in order.
  json::object patientForm = json::parse(written.patient).as_object();
  EXPECT_EQ(patientForm.at("room"), "R12");
  EXPECT_EQ(patientForm.at("birthDate"), "1960-12-18 05:30:00");  // midnight UTC
  const auto& path = patientForm.at("recoveryPath").as_object();
  EXPECT_FALSE(path.contains("patient"));
  EXPECT_EQ(path.at("medicalTests"), json::parse(R"(["t1"])"));
  ASSERT_EQ(path.at("appoitments").as_array().size(), 5u);
  EXPECT_EQ(path.at("appoitments").as_array()[0].as_object().at("shortDesc"), "Visit 5");

  // Read into a new store file: identified objects first, then the patient.
  platform::HostEnvironment::setDocumentsDirectory(second.path());
  {
    ObjectStore store;
    auto context = store.backgroundQueueContext();
    platform::ConsoleCapture console;
    context->performAndWait([&] {
      for (const auto& text : written.roots) {
        auto dictionary = json::parse(text).as_object();
        auto* made = NSManagedObjectEx::createManagedObjectFromDictionary(dictionary, *context);
        ASSERT_NE(made, nullptr) << text;
      }
      auto* patient = store.createObject("Patient");
      dynamic_cast<NSManagedObjectEx&>(*patient).setPropertiesFromJSONString(written.patient);
    });
    ASSERT_TRUE(store.saveChanges());
  }
  // Closed and reopened: everything comes back from the file.
  {
    ObjectStore store;
    auto context = store.backgroundQueueContext();
    std::vector<json::object> reread;
    context->performAndWait([&] {
      auto fetchOne = [&](const char* entity, const char* key, const std::string& id) {
        auto found =
            store.fetchObjects(entity, graph::Predicate::equal(key, graph::Value(id)), context);
        EXPECT_TRUE(found && found->size() == 1) << entity << " " << id;
        return found && !found->empty() ? dynamic_cast<NSManagedObjectEx*>(found->front())
                                        : nullptr;
      };
      std::vector<NSManagedObjectEx*> objects = {fetchOne("StaffMember", "staffId", "s0"),
                                                 fetchOne("StaffMember", "staffId", "s1"),
                                                 fetchOne("StaffMember", "staffId", "s2"),
                                                 fetchOne("Room", "roomNumber", "R12"),
                                                 fetchOne("Bed", "bedNumber", "B12a"),
                                                 fetchOne("InformationBooklet", "bookletId", "bk1"),
                                                 fetchOne("MedicalTest", "testId", "t1"),
                                                 fetchOne("Patient", "patientId", "p1")};
      for (auto* object : objects) {
        ASSERT_NE(object, nullptr);
        reread.push_back(canonicalForm(*object));
      }
    });
    ASSERT_EQ(reread.size(), expected.size());
    // Links to identified objects came back, also those read before their target.
    EXPECT_EQ(reread[3].at("patients"), json::parse(R"(["p1"])"));
    EXPECT_EQ(reread[3].at("beds"), json::parse(R"(["B12a"])"));
    EXPECT_EQ(reread.back().at("vitals").as_array().size(), 3u);
    EXPECT_EQ(reread.back().at("recoveryPath").at("careTeam"), json::parse(R"(["s0","s1","s2"])"));
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(reread[i], expected[i])
          << "object " << i << "\nwritten: " << json::serialize(expected[i])
          << "\nread:    " << json::serialize(reread[i]);
    }
  }
}

}  // namespace
}  // namespace orbelin::model2
