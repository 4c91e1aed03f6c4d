#include "orbelin/stores/notification_store.h"

#include "stores/store_support.h"

namespace orbelin {

using TamberNetworking::JSON;
using namespace stores_internal;

namespace {

std::vector<Notification*> notificationsFromJSON(const JSON& json) {
  return importEach<Notification>(json["notifications"], &Notification::create);
}

}  // namespace

StoreRequest NotificatonStore::notificationsForUser(std::int64_t userId,
                                                    NotificationsHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Notifications(decimal(userId)),
      [handler](const JSON& json) { deliver(handler, notificationsFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

}  // namespace orbelin
