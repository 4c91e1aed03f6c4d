#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "orbelin/platform/error.h"
#include "orbelin/records/task.h"
#include "orbelin/stores/store.h"

namespace orbelin {

// A user's notifications. Delivery, ownership and threads: see stores/store.h.
class NotificatonStore {
 public:
  NotificatonStore() = delete;

  using NotificationsHandler = std::function<void(
      std::optional<std::vector<Notification*>> notifications, std::optional<Error> error)>;

  // The notifications of "notifications", in the reply's order. Each one
  // brings its own new task (with that task's own patient) and its own new
  // patient, so two notifications about one task hold two task records.
  static StoreRequest notificationsForUser(std::int64_t userId,
                                           NotificationsHandler completionHandler);
};

}  // namespace orbelin
