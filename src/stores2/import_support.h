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

using Fill = std::function<void(model2::NSManagedObjectEx&, const std::string&)>;

// Creates a new object of `type` in hospitalStore()'s background context for
// each text and fills it from the text, then saves them together: one hop
// to the context's queue and one transaction, inside one performAndWait so
// that no other save catches them half filled. The save's outcome is not
// looked at (the store logs and rolls back a failed save). Empty when the
// store has no context; objects whose entity is not of class T are left out.
template <typename T>
std::vector<T*> importObjects(ObjectType type, const std::vector<std::string>& texts,
                              const Fill& fill) {
  ObjectStore& store = hospitalStore();
  auto context = store.backgroundQueueContext();
  std::vector<T*> result;
  if (!context) return result;
  context->performAndWait([&] {
    for (const std::string& text : texts) {
      T* object = dynamic_cast<T*>(store.createObject(rawValue(type), context));
      if (object == nullptr) continue;
      fill(*object, text);
      result.push_back(object);
    }
    store.saveChanges(context);
  });
  return result;
}

// importObjects for one object; null when there is none.
template <typename T>
T* importObject(ObjectType type, const std::function<void(model2::NSManagedObjectEx&)>& fill) {
  auto objects =
      importObjects<T>(type, {std::string()},
                       [&fill](model2::NSManagedObjectEx& o, const std::string&) { fill(o); });
  return objects.empty() ? nullptr : objects.front();
}

// The members of patient.recoveryPath.<relation>, and the text of each
// member's identifier attribute; members without one are left out.
std::vector<std::string> memberIdentifiers(model2::Patient2* patient, const std::string& relation,
                                           const std::string& identifier);

// One download per identifier, all in flight together; after the last reply
// the replies are imported as objects of `type` together (importObjects: one
// save), and `complete` is called once with them in reply order and the
// last error. With no identifiers it is called at once with an empty list.
// Errors are logged as `errorPrefix` + localized description.
template <typename T>
void downloadAll(
    const std::vector<std::string>& identifiers,
    const std::function<void(const std::string&, RestHandler)>& fetch, ObjectType type,
    const Fill& fill, const std::string& errorPrefix,
    std::function<void(std::optional<std::vector<T*>>, std::optional<Error>)> complete) {
  if (identifiers.empty()) {
    complete(std::vector<T*>{}, std::nullopt);
    return;
  }
  struct Countdown {
    std::mutex mutex;
    std::size_t remaining = 0;
    std::vector<std::string> replies;
    std::optional<Error> lastError;
  };
  auto state = std::make_shared<Countdown>();
  state->remaining = identifiers.size();
  auto shared = std::make_shared<decltype(complete)>(std::move(complete));
  for (const auto& identifier : identifiers) {
    fetch(identifier, [state, shared, type, fill, errorPrefix](
                          auto, auto, std::optional<std::string> text, std::optional<Error> error) {
      if (error) platform::Console::log(errorPrefix + error->localizedDescription());
      std::unique_lock lock(state->mutex);
      if (error)
        state->lastError = std::move(error);
      else if (text)
        state->replies.push_back(std::move(*text));
      if (--state->remaining > 0) return;
      auto replies = std::move(state->replies);
      auto lastError = std::move(state->lastError);
      lock.unlock();
      (*shared)(importObjects<T>(type, replies, fill), std::move(lastError));
    });
  }
}

}  // namespace orbelin::stores2_internal
