#include <algorithm>
#include <atomic>
#include <cmath>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "orbelin/dates/date_utils.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/text/localized.h"
#include "support/test_support.h"

namespace std::chrono {
// Readable dates in failure messages, in UTC whatever the process's zone.
void PrintTo(const orbelin::Date& date, std::ostream* out) {
  const double count = std::floor(date.time_since_epoch().count());
  const std::time_t whole = std::abs(count) < 1e15 ? static_cast<std::time_t>(count) : 0;
  std::tm fields{};
  char text[32] = "out of range";
  if (whole == count && ::gmtime_r(&whole, &fields)) {
    std::strftime(text, sizeof text, "%FT%TZ", &fields);
  }
  *out << text;
}
}  // namespace std::chrono

namespace orbelin {
namespace {

using namespace std::chrono_literals;
using platform::Clock;

// A wall-clock time in `zone`, built by a strict ICU calendar of its own
// (month from 1), so the expectations do not lean on the code under test.
Date local(const std::string& zone, int year, int month, int day, int hour, int minute,
           int second = 0) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)),
                                  status);
  calendar.clear();
  calendar.set(year, month - 1, day, hour, minute, second);
  UDate ms = calendar.getTime(status);
  EXPECT_TRUE(U_SUCCESS(status));
  return Date(std::chrono::milliseconds(static_cast<long long>(ms)));
}

Date utc(int year, int month, int day, int hour, int minute, int second = 0) {
  return local("UTC", year, month, day, hour, minute, second);
}

class DateUtilsTest : public ::testing::Test {
 protected:
  void TearDown() override {
    Clock::setNowForTesting(std::nullopt);
    DateUtils::setTimeZone(std::nullopt);
    DateUtils::setLocale(std::nullopt);
    DateUtils::install(nullptr);
    text::setLocalizedStringsTable(std::nullopt);
  }
  static void pin(const std::string& zone, Date now) {
    DateUtils::setTimeZone(zone);
    Clock::setNowForTesting(now);
  }
};

// The same wall-clock cases in UTC, at +5:30, and in zones with daylight
// saving west and east of UTC.
class DateUtilsZoneTest : public DateUtilsTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    DateUtils::setTimeZone(GetParam());
    DateUtils::setLocale("en_US");
  }
  Date at(int year, int month, int day, int hour, int minute, int second = 0) const {
    return local(GetParam(), year, month, day, hour, minute, second);
  }
  static void pinNow(Date now) { Clock::setNowForTesting(now); }
};

