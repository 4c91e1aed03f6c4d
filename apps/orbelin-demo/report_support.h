#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "orbelin/platform/date.h"
#include "orbelin/platform/main_queue.h"
#include "orbelin/records/records.h"

// Helpers of the ward report: waiting for one store reply, and the text forms
// of dates, tasks and patients.
namespace orbelin::demo {

// Longest wait for one reply; the library gives up on a request sooner.
inline constexpr std::chrono::seconds kReplyWait{60};

// One store call's reply, caught by handler() and waited for on the main
// queue with wait(). The state is shared with the handler, so a reply that
// comes after a timed-out wait writes into live memory.
template <typename... Args>
class Awaited {
 public:
  auto handler() {
    return [state = state_](Args... args) { state->emplace(std::move(args)...); };
  }
  // Drains the main queue until the reply came; false on timeout.
  bool wait() {
    return platform::MainQueue::runUntil([state = state_] { return state->has_value(); },
                                         kReplyWait);
  }
  std::tuple<Args...>& get() { return **state_; }

 private:
  std::shared_ptr<std::optional<std::tuple<Args...>>> state_ =
      std::make_shared<std::optional<std::tuple<Args...>>>();
};

// "09:41 AM" today, else "11/21/2026 09:41 AM"; "-" without a date.
std::string whenText(OptionalDate date);
// The distance from now (the demonstration clock) in DateUtils' short form:
// "+5 hr", "-2 d", "+30 m", "now".
std::string relativeText(OptionalDate date);

std::string typeName(TaskType type);
std::string statusName(TaskStatus status);
std::string dischargeName(DischargeStatus status);

// "3A    Eleanor Hughes      " : room and name in fixed columns.
std::string patientColumns(const Patient* patient);
// Due time, patient, type, status and text of a task on one line.
std::string taskLine(const Task* task);

// `text` cut or padded with spaces to `width` columns (bytes; the sample
// texts are ASCII).
std::string column(const std::string& text, std::size_t width);

}  // namespace orbelin::demo
