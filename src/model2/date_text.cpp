#include "model2/date_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include "dates/icu_calendars.h"

namespace orbelin::model2::detail {
namespace {

// This thread's calendar: en_US_POSIX, proleptic Gregorian (the same rules
// for year 1 as for today), strict, moved to the current local zone when
// that changed. The fixed-width text is composed and taken apart by hand;
// the calendar does what needs a calendar: fields to moments and back in
// the local zone, with range checks.
icu::GregorianCalendar* threadCalendar() {
  thread_local std::unique_ptr<icu::GregorianCalendar> calendar = [] {
    UErrorCode status = U_ZERO_ERROR;
    auto made = std::make_unique<icu::GregorianCalendar>(icu::Locale("en_US_POSIX"), status);
    made->setGregorianChange(-HUGE_VAL, status);
    made->setLenient(false);
    return U_SUCCESS(status) ? std::move(made) : nullptr;
  }();
  if (!calendar) return nullptr;
  const icu::TimeZone* zone = dates::ThreadCalendars::get().zone();
  if (zone && *zone != calendar->getTimeZone()) calendar->setTimeZone(*zone);
  return calendar.get();
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Fields of the whole second `seconds` from the calendar itself.
bool calendarFields(double seconds, dates::CalendarFields& f) {
  icu::GregorianCalendar* calendar = threadCalendar();
  if (!calendar) return false;
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(seconds * 1000.0, status);
  f.year = calendar->get(UCAL_YEAR, status);
  f.month = calendar->get(UCAL_MONTH, status);
  f.day = calendar->get(UCAL_DATE, status);
  f.hour = calendar->get(UCAL_HOUR_OF_DAY, status);
  f.minute = calendar->get(UCAL_MINUTE, status);
  f.second = calendar->get(UCAL_SECOND, status);
  return U_SUCCESS(status);
}

struct CivilDay {
  std::int64_t days = 0;
  int year = 0;
  int month = 0;
  int day = 0;
};

// Days since 1970-01-01 to a proleptic Gregorian date (eras of 400 years).
CivilDay civilDay(std::int64_t days) {
  std::int64_t z = days + 719468;
  std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  std::int64_t dayOfEra = z - era * 146097;
  std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;  // March is 0
  std::int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  CivilDay result;
  result.days = days;
  // Far outside the years written here; keeps the narrowing exact.
  result.year = static_cast<int>(std::clamp<std::int64_t>(year, -1, 10000));
  result.month = static_cast<int>(month);
  result.day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  return result;
}

// The same fields without moving a calendar, for local years 1 to 9999: the
// zone's offset at the moment (what the calendar adds before it splits the
// local time), then proleptic Gregorian arithmetic on the local day. Other
// years are left to the calendar, which names years before 1 by era.
bool fastFields(double seconds, dates::CalendarFields& f) {
  // Beyond the years a Date holds, with a margin for any zone offset: there
  // milliseconds stay exact integers in a double.
  constexpr double kMargin = 2 * 86400.0;
  if (!(seconds >= kEarliestDateSeconds - kMargin && seconds < kLatestDateSeconds + kMargin))
    return false;
  auto offset = dates::ThreadCalendars::get().zoneOffsetMilliseconds(seconds * 1000.0);
  if (!offset) return false;
  constexpr std::int64_t kDay = 86'400'000;
  std::int64_t local = static_cast<std::int64_t>(seconds) * 1000 + *offset;
  std::int64_t days = local / kDay;
  std::int64_t inDay = local % kDay;
  if (inDay < 0) {
    inDay += kDay;
    --days;
  }
  // Dates of one export cluster on few days: the last day's date is kept.
  thread_local CivilDay last;
  if (days != last.days || last.year == 0) last = civilDay(days);
  if (last.year < 1 || last.year > 9999) return false;
  f.year = last.year;
  f.month = last.month - 1;
  f.day = last.day;
  auto secondOfDay = static_cast<int>(inDay / 1000);
  f.hour = secondOfDay / 3600;
  f.minute = secondOfDay / 60 % 60;
  f.second = secondOfDay % 60;
  return true;
}

// Two decimal digits of 0 <= value < 100.
void writeTwoDigits(char* out, int value) {
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  std::memcpy(out, kPairs + 2 * value, 2);
}

int number(std::string_view text, std::size_t from, std::size_t count) {
  int value = 0;
  for (std::size_t i = from; i < from + count; ++i) value = value * 10 + (text[i] - '0');
  return value;
}

}  // namespace

std::size_t formatDateTime(Date date, char (&text)[kDateTimeTextCapacity]) {
  double seconds = std::floor(secondsSince1970(date));
  if (!std::isfinite(seconds)) return 0;
  dates::CalendarFields f;
  if (!fastFields(seconds, f) && !calendarFields(seconds, f)) return 0;
  if (f.year >= 0 && f.year <= 9999) {
    writeTwoDigits(text, f.year / 100);
    writeTwoDigits(text + 2, f.year % 100);
    text[4] = '-';
    writeTwoDigits(text + 5, f.month + 1);
    text[7] = '-';
    writeTwoDigits(text + 8, f.day);
    text[10] = ' ';
    writeTwoDigits(text + 11, f.hour);
    text[13] = ':';
    writeTwoDigits(text + 14, f.minute);
    text[16] = ':';
    writeTwoDigits(text + 17, f.second);
    return 19;
  }
  int written = std::snprintf(text, kDateTimeTextCapacity, "%04d-%02d-%02d %02d:%02d:%02d", f.year,
                              f.month + 1, f.day, f.hour, f.minute, f.second);
  if (written <= 0 || static_cast<std::size_t>(written) >= kDateTimeTextCapacity) return 0;
  return static_cast<std::size_t>(written);
}

std::optional<std::string> formatDateTime(Date date) {
  char text[kDateTimeTextCapacity];
  std::size_t length = formatDateTime(date, text);
  if (length == 0) return std::nullopt;
  return std::string(text, length);
}

OptionalDate parseDateTime(std::string_view text) {
  // Exactly "yyyy-MM-dd HH:mm:ss": four-digit years, nothing before or after.
  static constexpr std::string_view kShape = "0000-00-00 00:00:00";
  if (text.size() != kShape.size()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kShape[i] == '0' ? !isDigit(text[i]) : text[i] != kShape[i]) return std::nullopt;
  }
  icu::GregorianCalendar* calendar = threadCalendar();
  if (!calendar) return std::nullopt;
  calendar->clear();
  calendar->set(number(text, 0, 4), number(text, 5, 2) - 1, number(text, 8, 2), number(text, 11, 2),
                number(text, 14, 2), number(text, 17, 2));
  UErrorCode status = U_ZERO_ERROR;
  UDate moment = calendar->getTime(status);  // strict: no day 30 of February, no hour 24
  if (U_FAILURE(status)) return std::nullopt;
  return makeDate(moment / 1000.0);  // year 0000 is no date
}

}  // namespace orbelin::model2::detail