// Guards the rounding and the unit chosen at each boundary, calendar days
// across a month end, and that discharge and timer times count from today
// 09:41 whatever the hour now.
TEST_P(DateUtilsZoneTest, RelativeTimesFromNowToADateAndFromToday941) {
  Date now = at(2026, 3, 14, 8, 15, 20);
  pinNow(now);
  // Minutes are rounded up; 1.5 hours rounds away from zero.
  const std::pair<std::chrono::seconds, RelativeTime> fromNow[] = {
      {90min, {2, "hr"}}, {-90min, {-2, "hr"}},      {30s, {1, "m"}},
      {-30s, {0, ""}},    {59min, {59, "m"}},        {60min, {1, "hr"}},
      {24h, {1, "d"}},    {23h + 59min, {24, "hr"}}, {-36h, {-2, "d"}}};
  for (const auto& [offset, expected] : fromNow)
    EXPECT_EQ(DateUtils::relativeTimeFromDate(now + offset), expected) << offset.count() << " s";
  // Far-away dates clamp instead of overflowing.
  EXPECT_EQ(DateUtils::relativeTimeFromDate(Date::max()).label, "d");
  text::setLocalizedStringsTable(text::StringsTable{{"hr", "Std."}});
  EXPECT_EQ(DateUtils::relativeTimeFromDate(now + 90min), (RelativeTime{2, "Std."}));

  // 31 March 20:00 to 2 April 21:00 is two calendar days.
  now = at(2026, 3, 31, 20, 0);
  pinNow(now);
  const std::pair<std::chrono::seconds, RelativeTime> toDate[] = {
      {5h + 10min, {5, "Hours"}}, {-23h, {-23, "Hours"}}, {49h, {2, "Days"}},
      {30h, {1, "Days"}},         {-48h, {-2, "Days"}},   {0s, {0, "Hours"}}};
  for (const auto& [offset, expected] : toDate)
    EXPECT_EQ(DateUtils::relativeTimeToDate(now + offset), expected) << offset.count() << " s";

  // From today 09:41, whatever the hour now; no clock change in these days.
  const std::pair<std::chrono::seconds, RelativeTime> discharge[] = {
      {61min, {1, "Hour"}},  {60min, {60, "Minutes"}}, {90min, {2, "Hours"}},
      {1min, {1, "Minute"}}, {-1min, {-1, "Day"}},     {0s, {0, ""}},
      {-48h, {-2, "Days"}}};
  for (int hourNow : {0, 23}) {
    pinNow(at(2026, 5, 1, hourNow, 30));
    platform::ConsoleCapture console;
    for (const auto& [offset, expected] : discharge) {
      EXPECT_EQ(DateUtils::relativeTimeForDischargeToSimulatedDate(at(2026, 5, 1, 9, 41) + offset),
                expected)
          << hourNow << "h, " << offset.count() << " s";
    }
    ASSERT_EQ(console.lines().size(), 7u);
    EXPECT_EQ(console.lines()[0], "WARNING: Using today at 9:41 in relativeTimeToDate3()");
  }

  pinNow(at(2026, 4, 30, 17, 5));  // tomorrow is in the next month
  const Date reference = at(2026, 4, 30, 9, 41);
  const std::pair<std::chrono::seconds, RelativeTime> inHours[] = {
      {24h, {1, "Day"}}, {48h, {2, "Days"}}, {-24h, {-1, "Days"}},
      {1h, {1, "Hour"}}, {3h, {3, "Hours"}}, {10min, {0, "Hours"}}};
  for (const auto& [offset, expected] : inHours)
    EXPECT_EQ(DateUtils::relativeTimeForTimerToSimulatedDate(reference + offset), expected);
  const std::pair<std::chrono::seconds, RelativeTime> inMinutes[] = {
      {10min, {10, "Minutes"}}, {1min, {1, "Minute"}}, {-30min, {-30, "Minutes"}}};
  for (const auto& [offset, expected] : inMinutes)
    EXPECT_EQ(DateUtils::relativeTimeForTimerToSimulatedDate(reference + offset, false), expected);
}

// Guards the demonstration clock (today 09:41, dates of 21 April 2015 moved
// onto today) and the calendar-day rules, each in the zone of the case.
TEST_P(DateUtilsZoneTest, DemonstrationClockSimulatedDatesAndCalendarDays) {
  pinNow(at(2026, 3, 30, 22, 50));
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), at(2026, 3, 30, 9, 41));
  EXPECT_EQ(DateUtils::makeTodayDateFromDateWithTime(at(2020, 1, 2, 14, 25, 37)),
            at(2026, 3, 30, 14, 25));

  // The hour is moved back by the whole-hour offset from GMT at the sample
  // date, so 09:41Z reads 09:41 here, in winter and in summer time alike
  // (the half hour of +5:30 stays). Day shifts cross month ends both ways;
  // month and year are ignored.
  auto halfHour = std::chrono::minutes(GetParam() == "Asia/Kolkata" ? 30 : 0);
  const std::pair<Date, Date> simulated[] = {{utc(2015, 4, 21, 9, 41), at(2026, 3, 30, 9, 41)},
                                             {utc(2015, 1, 21, 9, 41), at(2026, 3, 30, 9, 41)},
                                             {utc(2015, 4, 23, 10, 0, 7), at(2026, 4, 1, 10, 0, 7)},
                                             {utc(2015, 5, 1, 10, 0), at(2026, 3, 10, 10, 0)},
                                             {utc(1999, 12, 21, 8, 0), at(2026, 3, 30, 8, 0)}};
  for (const auto& [sent, expected] : simulated)
    EXPECT_EQ(DateUtils::createSimulatedDateFrom421(sent), expected + halfHour);
  pinNow(at(2026, 3, 1, 12, 0));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 20, 11, 0)),
            at(2026, 2, 28, 11, 0) + halfHour);

  Date now = at(2026, 10, 31, 0, 30);
  pinNow(now);
  EXPECT_EQ(DateUtils::noonOnDate(at(2026, 2, 28, 23, 59, 59)), at(2026, 2, 28, 12, 0));
  EXPECT_EQ(DateUtils::todayAtNoon(), at(2026, 10, 31, 12, 0));
  const std::pair<Date, bool> today[] = {{at(2026, 10, 31, 0, 0), true},
                                         {at(2026, 10, 31, 23, 59, 59), true},
                                         {at(2026, 10, 30, 23, 59, 59), false},
                                         {at(2026, 11, 1, 0, 0), false},
                                         {at(2025, 10, 31, 12, 0), false}};
  for (const auto& [date, expected] : today) EXPECT_EQ(DateUtils::isToday(date), expected);
  EXPECT_TRUE(DateUtils::isOverdue(now));
  EXPECT_FALSE(DateUtils::isOverdue(now + 1s));
  EXPECT_TRUE(DateUtils::isOverdueFrom941(at(2026, 10, 31, 9, 41)));
  EXPECT_FALSE(DateUtils::isOverdueFrom941(at(2026, 10, 31, 9, 41, 1)));

  pinNow(at(2026, 3, 1, 10, 0));
  EXPECT_EQ(DateUtils::ageFromDate(at(1996, 2, 29, 10, 0)), 30);  // 30 years and a day
  EXPECT_EQ(DateUtils::ageFromDate(at(1996, 3, 2, 10, 0)), 29);   // a day short of 30
  EXPECT_EQ(DateUtils::ageFromDate(at(2027, 3, 1, 10, 0)), -1);
  EXPECT_EQ(DateUtils::dateStringFromDate(at(2015, 4, 21, 23, 59)), "04/21/2015");
  EXPECT_EQ(DateUtils::timeStringFromDate(at(2015, 4, 21, 21, 5)), "09:05 PM");
  EXPECT_EQ(DateUtils::timeStringFromDate(at(2015, 4, 21, 0, 5)), "12:05 AM");
}

