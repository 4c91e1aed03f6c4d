#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <string>

#include "model2/mapping_test_model.h"
#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/console.h"
#include "support/test_support.h"

namespace orbelin::model2 {
namespace {

namespace json = boost::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using testing::Person;

constexpr std::string_view kReader = "NSManagedObjectEx:setPropertiesFromDictionary: ";

Dictionary parse(std::string_view text) {
  return json::parse(text).as_object();
}

// Dates in these tests are read and written in UTC unless a test pins another zone.
class MappingTest : public testing::MappingFixture {
 protected:
  static void read(NSManagedObjectEx* object, std::string_view text) {
    object->setPropertiesFromDictionary(parse(text));
  }
  static NSManagedObjectEx* create(const Dictionary& dictionary, graph::ManagedObjectContext& in) {
    return NSManagedObjectEx::createManagedObjectFromDictionary(dictionary, in);
  }
};

// Guards the dictionary form's keys and values, list order, identifiers in
// place of identified objects, and back-references left out.
TEST_F(MappingTest, WritesAttributesAndRelationshipsAndSetRelationReplacesThem) {
  Person* person = newPerson("p1");
  person->setValue("name", "Ada");
  person->setValue("born", dateFromSeconds(1443688200.75));  // 2015-10-01 08:30:00.75 UTC
  person->setValue("age", 42);
  person->setValue("score", 71.5);
  person->setValue("active", true);
  person->setValue("photo", graph::Bytes{0, 7, 255});
  person->setValue("extras", json::value(json::object{{"bed", "4B"}}));
  auto* first = context.insertNewObject("Visit");
  first->setValue("summary", "first");
  auto* second = context.insertNewObject("Visit");
  second->setValue("summary", "second");
  person->setRelation("visits", {second, first});
  Person* doctor = newPerson("d9");
  person->setRelation("doctor", doctor);
  // Unset attributes and an unset to-one have no key, an empty to-many is an
  // empty array; an identified related object is written as its identifier;
  // the ordered relationship keeps its order; back-references are left out.
  EXPECT_EQ(json::value(person->getAsDictionary()), json::parse(R"({
      "entityName": "Person", "personId": "p1", "name": "Ada", "born": "2015-10-01 08:30:00",
      "age": 42, "score": 71.5, "active": true, "photo": [0, 7, 255], "extras": {"bed": "4B"},
      "tags": [], "doctor": "d9", "visits": [{"entityName": "Visit", "summary": "second"},
                                             {"entityName": "Visit", "summary": "first"}]})"));

  // setRelation replaces a to-many, also through a braced list of one (the
  // single-object overload), and sets a to-one.
  auto* a = context.insertNewObject("Tag");
  auto* b = context.insertNewObject("Tag");
  person->setRelation("tags", {a, b});
  person->setRelation("tags", {b});
  EXPECT_EQ(person->objects("tags"), (std::vector<graph::ManagedObject*>{b}));
  EXPECT_TRUE(a->objects("people").empty());
  person->setRelation("tags", nullptr);
  EXPECT_TRUE(person->objects("tags").empty());
  auto* home = context.insertNewObject("Home");
  person->setRelation("home", home);
  EXPECT_EQ(home->object("resident"), person);
}

// Guards each attribute type's conversions, and a value that does not fit
// overwriting a good one or making the save fail.
TEST_F(MappingTest, ReadsScalarsByAttributeTypeAndKeepsWhatDoesNotFit) {
  Person* person = newPerson();
  platform::ConsoleCapture capture;
  read(person, R"({
    "entityName": "Person", "name": "2015-10-01 08:30:00", "born": "2015-10-01 08:30:00",
    "age": "17", "visitsCount": 9007199254740993, "score": "36.6", "active": 1,
    "photo": [1, 2, 3], "extras": {"entityName": "Visit", "summary": "not an object"}})");
  EXPECT_EQ(person->value("name"), graph::Value("2015-10-01 08:30:00"));  // text stays text
  EXPECT_EQ(person->value("born"), graph::Value(dateFromSeconds(1443688200)));
  EXPECT_EQ(person->value("age").integer(), 17);
  EXPECT_EQ(person->value("visitsCount").integer(), 9007199254740993);  // not through a double
  EXPECT_EQ(person->value("score").number(), 36.6);
  EXPECT_EQ(person->value("active").boolean(), true);
  EXPECT_EQ(*person->value("photo").binary(), (graph::Bytes{1, 2, 3}));
  EXPECT_EQ(*person->value("extras").transformable(),
            json::parse(R"({"entityName":"Visit","summary":"not an object"})"));
  EXPECT_EQ(context.registeredCount(), 1u);  // the transformable dictionary made no object
  EXPECT_TRUE(capture.lines().empty());

