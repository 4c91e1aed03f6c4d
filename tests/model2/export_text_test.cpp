// The JSON text of an object is written straight from the graph, and date
// attributes without a calendar per date. Both must give exactly what the
// dictionary form, written by the JSON text writer, and the calendar give.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <unicode/basictz.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <boost/json.hpp>

#include "model2/date_text.h"
#include "model2/mapping_test_model.h"
#include "orbelin/dates/date_utils.h"
#include "orbelin/platform/console.h"
#include "orbelin/text/json_text.h"

namespace orbelin::model2 {
namespace {

namespace json = boost::json;
using testing::Person;

// The text as a proleptic Gregorian calendar in the zone reads the date.
std::optional<std::string> calendarText(const icu::TimeZone& zone, Date date) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(zone, icu::Locale("en_US_POSIX"), status);
  calendar.setGregorianChange(-HUGE_VAL, status);
  calendar.setLenient(false);
  double seconds = std::floor(secondsSince1970(date));
  if (U_FAILURE(status) || !std::isfinite(seconds)) return std::nullopt;
  calendar.setTime(seconds * 1000.0, status);
  int fields[] = {calendar.get(UCAL_YEAR, status),   calendar.get(UCAL_MONTH, status) + 1,
                  calendar.get(UCAL_DATE, status),   calendar.get(UCAL_HOUR_OF_DAY, status),
                  calendar.get(UCAL_MINUTE, status), calendar.get(UCAL_SECOND, status)};
  if (U_FAILURE(status)) return std::nullopt;
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", fields[0], fields[1], fields[2],
                fields[3], fields[4], fields[5]);
  return std::string(text);
}

// Moments around which the text is checked in a zone: a spread over the
// years a Date holds, each of the zone's transitions in the years around
// today and in its early history (one second either side), and the ends of
// the range and beyond.
std::vector<double> momentsFor(const icu::TimeZone& zone) {
  std::vector<double> moments;
  // A fixed sequence, so a failure repeats.
  std::uint64_t state = 0x9E3779B97F4A7C15u;
  for (int i = 0; i < 4000; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    double unit = static_cast<double>(state >> 11) / 9007199254740992.0;
    moments.push_back(kEarliestDateSeconds + unit * (kLatestDateSeconds - kEarliestDateSeconds));
  }
  if (const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(&zone)) {
    for (double from : {-4'000'000'000.0, 1'300'000'000.0}) {
      icu::TimeZoneTransition transition;
      UDate at = from * 1000.0;
      for (int i = 0; i < 40 && basic->getNextTransition(at, false, transition); ++i) {
        at = transition.getTime();
        for (double delta : {-1.0, -0.5, 0.0, 0.5, 1.0}) moments.push_back(at / 1000.0 + delta);
      }
    }
  }
  // Beyond the range too: years before 1 by era, years past 9999 with more digits.
  for (double edge : {kEarliestDateSeconds, kEarliestDateSeconds + 86400.0 * 2,
                      kLatestDateSeconds - 1, kLatestDateSeconds - 86400.0 * 2, 0.0, -0.5, -1.0,
                      -86400.5, 951782400.0 /* 2000-02-29 */, -12219292800.0 /* 1582-10-15 */,
                      kEarliestDateSeconds - 1, kEarliestDateSeconds - 86400.0 * 400,
                      kLatestDateSeconds, kLatestDateSeconds + 86400.0 * 400, -1e14, 1e14, 1e17})
    moments.push_back(edge);
  return moments;
}

class DateTextTest : public ::testing::TestWithParam<const char*> {
 protected:
  void TearDown() override { DateUtils::setTimeZone(std::nullopt); }
};

// Guards a wrong date text in any zone: whole-hour, half-hour and 45-minute
// zones, east and west, daylight saving of half an hour, offsets in seconds
// from local mean time, and years outside 1...9999.
TEST_P(DateTextTest, SameTextAsTheCalendarForEveryYear) {
  DateUtils::setTimeZone(GetParam());
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(GetParam())));
  for (double seconds : momentsFor(*zone)) {
    Date date = dateFromSeconds(seconds);
    ASSERT_EQ(detail::formatDateTime(date), calendarText(*zone, date)) << " at " << seconds;
  }
  EXPECT_FALSE(detail::formatDateTime(dateFromSeconds(std::nan(""))));
  EXPECT_FALSE(detail::formatDateTime(dateFromSeconds(HUGE_VAL)));
}

INSTANTIATE_TEST_SUITE_P(Zones, DateTextTest,
                         ::testing::Values("UTC", "Asia/Kolkata", "America/St_Johns",
                                           "Asia/Kathmandu", "Pacific/Chatham",
                                           "Australia/Lord_Howe", "America/New_York",
                                           "Europe/Amsterdam", "Africa/Monrovia",
                                           "Pacific/Kiritimati", "Pacific/Pago_Pago",
                                           "America/Sao_Paulo", "GMT+05:30"));

// Guards a date text cached across a zone change: the new zone applies to
// the next date, even for a moment just written in the zone before.
TEST(DateTextFarTest, FollowsAZoneChangeAtOnce) {
  const Date date = dateFromSeconds(1443688200);  // 2015-10-01 08:30:00 UTC
  for (auto [zone, text] : {std::pair{"UTC", "2015-10-01 08:30:00"},
                            {"Asia/Kathmandu", "2015-10-01 14:15:00"},
                            {"America/St_Johns", "2015-10-01 06:00:00"}}) {
    DateUtils::setTimeZone(zone);
    EXPECT_EQ(detail::formatDateTime(date), text) << zone;
  }
  DateUtils::setTimeZone(std::nullopt);
}

