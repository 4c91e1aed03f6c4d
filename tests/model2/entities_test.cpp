#include "orbelin/model2/entities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "model2/entity_definition.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "stores2/child_process.h"
#include "support/test_support.h"

namespace orbelin::model2 {
namespace {

using graph::AttributeType;
using graph::ManagedObject;
using orbelin::ObjectStore;
using Objects = std::vector<ManagedObject*>;

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

// Entity name (its class adds a 2), identifier attribute and relations left
// out of the dictionary form, per entity.
struct ClassRow {
  const char* entity;
  std::optional<std::string> identifier;
  std::vector<std::string> ignored;
};
const ClassRow kClasses[] = {
    {"Alert", "alertId", {"patient"}},
    {"Appoitment", std::nullopt, {"recoveryPath"}},
    {"Bed", "bedNumber", {}},
    {"BookletSection", std::nullopt, {"informationBooklet"}},
    {"DatedValue",
     std::nullopt,
     {"patient_allergy", "patient_barrier", "patient_diagnosis", "patient_roundingNote",
      "patient_symptom", "patient_immunization", "patient_diet"}},
    {"InformationBooklet", "bookletId", {"recoveryPaths"}},
    {"Instruction", std::nullopt, {"recoveryPath", "medication", "task"}},
    {"InstructionAction", std::nullopt, {"instruction"}},
    {"MedicalTest", "testId", {"recoveryPath"}},
    {"Medication", std::nullopt, {"recoveryPath"}},
    {"Message", "messageId", {"patient", "task"}},
    {"MultiMedia", std::nullopt, {"bookletSection", "note", "testResult"}},
    {"Note", std::nullopt, {"multiMedia", "vital"}},
    {"Patient", "patientId", {}},
    {"RecoveryPath", std::nullopt, {"patient"}},
    {"Room", "roomNumber", {}},
    {"Shift", std::nullopt, {"staffMember"}},
    {"StaffMember",
     "staffId",
     {"analyzedResults", "appoitments", "issuedInstructions", "careMemberIn"}},
    {"Task", std::nullopt, {}},
    {"TestResult", std::nullopt, {"test"}},
    {"Vital", std::nullopt, {"pateint"}},
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
    EXPECT_EQ(entity->managedObjectClassName(), row.entity + std::string("2"));
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

// A value of each argument type, different for every attribute name: texts
// with a quote and letters beyond ASCII, negative numbers, bytes with a zero,
// a nested dictionary, a case of the vocabulary; dates in whole seconds (the
// dictionary form keeps no fraction) and in January, away from every time
// zone's daylight-saving changes.
std::uint32_t seedOf(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash;
}
template <typename T>
T sample(std::string_view name) {
  std::uint32_t seed = seedOf(name);
  if constexpr (std::same_as<T, std::string>)
    return std::string(name) + " O'Neil Zoë 🌷";
  else if constexpr (std::same_as<T, Date>)
    return dateFromSeconds(1'421'000'000.0 + seed % 864'000);
  else if constexpr (std::same_as<T, bool>)
    return seed % 2 == 0;
  else if constexpr (std::same_as<T, std::int32_t>)
    return -static_cast<std::int32_t>(seed % 100'000) - 1;
  else if constexpr (std::same_as<T, double>)
    return 0.25 - static_cast<double>(seed % 100'000);
  else if constexpr (std::same_as<T, graph::Bytes>)
    return graph::Bytes{0x00, static_cast<std::uint8_t>(seed), 0xff};
  else if constexpr (Vocabulary<T>)
    return VocabularyTable<T>::entries[seed % VocabularyTable<T>::entries.size()].value;
  else
    return Dictionary{{"for", name}, {"seed", seed}, {"nested", {{"a", {1, 2.5}}}}};
}
// What a typed read gives back for an argument.
template <typename T>
StoredAs<T> stored(const T& argument) {
  if constexpr (Vocabulary<T>)
    return std::string(rawValue(argument));
  else
    return argument;
}
graph::Value valueOf(const Dictionary& dictionary) {
  return boost::json::value(dictionary);
}
template <typename T>
graph::Value valueOf(const T& value) {
  return graph::Value(value);
}
template <typename T>
Objects asObjects(const std::vector<T*>& objects) {
  return {objects.begin(), objects.end()};
}

// Objects are told apart by their entity's first text attribute.
const std::string& tagKey(const graph::EntityDescription& entity) {
  for (const auto& attribute : entity.attributes())
    if (attribute.type == AttributeType::String) return attribute.name;
  ADD_FAILURE() << entity.name() << " has no text attribute";
  static const std::string none;
  return none;
}
std::vector<std::string> tags(const Objects& objects) {
  std::vector<std::string> out;
  for (ManagedObject* object : objects)
    out.push_back(object ? object->value(tagKey(object->entity())).stringValue() : "<null>");
  return out;
}

// Whether `member` names `owner` back through the relationship `inverse`.
bool linksBack(ManagedObject* member, const char* inverse, ManagedObject* owner) {
  const auto* relationship = member->entity().relationship(inverse);
  if (relationship == nullptr) return false;
  if (!relationship->toMany) return member->object(inverse) == owner;
  auto back = member->objects(inverse);
  return std::find(back.begin(), back.end(), owner) != back.end();
}

// Entities in an in-memory store.
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
  // New objects handed to setProperties as the argument `name`: one for a
  // to-one argument, two for a list (given in the reverse of their creation).
  template <typename T>
  T* member(const char* name, std::string_view entity) {
    T* made = make<T>(entity);
    given[name].push_back(made);
    return made;
  }
  template <typename T>
  std::vector<T*> members(const char* name, std::string_view entity) {
    T* first = member<T>(name, entity);
    T* second = member<T>(name, entity);
    std::reverse(given[name].begin(), given[name].end());
    return {second, first};
  }
  // The relationship holds what was given (in order if it is ordered), and
  // each member names the object back.
  void expectLinked(ManagedObject* object, const char* name, const char* inverse, Objects read,
                    bool ordered) {
    Objects expected = given[name];
    if (!ordered) {
      std::sort(read.begin(), read.end());
      std::sort(expected.begin(), expected.end());
    }
    EXPECT_EQ(read, expected) << name;
    for (ManagedObject* linked : expected)
      EXPECT_TRUE(linksBack(linked, inverse, object)) << name << " <- " << inverse;
  }
  Patient2::Properties ann(const std::string& id) {
    return {.patientId = id,
            .firstName = "Ann",
            .lastName = "Lee",
            .gender = GenderEnum::Female,
            .birthDate = at(-86400.0 * 365)};
  }
  Patient2* patient(const std::string& id) {
    auto* made = make<Patient2>("Patient");
    made->setProperties(ann(id));
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
  std::map<std::string, Objects> given;
};

// For every entity: (1) each property set by name (a distinct value or a new
// object each) is what its typed read reads; (2) setProperties with every
// argument present writes each under its own name, with the stored kind, a
// vocabulary case as its raw value, and links each given object both ways,
// lists in order; (3) the dictionary form of (1) read into a new object gives
// the same reads: the dictionary keys reach the same properties, every type
// survives the text form, and the ignored relations stay out.
TEST_F(EntitiesTest, EveryPropertyIsWrittenAndReadUnderItsOwnNameAndSurvivesTheDictionaryForm) {
#define FILL_ATTRIBUTE(name, Type, presence) \
  object->setValue(#name, valueOf(sample<StoredAs<Type>>(#name)));
#define READ_ATTRIBUTE(name, Type, presence) \
  EXPECT_EQ(object->name(), std::optional(sample<StoredAs<Type>>(#name))) << #name;
#define FILL_TO_ONE(name, Destination, inverse, presence) \
  object->setObject(#name, make<Destination##2>(#Destination));
#define FILL_TO_MANY(name, Destination, inverse, order) \
  object->mutableSet(#name).add(make<Destination##2>(#Destination));
#define READ_TO_ONE(name, Destination, inverse, presence) \
  EXPECT_NE(object->name(), nullptr) << #name;            \
  EXPECT_EQ(static_cast<ManagedObject*>(object->name()), object->object(#name)) << #name;
#define READ_TO_MANY(name, Destination, inverse, order) \
  EXPECT_EQ(object->name().size(), 1u) << #name;        \
  EXPECT_EQ(asObjects(object->name()), object->objects(#name)) << #name;
#define ARGUMENT(name, Type, presence) .name = sample<Type>(#name),
#define TO_ONE_ARGUMENT(name, Destination, inverse, presence) \
  TO_ONE_ARGUMENT_##presence(name, Destination)
#define TO_ONE_ARGUMENT_Required(name, Destination) \
  .name = member<Destination##2>(#name, #Destination),
#define TO_ONE_ARGUMENT_Optional TO_ONE_ARGUMENT_Required
#define TO_ONE_ARGUMENT_NotSet(name, Destination)
#define TO_MANY_ARGUMENT(name, Destination, inverse, order) \
  .name = members<Destination##2>(#name, #Destination),
#define WRITTEN(name, Type, presence)                                              \
  EXPECT_EQ(written->value(#name), valueOf(stored(sample<Type>(#name)))) << #name; \
  EXPECT_EQ(written->value(#name).kind(), valueOf(stored(sample<Type>(#name))).kind()) << #name;
#define WRITTEN_TO_ONE(name, Destination, inverse, presence) \
  if (given.contains(#name)) expectLinked(written, #name, #inverse, {written->object(#name)}, true);
#define WRITTEN_TO_MANY(name, Destination, inverse, order)        \
  expectLinked(written, #name, #inverse, written->objects(#name), \
               std::string_view(#order) == "Ordered");
#define COPY_ATTRIBUTE(name, Type, presence) EXPECT_EQ(copy->name(), object->name()) << #name;
#define COPY_TO_ONE(name, Destination, inverse, presence) \
  EXPECT_EQ(copy->name() != nullptr, !object->ignoreRelation(#name)) << #name;
#define COPY_TO_MANY(name, Destination, inverse, order) \
  EXPECT_EQ(copy->name().size(), object->ignoreRelation(#name) ? 0u : 1u) << #name;
#define CHECK_ENTITY(Entity)                                                                       \
  {                                                                                                \
    SCOPED_TRACE(#Entity);                                                                         \
    auto* object = make<Entity##2>(#Entity);                                                       \
    ASSERT_NE(object, nullptr);                                                                    \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(FILL_ATTRIBUTE, FILL_TO_ONE, FILL_TO_MANY);              \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(READ_ATTRIBUTE, READ_TO_ONE, READ_TO_MANY);              \
    given.clear();                                                                                 \
    auto* written = make<Entity##2>(#Entity);                                                      \
    written->setProperties(                                                                        \
        {ORBELIN_MODEL2_PROPERTIES_##Entity##2(ARGUMENT, TO_ONE_ARGUMENT, TO_MANY_ARGUMENT)});     \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(WRITTEN, WRITTEN_TO_ONE, WRITTEN_TO_MANY);               \
    auto* copy = dynamic_cast<Entity##2 *>(                                                        \
        NSManagedObjectEx::createManagedObjectFromDictionary(object->getAsDictionary(), context)); \
    ASSERT_NE(copy, nullptr);                                                                      \
    ORBELIN_MODEL2_PROPERTIES_##Entity##2(COPY_ATTRIBUTE, COPY_TO_ONE, COPY_TO_MANY);              \
  }
  ORBELIN_MODEL2_FOR_EACH_ENTITY(CHECK_ENTITY)
}

// setProperties writes every required argument and every present optional
// one; absent ones keep their values. A present list replaces the whole
// relationship, unlinking what it no longer holds.
TEST_F(EntitiesTest, AbsentArgumentsKeepValuesAndPresentListsReplaceTheWholeRelationship) {
  auto* p = make<Patient2>("Patient");
  auto* bed = make<Bed2>("Bed");
  p->setValue("physicianName", "Dr Stone");
  p->setValue("acuity", "kept");
  p->setObject("bed", bed);
  DatedValue2* a = entry("peanuts");
  DatedValue2* b = entry("latex");
  DatedValue2* c = entry("penicillin");
  Patient2::Properties properties = ann("p1");
  properties.allergies = std::vector{a, b};
  properties.symptoms = std::vector{c};
  p->setProperties(properties);
  EXPECT_EQ(p->patientId(), "p1");
  EXPECT_EQ(p->gender(), "Female");
  EXPECT_EQ(p->physicianName(), "Dr Stone");
  EXPECT_EQ(p->acuity(), "kept");
  EXPECT_EQ(p->bed(), bed) << "an absent to-one argument does not unlink";
  EXPECT_EQ(p->status(), std::nullopt);
  EXPECT_EQ(p->allergies().size(), 2u);
  EXPECT_EQ(a->object("patient_allergy"), p);
  EXPECT_EQ(c->object("patient_symptom"), p);
  EXPECT_EQ(a->object("patient_symptom"), nullptr) << "only the list's own inverse";

  p->setProperties({.patientId = "p2",
                    .firstName = "",
                    .lastName = "Lee",
                    .gender = GenderEnum::Male,
                    .birthDate = at(2000),
                    .acuity = PatientAcuityEnum::FMTODO,
                    .status = PatientStatusEnum::ReadyToDischarge,
                    .allergies = std::vector{c}});
  EXPECT_EQ(p->patientId(), "p2");
  EXPECT_EQ(p->firstName(), "") << "values are not validated";
  EXPECT_EQ(p->gender(), "Male");
  EXPECT_EQ(p->birthDate(), at(2000));
  EXPECT_EQ(p->acuity(), "flush this out");
  EXPECT_EQ(p->status(), "Ready To Discharge");
  EXPECT_EQ(p->physicianName(), "Dr Stone");
  EXPECT_EQ(bed->patient(), p);
  EXPECT_EQ(p->allergies(), std::vector<DatedValue2*>{c}) << "replaced, not added to";
  EXPECT_EQ(a->object("patient_allergy"), nullptr);
  EXPECT_EQ(p->symptoms(), std::vector<DatedValue2*>{c}) << "absent list unchanged";

  properties.allergies = std::vector<DatedValue2*>{};
  properties.symptoms = std::nullopt;
  p->setProperties(properties);
  EXPECT_TRUE(p->allergies().empty());
  EXPECT_EQ(c->object("patient_allergy"), nullptr);
  EXPECT_EQ(p->symptoms().size(), 1u);

  // A required false is still written.
  auto* result = make<TestResult2>("TestResult");
  result->setValue("abnormal", true);
  result->setProperties(
      {.abnormal = false, .analysis = "fine", .timeStamp = at(6), .test = nullptr});
  EXPECT_EQ(result->abnormal(), false);

  // A 32-bit attribute holds what 16 bits cannot, and nothing beyond 32 bits.
  auto* instruction = make<Instruction2>("Instruction");
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 40000})");
  EXPECT_EQ(instruction->frequencyUnit(), 40000);
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": -2147483648})");
  EXPECT_EQ(instruction->frequencyUnit(), -2147483648LL);
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 2147483648})");
  EXPECT_EQ(instruction->frequencyUnit(), -2147483648LL);
}

TEST_F(EntitiesTest, RelationshipArgumentsKeepOrderAndBothSidesInStep) {
  // One-to-one: a new bed takes the patient from the first.
  Patient2* p = patient("p1");
  auto* first = make<Bed2>("Bed");
  first->setProperties({.bedNumber = "3A-1", .room = nullptr, .patient = p});
  auto* second = make<Bed2>("Bed");
  second->setProperties({.bedNumber = "3A-2", .room = nullptr, .patient = p});
  EXPECT_EQ(p->bed(), second);
  EXPECT_EQ(first->patient(), nullptr);

  // Ordered: the list's order; a required to-one argument appends.
  auto* path = make<RecoveryPath2>("RecoveryPath");
  Appoitment2* a = appointment("A", nullptr);
  Appoitment2* b = appointment("B", nullptr);
  Appoitment2* c = appointment("C", nullptr);
  path->setProperties({.patient = p, .appoitments = std::vector{a, b, c}});
  EXPECT_EQ(tags(asObjects(path->appoitments())), (std::vector<std::string>{"A", "B", "C"}));
  path->setProperties({.patient = p, .appoitments = std::vector{c, a}});
  EXPECT_EQ(tags(asObjects(path->appoitments())), (std::vector<std::string>{"C", "A"}));
  EXPECT_EQ(b->recoveryPath(), nullptr);
  EXPECT_EQ(a->recoveryPath(), path);
  Appoitment2* d = appointment("D", path);
  EXPECT_EQ(tags(asObjects(path->appoitments())), (std::vector<std::string>{"C", "A", "D"}));
  d->setProperties({.shortDesc = "D", .dateTime = at(9), .recoveryPath = path});
  EXPECT_EQ(path->appoitments().size(), 3u) << "set again, not added twice";

  // Many-to-many: a list given on either side replaces that side's links.
  auto* other = make<RecoveryPath2>("RecoveryPath");
  other->setProperties({.patient = patient("p2")});
  auto* s1 = make<StaffMember2>("StaffMember");
  auto* s2 = make<StaffMember2>("StaffMember");
  path->setProperties({.patient = p, .careTeam = std::vector{s1, s2}});
  other->setProperties({.patient = other->patient(), .careTeam = std::vector{s1}});
  EXPECT_EQ(s1->careMemberIn().size(), 2u);
  s1->setProperties({.staffId = "s1",
                     .firstName = "Bo",
                     .lastName = "Kim",
                     .role = StaffMemberRoleEnum::Pharmacist,
                     .phoneNumber = "1",
                     .careMemberIn = std::vector{other}});
  EXPECT_EQ(path->careTeam(), std::vector<StaffMember2*>{s2});
  EXPECT_EQ(other->careTeam(), std::vector<StaffMember2*>{s1});
}

TEST_F(EntitiesTest, IdentifiersAndTheDictionaryFormOfBackReferences) {
  Patient2* p = patient("p-17");
  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(*p), "Patient2");
  // Also for an instance no context holds, and one no entity made.
  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(*p->entity().makeObject()), "Patient2");
  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(Patient2()), "ManagedObject");
  EXPECT_EQ(p->externalObjectId(), "p-17");
  p->setValue("patientId", "p-18");
  EXPECT_EQ(p->externalObjectId(), "p-18") << "the current value, not the first";
  EXPECT_EQ(make<Task2>("Task")->externalObjectId(), std::nullopt);
  auto* bed = make<Bed2>("Bed");
  EXPECT_EQ(bed->externalObjectId(), std::nullopt) << "identifier attribute not set yet";
  bed->setProperties({.bedNumber = "4", .room = nullptr});
  EXPECT_EQ(bed->externalObjectId(), "4");

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
// Through the object store: every property of every entity survives a save,
// a reopen and another process reading the file.

template <typename T>
T* fetchOne(ObjectStore& store, const char* entity, const char* key, const std::string& text) {
  auto found = store.fetchObjects(entity, graph::Predicate::equal(key, text),
                                  store.backgroundQueueContext());
  if (!found || found->size() != 1) return nullptr;
  return dynamic_cast<T*>(found->front());
}

graph::Value sampleValue(const graph::AttributeDescription& attribute) {
  switch (attribute.type) {
    case AttributeType::Date:
      return valueOf(sample<Date>(attribute.name));
    case AttributeType::Boolean:
      return valueOf(sample<bool>(attribute.name));
    case AttributeType::Integer32:
      return valueOf(sample<std::int32_t>(attribute.name));
    case AttributeType::Double:
      return valueOf(sample<double>(attribute.name));
    case AttributeType::Binary:
      return valueOf(sample<graph::Bytes>(attribute.name));
    case AttributeType::Transformable:
      return valueOf(sample<Dictionary>(attribute.name));
    default:
      return valueOf(sample<std::string>(attribute.name));
  }
}

// Dates on either side of 1970 and 2001, with fractions of a second that a
// binary fraction holds exactly.
const Date kBirth = dateFromSeconds(-1'234'567'890.125);
const Date kAdmitted = dateFromSeconds(1'429'600'000.5);

// One object of every entity with every attribute set to its sample and
// every relationship to new objects tagged with its name: two for a to-many
// one, given in the reverse of their creation. Then exact values beyond the
// samples, and a staff member and a booklet in the lists of two paths.
void writeEveryProperty(ObjectStore& store) {
  ASSERT_NE(store.model(), nullptr);
  store.backgroundQueueContext()->performAndWait([&] {
    for (const auto& entity : store.model()->entities()) {
      ManagedObject* object = store.createObject(entity->name());
      for (const auto& attribute : entity->attributes())
        object->setValue(attribute.name, sampleValue(attribute));
      for (const auto& relationship : entity->relationships()) {
        Objects members;
        for (int i = 0; i < (relationship.toMany ? 2 : 1); ++i) {
          ManagedObject* member = store.createObject(relationship.destinationName);
          member->setValue(tagKey(member->entity()), relationship.name + std::to_string(i));
          members.insert(members.begin(), member);
        }
        if (relationship.toMany)
          object->mutableSet(relationship.name).assign(members);
        else
          object->setObject(relationship.name, members[0]);
      }
    }
    ManagedObject* staff = store.createObject("StaffMember");
    staff->setValue("staffId", "shared");
    staff->setValue("lastName", "");
    ManagedObject* booklet = store.createObject("InformationBooklet");
    booklet->setValue("bookletId", "shared");
    booklet->setValue("created", kBirth);
    booklet->setValue("lastModified", kAdmitted);
    for (int i = 0; i < 2; ++i) {
      ManagedObject* path = store.createObject("RecoveryPath");
      path->mutableSet("careTeam").add(staff);
      path->mutableSet("informationBooklets").add(booklet);
    }
  });
  ASSERT_TRUE(store.saveChanges());
}

void expectEveryProperty(ObjectStore& store) {
  ASSERT_NE(store.model(), nullptr);
  for (const auto& entity : store.model()->entities()) {
    SCOPED_TRACE(entity->name());
    const std::string& key = tagKey(*entity);
    auto found =
        store.fetchObjects(entity->name(), graph::Predicate::equal(key, sample<std::string>(key)),
                           store.backgroundQueueContext());
    ASSERT_TRUE(found.has_value());
    ASSERT_EQ(found->size(), 1u);
    auto* object = dynamic_cast<NSManagedObjectEx*>(found->front());
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->className(), entity->name());
    for (const auto& attribute : entity->attributes()) {
      EXPECT_EQ(object->value(attribute.name), sampleValue(attribute)) << attribute.name;
      EXPECT_EQ(object->value(attribute.name).kind(), sampleValue(attribute).kind());
    }
    for (const auto& relationship : entity->relationships()) {
      Objects read = relationship.toMany ? object->objects(relationship.name)
                                         : Objects{object->object(relationship.name)};
      std::vector<std::string> expected{relationship.name + "0"};
      if (relationship.toMany) expected.insert(expected.begin(), relationship.name + "1");
      std::vector<std::string> got = tags(read);
      if (!relationship.ordered) std::sort(got.begin(), got.end());
      if (!relationship.ordered) std::sort(expected.begin(), expected.end());
      EXPECT_EQ(got, expected) << relationship.name;
      for (ManagedObject* member : read)
        EXPECT_TRUE(member && linksBack(member, relationship.inverseName.c_str(), object))
            << relationship.name;
    }
  }
  auto* staff = fetchOne<StaffMember2>(store, "StaffMember", "staffId", "shared");
  auto* booklet = fetchOne<InformationBooklet2>(store, "InformationBooklet", "bookletId", "shared");
  ASSERT_NE(staff, nullptr);
  ASSERT_NE(booklet, nullptr);
  EXPECT_EQ(staff->lastName(), "");
  EXPECT_EQ(staff->careMemberIn().size(), 2u);
  EXPECT_EQ(booklet->created(), kBirth);
  EXPECT_EQ(booklet->lastModified(), kAdmitted);
  ASSERT_EQ(booklet->recoveryPaths().size(), 2u);
  for (RecoveryPath2* path : booklet->recoveryPaths())
    EXPECT_EQ(path->careTeam(), std::vector<StaffMember2*>{staff});
}

class EntitiesPersistenceTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::HostEnvironment::setDocumentsDirectory(documents.path()); }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }
  test::TempDir documents;
};

// Read back by the writing store, a reopened one and another process.
TEST_F(EntitiesPersistenceTest, EveryPropertyOfEveryEntitySurvivesAReopenAndAnotherProcess) {
  {
    ObjectStore writer;
    writeEveryProperty(writer);
    expectEveryProperty(writer);
  }
  {
    ObjectStore reader;
    expectEveryProperty(reader);
  }
  test::ChildProcess child("EntitiesReopenChild.ReadsBackWhatTheParentWrote", documents.path());
  EXPECT_EQ(child.wait(), 0) << "the reading process found a difference (its output above)";
}

TEST(EntitiesReopenChild, ReadsBackWhatTheParentWrote) {
  const char* directory = std::getenv(test::kChildDocuments);
  if (directory == nullptr) GTEST_SKIP() << "run by EntitiesPersistenceTest";
  platform::HostEnvironment::setDocumentsDirectory(std::filesystem::path(directory));
  ObjectStore reader;
  expectEveryProperty(reader);
}

// The host calls nothing first: the shared store opens with every entity,
// each made, saved and read back as its class.
TEST_F(EntitiesPersistenceTest, HospitalStoreOpensWithEveryEntity) {
  ObjectStore& store = hospitalStore();
  ASSERT_NE(store.model(), nullptr);
  EXPECT_EQ(store.model()->entities().size(), 21u);
  EXPECT_TRUE(detail::slotsMatch(*store.model()))
      << "the store's merged model numbers properties alike";
  writeEveryProperty(store);
  expectEveryProperty(store);
  EXPECT_TRUE(std::filesystem::exists(documents.path() / "MainStore.sqlite"));
}

}  // namespace
}  // namespace orbelin::model2
