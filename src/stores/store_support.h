#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orbelin/endpoints/request.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/error.h"
#include "orbelin/stores/store.h"

// Plumbing shared by the first-generation stores; not part of the public API.
namespace orbelin::stores_internal {

// Executes `request` and attaches the one JSON handler of the store pattern:
// `onError(error)` when the library reports one, else `onJSON(json)`. The
// library runs that handler once, on the main queue.
template <typename OnJSON, typename OnError>
StoreRequest executeJSON(const Request& request, OnJSON onJSON, OnError onError) {
  return request.execute()->responseJSON([onJSON = std::move(onJSON), onError = std::move(onError)](
                                             std::optional<TamberNetworking::URLRequest>,
                                             std::optional<TamberNetworking::HTTPURLResponse>,
                                             TamberNetworking::JSON json,
                                             std::optional<Error> error) mutable {
    if (error) {
      onError(std::move(*error));
    } else {
      onJSON(json);
    }
  });
}

// Calls a completion handler that may be empty.
template <typename Handler, typename... Args>
void deliver(const Handler& handler, Args&&... args) {
  if (handler) handler(std::forward<Args>(args)...);
}

// Identifiers travel as decimal text ("-4" keeps its sign).
inline std::string decimal(std::int64_t id) {
  return std::to_string(id);
}

// Imports every element of `array` with `create`, in order. A null record
// (the stack has no context) is left out rather than handed on.
template <typename Record, typename Create>
std::vector<Record*> importEach(const TamberNetworking::JSON& array, Create create) {
  std::vector<Record*> records;
  for (const TamberNetworking::JSON& element : array) {
    if (Record* record = create(element)) records.push_back(record);
  }
  return records;
}

}  // namespace orbelin::stores_internal
