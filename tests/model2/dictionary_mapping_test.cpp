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
using testing::Person;

Dictionary parse(std::string_view text) {
  return json::parse(text).as_object();
}

bool anyLineContains(const platform::ConsoleCapture& capture, std::string_view part) {
  for (const auto& line : capture.lines()) {
    if (line.find(part) != std::string::npos) return true;
  }
  return false;
}

// Dates in these tests are read and written in UTC unless a test pins another zone.
using MappingTest = testing::MappingFixture;

TEST_F(MappingTest, WritesAttributesRelationshipsAndNames) {
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

  Dictionary written = person->getAsDictionary();
  EXPECT_EQ(written.at("entityName"), "Person");
  EXPECT_EQ(written.at("personId"), "p1");
  EXPECT_EQ(written.at("born"), "2015-10-01 08:30:00");
  EXPECT_EQ(written.at("age"), 42);
  EXPECT_EQ(written.at("score"), 71.5);
  EXPECT_EQ(written.at("active"), true);
  EXPECT_EQ(written.at("photo"), json::parse("[0,7,255]"));
  EXPECT_EQ(written.at("extras"), json::parse(R"({"bed":"4B"})"));
  // Unset attributes and an unset to-one have no key; empty to-many an empty array.
  EXPECT_FALSE(written.contains("note"));
  EXPECT_FALSE(written.contains("home"));
  EXPECT_EQ(written.at("tags"), json::array());
  // An identified related object is written as its identifier; the ordered
  // relationship keeps its order; the back-reference is left out.
  EXPECT_EQ(written.at("doctor"), "d9");
  const auto& visits = written.at("visits").as_array();
  ASSERT_EQ(visits.size(), 2u);
  EXPECT_EQ(visits[0].as_object().at("summary"), "second");
  EXPECT_EQ(visits[1].as_object().at("summary"), "first");
  EXPECT_FALSE(visits[0].as_object().contains("person"));
  EXPECT_FALSE(doctor->getAsDictionary().contains("patients"));

  EXPECT_EQ(NSManagedObjectEx::ClassNameAsString(*person), "PersonRecord");
  EXPECT_EQ(person->className(), "Person");
  EXPECT_EQ(NSManagedObjectEx::externalObjectIdNameOf(person->entity()), "personId");
  EXPECT_EQ(NSManagedObjectEx::externalObjectIdNameOf(first->entity()), std::nullopt);
}

TEST_F(MappingTest, SetRelationReplacesToManyAndSetsToOne) {
  Person* person = newPerson();
  auto* a = context.insertNewObject("Tag");
  auto* b = context.insertNewObject("Tag");
  auto* c = context.insertNewObject("Tag");
  person->setRelation("tags", {a, b});
  person->setRelation("tags", {c, a});
  EXPECT_EQ(person->objects("tags"), (std::vector<graph::ManagedObject*>{c, a}));
  EXPECT_TRUE(b->objects("people").empty());
  auto* home = context.insertNewObject("Home");
  person->setRelation("home", home);
  EXPECT_EQ(home->object("resident"), person);
  person->setRelation("home", nullptr);
  EXPECT_EQ(home->object("resident"), nullptr);
  // A braced list of one picks the single-object overload: same meaning.
  person->setRelation("tags", {b});
  EXPECT_EQ(person->objects("tags"), (std::vector<graph::ManagedObject*>{b}));
  person->setRelation("tags", nullptr);
  EXPECT_TRUE(person->objects("tags").empty());
}

