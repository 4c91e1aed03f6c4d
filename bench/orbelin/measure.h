#pragma once

// What every measurement of orbelin_bench shares: the run's settings, the
// clock, interleaved repetitions with medians, the heap reading, a scratch
// folder, and the one way a row hands its figures to the table.

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace orbelin::bench {

// Settings of one run, the same in the parent and in every row's process.
struct Options {
  bool quick = false;
  // Repetitions of a row: `full` normally, `fast` with --quick.
  int reps(int full, int fast) const { return quick ? fast : full; }
};

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start);
double secondsOf(const std::function<void()>& work);
double median(std::vector<double> values);

// Runs the measurements one after the other, `reps` times over (a, b, c, a,
// b, c, ...), so that each sees the same share of a busy machine; each call
// returns the seconds it measured (its own setup left out). One untimed
// round first when `warmUp`. The medians, in the order given.
std::vector<double> interleaved(int reps, const std::vector<std::function<double()>>& measurements,
                                bool warmUp = true);

// Bytes the allocator has handed out and not taken back: small blocks and
// blocks it mapped on their own (large vectors live there).
std::size_t heapBytes();

// "12.3 us", "4.56 ms", "1.23 s".
std::string formatSeconds(double seconds);
std::string formatBytes(double bytes);

// One line of the table. A row reports one or more.
struct Figure {
  std::string path;
  std::string ours;
  std::string baseline;
  double ratio = 0;    // ours / baseline; 0 when there is none
  std::string target;  // as printed, e.g. "<= 5x"
  std::string holds;   // "yes", "no", or "-" when there is no target
};

// Hands a figure to the parent process (one tab-separated line on stdout).
void report(const Figure& figure);

// A figure that holds when `ratio` <= maxRatio (no target when maxRatio is
// 0); the target reads targetPrefix + "<= 2x".
void reportRatio(const std::string& path, const std::string& ours, const std::string& baseline,
                 double ratio, double maxRatio, const std::string& targetPrefix = "");

// A timing against a baseline: holds when ours / baseline <= maxRatio (no
// target when maxRatio is 0). `per` divides both times (per object, per
// call) and names the unit ("/object").
void reportTiming(const std::string& path, double ours, double baseline, double maxRatio,
                  double per = 1, const std::string& perUnit = "");

// Progress for whoever watches the run: one line on stderr.
void progress(const std::string& line);

// A folder of its own under the system's temporary folder, removed with
// everything in it when the object goes away.
class Scratch {
 public:
  explicit Scratch(const std::string& name);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  const std::filesystem::path& path() const { return path_; }
  // A new empty subfolder.
  std::filesystem::path fresh(const std::string& name) const;

 private:
  std::filesystem::path path_;
};

// Keeps the layer's console lines out of the table: counted, not stored
// (a row that downloads a thousand times must not grow the heap with them).
class QuietConsole {
 public:
  QuietConsole();
  ~QuietConsole();
  QuietConsole(const QuietConsole&) = delete;
  QuietConsole& operator=(const QuietConsole&) = delete;
  static std::size_t lines();
  static std::string first();
};

}  // namespace orbelin::bench