INSTANTIATE_TEST_SUITE_P(Zones, DateUtilsZoneTest,
                         ::testing::Values("UTC", "Asia/Kolkata", "America/New_York",
                                           "Europe/Berlin"),
                         [](const auto& param) {
                           std::string name = param.param;
                           std::replace(name.begin(), name.end(), '/', '_');
                           return name;
                         });

// The hour moved back by the whole-hour offset may leave the local day; it
// rolls over into today, and daylight saving's gaps follow the zone's rules.
TEST_F(DateUtilsTest, SimulatedDatesRollOverAndFollowTheZoneRules) {
  // 23:00Z on the 21st is 04:30 on the 22nd at +5:30; hour 4 - 5 rolls back
  // into today at 23:30.
  pin("Asia/Kolkata", local("Asia/Kolkata", 2026, 6, 10, 15, 0));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 21, 23, 0)),
            local("Asia/Kolkata", 2026, 6, 10, 23, 30));

  // West of UTC: 01:00Z on the 21st is 21:00 on the 20th (EDT); hour 21 + 4
  // rolls forward into today at 01:00.
  pin("America/New_York", local("America/New_York", 2026, 6, 10, 15, 0));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 21, 1, 0)),
            local("America/New_York", 2026, 6, 10, 1, 0));

  // 02:30Z on the 21st is 22:30 on the 20th (EDT): yesterday at hour 26, so
  // today 02:30. On the day clocks go forward (8 March 2026, 02:00 -> 03:00), that time
  // of 02:30 does not exist; lenient assembly reads it with the standard
  // offset, which is 03:30 daylight time.
  Clock::setNowForTesting(local("America/New_York", 2026, 3, 8, 12, 0));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 21, 2, 30)), utc(2026, 3, 8, 7, 30));
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2026, 3, 8, 13, 41));  // EDT
  // The day before, 09:41 was still standard time.
  Clock::setNowForTesting(local("America/New_York", 2026, 3, 7, 23, 59));
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2026, 3, 7, 14, 41));
  // The remembered 09:41 follows "now" into the next day.
  Clock::setNowForTesting(local("America/New_York", 2026, 3, 8, 0, 0));
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2026, 3, 8, 13, 41));
}