TEST_F(MappingTest, ReadsScalarsByAttributeType) {
  Person* person = newPerson();
  platform::ConsoleCapture capture;
  person->setPropertiesFromDictionary(parse(R"({
    "entityName": "Person", "name": "2015-10-01 08:30:00", "born": "2015-10-01 08:30:00",
    "age": "17", "visitsCount": 9007199254740993, "score": "36.6", "active": 1,
    "photo": [1, 2, 3], "extras": {"entityName": "Visit", "summary": "not an object"}})"));
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

  // Values the attribute cannot hold leave the previous value, one line each;
  // null clears.
  person->setPropertiesFromDictionary(parse(R"({
    "born": "2015-10-01", "age": 70000, "score": "abc", "active": 2, "photo": [256],
    "name": 5, "visitsCount": 1.5, "note": null})"));
  EXPECT_EQ(person->value("born"), graph::Value(dateFromSeconds(1443688200)));
  EXPECT_EQ(person->value("age").integer(), 17);
  EXPECT_EQ(person->value("score").number(), 36.6);
  EXPECT_EQ(person->value("active").boolean(), true);
  EXPECT_EQ(person->value("name"), graph::Value("2015-10-01 08:30:00"));
  EXPECT_EQ(person->value("visitsCount").integer(), 9007199254740993);
  EXPECT_EQ(capture.lines().size(), 7u);
  EXPECT_TRUE(anyLineContains(capture, "\"born\""));
  person->setPropertiesFromDictionary(parse(R"({"name": null})"));
  EXPECT_TRUE(person->value("name").isNil());
  // Whatever the reader stored fits the attributes: the context saves.
  EXPECT_TRUE(context.save().ok());
}

TEST_F(MappingTest, IgnoresUnknownKeysAndEntityNameOnly) {
  Person* person = newPerson("p1");
  Dictionary before = person->getAsDictionary();
  platform::ConsoleCapture capture;
  person->setPropertiesFromDictionary(parse(R"({"entityName": "Visit"})"));
  EXPECT_EQ(person->getAsDictionary(), before);
  EXPECT_TRUE(capture.lines().empty());

  person->setPropertiesFromDictionary(parse(R"({"Name": "case matters", "shoeSize": 44})"));
  EXPECT_EQ(person->getAsDictionary(), before);
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_TRUE(anyLineContains(capture, "\"Name\""));
  EXPECT_TRUE(anyLineContains(capture, "\"shoeSize\""));
  EXPECT_EQ(capture.lines()[0].rfind("NSManagedObjectEx:setPropertiesFromDictionary: ", 0), 0u);
}

TEST_F(MappingTest, ReadsNestedObjectsAndArrays) {
  Person* person = newPerson();
  platform::ConsoleCapture capture;
  const char* visits = R"({"visits": [
      {"entityName": "Visit", "summary": "c", "when": "2015-04-21 09:41:00"},
      {"entityName": "Visit", "summary": "a"}, {"entityName": "Visit", "summary": "b"}]})";
  person->setPropertiesFromDictionary(parse(visits));
  person->setPropertiesFromDictionary(parse(visits));
  auto members = person->objects("visits");
  ASSERT_EQ(members.size(), 6u);  // imports add, never replace
  std::string order;
  for (auto* visit : members) order += visit->value("summary").stringValue();
  EXPECT_EQ(order, "cabcab");
  EXPECT_EQ(members[0]->value("when"), graph::Value(dateFromSeconds(1429609260)));
  EXPECT_EQ(members[0]->object("person"), person);

  person->setPropertiesFromDictionary(parse(R"({
      "home": {"entityName": "Home", "street": "Elm"},
      "tags": [{"entityName": "Tag", "label": "x"}, 3, null, [], {"label": "no entity"},
               {"entityName": "Visit", "summary": "wrong entity"}],
      "doctor": [{"entityName": "Person"}],
      "visits": {"entityName": "Visit"}})"));
  ASSERT_NE(person->object("home"), nullptr);
  EXPECT_EQ(person->object("home")->value("street").stringValue(), "Elm");
  ASSERT_EQ(person->objects("tags").size(), 1u);
  EXPECT_EQ(person->objects("tags")[0]->value("label").stringValue(), "x");
  EXPECT_EQ(person->object("doctor"), nullptr);
  EXPECT_EQ(person->objects("visits").size(), 6u);
  // person, 6 visits, home, 1 tag: nothing made for skipped elements.
  EXPECT_EQ(context.registeredCount(), 9u);
  EXPECT_TRUE(anyLineContains(capture, "Skipped 5 elements under \"tags\""));
  EXPECT_TRUE(anyLineContains(capture, "\"doctor\""));
  EXPECT_TRUE(anyLineContains(capture, "\"visits\""));
  person->setPropertiesFromDictionary(parse(R"({"home": null})"));
  EXPECT_EQ(person->object("home"), nullptr);
}

