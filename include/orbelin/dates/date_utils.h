#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "orbelin/platform/date.h"

namespace orbelin {

// A short relative time: a whole number and its unit label, e.g. {3, "hr"}.
// Labels pass through text::localized(), so a host's strings table can
// translate them; untranslated they are the keys: "m", "hr", "d", "Minute",
// "Minutes", "Hour", "Hours", "Day", "Days". A zero distance has the empty label.
struct RelativeTime {
  int value = 0;
  std::string label;
  bool operator==(const RelativeTime&) const = default;
};
std::ostream& operator<<(std::ostream& out, const RelativeTime& time);

// Calendar arithmetic, the demonstration clock and the display forms of dates.
//
// The demonstration clock: dates in the sample data are relative to the
// reference day 21 April 2015 and are moved onto today when imported, and the
// reference moment for discharge and timer displays is today at 09:41 rather
// than the real time.
//
// "Now" is platform::Clock::now(), so tests pin it. The calendar is the user's
// calendar for the default locale, in the local time zone: the process's zone
// (TZ) unless setTimeZone() names another one. Relative values beyond the range
// of int are clamped to it.
//
// Overriding: the static functions are the public face. Each one forwards to
// the installed Implementation object, and the default Implementation reaches
// every other function it needs through these static functions again. So a
// subclass of Implementation that overrides, say, makeTodayDateWithTime941()
// and is installed with install() changes every function built on it
// (createSimulatedDateFrom421, the 09:41 relative times, isOverdueFrom941, the
// patients' discharge status).
//
// When the 09:41 reference is absent (only an override can make it so, or a
// calendar that cannot be built), the functions that measure from it measure
// from now instead; nothing aborts.
//
// Thread safety: every function may be called from any thread. ICU calendars
// and formatters are cached per thread; install(), setTimeZone() and
// setLocale() may be called at any time and take effect on the next call of
// each thread. performAfterDelay delivers on the main queue.
class DateUtils {
 public:
  // Whole years from `date` to now (calendar difference in years).
  static int ageFromDate(Date date);
  // "MM/dd/yyyy" in the local time zone and the default locale.
  static std::string dateStringFromDate(Date date);
  // "hh:mm a": 12-hour clock, two-digit hour, AM/PM marker.
  static std::string timeStringFromDate(Date date);

  // From now, in short units: minutes = ceil(seconds / 60); (0, "") when that
  // is 0; then days ("d") from 24 hours on, hours ("hr") from 60 minutes on,
  // else minutes ("m"); the value rounded half away from zero.
  static RelativeTime relativeTimeFromDate(Date date);
  // Calendar differences from now: whole hours ("Hours") below one day, else
  // whole days ("Days"). Always plural.
  static RelativeTime relativeTimeToDate(Date date);
  // From today 09:41, for discharge displays; prints the line
  // "WARNING: Using today at 9:41 in relativeTimeToDate3()" on every call.
  // Before the reference: days rounded down ((-1, "Day") even one minute
  // before); over 60 minutes after: hours rounded; else minutes.
  static RelativeTime relativeTimeForDischargeToSimulatedDate(Date date);
  // Calendar differences from today 09:41: days when at least one, else hours
  // (when roundedToHours or hours > 0), else minutes. Singular only for +1.
  static RelativeTime relativeTimeForTimerToSimulatedDate(Date date, bool roundedToHours);
  static RelativeTime relativeTimeForTimerToSimulatedDate(Date date);  // rounded to hours

  // 12:00:00 of the calendar day of `date`.
  static Date noonOnDate(Date date);
  static Date todayAtNoon();

  // Same era, year, month and day as now.
  static bool isToday(Date date);
  // True unless `date` is later than now (equal counts as overdue).
  static bool isOverdue(Date date);
  // The same against today 09:41.
  static bool isOverdueFrom941(Date date);

  // Today at the hour and minute of `date`, seconds 0 (Gregorian calendar).
  static OptionalDate makeTodayDateFromDateWithTime(Date date);
  // Today at 09:41:00 (Gregorian calendar): the demonstration clock.
  static OptionalDate makeTodayDateWithTime941();
  // Moves a sample-data date onto today: the day of the month is compared
  // with the 21st (month and year ignored) and that many days are added to
  // today; the hour is moved back by the local zone's whole-hour offset from
  // GMT at `date` (so 09:41Z reads 09:41 on the device); minutes and seconds
  // are kept; out-of-range days and hours roll over leniently. Absent only
  // when the calendar cannot assemble the result.
  static OptionalDate createSimulatedDateFrom421(Date date);

  // Runs `completionHandler` once on the main queue after `delay` seconds.
  // A negative, infinite, NaN or huge delay (whose nanosecond count does not
  // fit in 64 bits) runs as 0. Returns at once.
  static void performAfterDelay(float delay, std::function<void()> completionHandler);

  // The overridable functions. Derive, override what you need, install().
  class Implementation {
   public:
    virtual ~Implementation() = default;
    virtual int ageFromDate(Date date);
    virtual std::string dateStringFromDate(Date date);
    virtual RelativeTime relativeTimeFromDate(Date date);
    virtual Date noonOnDate(Date date);
    virtual Date todayAtNoon();
    virtual RelativeTime relativeTimeForDischargeToSimulatedDate(Date date);
    virtual RelativeTime relativeTimeToDate(Date date);
    virtual RelativeTime relativeTimeForTimerToSimulatedDate(Date date, bool roundedToHours);
    virtual RelativeTime relativeTimeForTimerToSimulatedDate(Date date);
    virtual std::string timeStringFromDate(Date date);
    virtual void performAfterDelay(float delay, std::function<void()> completionHandler);
    virtual bool isToday(Date date);
    virtual OptionalDate createSimulatedDateFrom421(Date date);
    virtual bool isOverdue(Date date);
    virtual bool isOverdueFrom941(Date date);
    virtual OptionalDate makeTodayDateFromDateWithTime(Date date);
    virtual OptionalDate makeTodayDateWithTime941();
  };

  // Installs the object behind the static functions; nullptr restores the
  // default. Every object installed is kept until the process ends, so calls
  // still running on a replaced one finish safely.
  static void install(std::shared_ptr<Implementation> implementation);

  // The local time zone as an IANA id ("Asia/Kolkata"); std::nullopt returns
  // to the process's zone. An unknown id behaves as GMT (ICU's rule).
  static void setTimeZone(std::optional<std::string> zoneId);
  // The locale of the calendar and the display forms ("en_US"); std::nullopt
  // returns to ICU's default locale.
  static void setLocale(std::optional<std::string> localeId);

 private:
  static Implementation* current();
};

}  // namespace orbelin
