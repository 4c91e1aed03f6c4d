#include "model2/date_text.h"

#include <cmath>
#include <memory>

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "dates/icu_calendars.h"
#include "orbelin/model2/managed_object_ex.h"

namespace orbelin::model2::detail {
namespace {

// This thread's formatter, moved to the current local zone when it changed.
icu::SimpleDateFormat* threadFormat() {
  thread_local std::unique_ptr<icu::SimpleDateFormat> format = [] {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale posix("en_US_POSIX");
    auto made = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(DATE_TIME_FORMAT), posix,
                                                        status);
    if (U_FAILURE(status)) return std::unique_ptr<icu::SimpleDateFormat>();
    auto calendar = std::make_unique<icu::GregorianCalendar>(posix, status);
    if (U_FAILURE(status)) return std::unique_ptr<icu::SimpleDateFormat>();
    // Proleptic Gregorian: the same rules for year 1 as for today.
    calendar->setGregorianChange(-HUGE_VAL, status);
    made->adoptCalendar(calendar.release());
    made->setLenient(false);
    // Not lenient about the text either: no blanks, no partial literals.
    made->setBooleanAttribute(UDAT_PARSE_ALLOW_WHITESPACE, false, status);
    made->setBooleanAttribute(UDAT_PARSE_ALLOW_NUMERIC, false, status);
    made->setBooleanAttribute(UDAT_PARSE_PARTIAL_LITERAL_MATCH, false, status);
    made->setBooleanAttribute(UDAT_PARSE_MULTIPLE_PATTERNS_FOR_MATCH, false, status);
    if (U_FAILURE(status)) return std::unique_ptr<icu::SimpleDateFormat>();
    return made;
  }();
  if (!format) return nullptr;
  const icu::TimeZone* zone = dates::ThreadCalendars::get().zone();
  if (zone && *zone != format->getTimeZone()) format->setTimeZone(*zone);
  return format.get();
}

// The largest distance from 1970 that Date can hold, in seconds.
double dateRangeSeconds() {
  return std::chrono::duration<double>(Date::duration::max()).count();
}

}  // namespace

std::optional<std::string> formatDateTime(Date date) {
  icu::SimpleDateFormat* format = threadFormat();
  if (!format) return std::nullopt;
  double seconds = std::floor(secondsSince1970(date));
  if (!std::isfinite(seconds)) return std::nullopt;
  icu::UnicodeString text;
  format->format(seconds * 1000.0, text);
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

OptionalDate parseDateTime(std::string_view text) {
  // Longer texts cannot match the fixed-width format; skip ICU for them.
  if (text.size() < 19 || text.size() > 32) return std::nullopt;
  // ICU skips blanks before a number field even when told not to.
  auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (!isDigit(text.front()) || !isDigit(text.back())) return std::nullopt;
  icu::SimpleDateFormat* format = threadFormat();
  if (!format) return std::nullopt;
  icu::UnicodeString input = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  icu::ParsePosition position(0);
  UDate parsed = format->parse(input, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != input.length()) return std::nullopt;
  double seconds = parsed / 1000.0;
  if (!std::isfinite(seconds) || std::fabs(seconds) >= dateRangeSeconds()) return std::nullopt;
  return dateFromSeconds(seconds);
}

}  // namespace orbelin::model2::detail
