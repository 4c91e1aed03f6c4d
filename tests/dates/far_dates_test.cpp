#include <string>

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "orbelin/dates/date_utils.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/clock.h"

namespace orbelin {
namespace {

using TamberNetworking::JSON;

OptionalDate dateOf(const std::string& member) {
  auto parsed = JSON::parse("{\"d\": " + member + "}");
  if (!parsed) return std::nullopt;
  return (*parsed)["d"].date();
}

class FarDatesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DateUtils::setTimeZone("UTC");
    // 2026-06-14T12:00:00Z
    platform::Clock::setNowForTesting(dateFromSeconds(1781438400.0));
  }
  void TearDown() override {
    platform::Clock::setNowForTesting(std::nullopt);
    DateUtils::setTimeZone(std::nullopt);
    DateUtils::setLocale(std::nullopt);
  }
};

TEST_F(FarDatesTest, EveryRealYearParsesExactlyAndBeyondIsNoDate) {
  EXPECT_EQ(dateOf("\"0001-01-01T00:00:00\""), dateFromSeconds(-62135596800.0));
  EXPECT_EQ(dateOf("\"9999-12-31\""), dateFromSeconds(253402214400.0));
  // Proleptic Gregorian, not Julian, before 1582.
  EXPECT_EQ(dateOf("\"1500-01-01T00:00:00Z\""), dateFromSeconds(-14831769600.0));
  EXPECT_EQ(dateOf("\"2015-04-21T09:41:00.250Z\""), dateFromSeconds(1429609260.25));
  // Year 0 and timestamps that are not seconds are no date, never a wrapped one.
  EXPECT_EQ(dateOf("\"0000-12-31T23:59:59Z\""), std::nullopt);
  EXPECT_EQ(dateOf("\"0001-01-01T00:00:00+01:00\""), std::nullopt);
  EXPECT_EQ(dateOf("1429609260000000"), std::nullopt);
  EXPECT_EQ(dateOf("1e300"), std::nullopt);
  EXPECT_EQ(dateOf("-1e300"), std::nullopt);
  EXPECT_EQ(dateOf("null"), std::nullopt);
  EXPECT_EQ(dateOf("1429609260"), dateFromSeconds(1429609260.0));
  auto parsed = JSON::parse(R"({"d": 1e300})");
  ASSERT_TRUE(parsed);
  EXPECT_EQ((*parsed)["d"].dateValue(), dateFromSeconds(0));
}

TEST_F(FarDatesTest, CalendarArithmeticHoldsForFarDates) {
  DateUtils::setLocale("en_US_POSIX");  // the display forms follow the locale's calendar
  Date year1500 = dateFromSeconds(-14831769600.0);
  EXPECT_EQ(DateUtils::ageFromDate(year1500), 526);
  EXPECT_EQ(DateUtils::ageFromDate(dateFromSeconds(-62135596800.0)), 2025);
  EXPECT_EQ(DateUtils::dateStringFromDate(year1500), "01/01/1500");
  EXPECT_EQ(DateUtils::dateStringFromDate(dateFromSeconds(253402214400.0)), "12/31/9999");
  RelativeTime past = DateUtils::relativeTimeFromDate(dateFromSeconds(-8520336000.0));
  EXPECT_EQ(past.label, "d");
  EXPECT_LT(past.value, -118000);
  RelativeTime future = DateUtils::relativeTimeFromDate(dateFromSeconds(253402214400.0));
  EXPECT_EQ(future.label, "d");
  EXPECT_GT(future.value, 2'900'000);
}

// ICU's default locale follows LANG; a host in Thailand, Saudi Arabia or
// Japan has a calendar of another era, which must not leak into Gregorian
// fields.
class ForeignCalendarTest : public FarDatesTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    saved_ = icu::Locale::getDefault();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale(GetParam()), status);
    DateUtils::setLocale(std::nullopt);  // rebuild the calendars with the new default
    FarDatesTest::SetUp();
  }
  void TearDown() override {
    FarDatesTest::TearDown();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(saved_, status);
    DateUtils::setLocale(std::nullopt);
  }
  icu::Locale saved_;
};

TEST_P(ForeignCalendarTest, DemonstrationClockAndAgeStayGregorian) {
  EXPECT_EQ(DateUtils::makeTodayDateWithTime941(), dateFromSeconds(1781430060.0));  // 09:41Z
  EXPECT_EQ(DateUtils::makeTodayDateFromDateWithTime(dateFromSeconds(1429623000.0)),
            dateFromSeconds(1781443800.0));  // 13:30Z today
  // 23 April 2015 10:00Z: two days after today, same clock time.
  EXPECT_EQ(DateUtils::createSimulatedDateFrom421(dateFromSeconds(1429783200.0)),
            dateFromSeconds(1781604000.0));
  EXPECT_EQ(DateUtils::noonOnDate(dateFromSeconds(1781481540.0)), dateFromSeconds(1781438400.0));
  EXPECT_TRUE(DateUtils::isToday(dateFromSeconds(1781400000.0)));
  EXPECT_FALSE(DateUtils::isOverdue(dateFromSeconds(1781438401.0)));
  // Born 1996-06-13: 30 years old the day after the birthday.
  EXPECT_EQ(DateUtils::ageFromDate(dateFromSeconds(834624000.0)), 30);
}

INSTANTIATE_TEST_SUITE_P(Locales, ForeignCalendarTest,
                         ::testing::Values("th_TH", "ar_SA", "ja_JP@calendar=japanese", "en_US"));

}  // namespace
}  // namespace orbelin
