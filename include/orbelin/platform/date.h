#pragma once

#include <chrono>
#include <optional>

namespace orbelin {

// A moment in time, independent of any calendar or time zone (the platform's
// NSDate). Arithmetic and comparison come from std::chrono.
using Date = std::chrono::system_clock::time_point;
using OptionalDate = std::optional<Date>;

// Seconds between two dates, as the platform's time intervals are.
inline double secondsBetween(Date from, Date to) {
  return std::chrono::duration<double>(to - from).count();
}
inline Date dateFromSeconds(double secondsSince1970) {
  return Date(
      std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(secondsSince1970)));
}
inline double secondsSince1970(Date date) {
  return std::chrono::duration<double>(date.time_since_epoch()).count();
}

}  // namespace orbelin
