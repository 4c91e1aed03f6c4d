#include "orbelin/model2/entities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
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
using Objects = std::vector<ManagedObject*>;

// setProperties' argument form: leaving out a required argument, or giving
// text where a vocabulary case is due, must not compile (the tests below
// build the form that does).
template <typename P>
concept BuildsWithoutPatientId = requires {
  P{.firstName = "Ann", .lastName = "Lee", .gender = GenderEnum::Male, .birthDate = Date{}};
};
template <typename P>
concept TakesTextForACase = requires {
  P{.patientId = "p", .firstName = "Ann", .lastName = "Lee", .gender = "Male", .birthDate = Date{}};
};
static_assert(!BuildsWithoutPatientId<Patient2::Properties>);
static_assert(!TakesTextForACase<Patient2::Properties>);

// The typed reads go by index: a model that numbers an entity's properties
// otherwise must be refused when checked, not read wrongly.
TEST(HospitalModel, AModelNumberingPropertiesOtherwiseIsRefused) {
  graph::ModelBuilder builder;
  builder.entity<Shift2>("Shift", "Shift2")
      .attribute("durationinHours", AttributeType::Integer32)
      .attribute("title", AttributeType::String)
      .attribute("startDateTime", AttributeType::Date)
      .attribute("endDateTime", AttributeType::Date)
      .toOne("staffMember", "Shift");
  auto swapped = builder.build();
  ASSERT_TRUE(swapped);
  platform::ConsoleCapture capture;
  EXPECT_FALSE(detail::slotsMatch(**swapped));
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_NE(capture.lines()[0].find("Shift"), std::string::npos);
}

// Per entity: its identifier attribute ("" for none) and the relations its
// dictionary form leaves out, separated by spaces.
struct ClassRow {
  const char* entity;
  const char* identifier;
  const char* ignored;
};
const ClassRow kClasses[] = {
    {"Alert", "alertId", "patient"},
    {"Appoitment", "", "recoveryPath"},
    {"Bed", "bedNumber", ""},
    {"BookletSection", "", "informationBooklet"},
    {"DatedValue", "",
     "patient_allergy patient_barrier patient_diagnosis patient_roundingNote patient_symptom "
     "patient_immunization patient_diet"},
    {"InformationBooklet", "bookletId", "recoveryPaths"},
    {"Instruction", "", "recoveryPath medication task"},
    {"InstructionAction", "", "instruction"},
    {"MedicalTest", "testId", "recoveryPath"},
    {"Medication", "", "recoveryPath"},
    {"Message", "messageId", "patient task"},
    {"MultiMedia", "", "bookletSection note testResult"},
    {"Note", "", "multiMedia vital"},
    {"Patient", "patientId", ""},
    {"RecoveryPath", "", "patient"},
    {"Room", "roomNumber", ""},
    {"Shift", "", "staffMember"},
    {"StaffMember", "staffId", "analyzedResults appoitments issuedInstructions careMemberIn"},
    {"Task", "", ""},
    {"TestResult", "", "test"},
    {"Vital", "", "pateint"},
};

