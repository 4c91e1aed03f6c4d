#pragma once

#include <chrono>
#include <cmath>
#include <optional>

namespace orbelin {

// A moment in time, independent of any calendar or time zone (the platform's
// NSDate): seconds since 1970-01-01T00:00:00Z as a double, on the system
// clock's epoch, so std::chrono arithmetic and comparison apply.
//
// Range: a double holds every millisecond of years 1 to 9999 exactly (the
// platform's own date is a double too), where a 64-bit nanosecond count would
// stop at 1677 and 2262. The layer's dates are kept within
// [kEarliestDateSeconds, kLatestDateSeconds): 0001-01-01T00:00:00Z up to
// 10000-01-01T00:00:00Z, proleptic Gregorian (ISO 8601's calendar). Outside
// input beyond that range (a millisecond timestamp taken for seconds, 1e300,
// NaN) is "not a date": makeDate() yields nothing rather than a wrapped or
// clamped date.
using DateSeconds = std::chrono::duration<double>;
using Date = std::chrono::time_point<std::chrono::system_clock, DateSeconds>;
using OptionalDate = std::optional<Date>;

inline constexpr double kEarliestDateSeconds = -62135596800.0;  // 0001-01-01T00:00:00Z
inline constexpr double kLatestDateSeconds = 253402300800.0;    // 10000-01-01T00:00:00Z

// True when `secondsSince1970` is finite and inside the range above.
inline bool isDateSeconds(double secondsSince1970) {
  return std::isfinite(secondsSince1970) && secondsSince1970 >= kEarliestDateSeconds &&
         secondsSince1970 < kLatestDateSeconds;
}
inline bool isInDateRange(Date date) {
  return isDateSeconds(date.time_since_epoch().count());
}

// Seconds between two dates, as the platform's time intervals are.
inline double secondsBetween(Date from, Date to) {
  return (to - from).count();
}
// For values the layer computes itself; outside input goes through makeDate().
inline Date dateFromSeconds(double secondsSince1970) {
  return Date(DateSeconds(secondsSince1970));
}
// The date `secondsSince1970` after the epoch, or nothing when it lies
// outside the range above (or is not a number).
inline OptionalDate makeDate(double secondsSince1970) {
  if (!isDateSeconds(secondsSince1970)) return std::nullopt;
  return dateFromSeconds(secondsSince1970);
}
inline double secondsSince1970(Date date) {
  return date.time_since_epoch().count();
}

}  // namespace orbelin