TEST_F(MappingTest, CreatesObjectsAndCopiesThemInTheSameContext) {
  platform::ConsoleCapture capture;
  EXPECT_EQ(
      NSManagedObjectEx::createManagedObjectFromDictionary(parse(R"({"name": "x"})"), context),
      nullptr);
  EXPECT_EQ(NSManagedObjectEx::createManagedObjectFromDictionary(
                parse(R"({"entityName": "Nobody"})"), context),
            nullptr);
  EXPECT_EQ(NSManagedObjectEx::createManagedObjectFromDictionary(
                parse(R"({"entityName": "Plain", "text": "t"})"), context),
            nullptr);
  EXPECT_EQ(context.registeredCount(), 0u);
  EXPECT_EQ(capture.lines().size(), 3u);

  Person* original = newPerson();
  original->setValue("name", "Grace");
  original->setValue("born", dateFromSeconds(-1000000000.4));
  auto* visit = context.insertNewObject("Visit");
  visit->setValue("when", dateFromSeconds(1429609260));
  original->setRelation("visits", {visit});
  auto* tag = context.insertNewObject("Tag");
  original->setRelation("tags", {tag});
  NSManagedObjectEx* copy =
      NSManagedObjectEx::createManagedObjectFromDictionary(original->getAsDictionary(), context);
  ASSERT_NE(copy, nullptr);
  ASSERT_NE(dynamic_cast<Person*>(copy), nullptr);
  EXPECT_NE(copy, original);
  EXPECT_EQ(copy->value("name"), graph::Value("Grace"));
  EXPECT_EQ(copy->value("born"), graph::Value(dateFromSeconds(-1000000001)));  // whole seconds
  ASSERT_EQ(copy->objects("visits").size(), 1u);
  EXPECT_NE(copy->objects("visits")[0], visit);
  EXPECT_EQ(copy->objects("visits")[0]->value("when"), visit->value("when"));
  EXPECT_EQ(copy->objects("tags").size(), 1u);
  EXPECT_EQ(tag->objects("people").size(), 1u);  // the copy has its own tag
}

TEST_F(MappingTest, ResolvesIdentifiersInTheSameContext) {
  graph::ManagedObjectContext other;
  other.setPersistentStoreCoordinator(coordinator);
  Person* elsewhere = other.insertNew<Person>("Person");
  elsewhere->setValue("personId", "d2");  // unsaved in another context: not visible
  Person* doctor = newPerson("d1");
  Person* person = newPerson("p1");
  platform::ConsoleCapture capture;
  person->setPropertiesFromDictionary(parse(R"({"doctor": "d1"})"));
  EXPECT_EQ(person->object("doctor"), doctor);
  person->setPropertiesFromDictionary(parse(R"({"doctor": "d2"})"));
  EXPECT_EQ(person->object("doctor"), doctor);
  EXPECT_TRUE(anyLineContains(capture, "\"d2\""));
  EXPECT_TRUE(person->objects("tags").empty());
  person->setPropertiesFromDictionary(parse(R"({"tags": ["x"]})"));
  EXPECT_TRUE(anyLineContains(capture, "Tag has no identifier"));

  // Saved objects resolve too, and an object written with identified links
  // reads back with the same links.
  ASSERT_TRUE(context.save().ok());
  Person* patient = newPerson("p2");
  patient->setRelation("doctor", doctor);
  Dictionary written = patient->getAsDictionary();
  EXPECT_EQ(written.at("doctor"), "d1");
  written["personId"] = "p3";
  auto* copy = NSManagedObjectEx::createManagedObjectFromDictionary(written, context);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->object("doctor"), doctor);
  EXPECT_EQ(doctor->objects("patients").size(), 3u);

  // An object may name itself, and nested objects may name the object that
  // holds them before any save (attributes are read first).
  auto* selfish = NSManagedObjectEx::createManagedObjectFromDictionary(
      parse(R"({"doctor": "p9", "entityName": "Person", "personId": "p9",
                "home": {"entityName": "Home", "resident": "p9"}})"),
      context);
  ASSERT_NE(selfish, nullptr);
  EXPECT_EQ(selfish->object("doctor"), selfish);
  ASSERT_NE(selfish->object("home"), nullptr);
  EXPECT_EQ(selfish->object("home")->object("resident"), selfish);
}

