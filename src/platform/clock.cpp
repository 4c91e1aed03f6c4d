#include "orbelin/platform/clock.h"

#include <atomic>

namespace orbelin::platform {
namespace {
// Zero means "not pinned"; a pinned time of exactly the epoch is not needed.
std::atomic<double> pinnedSeconds{0};
}  // namespace

Date Clock::now() {
  double seconds = pinnedSeconds.load(std::memory_order_relaxed);
  return seconds == 0 ? Date(std::chrono::system_clock::now()) : dateFromSeconds(seconds);
}

void Clock::setNowForTesting(std::optional<Date> now) {
  pinnedSeconds.store(now ? secondsSince1970(*now) : 0, std::memory_order_relaxed);
}

}  // namespace orbelin::platform
