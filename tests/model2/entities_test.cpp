#include "orbelin/model2/entities.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "model2/entity_definition.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "support/test_support.h"

namespace orbelin::model2 {
namespace {

using graph::AttributeType;
using graph::ManagedObject;
using orbelin::ObjectStore;
using namespace std::chrono_literals;

// setProperties' argument form: the required arguments must all be given,
// in the properties' order, with the vocabulary's type; otherwise the call
// does not compile.
template <typename P>
concept BuildsWithRequiredOnly = requires {
  P{.patientId = "p",
    .firstName = "Ann",
    .lastName = "Lee",
    .gender = GenderEnum::Male,
    .birthDate = Date{}};
};
template <typename P>
concept BuildsWithoutPatientId = requires {
  P{.firstName = "Ann", .lastName = "Lee", .gender = GenderEnum::Male, .birthDate = Date{}};
};
template <typename P>
concept BuildsOutOfOrder = requires {
  P{.firstName = "Ann",
    .patientId = "p",
    .lastName = "Lee",
    .gender = GenderEnum::Male,
    .birthDate = Date{}};
};
template <typename P>
concept TakesTextForACase = requires {
  P{.patientId = "p", .firstName = "Ann", .lastName = "Lee", .gender = "Male", .birthDate = Date{}};
};
static_assert(BuildsWithRequiredOnly<Patient2::Properties>);
static_assert(!BuildsWithoutPatientId<Patient2::Properties>);
static_assert(!BuildsOutOfOrder<Patient2::Properties>);
static_assert(!TakesTextForACase<Patient2::Properties>);

// The typed reads go by index. A model that numbers an entity's properties
// otherwise is refused once, when it is checked, rather than read wrongly.
TEST(HospitalModel, AModelNumberingPropertiesOtherwiseIsRefused) {
  auto model = buildHospitalModel();
  ASSERT_NE(model, nullptr);
  EXPECT_TRUE(detail::slotsMatch(*model));

  graph::ModelBuilder builder;
  builder.entity<Shift2>("Shift", "Shift2")
      .attribute("durationinHours", AttributeType::Integer32)
      .attribute("title", AttributeType::String)
      .attribute("startDateTime", AttributeType::Date)
      .attribute("endDateTime", AttributeType::Date)
      .toOne("staffMember", "Shift");
  auto swapped = builder.build();
  ASSERT_TRUE(swapped);
  std::string lines;
  platform::Console::setSink([&](std::string_view line) { lines.append(line).append("\n"); });
  EXPECT_FALSE(detail::slotsMatch(**swapped));
  platform::Console::setSink(nullptr);
  EXPECT_NE(lines.find("Shift"), std::string::npos) << lines;
}

// Class, entity name, identifier attribute and relations left out of the
// dictionary form (in order), per entity.
struct ClassRow {
  const char* entity;
  const char* className;
  std::optional<std::string> identifier;
  std::vector<std::string> ignored;
};
const ClassRow kClasses[] = {
    {"Alert", "Alert2", "alertId", {"patient"}},
    {"Appoitment", "Appoitment2", std::nullopt, {"recoveryPath"}},
    {"Bed", "Bed2", "bedNumber", {}},
    {"BookletSection", "BookletSection2", std::nullopt, {"informationBooklet"}},
    {"DatedValue",
     "DatedValue2",
     std::nullopt,
     {"patient_allergy", "patient_barrier", "patient_diagnosis", "patient_roundingNote",
      "patient_symptom", "patient_immunization", "patient_diet"}},
    {"InformationBooklet", "InformationBooklet2", "bookletId", {"recoveryPaths"}},
    {"Instruction", "Instruction2", std::nullopt, {"recoveryPath", "medication", "task"}},
    {"InstructionAction", "InstructionAction2", std::nullopt, {"instruction"}},
    {"MedicalTest", "MedicalTest2", "testId", {"recoveryPath"}},
    {"Medication", "Medication2", std::nullopt, {"recoveryPath"}},
    {"Message", "Message2", "messageId", {"patient", "task"}},
    {"MultiMedia", "MultiMedia2", std::nullopt, {"bookletSection", "note", "testResult"}},
    {"Note", "Note2", std::nullopt, {"multiMedia", "vital"}},
    {"Patient", "Patient2", "patientId", {}},
    {"RecoveryPath", "RecoveryPath2", std::nullopt, {"patient"}},
    {"Room", "Room2", "roomNumber", {}},
    {"Shift", "Shift2", std::nullopt, {"staffMember"}},
    {"StaffMember",
     "StaffMember2",
     "staffId",
     {"analyzedResults", "appoitments", "issuedInstructions", "careMemberIn"}},
    {"Task", "Task2", std::nullopt, {}},
    {"TestResult", "TestResult2", std::nullopt, {"test"}},
    {"Vital", "Vital2", std::nullopt, {"pateint"}},
};

// Every answer here comes from an unattached prototype, the way the mapping
// base asks for a destination's identifier: no override may need a context.
TEST(HospitalModel, ClassesNameTheirEntityIdentifierAndIgnoredRelations) {
  auto model = buildHospitalModel();
  ASSERT_NE(model, nullptr);
  for (const ClassRow& row : kClasses) {
    SCOPED_TRACE(row.entity);
    const graph::EntityDescription* entity = model->entity(row.entity);
    ASSERT_NE(entity, nullptr);
    EXPECT_EQ(entity->managedObjectClassName(), row.className);
    auto prototype = entity->makeObject();
    auto* object = dynamic_cast<NSManagedObjectEx*>(prototype.get());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->className(), row.entity);
    EXPECT_EQ(object->externalObjectIdName(), row.identifier);
    EXPECT_EQ(NSManagedObjectEx::externalObjectIdNameOf(*entity), row.identifier);
    std::vector<std::string> ignored;
    for (const auto& relationship : entity->relationships()) {
      if (object->ignoreRelation(relationship.name)) ignored.push_back(relationship.name);
      std::string capital = relationship.name;
      capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
      EXPECT_FALSE(object->ignoreRelation(capital)) << "whole text, case-sensitive";
      EXPECT_FALSE(object->ignoreRelation(relationship.name + " "));
    }
    std::vector<std::string> expected = row.ignored;
    std::sort(expected.begin(), expected.end());
    std::sort(ignored.begin(), ignored.end());
    EXPECT_EQ(ignored, expected);
    EXPECT_FALSE(object->ignoreRelation(""));
  }
}

Date at(double secondsSince1970) {
  return dateFromSeconds(secondsSince1970);
}

// Entities in an in-memory store, filled through setProperties.
class EntitiesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto model = buildHospitalModel();
    ASSERT_NE(model, nullptr);
    coordinator = std::make_shared<graph::PersistentStoreCoordinator>(model);
    ASSERT_TRUE(coordinator->addPersistentStore(graph::StoreType::InMemory, {}).ok());
    context.setPersistentStoreCoordinator(coordinator);
  }
  template <typename T>
  T* make(std::string_view entity) {
    T* object = context.insertNew<T>(entity);
    EXPECT_NE(object, nullptr) << entity;
    return object;
  }
  Patient2* patient(const std::string& id) {
    auto* made = make<Patient2>("Patient");
    made->setProperties({.patientId = id,
                         .firstName = "Ann",
                         .lastName = "Lee",
                         .gender = GenderEnum::Female,
                         .birthDate = at(-86400.0 * 365)});
    return made;
  }
  DatedValue2* entry(const std::string& text) {
    auto* made = make<DatedValue2>("DatedValue");
    made->setProperties({.date = at(1.4e9), .value = text});
    return made;
  }
  Appoitment2* appointment(const std::string& text, RecoveryPath2* path) {
    auto* made = make<Appoitment2>("Appoitment");
    made->setProperties({.shortDesc = text, .dateTime = at(1.5e9), .recoveryPath = path});
    return made;
  }

  std::shared_ptr<graph::PersistentStoreCoordinator> coordinator;
  graph::ManagedObjectContext context;
};