// Dates in a half-hour zone.
class ExportTextTest : public testing::MappingFixture {
 protected:
  ExportTextTest() : MappingFixture("Asia/Kolkata") {}

  // The text of the object, checked against its dictionary written as JSON,
  // and the console line that goes with it.
  static void expectSameAsDictionary(const NSManagedObjectEx& object) {
    auto expected = text::prettyJsonString(json::value(object.getAsDictionary()));
    ASSERT_TRUE(expected.has_value());
    platform::ConsoleCapture capture;
    auto written = object.getAsJSONString();
    ASSERT_TRUE(written.has_value());
    EXPECT_EQ(*written, *expected);
    EXPECT_EQ(capture.lines(), std::vector<std::string>{"jsonString = " + *expected});
  }
};

// Guards the direct text writer drifting from the dictionary form: keys,
// order, escaping, numbers, bytes, nesting, cycles and the depth limit.
TEST_F(ExportTextTest, EveryKindOfValueAsTheDictionaryWritesIt) {
  Person* person = newPerson();  // unidentified: written nested wherever it is reached
  person->setValue("name",
                   "Zoë \"Q\" \\ / \x01\x1f\t\n\r\b\f tab\u00e9\U0001F600 end of a longer text");
  person->setValue("born", dateFromSeconds(-62135596800.0));  // 0001-01-01 00:00 UTC
  person->setValue("age", -7);
  person->setValue("visitsCount", std::numeric_limits<std::int64_t>::min());
  person->setValue("score", 1e21);
  person->setValue("active", false);
  person->setValue("photo", graph::Bytes{});
  person->setValue(
      "extras",
      json::value(json::object{
          {"list", json::array{1, -2.5, "x", nullptr, true, json::array{}, json::object{}}},
          {"nested", json::object{{"deep", json::object{{"u", 18446744073709551615u}}}}},
          {"small", 1.5e-7}}));
  person->setValue("note", "");
  auto* home = context.insertNewObject("Home");
  home->setValue("street", "Rue de l'Église 1");
  person->setObject("home", home);  // home and its unidentified resident: a cycle
  for (double seconds : {1443688200.75, -5e10, 253402300799.0}) {
    auto* visit = context.insertNewObject("Visit");
    visit->setValue("when", dateFromSeconds(seconds));
    visit->setValue("summary", "visit");
    person->mutableSet("visits").add(visit);
  }
  Person* doctor = newPerson("d1");  // identified: written as its identifier
  doctor->setValue("photo", graph::Bytes{0, 1, 127, 128, 255});
  doctor->setValue("score", -0.0);
  doctor->setValue("born", dateFromSeconds(1e14));  // far past year 9999
  person->setObject("doctor", doctor);
  Person* patient = newPerson();
  patient->setObject("doctor", person);  // a back-reference the class ignores
  expectSameAsDictionary(*person);
  expectSameAsDictionary(*doctor);
  expectSameAsDictionary(*patient);
  expectSameAsDictionary(*dynamic_cast<NSManagedObjectEx*>(home));

  // A long chain stops where the dictionary stops.
  Person* current = person;
  for (int i = 0; i < 3 * NSManagedObjectEx::kMaxDictionaryDepth; ++i) {
    Person* next = newPerson();
    next->setValue("name", "level " + std::to_string(i));
    current->setObject("doctor", next);
    current = next;
  }
  expectSameAsDictionary(*person);
}

// Guards half-written text for values JSON cannot hold (text that is not
// UTF-8 one level down, a number that is not finite), and two members under
// one key where a property is named like the class name's key.
TEST_F(ExportTextTest, NothingWrittenForWhatJsonCannotHoldAndSharedKeysAsTheDictionary) {
  Person* person = newPerson("p1");
  auto* visit = context.insertNewObject("Visit");
  visit->setValue("summary", "\xff\xfe");
  person->mutableSet("visits").add(visit);
  platform::ConsoleCapture capture;
  EXPECT_FALSE(person->getAsJSONString().has_value());
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_EQ(capture.lines()[0].rfind("Got an error: ", 0), 0u);
  EXPECT_EQ(capture.lines()[1], "jsonString = nil");
  visit->setValue("summary", "fine");
  person->setValue("score", std::nan(""));
  EXPECT_FALSE(person->getAsJSONString().has_value());

  auto* odd = dynamic_cast<NSManagedObjectEx*>(context.insertNewObject("Odd"));
  ASSERT_NE(odd, nullptr);
  odd->setValue("label", "l");
  odd->setValue("entityName", "named");
  expectSameAsDictionary(*odd);
}

// Guards the console line being overwritten when a console sink exports
// again while it holds the line: the nested export gets its own buffer.
TEST_F(ExportTextTest, AnExportFromTheConsoleSinkLeavesTheLineIntact) {
  Person* person = newPerson("p1");
  person->setValue("name", "outer");
  Person* other = newPerson("p2");
  other->setValue("name", std::string(1000, 'y'));  // more than the outer export wrote
  std::vector<std::string> seen;
  bool inside = false;
  platform::Console::setSink([&](std::string_view line) {
    if (!inside) {
      inside = true;
      EXPECT_TRUE(other->getAsJSONString().has_value());
      inside = false;
    }
    seen.emplace_back(line);
  });
  auto text = person->getAsJSONString();
  platform::Console::setSink(nullptr);
  ASSERT_TRUE(text.has_value());
  // The nested export's line goes to standard output: the sink is busy.
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0], "jsonString = " + *text);
  EXPECT_NE(text->find("\"outer\""), std::string::npos);
}

}  // namespace
}  // namespace orbelin::model2
