// Archives from the watch side are read by the unarchiver. Whatever the
// bytes, reading ends in an object or an error value, never a crash, an
// abort or a hang; an object that was read archives again (unless it holds a
// text the archive cannot store) and reads back equal.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <type_traits>
#include <variant>

#include "orbelin/watch/watch_archive.h"

namespace {

using namespace orbelin;

template <typename T>
void checkRoundTrip(const T& object) {
  auto data = archiveWatchObject(object);
  if (!data) return;
  auto again = unarchiveWatchObject(*data);
  if (!again || !std::holds_alternative<T>(*again)) std::abort();
  if constexpr (!std::is_same_v<T, WatchStaffMember>) {
    // A NaN id is equal to nothing, itself included.
    bool comparable = !std::isnan(object.id.doubleValue());
    if (!comparable) return;
    if (!(std::get<T>(*again) == object)) std::abort();
    if (std::get<T>(*again).hashValue() != object.hashValue()) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto object = unarchiveWatchObject(std::span<const std::uint8_t>(data, size));
  if (object) std::visit([](const auto& decoded) { checkRoundTrip(decoded); }, *object);
  return 0;
}