template <typename T>
std::vector<std::string> shortDescs(const std::vector<T*>& objects) {
  std::vector<std::string> texts;
  for (T* object : objects) texts.push_back(object->shortDesc().value_or("?"));
  return texts;
}

// A value of each argument type, different for every attribute name, whole
// seconds for dates (the dictionary form keeps no fraction) and in January,
// away from every time zone's daylight-saving changes.
std::uint32_t seedOf(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash;
}
template <typename T>
T sample(std::string_view name) {
  std::uint32_t seed = seedOf(name);
  if constexpr (std::same_as<T, std::string>)
    return std::string(name) + " text";
  else if constexpr (std::same_as<T, Date>)
    return dateFromSeconds(1'421'000'000.0 + seed % 864'000);
  else if constexpr (std::same_as<T, bool>)
    return seed % 2 == 0;
  else if constexpr (std::same_as<T, std::int32_t>)
    return static_cast<std::int32_t>(seed % 100'000) - 50'000;
  else if constexpr (std::same_as<T, double>)
    return seed % 100'000 + 0.25;
  else if constexpr (std::same_as<T, graph::Bytes>)
    return graph::Bytes{0x00, static_cast<std::uint8_t>(seed), 0xff};
  else
    return Dictionary{{"for", name}, {"seed", seed}};
}
graph::Value valueOf(const Dictionary& dictionary) {
  return boost::json::value(dictionary);
}
template <typename T>
graph::Value valueOf(const T& value) {
  return graph::Value(value);
}
template <typename T>
std::vector<ManagedObject*> asObjects(const std::vector<T*>& objects) {
  return {objects.begin(), objects.end()};
}

// Every typed read of every entity reads the property its name says: each
// property is set by name (a distinct value or a new object each), read back
// through the class, then written to the dictionary form and read into a new
// object, whose reads must give the same values: the dictionary keys reach
// the same properties, and every type survives the text form.
TEST_F(EntitiesTest, EveryTypedReadReadsItsOwnPropertyAndSurvivesTheDictionaryForm) {
#define FILL_ATTRIBUTE(name, Type, presence) \
  object->setValue(#name, valueOf(sample<StoredAs<Type>>(#name)));
#define FILL_TO_ONE(name, Destination, inverse, presence) \
  object->setObject(#name, make<Destination##2>(#Destination));
#define FILL_TO_MANY(name, Destination, inverse, order) \
  object->mutableSet(#name).add(make<Destination##2>(#Destination));
#define READ_ATTRIBUTE(name, Type, presence) \
  EXPECT_EQ(object->name(), std::optional(sample<StoredAs<Type>>(#name))) << #name;
#define READ_TO_ONE(name, Destination, inverse, presence) \
  EXPECT_NE(object->name(), nullptr) << #name;            \
  EXPECT_EQ(static_cast<ManagedObject*>(object->name()), object->object(#name)) << #name;
#define READ_TO_MANY(name, Destination, inverse, order) \
  EXPECT_EQ(object->name().size(), 1u) << #name;        \
  EXPECT_EQ(asObjects(object->name()), object->objects(#name)) << #name;
#define COPY_ATTRIBUTE(name, Type, presence) EXPECT_EQ(copy->name(), object->name()) << #name;
#define COPY_TO_ONE(name, Destination, inverse, presence) \
  EXPECT_EQ(copy->name() != nullptr, !object->ignoreRelation(#name)) << #name;
#define COPY_TO_MANY(name, Destination, inverse, order) \
  EXPECT_EQ(copy->name().size(), object->ignoreRelation(#name) ? 0u : 1u) << #name;
#define CHECK_ENTITY(Entity)                                                            \
  {                                                                                     \
    SCOPED_TRACE(#Entity);                                                              \
    auto* object = make<Entity##2>(#Entity);                                            \
    ASSERT_NE(object, nullptr);                                                         \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(                                              \
        FILL_ATTRIBUTE, FILL_TO_ONE,                                                    \
        FILL_TO_MANY)ORBELIN_MODEL2_PROPERTIES_##Entity##2(READ_ATTRIBUTE, READ_TO_ONE, \
                                                           READ_TO_MANY) auto* copy =   \
        dynamic_cast<Entity##2 *>(NSManagedObjectEx::createManagedObjectFromDictionary( \
            object->getAsDictionary(), context));                                       \
    ASSERT_NE(copy, nullptr);                                                           \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(COPY_ATTRIBUTE, COPY_TO_ONE, COPY_TO_MANY)    \
  }
  ORBELIN_MODEL2_FOR_EACH_ENTITY(CHECK_ENTITY)
#undef CHECK_ENTITY
#undef FILL_ATTRIBUTE
#undef FILL_TO_ONE
#undef FILL_TO_MANY
#undef READ_ATTRIBUTE
#undef READ_TO_ONE
#undef READ_TO_MANY
#undef COPY_ATTRIBUTE
#undef COPY_TO_ONE
#undef COPY_TO_MANY
}

TEST_F(EntitiesTest, RequiredArgumentsAlwaysWrittenAbsentOptionalsLeaveValues) {
  auto* p = make<Patient2>("Patient");
  auto* bed = make<Bed2>("Bed");
  p->setValue("physicianName", "Dr Stone");
  p->setValue("acuity", "kept");
  p->setObject("bed", bed);
  p->setProperties({.patientId = "p1",
                    .firstName = "Ann",
                    .lastName = "Lee",
                    .gender = GenderEnum::Unspecified,
                    .birthDate = at(1000)});
  EXPECT_EQ(p->patientId(), "p1");
  EXPECT_EQ(p->firstName(), "Ann");
  EXPECT_EQ(p->lastName(), "Lee");
  EXPECT_EQ(p->gender(), "Unspecified");
  EXPECT_EQ(p->birthDate(), at(1000));
  EXPECT_EQ(p->physicianName(), "Dr Stone");
  EXPECT_EQ(p->acuity(), "kept");
  EXPECT_EQ(p->bed(), bed) << "an absent to-one argument does not unlink";
  EXPECT_EQ(p->status(), std::nullopt);

  p->setProperties({.patientId = "p2",
                    .firstName = "",
                    .lastName = "Lee",
                    .gender = GenderEnum::Male,
                    .birthDate = at(2000),
                    .acuity = PatientAcuityEnum::FMTODO,
                    .status = PatientStatusEnum::ReadyToDischarge});
  EXPECT_EQ(p->patientId(), "p2");
  EXPECT_EQ(p->firstName(), "") << "values are not validated";
  EXPECT_EQ(p->gender(), "Male");
  EXPECT_EQ(p->acuity(), "flush this out");
  EXPECT_EQ(p->status(), "Ready To Discharge");
  EXPECT_EQ(p->physicianName(), "Dr Stone");
  EXPECT_EQ(p->bed(), bed);
  EXPECT_EQ(bed->patient(), p) << "the inverse follows";
}

TEST_F(EntitiesTest, PresentListsReplaceAbsentListsKeepEmptyListsEmpty) {
  Patient2* p = patient("p1");
  DatedValue2* a = entry("peanuts");
  DatedValue2* b = entry("latex");
  DatedValue2* c = entry("penicillin");
  p->setProperties({.patientId = "p1",
                    .firstName = "Ann",
                    .lastName = "Lee",
                    .gender = GenderEnum::Female,
                    .birthDate = at(0),
                    .allergies = std::vector{a, b},
                    .symptoms = std::vector{c}});
  EXPECT_EQ(p->allergies().size(), 2u);
  EXPECT_EQ(a->object("patient_allergy"), p);
  EXPECT_EQ(c->object("patient_symptom"), p);
  EXPECT_EQ(a->object("patient_symptom"), nullptr) << "only the list's own inverse";

  p->setProperties({.patientId = "p1",
                    .firstName = "Ann",
                    .lastName = "Lee",
                    .gender = GenderEnum::Female,
                    .birthDate = at(0),
                    .allergies = std::vector{c}});
  EXPECT_EQ(p->allergies(), std::vector<DatedValue2*>{c}) << "replaced, not added to";
  EXPECT_EQ(a->object("patient_allergy"), nullptr);
  EXPECT_EQ(p->symptoms(), std::vector<DatedValue2*>{c}) << "absent list unchanged";

  p->setProperties({.patientId = "p1",
                    .firstName = "Ann",
                    .lastName = "Lee",
                    .gender = GenderEnum::Female,
                    .birthDate = at(0),
                    .allergies = std::vector<DatedValue2*>{}});
  EXPECT_TRUE(p->allergies().empty());
  EXPECT_EQ(c->object("patient_allergy"), nullptr);
  EXPECT_EQ(p->symptoms().size(), 1u);
}

TEST_F(EntitiesTest, ToOneArgumentsLinkBothSides) {
  Patient2* p = patient("p1");
  auto* room = make<Room2>("Room");
  room->setProperties({.roomNumber = "3A",
                       .floor = "3",
                       .unit = HospitalUnitEnum::FMTODO,
                       .patients = std::vector{p}});
  EXPECT_EQ(room->unit(), "is it needed? or shall it be left as free form text?");
  EXPECT_EQ(p->room(), room);
  auto* first = make<Bed2>("Bed");
  first->setProperties({.bedNumber = "3A-1", .room = room, .patient = p});
  EXPECT_EQ(p->bed(), first);
  EXPECT_EQ(room->beds(), std::vector<Bed2*>{first});
  auto* second = make<Bed2>("Bed");
  second->setProperties({.bedNumber = "3A-2", .room = room, .patient = p});
  EXPECT_EQ(p->bed(), second) << "one-to-one: the new bed takes the patient";
  EXPECT_EQ(first->patient(), nullptr);
  EXPECT_EQ(room->beds().size(), 2u);

  auto* note = make<Note2>("Note");
  note->setProperties({.created = at(10), .lastModified = at(20), .text = "7/10"});
  auto* vital = make<Vital2>("Vital");
  vital->setProperties(
      {.type = VitalTypeEnum::RepiratoryRate, .measurement = note, .pateint = p, .comments = "ok"});
  EXPECT_EQ(vital->type(), "Repiratory Rate");
  EXPECT_EQ(note->vital(), vital);
  EXPECT_EQ(p->vitals(), std::vector<Vital2*>{vital});
  EXPECT_EQ(vital->pateint(), p);
}

TEST_F(EntitiesTest, VocabularyArgumentsStoreTheirRawValues) {
  auto* staff = make<StaffMember2>("StaffMember");
  staff->setProperties({.staffId = "s1",
                        .firstName = "Bo",
                        .lastName = "Kim",
                        .role = StaffMemberRoleEnum::ChargeNurse,
                        .phoneNumber = "555"});
  EXPECT_EQ(staff->role(), "Charge Nurse");
  EXPECT_EQ(staff->value("role").stringValue(), "Charge Nurse");
  auto* instruction = make<Instruction2>("Instruction");
  instruction->setProperties({.shortDesc = "walk", .status = InstructionStatusEnum::Delegated});
  auto* task = make<Task2>("Task");
  task->setProperties({.type = TaskTypeEnum::FMTODO,
                       .instruction = instruction,
                       .owner = staff,
                       .group = TaskGroupEnum::FMTODO});
  EXPECT_EQ(task->type(), "flush it out");
  EXPECT_EQ(task->group(), "is it needed? or shall it be left as free form text?");
  EXPECT_EQ(instruction->task(), task);
  EXPECT_EQ(staff->tasks(), std::vector<Task2*>{task});
  auto* alert = make<Alert2>("Alert");
  alert->setProperties({.alertId = "a1",
                        .shortDesc = "mood",
                        .category = AlertCategoryEnum::FMTODO,
                        .severity = AlertSeverityEnum::Low,
                        .created = at(1),
                        .lastModified = at(2)});
  EXPECT_EQ(alert->category(), "what else?");
  EXPECT_EQ(alert->severity(), "Low");
  auto* message = make<Message2>("Message");
  message->setProperties({.messageId = "m1",
                          .from = "s1",
                          .to = "s2",
                          .body = "hi",
                          .timeStamp = at(3),
                          .category = MessageCategoryEnum::Patient,
                          .priority = MessagePriorityEnum::High,
                          .status = MessageStatusEnum::Undefined,
                          .task = task});
  EXPECT_EQ(message->category(), "Patient");
  EXPECT_EQ(message->priority(), "High");
  EXPECT_EQ(message->status(), "Undefined");
  EXPECT_EQ(task->messages(), std::vector<Message2*>{message});
}

TEST_F(EntitiesTest, NumbersBytesAndDictionariesAreStoredBoxed) {
  auto* staff = make<StaffMember2>("StaffMember");
  auto* shift = make<Shift2>("Shift");
  shift->setProperties({.title = "night",
                        .durationinHours = 8,
                        .startDateTime = at(0),
                        .endDateTime = at(8 * 3600),
                        .staffMember = staff});
  EXPECT_EQ(shift->value("durationinHours").integer(), 8);
  EXPECT_EQ(shift->durationinHours(), 8);
  EXPECT_EQ(staff->shifts(), std::vector<Shift2*>{shift});

  auto* instruction = make<Instruction2>("Instruction");
  instruction->setProperties({.shortDesc = "pills",
                              .status = InstructionStatusEnum::Issued,
                              .frequency = InstructionFrequencyEnum::Hour,
                              .frequencyUnit = 4,
                              .needsReminder = true});
  EXPECT_EQ(instruction->value("needsReminder").boolean(), true);
  EXPECT_EQ(instruction->needsReminder(), true);
  EXPECT_EQ(instruction->frequencyUnit(), 4);
  EXPECT_EQ(instruction->frequency(), "Hour");
  EXPECT_EQ(instruction->completedAt(), std::nullopt);
  // A 32-bit attribute holds what 16 bits cannot, and nothing beyond 32 bits.
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 40000})");
  EXPECT_EQ(instruction->frequencyUnit(), 40000);
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": -2147483648})");
  EXPECT_EQ(instruction->frequencyUnit(), -2147483648LL);
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 2147483648})");
  EXPECT_EQ(instruction->frequencyUnit(), -2147483648LL);

  auto* test = make<MedicalTest2>("MedicalTest");
  test->setProperties({.testId = "t1",
                       .shortDesc = "glucose",
                       .dateTime = at(5),
                       .normalMax = 7.8,
                       .normalMin = 3.9});
  auto* result = make<TestResult2>("TestResult");
  result->setProperties({.abnormal = false,
                         .analysis = "fine",
                         .timeStamp = at(6),
                         .test = test,
                         .analyzedBy = staff});
  EXPECT_EQ(result->abnormal(), false) << "a required false is still written";
  EXPECT_EQ(test->normalMax(), 7.8);
  EXPECT_EQ(test->results(), std::vector<TestResult2*>{result});
  EXPECT_EQ(staff->analyzedResults(), std::vector<TestResult2*>{result});

  auto* media = make<MultiMedia2>("MultiMedia");
  media->setProperties({.mimeType = "image/png",
                        .binaryData = graph::Bytes{0x89, 0x50, 0x00, 0xff},
                        .testResult = result});
  EXPECT_EQ(media->binaryData(), (graph::Bytes{0x89, 0x50, 0x00, 0xff}));
  EXPECT_EQ(result->imagery(), media);
  auto* note = make<Note2>("Note");
  Dictionary values{{"systolic", 120}, {"diastolic", 80}};
  note->setProperties({.created = at(1),
                       .lastModified = at(2),
                       .dictionary = values,
                       .number = 36.6,
                       .multiMedia = media});
  EXPECT_EQ(note->dictionary(), values);
  EXPECT_EQ(note->number(), 36.6);
  EXPECT_EQ(media->note(), note);
}

TEST_F(EntitiesTest, OrderedRelationshipsFollowTheListOrder) {
  auto* path = make<RecoveryPath2>("RecoveryPath");
  Patient2* p = patient("p1");
  path->setProperties({.patient = p});
  EXPECT_EQ(p->recoveryPath(), path);
  Appoitment2* a = appointment("A", nullptr);
  Appoitment2* b = appointment("B", nullptr);
  Appoitment2* c = appointment("C", nullptr);
  path->setProperties({.patient = p, .appoitments = std::vector{a, b, c}});
  EXPECT_EQ(shortDescs(path->appoitments()), (std::vector<std::string>{"A", "B", "C"}));
  EXPECT_EQ(b->recoveryPath(), path);
  path->setProperties({.patient = p, .appoitments = std::vector{c, a}});
  EXPECT_EQ(shortDescs(path->appoitments()), (std::vector<std::string>{"C", "A"}));
  EXPECT_EQ(b->recoveryPath(), nullptr);
  EXPECT_EQ(a->recoveryPath(), path);
  // The required argument of an appointment moves it to the end of its path.
  appointment("D", path);
  EXPECT_EQ(shortDescs(path->appoitments()), (std::vector<std::string>{"C", "A", "D"}));

  auto* booklet = make<InformationBooklet2>("InformationBooklet");
  booklet->setProperties({.bookletId = "b1", .title = "Knee"});
  std::vector<BookletSection2*> sections;
  for (auto category : {BookletSectionCategoryEnum::Other, BookletSectionCategoryEnum::Diet,
                        BookletSectionCategoryEnum::ContactUs}) {
    auto* section = make<BookletSection2>("BookletSection");
    section->setProperties({.category = category,
                            .title = std::string(rawValue(category)),
                            .body = "...",
                            .informationBooklet = booklet});
    sections.push_back(section);
  }
  EXPECT_EQ(booklet->sections(), sections);
  EXPECT_EQ(sections[2]->category(), "Contact Us");
  booklet->setProperties(
      {.bookletId = "b1", .title = "Knee", .sections = std::vector{sections[2], sections[0]}});
  EXPECT_EQ(booklet->sections(), (std::vector{sections[2], sections[0]}));
  EXPECT_EQ(sections[1]->informationBooklet(), nullptr);
}

TEST_F(EntitiesTest, ManyToManyRelationshipsKeepBothSidesInStep) {
  auto* first = make<RecoveryPath2>("RecoveryPath");
  auto* second = make<RecoveryPath2>("RecoveryPath");
  first->setProperties({.patient = patient("p1")});
  second->setProperties({.patient = patient("p2")});
  auto* s1 = make<StaffMember2>("StaffMember");
  auto* s2 = make<StaffMember2>("StaffMember");
  first->setProperties({.patient = first->patient(), .careTeam = std::vector{s1, s2}});
  second->setProperties({.patient = second->patient(), .careTeam = std::vector{s1}});
  EXPECT_EQ(s1->careMemberIn().size(), 2u);
  EXPECT_EQ(s2->careMemberIn(), std::vector<RecoveryPath2*>{first});
  s1->setProperties({.staffId = "s1",
                     .firstName = "Bo",
                     .lastName = "Kim",
                     .role = StaffMemberRoleEnum::Pharmacist,
                     .phoneNumber = "1",
                     .careMemberIn = std::vector{second}});
  EXPECT_EQ(first->careTeam(), std::vector<StaffMember2*>{s2});
  EXPECT_EQ(second->careTeam(), std::vector<StaffMember2*>{s1});

  auto* booklet = make<InformationBooklet2>("InformationBooklet");
  booklet->setProperties(
      {.bookletId = "b1", .title = "Hip", .recoveryPaths = std::vector{first, second}});
  EXPECT_EQ(first->informationBooklets(), std::vector<InformationBooklet2*>{booklet});
  EXPECT_EQ(second->informationBooklets(), std::vector<InformationBooklet2*>{booklet});

  Appoitment2* visit = appointment("visit", first);
  visit->setProperties({.shortDesc = "visit",
                        .dateTime = at(9),
                        .recoveryPath = first,
                        .status = AppoitmentStatusEnum::Scheduled,
                        .withStaffMembers = std::vector{s1, s2}});
  EXPECT_EQ(s1->appoitments(), std::vector<Appoitment2*>{visit});
  EXPECT_EQ(s2->appoitments(), std::vector<Appoitment2*>{visit});
  EXPECT_EQ(first->appoitments(), std::vector<Appoitment2*>{visit}) << "set again, not added twice";
}

TEST_F(EntitiesTest, ClassNamesAndExternalIdentifiers) {
  Patient2* p = patient("p-17");
  EXPECT_EQ(p->className(), "Patient");
  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(*p), "Patient2");
  EXPECT_EQ(p->externalObjectIdName(), "patientId");
  EXPECT_EQ(p->externalObjectId(), "p-17");
  p->setValue("patientId", "p-18");
  EXPECT_EQ(p->externalObjectId(), "p-18") << "the current value, not the first";
  auto* task = make<Task2>("Task");
  EXPECT_EQ(task->className(), "Task");
  EXPECT_EQ(task->externalObjectId(), std::nullopt);
  EXPECT_EQ(task->externalObjectIdName(), std::nullopt);
  auto* appoitment = make<Appoitment2>("Appoitment");
  EXPECT_EQ(appoitment->className(), "Appoitment");
  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(*appoitment), "Appoitment2");
  auto* bed = make<Bed2>("Bed");
  EXPECT_EQ(bed->externalObjectId(), std::nullopt) << "identifier attribute not set yet";
  bed->setProperties({.bedNumber = "4", .room = nullptr});
  EXPECT_EQ(bed->externalObjectId(), "4");
  auto* entryValue = entry("x");
  EXPECT_EQ(entryValue->value(), "x");
  EXPECT_EQ(entryValue->value("value").stringValue(), "x") << "key-value access stays";
}

TEST_F(EntitiesTest, DictionaryFormLeavesOutTheIgnoredBackReferences) {
  Patient2* p = patient("p1");
  DatedValue2* allergy = entry("peanuts");
  p->mutableSet("allergies").add(allergy);
  ASSERT_EQ(allergy->object("patient_allergy"), p);
  Dictionary form = allergy->getAsDictionary();
  std::set<std::string> keys;
  for (const auto& member : form) keys.insert(std::string(member.key()));
  EXPECT_EQ(keys, (std::set<std::string>{"entityName", "date", "value"}));
  EXPECT_EQ(form.at("entityName"), "DatedValue");
  Dictionary patientForm = p->getAsDictionary();
  ASSERT_TRUE(patientForm.contains("allergies"));
  ASSERT_EQ(patientForm.at("allergies").as_array().size(), 1u);
  EXPECT_FALSE(patientForm.at("allergies").as_array()[0].as_object().contains("patient_allergy"));
}

// ---------------------------------------------------------------------------
// Through the object store: every kind of property survives a save, the end
// of the process that wrote it, and a reopen.

template <typename T>
T* create(ObjectStore& store, const char* entity) {
  auto* object = dynamic_cast<T*>(store.createObject(entity));
  EXPECT_NE(object, nullptr) << entity;
  return object;
}

template <typename T>
T* fetchOne(ObjectStore& store, const char* entity, const char* key, const std::string& text) {
  auto found = store.fetchObjects(entity, graph::Predicate::equal(key, text),
                                  store.backgroundQueueContext());
  if (!found || found->size() != 1) return nullptr;
  return dynamic_cast<T*>(found->front());
}

template <typename T, typename Read>
std::vector<std::string> texts(const std::vector<T*>& objects, Read read) {
  std::vector<std::string> out;
  for (T* object : objects) out.push_back(read(object).value_or("?"));
  return out;
}
std::vector<std::string> sorted(std::vector<std::string> list) {
  std::sort(list.begin(), list.end());
  return list;
}

// Dates on either side of 1970 and 2001, with fractions of a second that a
// binary fraction holds exactly.
const Date kBirth = dateFromSeconds(-1'234'567'890.125);
const Date kAdmitted = dateFromSeconds(1'429'600'000.5);
const graph::Bytes kImage{0x89, 0x50, 0x4e, 0x47, 0x00, 0x0d, 0xff, 0x00};
const Dictionary kPressure{{"systolic", 120}, {"unit", "mmHg"}, {"nested", {{"a", {1, 2.5}}}}};

// Two patients on recovery paths sharing staff and a booklet; every ordered
// relationship is given in an order other than the creation order.
void writeTwoRecoveryPaths(ObjectStore& store) {
  auto context = store.backgroundQueueContext();
  ASSERT_NE(context, nullptr);
  context->performAndWait([&] {
    auto* p1 = create<Patient2>(store, "Patient");
    auto* p2 = create<Patient2>(store, "Patient");
    auto* path1 = create<RecoveryPath2>(store, "RecoveryPath");
    auto* path2 = create<RecoveryPath2>(store, "RecoveryPath");
    std::vector<StaffMember2*> staff;
    for (const char* id : {"s1", "s2", "s3"}) {
      staff.push_back(create<StaffMember2>(store, "StaffMember"));
      staff.back()->setProperties({.staffId = id,
                                   .firstName = "F",
                                   .lastName = id,
                                   .role = StaffMemberRoleEnum::Dietition,
                                   .phoneNumber = "+1 555"});
    }
    std::vector<Appoitment2*> visits;
    for (const char* name : {"X", "Y", "Z"}) {
      visits.push_back(create<Appoitment2>(store, "Appoitment"));
      visits.back()->setProperties(
          {.shortDesc = name, .dateTime = kAdmitted, .recoveryPath = path1});
    }
    visits[2]->setProperties({.shortDesc = "Z",
                              .dateTime = kAdmitted,
                              .recoveryPath = path1,
                              .withStaffMembers = std::vector{staff[1], staff[2]}});
    visits[0]->setProperties({.shortDesc = "X",
                              .dateTime = kAdmitted,
                              .recoveryPath = path1,
                              .withStaffMembers = std::vector{staff[0]}});
    auto* bed = create<Bed2>(store, "Bed");
    auto* room = create<Room2>(store, "Room");
    room->setProperties({.roomNumber = "3A", .floor = "3", .unit = HospitalUnitEnum::FMTODO});
    bed->setProperties({.bedNumber = "3A-1", .room = room});
    std::vector<DatedValue2*> entries;
    for (const char* text : {"peanuts", "latex", "cough"}) {
      entries.push_back(create<DatedValue2>(store, "DatedValue"));
      entries.back()->setProperties({.date = kAdmitted, .value = text});
    }
    p1->setProperties({.patientId = "p1",
                       .firstName = "Zoë 🌷",
                       .lastName = "",
                       .gender = GenderEnum::Female,
                       .birthDate = kBirth,
                       .acuity = PatientAcuityEnum::FMTODO,
                       .ambulatoryStatus = PatientAmbulatoryStatus::OnWheelchair,
                       .physicianName = "Dr O'Neil",
                       .status = PatientStatusEnum::ToBeAdmitted,
                       .allergies = std::vector{entries[1], entries[0]},
                       .bed = bed,
                       .room = room,
                       .symptoms = std::vector{entries[2]}});
    p2->setProperties({.patientId = "p2",
                       .firstName = "Al",
                       .lastName = "Ng",
                       .gender = GenderEnum::Male,
                       .birthDate = kAdmitted});
    auto* booklet = create<InformationBooklet2>(store, "InformationBooklet");
    std::vector<BookletSection2*> sections;
    for (const char* title : {"one", "two", "three"}) {
      sections.push_back(create<BookletSection2>(store, "BookletSection"));
      sections.back()->setProperties({.category = BookletSectionCategoryEnum::SelfCare,
                                      .title = title,
                                      .body = "b",
                                      .informationBooklet = booklet});
    }
    booklet->setProperties({.bookletId = "b1",
                            .title = "Knee",
                            .created = kBirth,
                            .sections = std::vector{sections[2], sections[0], sections[1]}});
    auto* image = create<MultiMedia2>(store, "MultiMedia");
    auto* link = create<MultiMedia2>(store, "MultiMedia");
    image->setProperties({.mimeType = "image/png", .binaryData = kImage});
    link->setProperties({.mimeType = "text/html", .url = "https://example.org/a"});
    sections[0]->setProperties({.category = BookletSectionCategoryEnum::Other,
                                .title = "one",
                                .body = "b",
                                .informationBooklet = booklet,
                                .multiMedias = std::vector{link, image}});
    path1->setProperties({.patient = p1,
                          .admissionDate = kAdmitted,
                          .dischargeDisposition = DischargeDispositionEnum::NursingHome,
                          .dischargeApprovalState = DischargeApprovalStateEnum::Pending,
                          .appoitments = std::vector{visits[2], visits[0], visits[1]},
                          .careTeam = std::vector{staff[0], staff[1]},
                          .informationBooklets = std::vector{booklet}});
    path2->setProperties({.patient = p2,
                          .careTeam = std::vector{staff[0]},
                          .informationBooklets = std::vector{booklet}});
    auto* instruction = create<Instruction2>(store, "Instruction");
    instruction->setProperties({.shortDesc = "pills",
                                .status = InstructionStatusEnum::Approved,
                                .frequency = InstructionFrequencyEnum::MealTime,
                                .frequencyUnit = -7,
                                .createdAt = kBirth,
                                .needsReminder = true,
                                .issuedBy = staff[2],
                                .recoveryPath = path1});
    auto* note = create<Note2>(store, "Note");
    note->setProperties({.created = kAdmitted,
                         .lastModified = kAdmitted,
                         .dictionary = kPressure,
                         .number = 36.6,
                         .multiMedia = image});
    auto* vital = create<Vital2>(store, "Vital");
    vital->setProperties(
        {.type = VitalTypeEnum::BodyTemparture, .measurement = note, .pateint = p1});
    auto* test = create<MedicalTest2>(store, "MedicalTest");
    test->setProperties({.testId = "t1",
                         .shortDesc = "glucose",
                         .dateTime = kAdmitted,
                         .normalMax = 7.8,
                         .normalMin = -0.5,
                         .recoveryPath = path1});
    auto* result = create<TestResult2>(store, "TestResult");
    result->setProperties(
        {.abnormal = true, .analysis = "high", .timeStamp = kAdmitted, .test = test});
    auto* shift = create<Shift2>(store, "Shift");
    shift->setProperties({.title = "night",
                          .durationinHours = 8,
                          .startDateTime = kBirth,
                          .endDateTime = kAdmitted,
                          .staffMember = staff[2]});
  });
  ASSERT_TRUE(store.saveChanges());
}

void expectTwoRecoveryPaths(ObjectStore& store) {
  auto* p1 = fetchOne<Patient2>(store, "Patient", "patientId", "p1");
  auto* p2 = fetchOne<Patient2>(store, "Patient", "patientId", "p2");
  ASSERT_NE(p1, nullptr);
  ASSERT_NE(p2, nullptr);
  EXPECT_EQ(p1->firstName(), "Zoë 🌷");
  EXPECT_EQ(p1->lastName(), "");
  EXPECT_EQ(p1->gender(), "Female");
  EXPECT_EQ(p1->birthDate(), kBirth);
  EXPECT_EQ(p1->acuity(), "flush this out");
  EXPECT_EQ(p1->ambulatoryStatus(), "OnWheelchair");
  EXPECT_EQ(p1->physicianName(), "Dr O'Neil");
  EXPECT_EQ(p1->status(), "To Be Admitted");
  EXPECT_EQ(sorted(texts(p1->allergies(), [](auto* e) { return e->value(); })),
            (std::vector<std::string>{"latex", "peanuts"}));
  EXPECT_EQ(texts(p1->symptoms(), [](auto* e) { return e->value(); }),
            std::vector<std::string>{"cough"});
  EXPECT_TRUE(p1->diagnoses().empty());
  ASSERT_NE(p1->bed(), nullptr);
  EXPECT_EQ(p1->bed()->bedNumber(), "3A-1");
  EXPECT_EQ(p1->bed()->patient(), p1);
  ASSERT_NE(p1->room(), nullptr);
  EXPECT_EQ(p1->room()->unit(), "is it needed? or shall it be left as free form text?");
  EXPECT_EQ(p1->room()->beds(), std::vector<Bed2*>{p1->bed()});

  RecoveryPath2* path1 = p1->recoveryPath();
  RecoveryPath2* path2 = p2->recoveryPath();
  ASSERT_NE(path1, nullptr);
  ASSERT_NE(path2, nullptr);
  EXPECT_EQ(path1->patient(), p1);
  EXPECT_EQ(path1->admissionDate(), kAdmitted);
  EXPECT_EQ(path1->dischargeDate(), std::nullopt);
  EXPECT_EQ(path1->dischargeDisposition(), "NursingHome");
  EXPECT_EQ(path1->dischargeApprovalState(), "Pending");
  EXPECT_EQ(texts(path1->appoitments(), [](auto* a) { return a->shortDesc(); }),
            (std::vector<std::string>{"Z", "X", "Y"}));
  EXPECT_EQ(sorted(texts(path1->careTeam(), [](auto* s) { return s->staffId(); })),
            (std::vector<std::string>{"s1", "s2"}));
  EXPECT_EQ(texts(path2->careTeam(), [](auto* s) { return s->staffId(); }),
            std::vector<std::string>{"s1"});
  auto* s1 = fetchOne<StaffMember2>(store, "StaffMember", "staffId", "s1");
  auto* s3 = fetchOne<StaffMember2>(store, "StaffMember", "staffId", "s3");
  ASSERT_NE(s1, nullptr);
  ASSERT_NE(s3, nullptr);
  EXPECT_EQ(s1->role(), "Dietition");
  EXPECT_EQ(s1->careMemberIn().size(), 2u);
  EXPECT_EQ(texts(s1->appoitments(), [](auto* a) { return a->shortDesc(); }),
            std::vector<std::string>{"X"});
  EXPECT_EQ(texts(s3->appoitments(), [](auto* a) { return a->shortDesc(); }),
            std::vector<std::string>{"Z"});
  Appoitment2* z = path1->appoitments().front();
  EXPECT_EQ(sorted(texts(z->withStaffMembers(), [](auto* s) { return s->staffId(); })),
            (std::vector<std::string>{"s2", "s3"}));

  auto* booklet = fetchOne<InformationBooklet2>(store, "InformationBooklet", "bookletId", "b1");
  ASSERT_NE(booklet, nullptr);
  EXPECT_EQ(booklet->created(), kBirth);
  EXPECT_EQ(booklet->recoveryPaths().size(), 2u);
  EXPECT_EQ(path2->informationBooklets(), std::vector<InformationBooklet2*>{booklet});
  auto sections = booklet->sections();
  EXPECT_EQ(texts(sections, [](auto* s) { return s->title(); }),
            (std::vector<std::string>{"three", "one", "two"}));
  ASSERT_EQ(sections.size(), 3u);
  EXPECT_EQ(sections[1]->category(), "Other");
  EXPECT_EQ(sections[0]->category(), "Self Care");
  auto media = sections[1]->multiMedias();
  EXPECT_EQ(texts(media, [](auto* m) { return m->mimeType(); }),
            (std::vector<std::string>{"text/html", "image/png"}));
  ASSERT_EQ(media.size(), 2u);
  EXPECT_EQ(media[0]->url(), "https://example.org/a");
  EXPECT_EQ(media[1]->binaryData(), kImage);

  ASSERT_EQ(path1->instructions().size(), 1u);
  Instruction2* instruction = path1->instructions().front();
  EXPECT_EQ(instruction->needsReminder(), true);
  EXPECT_EQ(instruction->frequencyUnit(), -7);
  EXPECT_EQ(instruction->frequency(), "MealTime");
  EXPECT_EQ(instruction->createdAt(), kBirth);
  EXPECT_EQ(instruction->issuedBy(), s3);

  ASSERT_EQ(p1->vitals().size(), 1u);
  Vital2* vital = p1->vitals().front();
  EXPECT_EQ(vital->type(), "Body Temparture");
  ASSERT_NE(vital->measurement(), nullptr);
  EXPECT_EQ(vital->measurement()->dictionary(), kPressure);
  EXPECT_EQ(vital->measurement()->number(), 36.6);
  EXPECT_EQ(vital->measurement()->multiMedia(), media[1]);

  ASSERT_EQ(path1->medicalTests().size(), 1u);
  MedicalTest2* test = path1->medicalTests().front();
  EXPECT_EQ(test->normalMax(), 7.8);
  EXPECT_EQ(test->normalMin(), -0.5);
  ASSERT_EQ(test->results().size(), 1u);
  EXPECT_EQ(test->results().front()->abnormal(), true);
  ASSERT_EQ(s3->shifts().size(), 1u);
  EXPECT_EQ(s3->shifts().front()->durationinHours(), 8);
  EXPECT_EQ(s3->shifts().front()->endDateTime(), kAdmitted);
}

class EntitiesPersistenceTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::HostEnvironment::setDocumentsDirectory(documents.path()); }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }
  test::TempDir documents;
};

TEST_F(EntitiesPersistenceTest, EveryKindOfPropertySurvivesAReopen) {
  {
    ObjectStore writer;
    writeTwoRecoveryPaths(writer);
    expectTwoRecoveryPaths(writer);
  }
  ObjectStore reader;
  expectTwoRecoveryPaths(reader);
}

TEST(EntitiesReopenChild, ReadsBackWhatTheParentWrote) {
  const char* directory = std::getenv("ORBELIN_MODEL2_REOPEN_DIR");
  if (directory == nullptr)
    GTEST_SKIP() << "run by EntitiesPersistenceTest.EveryKindOfPropertySurvivesAnotherProcess";
  platform::HostEnvironment::setDocumentsDirectory(std::filesystem::path(directory));
  ObjectStore reader;
  expectTwoRecoveryPaths(reader);
}

TEST_F(EntitiesPersistenceTest, EveryKindOfPropertySurvivesAnotherProcess) {
  {
    ObjectStore writer;
    writeTwoRecoveryPaths(writer);
  }
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setenv("ORBELIN_MODEL2_REOPEN_DIR", documents.path().c_str(), 1);
    execl("/proc/self/exe", "model2_test", "--gtest_filter=EntitiesReopenChild.*", nullptr);
    _exit(127);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the reading process found a difference (its output above)";
}

// The host calls nothing first: the shared store opens with every entity.
TEST_F(EntitiesPersistenceTest, HospitalStoreOpensWithEveryEntity) {
  ObjectStore& store = hospitalStore();
  auto model = store.model();
  ASSERT_NE(model, nullptr);
  EXPECT_EQ(model->entities().size(), 21u);
  EXPECT_TRUE(detail::slotsMatch(*model)) << "the store's merged model numbers properties alike";
  for (const ClassRow& row : kClasses) {
    const graph::EntityDescription* entity = model->entity(row.entity);
    ASSERT_NE(entity, nullptr) << row.entity;
    EXPECT_EQ(entity->managedObjectClassName(), row.className);
  }
  auto* patient = dynamic_cast<Patient2*>(store.createObject("Patient"));
  ASSERT_NE(patient, nullptr);
  patient->setProperties({.patientId = "shared",
                          .firstName = "A",
                          .lastName = "B",
                          .gender = GenderEnum::Unspecified,
                          .birthDate = kBirth});
  ASSERT_TRUE(store.saveChanges());
  auto found =
      store.fetchObjectsWithName("Patient", graph::Predicate::equal("patientId", "shared"));
  ASSERT_TRUE(found.has_value());
  ASSERT_EQ(found->size(), 1u);
  EXPECT_NE(dynamic_cast<Patient2*>(found->front()), nullptr);
  EXPECT_TRUE(std::filesystem::exists(documents.path() / "MainStore.sqlite"));
}

}  // namespace
}  // namespace orbelin::model2
