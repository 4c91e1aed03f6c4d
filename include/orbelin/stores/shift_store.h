#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "orbelin/platform/error.h"
#include "orbelin/records/staff.h"
#include "orbelin/stores/store.h"

namespace orbelin {

// The rooms of a shift. Delivery, ownership and threads: see stores/store.h.
class ShiftStore {
 public:
  ShiftStore() = delete;

  using RoomsHandler =
      std::function<void(std::optional<std::vector<Room*>> rooms, std::optional<Error> error)>;

  // The rooms of "rooms", in the reply's order; a room has a (new) patient
  // only when the reply names one for it.
  static StoreRequest roomsForShift(std::int64_t shiftId, RoomsHandler completionHandler);
};

}  // namespace orbelin
