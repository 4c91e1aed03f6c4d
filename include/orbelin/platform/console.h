#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace orbelin::platform {

// Plain console lines with no level or timestamp, written to stdout (the
// platform's print). Lines written from several threads never interleave.
class Console {
 public:
  static void log(std::string_view line);
};

// While alive, every console line is recorded here instead of being printed
// (tests). Captures nest; the innermost one receives the lines.
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
