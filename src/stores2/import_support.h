#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orbelin/model2/entities.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/error.h"
#include "orbelin/rest/rest_api.h"
#include "orbelin/stores2/object_store.h"

// What the second-generation stores share: the import step and the countdown
// over a recovery path's members.
namespace orbelin::stores2_internal {

// Creates a new object of `type` in hospitalStore()'s background context,
// fills it and saves, all inside one performAndWait so that no other save
// catches it half filled. The save's outcome is not looked at (the store logs
// and rolls back a failed save). Null when the store has no context or the
// entity is not of class T.
template <typename T>
T* importObject(ObjectType type, const std::function<void(model2::NSManagedObjectEx&)>& fill) {
  model2::registerHospitalModel();  // before the store first loads its model
  ObjectStore& store = hospitalStore();
  auto context = store.backgroundQueueContext();
  if (!context) return nullptr;
  T* result = nullptr;
  context->performAndWait([&] {
    result = dynamic_cast<T*>(store.createObject(rawValue(type), context));
    if (result == nullptr) return;
    fill(*result);
    store.saveChanges(context);
  });
  return result;
}

// The members of patient.recoveryPath.<relation>, and the text of each
// member's identifier attribute; members without one are left out.
std::vector<std::string> memberIdentifiers(model2::Patient2* patient, const std::string& relation,
                                           const std::string& identifier);

// One download per identifier, all in flight together; `complete` is called
// once, after the last reply, with the imported objects in reply order and
// the last error. With no identifiers it is called at once with an empty
// list. Errors are logged as `errorPrefix` + localized description.
template <typename T>
void downloadAll(
    const std::vector<std::string>& identifiers,
    const std::function<void(const std::string&, RestHandler)>& fetch,
    const std::function<T*(const std::string&)>& import, const std::string& errorPrefix,
    std::function<void(std::optional<std::vector<T*>>, std::optional<Error>)> complete) {
  if (identifiers.empty()) {
    complete(std::vector<T*>{}, std::nullopt);
    return;
  }
  struct Countdown {
    std::mutex mutex;
    std::size_t remaining = 0;
    std::vector<T*> list;
    std::optional<Error> lastError;
  };
  auto state = std::make_shared<Countdown>();
  state->remaining = identifiers.size();
  auto shared = std::make_shared<decltype(complete)>(std::move(complete));
  for (const auto& identifier : identifiers) {
    fetch(identifier, [state, shared, import, errorPrefix](
                          auto, auto, std::optional<std::string> text, std::optional<Error> error) {
      T* imported = nullptr;
      if (error) {
        platform::Console::log(errorPrefix + error->localizedDescription());
      } else if (text) {
        imported = import(*text);
      }
      std::unique_lock lock(state->mutex);
      if (error) state->lastError = std::move(error);
      if (imported != nullptr) state->list.push_back(imported);
      if (--state->remaining > 0) return;
      auto list = std::move(state->list);
      auto lastError = std::move(state->lastError);
      lock.unlock();
      (*shared)(std::move(list), std::move(lastError));
    });
  }
}

}  // namespace orbelin::stores2_internal
