#pragma once

#include <fstream>
#include <optional>
#include <string>

#include "orbelin/networking/networking.h"
#include "orbelin/platform/main_queue.h"
#include "support/test_support.h"

namespace orbelin::test {

// What one handler saw, and how often and where it ran.
struct Outcome {
  int calls = 0;
  bool onMainThread = false;
  std::optional<TamberNetworking::URLRequest> request;
  std::optional<TamberNetworking::HTTPURLResponse> response;
  TamberNetworking::JSON json;
  std::optional<std::string> text;
  std::optional<Error> error;

  // The delivered error's code; 0 when no error was delivered.
  long errorCode() const { return error ? error->code() : 0; }

  TamberNetworking::Request::JSONHandler jsonHandler() {
    return [this](auto sent, auto reply, TamberNetworking::JSON value, auto failure) {
      ++calls;
      onMainThread = platform::MainQueue::isMainThread();
      request = std::move(sent);
      response = std::move(reply);
      json = std::move(value);
      error = std::move(failure);
    };
  }
  TamberNetworking::Request::StringHandler stringHandler() {
    return [this](auto sent, auto reply, std::optional<std::string> body, auto failure) {
      ++calls;
      onMainThread = platform::MainQueue::isMainThread();
      request = std::move(sent);
      response = std::move(reply);
      text = std::move(body);
      error = std::move(failure);
    };
  }
  // Drains the main queue until the handler ran, then a little longer so that
  // a second, wrong call would show up.
  bool wait(std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    bool ran = runMainQueueUntil([this] { return calls > 0; }, timeout);
    platform::MainQueue::runFor(std::chrono::milliseconds(30));
    return ran;
  }
};

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace orbelin::test
