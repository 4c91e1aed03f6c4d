#include "dates/icu_calendars.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>

#include <unicode/basictz.h>
#include <unicode/calendar.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

namespace orbelin::dates {
namespace {

struct Settings {
  std::mutex mutex;
  std::optional<std::string> zoneId;    // guarded by mutex
  std::optional<std::string> localeId;  // guarded by mutex
  // Bumped on every change so that each thread rebuilds its calendars.
  std::atomic<unsigned long> generation{1};
};

Settings& settings() {
  static Settings instance;
  return instance;
}

UDate toUDate(Date date) {
  return secondsSince1970(date) * 1000.0;
}

// Assembly can land outside the years a Date holds (day 9999-12-31 plus one);
// such a result is no date.
OptionalDate fromUDate(UDate milliseconds) {
  return makeDate(milliseconds / 1000.0);
}

// Proleptic Gregorian, as ISO 8601 text means it: without this, ICU counts
// days before 15 October 1582 in the Julian calendar.
void makeProleptic(icu::GregorianCalendar& calendar) {
  UErrorCode status = U_ZERO_ERROR;
  calendar.setGregorianChange(U_DATE_MIN, status);
}

// Every field is read and assembled in the Gregorian calendar, whatever the
// locale's own calendar (Buddhist, Islamic, Japanese): ages, days and the
// demonstration clock are Gregorian arithmetic. The locale is fixed for the
// same reason.
std::unique_ptr<icu::GregorianCalendar> makeGregorian(const icu::TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  auto calendar =
      std::make_unique<icu::GregorianCalendar>(zone, icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status)) return nullptr;
  calendar->setLenient(true);
  makeProleptic(*calendar);
  return calendar;
}

UCalendarDateFields field(Unit unit) {
  switch (unit) {
    case Unit::kYear:
      return UCAL_YEAR;
    case Unit::kDay:
      return UCAL_DATE;
    case Unit::kHour:
      return UCAL_HOUR_OF_DAY;
    case Unit::kMinute:
      return UCAL_MINUTE;
  }
  return UCAL_DATE;
}

std::optional<CalendarFields> readFields(icu::Calendar& calendar, Date date) {
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(toUDate(date), status);
  CalendarFields f;
  f.era = calendar.get(UCAL_ERA, status);
  f.year = calendar.get(UCAL_YEAR, status);
  f.month = calendar.get(UCAL_MONTH, status);
  f.day = calendar.get(UCAL_DATE, status);
  f.hour = calendar.get(UCAL_HOUR_OF_DAY, status);
  f.minute = calendar.get(UCAL_MINUTE, status);
  f.second = calendar.get(UCAL_SECOND, status);
  if (U_FAILURE(status)) return std::nullopt;
  return f;
}

OptionalDate assembleWith(icu::Calendar& calendar, const CalendarFields& f) {
  calendar.clear();
  calendar.set(UCAL_ERA, f.era);
  calendar.set(f.year, f.month, f.day, f.hour, f.minute, f.second);
  UErrorCode status = U_ZERO_ERROR;
  UDate time = calendar.getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return fromUDate(time);
}

std::unique_ptr<icu::SimpleDateFormat> makeFormat(const char* pattern, const icu::Locale& locale,
                                                  const icu::TimeZone* zone) {
  UErrorCode status = U_ZERO_ERROR;
  auto format =
      std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), locale, status);
  if (U_FAILURE(status)) return nullptr;
  if (zone) format->setTimeZone(*zone);
  // The locale's calendar stays (the display follows the device), but a
  // Gregorian one shows early dates proleptically, like the rest of the layer.
  if (auto* gregorian = dynamic_cast<const icu::GregorianCalendar*>(format->getCalendar())) {
    auto* copy = gregorian->clone();
    makeProleptic(*copy);
    format->adoptCalendar(copy);
  }
  return format;
}

}  // namespace

void setTimeZoneId(std::optional<std::string> zoneId) {
  std::lock_guard lock(settings().mutex);
  settings().zoneId = std::move(zoneId);
  settings().generation.fetch_add(1);
}

void setLocaleId(std::optional<std::string> localeId) {
  std::lock_guard lock(settings().mutex);
  settings().localeId = std::move(localeId);
  settings().generation.fetch_add(1);
}

ThreadCalendars::ThreadCalendars() = default;
ThreadCalendars::~ThreadCalendars() = default;

ThreadCalendars& ThreadCalendars::get() {
  thread_local ThreadCalendars calendars;
  unsigned long generation = settings().generation.load();
  if (calendars.generation_ != generation) calendars.rebuild(generation);
  return calendars;
}

void ThreadCalendars::rebuild(unsigned long generation) {
  std::optional<std::string> zoneId, localeId;
  {
    std::lock_guard lock(settings().mutex);
    zoneId = settings().zoneId;
    localeId = settings().localeId;
  }
  generation_ = generation;
  zone_.reset(zoneId ? icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(*zoneId))
                     : icu::TimeZone::createDefault());
  icu::Locale locale = localeId ? icu::Locale(localeId->c_str()) : icu::Locale::getDefault();
  calendar_ = makeGregorian(*zone_);
  dateFormat_ = makeFormat("MM/dd/yyyy", locale, zone_.get());
  timeFormat_ = makeFormat("hh:mm a", locale, zone_.get());
  reference941_.reset();
  dayStart_ = dayEnd_ = Date{};
  offsetSpans_.fill(OffsetSpan{});
  simulated_.clear();
}