  // Values the attribute cannot hold and unknown keys (case matters) leave
  // every value as it was, one line each; a lone entityName is no change.
  const json::value before = person->getAsDictionary();
  read(person, R"({
    "born": "2015-10-01", "age": 70000, "score": "abc", "active": 2, "photo": [256],
    "name": 5, "visitsCount": 1.5, "note": null, "Name": "case matters", "shoeSize": 44})");
  read(person, R"({"entityName": "Visit"})");
  EXPECT_EQ(json::value(person->getAsDictionary()), before);
  EXPECT_EQ(capture.lines().size(), 9u);
  for (const auto& line : capture.lines()) EXPECT_EQ(line.rfind(kReader, 0), 0u) << line;
  read(person, R"({"name": null})");  // null clears
  EXPECT_TRUE(person->value("name").isNil());
  // Whatever the reader stored fits the attributes: the context saves.
  EXPECT_TRUE(context.save().ok());

  // An object without a context is left alone.
  context.deleteObject(person);
  ASSERT_TRUE(context.save().ok());
  ASSERT_EQ(person->context(), nullptr);
  capture.clear();
  read(person, R"({"name": "ghost"})");
  EXPECT_TRUE(person->value("name").isNil());
  EXPECT_EQ(capture.lines(),
            std::vector<std::string>{std::string(kReader) + "Unable to get the context!"});
}

// Guards nested imports adding in order, malformed elements making objects,
// and a copy sharing related objects with its original.
TEST_F(MappingTest, ReadsNestedObjectsAndCopiesObjectsInTheSameContext) {
  platform::ConsoleCapture capture;
  for (const char* refused : {R"({"name": "x"})", R"({"entityName": "Nobody"})",
                              R"({"entityName": "Plain", "text": "t"})"})
    EXPECT_EQ(create(parse(refused), context), nullptr) << refused;
  EXPECT_EQ(context.registeredCount(), 0u);
  EXPECT_EQ(capture.lines().size(), 3u);

  Person* person = newPerson();
  const char* visits = R"({"visits": [{"entityName": "Visit", "summary": "c"},
      {"entityName": "Visit", "summary": "a"}, {"entityName": "Visit", "summary": "b"}]})";
  read(person, visits);
  read(person, visits);
  auto members = person->objects("visits");
  ASSERT_EQ(members.size(), 6u);  // imports add, never replace
  std::string order;
  for (auto* visit : members) order += visit->value("summary").stringValue();
  EXPECT_EQ(order, "cabcab");

  read(person, R"({
      "home": {"entityName": "Home", "street": "Elm"},
      "tags": [{"entityName": "Tag", "label": "x"}, 3, null, [], {"label": "no entity"},
               {"entityName": "Visit", "summary": "wrong entity"}],
      "doctor": [{"entityName": "Person"}],
      "visits": {"entityName": "Visit"}})");
  ASSERT_NE(person->object("home"), nullptr);
  EXPECT_EQ(person->object("home")->value("street").stringValue(), "Elm");
  ASSERT_EQ(person->objects("tags").size(), 1u);
  EXPECT_EQ(person->objects("tags")[0]->value("label").stringValue(), "x");
  EXPECT_EQ(person->object("doctor"), nullptr);
  EXPECT_EQ(person->objects("visits").size(), 6u);
  // person, 6 visits, home, 1 tag: nothing made for skipped elements.
  EXPECT_EQ(context.registeredCount(), 9u);
  EXPECT_THAT(capture.lines(), Contains(HasSubstr("Skipped 5 elements under \"tags\"")));
  read(person, R"({"home": null})");
  EXPECT_EQ(person->object("home"), nullptr);

  // A copy through the dictionary form is a new object with new related
  // objects, and dates in whole seconds.
  person->setValue("name", "Grace");
  person->setValue("born", dateFromSeconds(-1000000000.4));
  auto* tag = context.insertNewObject("Tag");
  person->setRelation("tags", {tag});
  NSManagedObjectEx* copy = create(person->getAsDictionary(), context);
  ASSERT_NE(dynamic_cast<Person*>(copy), nullptr);
  EXPECT_EQ(copy->value("name"), graph::Value("Grace"));
  EXPECT_EQ(copy->value("born"), graph::Value(dateFromSeconds(-1000000001)));
  ASSERT_EQ(copy->objects("visits").size(), 6u);
  EXPECT_NE(copy->objects("visits")[0], members[0]);
  EXPECT_EQ(copy->objects("visits")[5]->value("summary"), graph::Value("b"));
  EXPECT_EQ(copy->objects("tags").size(), 1u);
  EXPECT_EQ(tag->objects("people"),
            (std::vector<graph::ManagedObject*>{person}));  // the copy has its own tag
}

