#include "orbelin/platform/clock.h"

#include <atomic>

namespace orbelin::platform {
namespace {
// Zero means "not pinned"; a pinned time of exactly the epoch is not needed.
std::atomic<Date::rep> pinnedTicks{0};
}  // namespace

Date Clock::now() {
  Date::rep ticks = pinnedTicks.load(std::memory_order_relaxed);
  return ticks == 0 ? std::chrono::system_clock::now() : Date(Date::duration(ticks));
}

void Clock::setNowForTesting(std::optional<Date> now) {
  pinnedTicks.store(now ? now->time_since_epoch().count() : 0, std::memory_order_relaxed);
}

}  // namespace orbelin::platform