// Guards wrong keys in the dictionary form (a back-reference written, a link
// dropped) and identifiers looked up under the wrong attribute. The answers
// come from an unattached prototype, the way the reader asks for them.
TEST(HospitalModel, ClassesNameTheirEntityIdentifierAndIgnoredRelations) {
  auto model = buildHospitalModel();
  ASSERT_NE(model, nullptr);
  for (const ClassRow& row : kClasses) {
    SCOPED_TRACE(row.entity);
    const graph::EntityDescription* entity = model->entity(row.entity);
    ASSERT_NE(entity, nullptr);
    EXPECT_EQ(entity->managedObjectClassName(), row.entity + std::string("2"));
    EXPECT_EQ(NSManagedObjectEx::externalObjectIdNameOf(*entity).value_or(""), row.identifier);
    auto prototype = entity->makeObject();
    auto* object = dynamic_cast<NSManagedObjectEx*>(prototype.get());
    ASSERT_NE(object, nullptr);
    std::set<std::string> ignored;
    for (const auto& relationship : entity->relationships()) {
      if (object->ignoreRelation(relationship.name)) ignored.insert(relationship.name);
      std::string capital = relationship.name;
      capital[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(capital[0])));
      EXPECT_FALSE(object->ignoreRelation(capital)) << "whole text, case-sensitive";
      EXPECT_FALSE(object->ignoreRelation(relationship.name + " "));
    }
    std::istringstream words(row.ignored);
    EXPECT_EQ(ignored, std::set<std::string>(std::istream_iterator<std::string>(words), {}));
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
  DatedValue2* entry(const std::string& text) {
    auto* made = make<DatedValue2>("DatedValue");
    made->setProperties({.date = at(1.4e9), .value = text});
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

// Guards setProperties overwriting what was left out, adding to a list it
// should replace, skipping a required false, appending a to-one twice, and
// an identifier read from a stale value.
TEST_F(EntitiesTest, AbsentArgumentsKeepValuesAndPresentListsReplaceTheWholeRelationship) {
  auto* p = make<Patient2>("Patient");
  auto* bed = make<Bed2>("Bed");
  p->setValue("physicianName", "Dr Stone");
  p->setObject("bed", bed);
  DatedValue2* a = entry("peanuts");
  DatedValue2* c = entry("penicillin");
  Patient2::Properties properties{.patientId = "p1",
                                  .firstName = "Ann",
                                  .lastName = "Lee",
                                  .gender = GenderEnum::Female,
                                  .birthDate = at(-86400.0 * 365),
                                  .allergies = std::vector{a, c},
                                  .symptoms = std::vector{c}};
  p->setProperties(properties);
  EXPECT_EQ(p->physicianName(), "Dr Stone");
  EXPECT_EQ(p->bed(), bed) << "an absent to-one argument does not unlink";
  EXPECT_EQ(a->object("patient_allergy"), p);
  EXPECT_EQ(a->object("patient_symptom"), nullptr) << "only the list's own inverse";

  properties.allergies = std::vector{c};
  properties.symptoms = std::nullopt;
  p->setProperties(properties);
  EXPECT_EQ(p->allergies(), std::vector<DatedValue2*>{c}) << "replaced, not added to";
  EXPECT_EQ(a->object("patient_allergy"), nullptr);
  EXPECT_EQ(p->symptoms(), std::vector<DatedValue2*>{c}) << "absent list unchanged";
  properties.allergies = std::vector<DatedValue2*>{};
  p->setProperties(properties);
  EXPECT_TRUE(p->allergies().empty());

  auto* result = make<TestResult2>("TestResult");
  result->setValue("abnormal", true);
  result->setProperties(
      {.abnormal = false, .analysis = "fine", .timeStamp = at(6), .test = nullptr});
  EXPECT_EQ(result->abnormal(), false);

  // A required to-one argument appends to the ordered list once.
  auto* path = make<RecoveryPath2>("RecoveryPath");
  auto* early = make<Appoitment2>("Appoitment");
  auto* late = make<Appoitment2>("Appoitment");
  for (Appoitment2* appointment : {late, early, late})
    appointment->setProperties({.shortDesc = "", .dateTime = at(9), .recoveryPath = path});
  EXPECT_EQ(path->appoitments(), (std::vector<Appoitment2*>{late, early}));

  EXPECT_EQ(p->externalObjectId(), "p1");
  p->setValue("patientId", "p2");
  EXPECT_EQ(p->externalObjectId(), "p2");
  EXPECT_EQ(bed->externalObjectId(), std::nullopt);

  // A 32-bit attribute takes what 16 bits cannot hold, and keeps its value
  // when offered more than 32 bits.
  auto* instruction = make<Instruction2>("Instruction");
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 40000})");
  instruction->setPropertiesFromJSONString(R"({"frequencyUnit": 2147483648})");
  EXPECT_EQ(instruction->frequencyUnit(), 40000);
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

// One object of every entity with every attribute set to its sample and
// every relationship to new objects tagged with its name: two for a to-many
// one, given in the reverse of their creation.
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
}

class EntitiesPersistenceTest : public ::testing::Test {
 protected:
  void SetUp() override { platform::HostEnvironment::setDocumentsDirectory(documents.path()); }
  void TearDown() override { platform::HostEnvironment::setDocumentsDirectory(std::nullopt); }
  test::TempDir documents;
};

// Guards a property of any entity lost or misread through the file, with the
// store opened as the host opens it (nothing called first: the entities must
// already be in its model) and read back by a new store on the file.
TEST_F(EntitiesPersistenceTest, EveryPropertyOfEveryEntitySurvivesAReopen) {
  {
    ObjectStore writer;
    ASSERT_NE(writer.model(), nullptr);
    EXPECT_TRUE(detail::slotsMatch(*writer.model()));
    writeEveryProperty(writer);
  }
  ASSERT_TRUE(std::filesystem::exists(documents.path() / "MainStore.sqlite"));
  ObjectStore reader;
  expectEveryProperty(reader);
}

}  // namespace
}  // namespace orbelin::model2
