#include "orbelin/platform/console.h"

#include <algorithm>
#include <cstdio>

namespace orbelin::platform {
namespace {
std::mutex consoleMutex;
ConsoleCapture* activeCapture = nullptr;  // guarded by consoleMutex
Console::Sink hostSink;                   // guarded by consoleMutex
// True while this thread runs the host's sink (which then holds the lock).
thread_local bool inSink = false;

void writeToStdout(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}
}  // namespace

void Console::log(std::string_view line) {
  if (inSink) {
    // The lock is already held by this thread, around the sink's own call.
    writeToStdout(line);
    return;
  }
  std::lock_guard lock(consoleMutex);
  if (activeCapture != nullptr) activeCapture->record(line);
  if (hostSink) {
    inSink = true;
    hostSink(line);
    inSink = false;
    return;
  }
  if (activeCapture == nullptr) writeToStdout(line);
}

void Console::setSink(Sink sink) {
  std::lock_guard lock(consoleMutex);
  hostSink = std::move(sink);
}

ConsoleCapture::ConsoleCapture() {
  std::lock_guard lock(consoleMutex);
  previous_ = activeCapture;
  activeCapture = this;
}

ConsoleCapture::~ConsoleCapture() {
  std::lock_guard lock(consoleMutex);
  activeCapture = previous_;
}

void ConsoleCapture::record(std::string_view line) {
  std::lock_guard lock(mutex_);
  lines_.emplace_back(line);
}

std::vector<std::string> ConsoleCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

bool ConsoleCapture::contains(std::string_view line) const {
  std::lock_guard lock(mutex_);
  return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
}

void ConsoleCapture::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace orbelin::platform
