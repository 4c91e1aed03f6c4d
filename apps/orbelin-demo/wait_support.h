#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "orbelin/platform/error.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/rest/rest_api.h"

// Waiting for second-generation replies on the main queue, where the library
// delivers them.
namespace orbelin::demo {

// Longest wait for one reply; the library gives up on a request sooner.
inline constexpr std::chrono::seconds kReplyTimeout{60};

// Drains the main queue until `done` holds; false on timeout.
inline bool waitFor(const std::function<bool()>& done) {
  return platform::MainQueue::runUntil(done, kReplyTimeout);
}

// One REST reply. The state is shared with the handler, so a reply that comes
// after a timed-out wait still writes into live memory.
struct Reply {
  std::optional<std::string> text;
  std::optional<Error> error;

  RestHandler handler() {
    return [state = state_](auto, auto, std::optional<std::string> body,
                            std::optional<Error> failure) {
      state->text = std::move(body);
      state->error = std::move(failure);
      state->done = true;
    };
  }
  bool wait() {
    bool ok = waitFor([state = state_] { return state->done; });
    text = state_->text;
    error = state_->error;
    return ok;
  }

 private:
  struct State {
    bool done = false;
    std::optional<std::string> text;
    std::optional<Error> error;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

// The error's description, with the HTTP status when validation failed.
inline std::string errorLine(const Error& error) {
  std::string line = error.localizedDescription();
  if (auto status = error.userInfoValue(Error::kStatusCodeKey); !status.empty())
    line += " (HTTP " + status + ")";
  return line;
}

}  // namespace orbelin::demo