TEST_F(MappingTest, JsonTextInAndOut) {
  Person* person = newPerson("p1");
  person->setValue("score", 71.5);
  platform::ConsoleCapture capture;
  auto text = person->getAsJSONString();
  ASSERT_TRUE(text.has_value());
  EXPECT_NE(text->find("\"score\" : 71.5"), std::string::npos) << *text;
  EXPECT_NE(text->find('\n'), std::string::npos);
  EXPECT_EQ(capture.lines(), std::vector<std::string>{"jsonString = " + *text});

  Dictionary before = person->getAsDictionary();
  capture.clear();
  person->setPropertiesFromJSONString(R"({"name": "ok", )");
  person->setPropertiesFromJSONString(R"([{"name": "array"}])");
  person->setPropertiesFromJSONString("");
  EXPECT_EQ(person->getAsDictionary(), before);
  EXPECT_EQ(capture.lines().size(), 3u);
  capture.clear();
  person->setPropertiesFromJSONString("{\"name\": \"\xff\xfe\"}");  // not UTF-8: silent
  EXPECT_EQ(person->getAsDictionary(), before);
  EXPECT_TRUE(capture.lines().empty());
  person->setPropertiesFromJSONString(R"({"name": "Zoë", "score": 0.1})");
  EXPECT_EQ(person->value("name"), graph::Value("Zoë"));
  EXPECT_EQ(person->value("score").number(), 0.1);
  // The text is parsed into an arena dropped after the read: a dictionary
  // kept as a value is copied out of it.
  person->setPropertiesFromJSONString(R"({"extras": {"visits": [1, 2], "note": "kept"}})");
  const graph::Value extras = person->value("extras");
  ASSERT_NE(extras.transformable(), nullptr);
  EXPECT_EQ(extras.transformable()->storage().get(), json::storage_ptr().get());
  EXPECT_EQ(*extras.transformable(), json::parse(R"({"visits": [1, 2], "note": "kept"})"));

  // A value JSON cannot hold: no text, and both lines.
  person->setValue("score", std::numeric_limits<double>::infinity());
  capture.clear();
  EXPECT_FALSE(person->getAsJSONString().has_value());
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_EQ(capture.lines()[0].rfind("Got an error: ", 0), 0u);
  EXPECT_EQ(capture.lines()[1], "jsonString = nil");
}

TEST_F(MappingTest, ObjectWithoutContextIsLeftAlone) {
  Person* person = newPerson("p1");
  context.deleteObject(person);
  ASSERT_TRUE(context.save().ok());
  ASSERT_EQ(person->context(), nullptr);
  platform::ConsoleCapture capture;
  person->setPropertiesFromDictionary(parse(R"({"name": "ghost"})"));
  EXPECT_TRUE(person->value("name").isNil());
  EXPECT_EQ(capture.lines(),
            std::vector<std::string>{"NSManagedObjectEx:setPropertiesFromDictionary: Unable to get "
                                     "the context!"});
}