// Guards identifiers resolving to the wrong object, or to one another
// context has not saved.
TEST_F(MappingTest, ResolvesIdentifiersInTheSameContext) {
  graph::ManagedObjectContext other;
  other.setPersistentStoreCoordinator(coordinator);
  Person* elsewhere = other.insertNew<Person>("Person");
  elsewhere->setValue("personId", "d2");  // unsaved in another context: not visible
  Person* doctor = newPerson("d1");
  Person* person = newPerson("p1");
  platform::ConsoleCapture capture;
  read(person, R"({"doctor": "d1"})");
  EXPECT_EQ(person->object("doctor"), doctor);
  read(person, R"({"doctor": "d2"})");
  EXPECT_EQ(person->object("doctor"), doctor);
  read(person, R"({"tags": ["x"]})");  // Tag has no identifier
  EXPECT_TRUE(person->objects("tags").empty());

  // Saved objects resolve too.
  ASSERT_TRUE(context.save().ok());
  auto* copy = create(parse(R"({"entityName": "Person", "doctor": "d1"})"), context);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->object("doctor"), doctor);

  // An object may name itself, and nested objects may name the object that
  // holds them before any save (attributes are read first).
  auto* selfish = create(parse(R"({"doctor": "p9", "entityName": "Person", "personId": "p9",
                                   "home": {"entityName": "Home", "resident": "p9"}})"),
                         context);
  ASSERT_NE(selfish, nullptr);
  EXPECT_EQ(selfish->object("doctor"), selfish);
  ASSERT_NE(selfish->object("home"), nullptr);
  EXPECT_EQ(selfish->object("home")->object("resident"), selfish);
}

// Guards bad text changing the object, and a kept value pointing into the
// parse arena dropped after the read.
TEST_F(MappingTest, JsonTextIn) {
  Person* person = newPerson("p1");
  const json::value before = person->getAsDictionary();
  platform::ConsoleCapture capture;
  // Text that is no JSON object changes nothing, one line each; text that
  // is not UTF-8 changes nothing silently.
  person->setPropertiesFromJSONString(R"({"name": "ok", )");
  person->setPropertiesFromJSONString(R"([{"name": "array"}])");
  person->setPropertiesFromJSONString("");
  person->setPropertiesFromJSONString("{\"name\": \"\xff\xfe\"}");
  EXPECT_EQ(json::value(person->getAsDictionary()), before);
  EXPECT_EQ(capture.lines().size(), 3u);
  // The text is parsed into an arena dropped after the read: a dictionary
  // kept as a value is copied out of it.
  person->setPropertiesFromJSONString(R"({"extras": {"visits": [1, 2], "note": "kept"}})");
  const graph::Value extras = person->value("extras");
  ASSERT_NE(extras.transformable(), nullptr);
  EXPECT_EQ(extras.transformable()->storage().get(), json::storage_ptr().get());
  EXPECT_EQ(*extras.transformable(), json::parse(R"({"visits": [1, 2], "note": "kept"})"));
}