// A demonstration clock stopped at a fixed moment, as a host might install.
class FixedClockUtils : public DateUtils::Implementation {
 public:
  explicit FixedClockUtils(OptionalDate reference) : reference_(reference) {}
  OptionalDate makeTodayDateWithTime941() override {
    ++calls;
    return reference_;
  }
  std::atomic<int> calls{0};

 private:
  OptionalDate reference_;
};

// Guards that every function measured from 09:41 asks an installed
// implementation, and does not abort when it has no reference.
TEST_F(DateUtilsTest, OverrideChangesEveryDependentFunction) {
  pin("UTC", utc(2026, 7, 15, 8, 0));
  auto fixed = std::make_shared<FixedClockUtils>(utc(2030, 1, 10, 18, 0));
  DateUtils::install(fixed);

  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2030, 1, 10, 18, 0));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 22, 7, 5)), utc(2030, 1, 11, 7, 5));
  EXPECT_TRUE(DateUtils::isOverdueFrom941(utc(2030, 1, 10, 18, 0)));
  EXPECT_FALSE(DateUtils::isOverdue(utc(2030, 1, 10, 18, 0)));
  platform::ConsoleCapture console;
  EXPECT_EQ(DateUtils::relativeTimeForDischargeToSimulatedDate(utc(2030, 1, 10, 18, 30)),
            (RelativeTime{30, "Minutes"}));
  EXPECT_EQ(DateUtils::relativeTimeForTimerToSimulatedDate(utc(2030, 1, 12, 18, 0)),
            (RelativeTime{2, "Days"}));
  EXPECT_EQ(fixed->calls.load(), 5);

  // Without a reference the functions measure from now and do not abort.
  DateUtils::install(std::make_shared<FixedClockUtils>(std::nullopt));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 21, 9, 41)),
            utc(2026, 7, 15, 9, 41));
  EXPECT_EQ(DateUtils::relativeTimeForDischargeToSimulatedDate(utc(2026, 7, 15, 9, 30)),
            (RelativeTime{2, "Hours"}));
  EXPECT_TRUE(DateUtils::isOverdueFrom941(utc(2026, 7, 15, 8, 0)));

  DateUtils::install(nullptr);
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2026, 7, 15, 9, 41));
}

// Guards delivery on the main queue, exactly once, never inside the call,
// and odd delays run at once rather than never or in a crash.
TEST_F(DateUtilsTest, PerformAfterDelayRunsOnceOnTheMainQueue) {
  std::vector<std::string> order;
  bool onMain = true;
  auto record = [&](std::string name) {
    return [&, name] {
      onMain = onMain && platform::MainQueue::isMainThread();
      order.push_back(name);
    };
  };
  auto start = std::chrono::steady_clock::now();
  DateUtils::performAfterDelay(0.15F, record("delayed"));
  // Delays that have no nanosecond count run as 0: before the one above.
  DateUtils::performAfterDelay(-1.0F, record("negative"));
  DateUtils::performAfterDelay(std::numeric_limits<float>::quiet_NaN(), record("nan"));
  DateUtils::performAfterDelay(std::numeric_limits<float>::infinity(), record("infinite"));
  DateUtils::performAfterDelay(9.3e9F, record("just too big"));
  EXPECT_TRUE(order.empty());  // the call returns at once

  ASSERT_TRUE(test::runMainQueueUntil([&] { return order.size() == 5; }, 2s));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms);
  EXPECT_EQ(order.back(), "delayed");
  platform::MainQueue::runFor(50ms);
  EXPECT_EQ(order.size(), 5u);  // each handler exactly once
  EXPECT_TRUE(onMain);

  // From another thread, still delivered on the main queue.
  std::thread([&] { DateUtils::performAfterDelay(0.0F, record("from worker")); }).join();
  ASSERT_TRUE(test::runMainQueueUntil([&] { return order.size() == 6; }, 2s));
  EXPECT_TRUE(onMain);
}

