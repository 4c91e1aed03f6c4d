#include "orbelin/stores/shift_store.h"

#include "stores/store_support.h"

namespace orbelin {

using TamberNetworking::JSON;
using namespace stores_internal;

namespace {

std::vector<Room*> roomsFromJSON(const JSON& json) {
  return importEach<Room>(json["rooms"], &Room::create);
}

}  // namespace

StoreRequest ShiftStore::roomsForShift(std::int64_t shiftId, RoomsHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::RoomsForShift(decimal(shiftId)),
      [handler](const JSON& json) { deliver(handler, roomsFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

}  // namespace orbelin