// Guards dates read in the wrong zone, and loose parsing taking a text that
// is not a whole date and time.
TEST_F(MappingTest, DateTextIsReadInTheLocalTimeZoneAndStrictly) {
  Person* person = newPerson();
  // 2015-10-01 08:30:00 local, in a half-hour zone east and one west of UTC.
  for (auto [zone, seconds] :
       {std::pair{"Asia/Kolkata", 1443688200 - 19800}, {"America/St_Johns", 1443688200 + 9000}}) {
    DateUtils::setTimeZone(zone);
    read(person, R"({"born": "2015-10-01 08:30:00"})");
    EXPECT_EQ(person->value("born"), graph::Value(dateFromSeconds(seconds))) << zone;
  }
  // Strict parsing: no trailing text, no rolled-over fields, no partial dates.
  const graph::Value kept = person->value("born");
  for (const char* bad : {"2015-10-01 08:30:00Z", "2015-02-30 08:30:00", "2015-10-01 25:00:00",
                          "2015-10-01T08:30:00", " 2015-10-01 08:30:00", "2015-10-01"}) {
    person->setPropertiesFromDictionary(Dictionary{{"born", bad}});
    EXPECT_EQ(person->value("born"), kept) << bad;
  }
}

// Guards against a crash, unbounded work or an unsavable value on hostile
// dictionaries.
TEST_F(MappingTest, HostileDictionariesEndCleanly) {
  platform::ConsoleCapture capture;
  Person* person = newPerson("root");
  // Nesting far past the limit: objects are made down to the limit only.
  json::object deepest{{"entityName", "Person"}};
  for (int level = 0; level < 1000; ++level) {
    json::object outer{{"entityName", "Person"}};
    outer["doctor"] = std::move(deepest);
    deepest = std::move(outer);
  }
  person->setPropertiesFromDictionary(deepest);
  EXPECT_EQ(context.registeredCount(),
            1u + static_cast<std::size_t>(NSManagedObjectEx::kMaxDictionaryDepth));
  EXPECT_THAT(capture.lines(), Contains(HasSubstr("nested deeper than")));
  // The long chain of unidentified doctors writes without overflowing.
  Dictionary written = person->getAsDictionary();
  int depth = 0;
  for (const json::object* at = &written; at->contains("doctor"); ++depth)
    at = &at->at("doctor").as_object();
  EXPECT_EQ(depth, NSManagedObjectEx::kMaxDictionaryDepth);

  // Identifier references in a cycle, and to oneself.
  read(person, R"({"patients": [
      {"entityName": "Person", "personId": "a", "doctor": "b"},
      {"entityName": "Person", "personId": "b", "doctor": "a"},
      {"entityName": "Person", "personId": "c", "doctor": "c", "patients": ["a", "b", "c"]}]})");
  // Each link moves a patient to its latest doctor: c took a, b and itself,
  // then c moved back under the root.
  auto patients = person->objects("patients");
  ASSERT_EQ(patients.size(), 1u);
  EXPECT_EQ(patients[0]->value("personId"), graph::Value("c"));
  EXPECT_EQ(patients[0]->objects("patients").size(), 2u);

  // A cycle of unidentified objects through a relationship nobody ignores.
  Person* loner = newPerson();
  loner->setRelation("home", context.insertNewObject("Home"));
  EXPECT_FALSE(loner->getAsDictionary().at("home").as_object().contains("resident"));

  // Every kind of value under every key.
  const json::value kinds =
      json::parse(R"([null, true, -1, 18446744073709551615, 1e308, "text", [1, "a"],
                      {"entityName": 7}])");
  for (const auto& key :
       {"personId", "name", "born", "age", "visitsCount", "score", "active", "photo", "extras",
        "visits", "tags", "home", "doctor", "patients", "entityName"}) {
    for (const auto& kind : kinds.as_array())
      person->setPropertiesFromDictionary(Dictionary{{key, kind}});
  }
  EXPECT_TRUE(context.save().ok());
}

}  // namespace
}  // namespace orbelin::model2
