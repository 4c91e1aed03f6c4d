#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "orbelin/platform/date.h"

#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Calendar;
class GregorianCalendar;
class SimpleDateFormat;
class TimeZone;
U_NAMESPACE_END

// ICU calendars and formatters for DateUtils, built once per thread (ICU
// objects are not thread-safe, and building them per call is slow) and
// rebuilt when the time zone or locale setting changes.
namespace orbelin::dates {

enum class Unit { kYear, kDay, kHour, kMinute };
enum class Pattern { kDate, kTime };

// Calendar fields as the calendar numbers them (month from 0, hour 0-23).
struct CalendarFields {
  int era = 0;
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

void setTimeZoneId(std::optional<std::string> zoneId);
void setLocaleId(std::optional<std::string> localeId);

// Thread safety: each thread has its own object; never share one.
class ThreadCalendars {
 public:
  // This thread's calendars, up to date with the settings.
  static ThreadCalendars& get();

  ThreadCalendars();
  ~ThreadCalendars();
  ThreadCalendars(const ThreadCalendars&) = delete;
  ThreadCalendars& operator=(const ThreadCalendars&) = delete;

  // Fields of `date` in the Gregorian calendar and the local zone.
  std::optional<CalendarFields> fields(Date date);
  // Lenient Gregorian assembly: out-of-range fields roll over. Absent when the
  // result falls outside the years a Date holds.
  OptionalDate assemble(const CalendarFields& fields);
  // Whole units from `from` to `to` (signed), in the Gregorian calendar.
  std::optional<int> difference(Date from, Date to, Unit unit);
  std::string format(Date date, Pattern pattern);
  // The local time zone (never null once get() has returned): for other
  // layers' formatters that must follow setTimeZone().
  const icu::TimeZone* zone() const { return zone_.get(); }
  // The zone's offset from GMT at `date` in whole hours, truncated toward zero.
  int zoneOffsetHours(Date date);
  // The zone's whole offset from GMT (standard plus daylight saving) at the
  // moment `utcMilliseconds`, as a calendar in the zone applies it. The span
  // between the zone's transitions around that moment is remembered, so
  // moments near each other cost a comparison instead of a zone lookup.
  std::optional<std::int32_t> zoneOffsetMilliseconds(double utcMilliseconds);
  // The calendar day of `now` at hour:minute:00, assembled by a Gregorian calendar.
  OptionalDate todayAt(Date now, int hour, int minute);
  // todayAt(now, 9, 41), remembered for the rest of the local day.
  OptionalDate todayAt941(Date now);

  // Results of createSimulatedDateFrom421 for one reference moment: the
  // result is fixed by the date, the reference and the settings, and replies
  // repeat the same dates many times (every task carries its patient).
  std::optional<OptionalDate> rememberedSimulated(Date date, Date reference) const;
  void rememberSimulated(Date date, Date reference, OptionalDate result);

 private:
  void rebuild(unsigned long generation);

  unsigned long generation_ = 0;
  std::unique_ptr<icu::TimeZone> zone_;
  // Proleptic Gregorian in the local zone, whatever the locale's calendar.
  std::unique_ptr<icu::GregorianCalendar> calendar_;
  std::unique_ptr<icu::SimpleDateFormat> dateFormat_;
  std::unique_ptr<icu::SimpleDateFormat> timeFormat_;
  // The 09:41 reference of the local day [dayStart_, dayEnd_).
  Date dayStart_{};
  Date dayEnd_{};
  OptionalDate reference941_;
  // Recently used spans [start, end) of one zone offset, newest replacing oldest.
  struct OffsetSpan {
    double start = 0;
    double end = 0;  // an empty span until filled
    std::int32_t offset = 0;
  };
  std::array<OffsetSpan, 4> offsetSpans_{};
  std::size_t nextOffsetSpan_ = 0;
  Date simulatedReference_{};
  std::unordered_map<double, OptionalDate> simulated_;
};

}  // namespace orbelin::dates
