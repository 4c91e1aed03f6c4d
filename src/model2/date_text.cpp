#include "model2/date_text.h"

#include <cmath>
#include <cstdio>
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

int number(std::string_view text, std::size_t from, std::size_t count) {
  int value = 0;
  for (std::size_t i = from; i < from + count; ++i) value = value * 10 + (text[i] - '0');
  return value;
}

}  // namespace

std::optional<std::string> formatDateTime(Date date) {
  double seconds = std::floor(secondsSince1970(date));
  icu::GregorianCalendar* calendar = threadCalendar();
  if (!calendar || !std::isfinite(seconds)) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(seconds * 1000.0, status);
  int year = calendar->get(UCAL_YEAR, status);
  int month = calendar->get(UCAL_MONTH, status) + 1;
  int day = calendar->get(UCAL_DATE, status);
  int hour = calendar->get(UCAL_HOUR_OF_DAY, status);
  int minute = calendar->get(UCAL_MINUTE, status);
  int second = calendar->get(UCAL_SECOND, status);
  if (U_FAILURE(status)) return std::nullopt;
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute,
                second);
  return std::string(text);
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