// Guards against calendars shared between threads without a lock.
TEST_F(DateUtilsTest, ThreadsKeepTheirOwnCalendars) {
  pin("Asia/Kolkata", local("Asia/Kolkata", 2026, 9, 9, 12, 0));
  Date expected = local("Asia/Kolkata", 2026, 9, 11, 10, 30);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        if (DateUtils::createSimulatedDateFrom421(utc(2015, 4, 23, 10, 0)) != expected) ++wrong;
        if (!DateUtils::isToday(local("Asia/Kolkata", 2026, 9, 9, 0, 1))) ++wrong;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

OptionalDate dateOf(const std::string& member) {
  auto parsed = TamberNetworking::JSON::parse("{\"d\": " + member + "}");
  return parsed ? (*parsed)["d"].date() : std::nullopt;
}

// Guards exact parsing of every real year (proleptic Gregorian before 1582),
// and that anything beyond is no date rather than a wrapped one.
TEST_F(DateUtilsTest, EveryRealYearParsesExactlyAndBeyondIsNoDate) {
  pin("UTC", utc(2026, 6, 14, 12, 0));
  const std::pair<const char*, OptionalDate> cases[] = {
      {"\"0001-01-01T00:00:00\"", dateFromSeconds(-62135596800.0)},
      {"\"9999-12-31\"", dateFromSeconds(253402214400.0)},
      {"\"1500-01-01T00:00:00Z\"", dateFromSeconds(-14831769600.0)},
      {"\"2015-04-21T09:41:00.250Z\"", dateFromSeconds(1429609260.25)},
      {"1429609260", dateFromSeconds(1429609260.0)},
      {"\"0000-12-31T23:59:59Z\"", std::nullopt},
      {"\"0001-01-01T00:00:00+01:00\"", std::nullopt},
      {"1429609260000000", std::nullopt},
      {"-1e300", std::nullopt},
      {"null", std::nullopt}};
  for (const auto& [member, expected] : cases) EXPECT_EQ(dateOf(member), expected) << member;
  auto parsed = TamberNetworking::JSON::parse(R"({"d": 1e300})");
  ASSERT_TRUE(parsed);
  EXPECT_EQ((*parsed)["d"].dateValue(), dateFromSeconds(0));

  // Calendar arithmetic and display forms hold that far out.
  DateUtils::setLocale("en_US_POSIX");
  EXPECT_EQ(DateUtils::ageFromDate(dateFromSeconds(-14831769600.0)), 526);
  EXPECT_EQ(DateUtils::dateStringFromDate(dateFromSeconds(-14831769600.0)), "01/01/1500");
  EXPECT_EQ(DateUtils::dateStringFromDate(dateFromSeconds(253402214400.0)), "12/31/9999");
  EXPECT_LT(DateUtils::relativeTimeFromDate(dateFromSeconds(-8520336000.0)).value, -118000);
}

// ICU's default locale follows LANG; a host in Thailand, Saudi Arabia or
// Japan has a calendar of another era, which must not leak into Gregorian
// fields.
class ForeignCalendarTest : public DateUtilsTest,
                            public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    saved_ = icu::Locale::getDefault();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(GetParam()), status);
    DateUtils::setLocale(std::nullopt);  // rebuild the calendars with the new default
    pin("UTC", utc(2026, 6, 14, 12, 0));
  }
  void TearDown() override {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(saved_, status);
    DateUtilsTest::TearDown();
  }
  icu::Locale saved_;
};

TEST_P(ForeignCalendarTest, DemonstrationClockAndAgeStayGregorian) {
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), utc(2026, 6, 14, 9, 41));
  EXPECT_EQ(DateUtils::makeTodayDateFromDateWithTime(utc(2015, 4, 21, 13, 30)),
            utc(2026, 6, 14, 13, 30));
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(utc(2015, 4, 23, 10, 0)),
            utc(2026, 6, 16, 10, 0));
  EXPECT_EQ(DateUtils::noonOnDate(utc(2026, 6, 14, 23, 59)), utc(2026, 6, 14, 12, 0));
  EXPECT_TRUE(DateUtils::isToday(utc(2026, 6, 14, 1, 20)));
  EXPECT_FALSE(DateUtils::isOverdue(utc(2026, 6, 14, 12, 0, 1)));
  EXPECT_EQ(DateUtils::ageFromDate(utc(1996, 6, 13, 0, 0)), 30);  // a day past the 30th birthday
}

INSTANTIATE_TEST_SUITE_P(Locales, ForeignCalendarTest,
                         ::testing::Values("th_TH", "ar_SA", "ja_JP@calendar=japanese", "en_US"));

}  // namespace
}  // namespace orbelin
