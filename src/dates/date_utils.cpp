#include "orbelin/dates/date_utils.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <vector>

#include "dates/icu_calendars.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/text/localized.h"

namespace orbelin {
namespace {

using dates::CalendarFields;
using dates::ThreadCalendars;

Date now() {
  return platform::Clock::now();
}

// Whole numbers from floating-point arithmetic, clamped so that far-away
// dates never convert out of range.
int clampToInt(double value) {
  if (std::isnan(value)) return 0;
  constexpr double kMax = std::numeric_limits<int>::max();
  constexpr double kMin = std::numeric_limits<int>::min();
  if (value >= kMax) return std::numeric_limits<int>::max();
  if (value <= kMin) return std::numeric_limits<int>::min();
  return static_cast<int>(value);
}

RelativeTime labelled(int value, const char* label) {
  return {value, text::localized(label)};
}

// The 09:41 reference, or now when an override (or a missing calendar) gives none.
Date referenceAt941() {
  return DateUtils::makeTodayDateWithTime941().value_or(now());
}

// The installed implementation is read on every call, so reads take no lock:
// an atomic pointer, with every object ever installed kept alive until exit
// so that a call still running on a replaced one stays valid.
struct Installed {
  std::mutex mutex;
  std::vector<std::shared_ptr<DateUtils::Implementation>> keepAlive;  // guarded by mutex
  std::atomic<DateUtils::Implementation*> current{nullptr};
};

Installed& installed() {
  static Installed instance;
  return instance;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const RelativeTime& time) {
  return out << "(" << time.value << ", \"" << time.label << "\")";
}

// ---- the class functions: forward to the installed implementation ----

DateUtils::Implementation* DateUtils::current() {
  static DateUtils::Implementation fallback;
  DateUtils::Implementation* implementation = installed().current.load(std::memory_order_acquire);
  return implementation ? implementation : &fallback;
}

void DateUtils::install(std::shared_ptr<Implementation> implementation) {
  std::lock_guard lock(installed().mutex);
  if (implementation) installed().keepAlive.push_back(implementation);
  installed().current.store(implementation.get(), std::memory_order_release);
}

void DateUtils::setTimeZone(std::optional<std::string> zoneId) {
  dates::setTimeZoneId(std::move(zoneId));
}

void DateUtils::setLocale(std::optional<std::string> localeId) {
  dates::setLocaleId(std::move(localeId));
}

int DateUtils::ageFromDate(Date date) {
  return current()->ageFromDate(date);
}
std::string DateUtils::dateStringFromDate(Date date) {
  return current()->dateStringFromDate(date);
}
std::string DateUtils::timeStringFromDate(Date date) {
  return current()->timeStringFromDate(date);
}
RelativeTime DateUtils::relativeTimeFromDate(Date date) {
  return current()->relativeTimeFromDate(date);
}
RelativeTime DateUtils::relativeTimeToDate(Date date) {
  return current()->relativeTimeToDate(date);
}
RelativeTime DateUtils::relativeTimeForDischargeToSimulatedDate(Date date) {
  return current()->relativeTimeForDischargeToSimulatedDate(date);
}
RelativeTime DateUtils::relativeTimeForTimerToSimulatedDate(Date date, bool roundedToHours) {
  return current()->relativeTimeForTimerToSimulatedDate(date, roundedToHours);
}
RelativeTime DateUtils::relativeTimeForTimerToSimulatedDate(Date date) {
  return current()->relativeTimeForTimerToSimulatedDate(date);
}
Date DateUtils::noonOnDate(Date date) {
  return current()->noonOnDate(date);
}
Date DateUtils::todayAtNoon() {
  return current()->todayAtNoon();
}
bool DateUtils::isToday(Date date) {
  return current()->isToday(date);
}
bool DateUtils::isOverdue(Date date) {
  return current()->isOverdue(date);
}
bool DateUtils::isOverdueFrom941(Date date) {
  return current()->isOverdueFrom941(date);
}
OptionalDate DateUtils::makeTodayDateFromDateWithTime(Date date) {
  return current()->makeTodayDateFromDateWithTime(date);
}
OptionalDate DateUtils::makeTodayDateWithTime941() {
  return current()->makeTodayDateWithTime941();
}
OptionalDate DateUtils::createSimulatedDateFrom421(Date date) {
  return current()->createSimulatedDateFrom421(date);
}
void DateUtils::performAfterDelay(float delay, std::function<void()> completionHandler) {
  current()->performAfterDelay(delay, std::move(completionHandler));
}

// ---- the default implementation ----
// Calls to other functions go through DateUtils:: so that overrides apply.

int DateUtils::Implementation::ageFromDate(Date date) {
  return ThreadCalendars::get().difference(date, now(), dates::Unit::kYear).value_or(0);
}

std::string DateUtils::Implementation::dateStringFromDate(Date date) {
  return ThreadCalendars::get().format(date, dates::Pattern::kDate);
}

std::string DateUtils::Implementation::timeStringFromDate(Date date) {
  return ThreadCalendars::get().format(date, dates::Pattern::kTime);
}

RelativeTime DateUtils::Implementation::relativeTimeFromDate(Date date) {
  double minutes = std::ceil(secondsBetween(now(), date) / 60.0);
  if (minutes == 0) return {0, ""};
  double hours = minutes / 60.0;
  if (std::fabs(hours) >= 24) return labelled(clampToInt(std::round(minutes / 60.0 / 24.0)), "d");
  if (std::fabs(minutes) >= 60) return labelled(clampToInt(std::round(hours)), "hr");
  return labelled(clampToInt(std::round(minutes)), "m");
}

RelativeTime DateUtils::Implementation::relativeTimeToDate(Date date) {
  auto& calendars = ThreadCalendars::get();
  Date from = now();
  int days = calendars.difference(from, date, dates::Unit::kDay).value_or(0);
  int hours = calendars.difference(from, date, dates::Unit::kHour).value_or(0);
  if (std::abs(days) < 1) return labelled(hours, "Hours");
  return labelled(days, "Days");
}

RelativeTime DateUtils::Implementation::relativeTimeForDischargeToSimulatedDate(Date date) {
  platform::Console::log("WARNING: Using today at 9:41 in relativeTimeToDate3()");
  double minutes = std::ceil(secondsBetween(referenceAt941(), date) / 60.0);
  if (minutes == 0) return {0, ""};
  if (minutes < 0) {
    int days = clampToInt(std::floor(minutes / 60.0 / 24.0));
    return labelled(days, std::abs(static_cast<long>(days)) == 1 ? "Day" : "Days");
  }
  if (minutes > 60) {
    int hours = clampToInt(std::round(minutes / 60.0));
    return labelled(hours, hours == 1 ? "Hour" : "Hours");
  }
  int wholeMinutes = clampToInt(minutes);
  return labelled(wholeMinutes, wholeMinutes == 1 ? "Minute" : "Minutes");
}

RelativeTime DateUtils::Implementation::relativeTimeForTimerToSimulatedDate(Date date,
                                                                            bool roundedToHours) {
  Date reference = referenceAt941();
  auto& calendars = ThreadCalendars::get();
  int days = calendars.difference(reference, date, dates::Unit::kDay).value_or(0);
  int hours = calendars.difference(reference, date, dates::Unit::kHour).value_or(0);
  int minutes = calendars.difference(reference, date, dates::Unit::kMinute).value_or(0);
  if (std::abs(static_cast<long>(days)) >= 1) return labelled(days, days == 1 ? "Day" : "Days");
  if (roundedToHours || hours > 0) return labelled(hours, hours == 1 ? "Hour" : "Hours");
  return labelled(minutes, minutes == 1 ? "Minute" : "Minutes");
}

RelativeTime DateUtils::Implementation::relativeTimeForTimerToSimulatedDate(Date date) {
  return DateUtils::relativeTimeForTimerToSimulatedDate(date, true);
}

Date DateUtils::Implementation::noonOnDate(Date date) {
  auto& calendars = ThreadCalendars::get();
  auto fields = calendars.fields(date);
  if (!fields) return date;
  fields->hour = 12;
  fields->minute = 0;
  fields->second = 0;
  return calendars.assemble(*fields).value_or(date);
}

Date DateUtils::Implementation::todayAtNoon() {
  return DateUtils::noonOnDate(now());
}

bool DateUtils::Implementation::isToday(Date date) {
  auto& calendars = ThreadCalendars::get();
  auto day = calendars.fields(date);
  auto today = calendars.fields(now());
  if (!day || !today) return false;
  return day->era == today->era && day->year == today->year && day->month == today->month &&
         day->day == today->day;
}

bool DateUtils::Implementation::isOverdue(Date date) {
  return !(date > now());
}

bool DateUtils::Implementation::isOverdueFrom941(Date date) {
  return !(date > referenceAt941());
}

OptionalDate DateUtils::Implementation::makeTodayDateFromDateWithTime(Date date) {
  auto& calendars = ThreadCalendars::get();
  auto time = calendars.fields(date);
  if (!time) return std::nullopt;
  return calendars.todayAt(now(), time->hour, time->minute);
}

OptionalDate DateUtils::Implementation::makeTodayDateWithTime941() {
  return ThreadCalendars::get().todayAt941(now());
}

OptionalDate DateUtils::Implementation::createSimulatedDateFrom421(Date date) {
  Date reference = referenceAt941();
  // Fetched after the call above, which may have rebuilt this thread's calendars.
  auto& calendars = ThreadCalendars::get();
  if (auto remembered = calendars.rememberedSimulated(date, reference)) return *remembered;
  auto source = calendars.fields(date);
  auto today = calendars.fields(reference);
  if (!source || !today) return std::nullopt;
  // Only the day of the month is compared with the reference day, the 21st;
  // the whole-hour zone offset is taken back so GMT times keep their clock time.
  int dayShift = source->day - 21;
  int offsetHours = calendars.zoneOffsetHours(date);
  CalendarFields target = *today;
  target.day = today->day + dayShift;
  target.hour = source->hour - offsetHours;
  target.minute = source->minute;
  target.second = source->second;
  OptionalDate result = calendars.assemble(target);
  calendars.rememberSimulated(date, reference, result);
  return result;
}

void DateUtils::Implementation::performAfterDelay(float delay,
                                                  std::function<void()> completionHandler) {
  float nanoseconds = delay * 1'000'000'000.0F;
  // 2^63 is the first float that no longer fits a signed 64-bit count.
  constexpr float kLimit = 9.223372036854775808e18F;
  std::int64_t count = 0;
  if (std::isfinite(nanoseconds) && nanoseconds > 0 && nanoseconds < kLimit) {
    count = static_cast<std::int64_t>(nanoseconds);
  }
  // The main queue adds the delay to its clock; a count that would overflow
  // that sum is as unrepresentable as one that overflows 64 bits.
  auto headroom = platform::MainQueue::Clock::duration::max() -
                  platform::MainQueue::Clock::now().time_since_epoch();
  if (std::chrono::nanoseconds(count) >= headroom) count = 0;
  platform::MainQueue::asyncAfter(std::chrono::nanoseconds(count), std::move(completionHandler));
}

}  // namespace orbelin