// The date text follows the device's zone, half-hour zones and zones west of
// UTC included, and reads back to the same moment.
TEST_F(MappingTest, DateTextFollowsTheLocalTimeZone) {
  struct Case {
    const char* zone;
    double seconds;  // 2015-10-01 08:30:00 local
  };
  const Case cases[] = {{"UTC", 1443688200},
                        {"Asia/Kolkata", 1443688200 - 19800},
                        {"America/St_Johns", 1443688200 + 9000},
                        {"America/Los_Angeles", 1443688200 + 25200}};
  Person* person = newPerson();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.zone);
    DateUtils::setTimeZone(c.zone);
    person->setPropertiesFromDictionary(parse(R"({"born": "2015-10-01 08:30:00"})"));
    EXPECT_EQ(person->value("born"), graph::Value(dateFromSeconds(c.seconds)));
    EXPECT_EQ(person->getAsDictionary().at("born"), "2015-10-01 08:30:00");
    person->setValue("born", dateFromSeconds(c.seconds + 0.999));
    EXPECT_EQ(person->getAsDictionary().at("born"), "2015-10-01 08:30:00");
  }
  DateUtils::setTimeZone("Asia/Kolkata");
  person->setValue("born", dateFromSeconds(0));
  EXPECT_EQ(person->getAsDictionary().at("born"), "1970-01-01 05:30:00");
  // Strict parsing: no trailing text, no rolled-over fields, no partial dates.
  for (const char* bad : {"2015-10-01 08:30:00Z", "2015-02-30 08:30:00", "2015-10-01 25:00:00",
                          "2015-10-01T08:30:00", " 2015-10-01 08:30:00", "2015-10-01"}) {
    person->setPropertiesFromDictionary(Dictionary{{"born", bad}});
    EXPECT_EQ(person->value("born"), graph::Value(dateFromSeconds(0))) << bad;
  }
}

// Hostile dictionaries end without a crash and without unbounded work.
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
  EXPECT_TRUE(anyLineContains(capture, "nested deeper than"));
  // The long chain of unidentified doctors writes without overflowing.
  Dictionary written = person->getAsDictionary();
  int depth = 0;
  for (const json::object* at = &written; at->contains("doctor"); ++depth)
    at = &at->at("doctor").as_object();
  EXPECT_EQ(depth, NSManagedObjectEx::kMaxDictionaryDepth);

  // Identifier references in a cycle, and to oneself.
  person->setPropertiesFromDictionary(parse(R"({"patients": [
      {"entityName": "Person", "personId": "a", "doctor": "b"},
      {"entityName": "Person", "personId": "b", "doctor": "a"},
      {"entityName": "Person", "personId": "c", "doctor": "c", "patients": ["a", "b", "c"]}]})"));
  // Each link moves a patient to its latest doctor: c took a, b and itself,
  // then c moved back under the root.
  auto patients = person->objects("patients");
  ASSERT_EQ(patients.size(), 1u);
  EXPECT_EQ(patients[0]->value("personId"), graph::Value("c"));
  EXPECT_EQ(patients[0]->objects("patients").size(), 2u);

  // A cycle of unidentified objects through a relationship nobody ignores.
  Person* loner = newPerson();
  auto* home = context.insertNewObject("Home");
  loner->setRelation("home", home);
  Dictionary cyclic = loner->getAsDictionary();
  EXPECT_FALSE(cyclic.at("home").as_object().contains("resident"));

  // Huge arrays of the wrong things, and every kind under every key.
  json::array huge;
  huge.reserve(100000);
  for (int i = 0; i < 100000; ++i) huge.emplace_back(i);
  person->setPropertiesFromDictionary(Dictionary{{"visits", huge}, {"tags", huge}, {"name", huge}});
  EXPECT_TRUE(person->objects("visits").empty());
  const json::value kinds[] = {nullptr,
                               true,
                               -1,
                               18446744073709551615ull,
                               1e308,
                               "text",
                               json::array{1, "a"},
                               json::object{{"entityName", 7}}};
  for (const auto& key :
       {"personId", "name", "born", "age", "visitsCount", "score", "active", "photo", "extras",
        "visits", "tags", "home", "doctor", "patients", "entityName"}) {
    for (const auto& kind : kinds) person->setPropertiesFromDictionary(Dictionary{{key, kind}});
  }
  EXPECT_TRUE(context.save().ok());
}

}  // namespace
}  // namespace orbelin::model2
