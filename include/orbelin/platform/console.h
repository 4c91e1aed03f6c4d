#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace orbelin::platform {

// Plain console lines with no level or timestamp. They go to the sink, which
// is stdout (the platform's print) unless the host sets its own. Lines written
// from several threads never interleave: the sink is called for one line at a
// time, in the order the lines were logged.
class Console {
 public:
  using Sink = std::function<void(std::string_view line)>;

  // `line` carries no line break of its own.
  static void log(std::string_view line);

  // Routes every later line to `sink` (a host's own log), called under the
  // console's lock, so it must not wait for another thread that logs. A line
  // the sink logs itself goes to stdout instead of coming back to it. An empty
  // function restores stdout. Thread safety: may be called from any thread.
  static void setSink(Sink sink);
};

// While alive, every console line is recorded here instead of being printed on
// stdout (tests); a sink set with Console::setSink still receives it, so a
// host's log misses nothing. Captures nest; the innermost one receives the lines.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture();
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  std::vector<std::string> lines() const;
  bool contains(std::string_view line) const;
  void clear();

 private:
  friend class Console;
  void record(std::string_view line);
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;  // guarded by mutex_
  ConsoleCapture* previous_ = nullptr;
};

}  // namespace orbelin::platform