std::optional<CalendarFields> ThreadCalendars::fields(Date date) {
  if (!calendar_) return std::nullopt;
  return readFields(*calendar_, date);
}

OptionalDate ThreadCalendars::assemble(const CalendarFields& fields) {
  if (!calendar_) return std::nullopt;
  return assembleWith(*calendar_, fields);
}

std::optional<int> ThreadCalendars::difference(Date from, Date to, Unit unit) {
  if (!calendar_) return std::nullopt;
  // fieldDifference moves the calendar, so it starts from `from` every time.
  UErrorCode status = U_ZERO_ERROR;
  calendar_->setTime(toUDate(from), status);
  int32_t result = calendar_->fieldDifference(toUDate(to), field(unit), status);
  if (U_FAILURE(status)) return std::nullopt;
  return result;
}

std::string ThreadCalendars::format(Date date, Pattern pattern) {
  icu::SimpleDateFormat* format = pattern == Pattern::kDate ? dateFormat_.get() : timeFormat_.get();
  if (!format) return "";
  icu::UnicodeString text;
  format->format(toUDate(date), text);
  std::string result;
  text.toUTF8String(result);
  return result;
}

int ThreadCalendars::zoneOffsetHours(Date date) {
  int32_t rawOffset = 0, dstOffset = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone_->getOffset(toUDate(date), false, rawOffset, dstOffset, status);
  if (U_FAILURE(status)) return 0;
  return (rawOffset + dstOffset) / 3'600'000;
}

std::optional<std::int32_t> ThreadCalendars::zoneOffsetMilliseconds(double utcMilliseconds) {
  for (const OffsetSpan& span : offsetSpans_) {
    if (utcMilliseconds >= span.start && utcMilliseconds < span.end) return span.offset;
  }
  if (!zone_ || !std::isfinite(utcMilliseconds)) return std::nullopt;
  // The lookup a calendar makes when it computes its fields.
  int32_t rawOffset = 0, dstOffset = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone_->getOffset(utcMilliseconds, false, rawOffset, dstOffset, status);
  if (U_FAILURE(status)) return std::nullopt;
  const std::int32_t offset = rawOffset + dstOffset;
  // Between two transitions of the zone its offset stays the same. A zone
  // that cannot tell its transitions is asked every time.
  const auto* basic = dynamic_cast<const icu::BasicTimeZone*>(zone_.get());
  if (!basic) return offset;
  OffsetSpan span{-HUGE_VAL, HUGE_VAL, offset};
  icu::TimeZoneTransition transition;
  if (basic->getPreviousTransition(utcMilliseconds, true, transition)) {
    span.start = transition.getTime();
  }
  if (basic->getNextTransition(utcMilliseconds, false, transition)) span.end = transition.getTime();
  if (utcMilliseconds >= span.start && utcMilliseconds < span.end) {
    offsetSpans_[nextOffsetSpan_] = span;
    nextOffsetSpan_ = (nextOffsetSpan_ + 1) % offsetSpans_.size();
  }
  return offset;
}

OptionalDate ThreadCalendars::todayAt(Date now, int hour, int minute) {
  auto today = fields(now);
  if (!today || !calendar_) return std::nullopt;
  CalendarFields target = *today;
  target.hour = hour;
  target.minute = minute;
  target.second = 0;
  return assembleWith(*calendar_, target);
}

OptionalDate ThreadCalendars::todayAt941(Date now) {
  if (reference941_ && now >= dayStart_ && now < dayEnd_) return reference941_;
  auto today = fields(now);
  if (!today) return std::nullopt;
  CalendarFields start = *today;
  start.hour = start.minute = start.second = 0;
  CalendarFields next = start;
  next.day += 1;
  auto dayStart = assemble(start);
  auto dayEnd = assemble(next);
  auto reference = todayAt(now, 9, 41);
  if (dayStart && dayEnd && reference && now >= *dayStart && now < *dayEnd) {
    dayStart_ = *dayStart;
    dayEnd_ = *dayEnd;
    reference941_ = reference;
  }
  return reference;
}

std::optional<OptionalDate> ThreadCalendars::rememberedSimulated(Date date, Date reference) const {
  if (reference != simulatedReference_) return std::nullopt;
  auto found = simulated_.find(secondsSince1970(date));
  if (found == simulated_.end()) return std::nullopt;
  return found->second;
}

void ThreadCalendars::rememberSimulated(Date date, Date reference, OptionalDate result) {
  // Bounded: a new reference (a new day, an override) or a full table starts over.
  constexpr std::size_t kCapacity = 4096;
  if (reference != simulatedReference_ || simulated_.size() >= kCapacity) {
    simulated_.clear();
    simulatedReference_ = reference;
  }
  simulated_.emplace(secondsSince1970(date), result);
}

}  // namespace orbelin::dates
