#pragma once

#include <optional>

#include "orbelin/platform/date.h"

namespace orbelin::platform {

// The layer's source of "now". Every rule that compares with the current time
// (today, overdue, the demonstration clock) asks this clock, so tests can pin
// the time without touching the process's real clock.
//
// Thread safety: all functions may be called from any thread.
class Clock {
 public:
  // The pinned time when one is set, else the system clock.
  static Date now();
  // Pins "now" (tests); std::nullopt returns to the system clock.
  static void setNowForTesting(std::optional<Date> now);
};

}  // namespace orbelin::platform
