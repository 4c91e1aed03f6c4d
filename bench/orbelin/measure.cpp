#include "measure.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <mutex>

#include "orbelin/platform/console.h"

namespace orbelin::bench {

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double secondsOf(const std::function<void()>& work) {
  auto start = Clock::now();
  work();
  return secondsSince(start);
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  std::size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::vector<double> interleaved(int reps, const std::vector<std::function<double()>>& measurements,
                                bool warmUp) {
  if (warmUp)
    for (const auto& measure : measurements) measure();
  std::vector<std::vector<double>> samples(measurements.size());
  for (int rep = 0; rep < reps; ++rep)
    for (std::size_t i = 0; i < measurements.size(); ++i) samples[i].push_back(measurements[i]());
  // How much the repetitions disagree: a wide spread on a busy machine says
  // the medians are less sure than their digits.
  std::vector<double> medians;
  std::string spread = "spread of " + std::to_string(reps) + " repetitions (quartiles / median):";
  for (auto& sample : samples) {
    std::sort(sample.begin(), sample.end());
    double middle = median(sample);
    double low = sample[sample.size() / 4], high = sample[(sample.size() * 3) / 4];
    char text[48];
    std::snprintf(text, sizeof text, " %.0f%%..+%.0f%%", (low / middle - 1) * 100,
                  (high / middle - 1) * 100);
    spread += text;
    medians.push_back(middle);
  }
  progress(spread);
  return medians;
}

std::size_t heapBytes() {
  struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::string formatSeconds(double seconds) {
  char text[32];
  if (seconds < 1e-3)
    std::snprintf(text, sizeof text, "%.2f us", seconds * 1e6);
  else if (seconds < 1)
    std::snprintf(text, sizeof text, "%.2f ms", seconds * 1e3);
  else
    std::snprintf(text, sizeof text, "%.2f s", seconds);
  return text;
}

std::string formatBytes(double bytes) {
  char text[32];
  if (std::abs(bytes) < 10000)
    std::snprintf(text, sizeof text, "%.0f B", bytes);
  else if (std::abs(bytes) < 1024 * 1024)
    std::snprintf(text, sizeof text, "%.1f KiB", bytes / 1024);
  else
    std::snprintf(text, sizeof text, "%.1f MiB", bytes / (1024 * 1024));
  return text;
}

namespace {

// Tabs and line breaks would break the line protocol to the parent.
std::string field(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\t' || c == '\n'; }, ' ');
  return text;
}

}  // namespace

void report(const Figure& figure) {
  std::printf("@figure\t%s\t%s\t%s\t%.17g\t%s\t%s\n", field(figure.path).c_str(),
              field(figure.ours).c_str(), field(figure.baseline).c_str(), figure.ratio,
              field(figure.target).c_str(), field(figure.holds).c_str());
  std::fflush(stdout);
}

void reportRatio(const std::string& path, const std::string& ours, const std::string& baseline,
                 double ratio, double maxRatio, const std::string& targetPrefix) {
  Figure figure{path, ours, baseline, ratio, "-", "-"};
  if (maxRatio > 0) {
    char target[32];
    std::snprintf(target, sizeof target, "<= %gx", maxRatio);
    figure.target = targetPrefix + target;
    figure.holds = ratio <= maxRatio ? "yes" : "no";
  }
  report(figure);
}

void reportTiming(const std::string& path, double ours, double baseline, double maxRatio,
                  double per, const std::string& perUnit) {
  reportRatio(path, formatSeconds(ours / per) + perUnit, formatSeconds(baseline / per) + perUnit,
              baseline > 0 ? ours / baseline : 0, maxRatio);
}

void progress(const std::string& line) {
  std::fprintf(stderr, "  %s\n", line.c_str());
}

Scratch::Scratch(const std::string& name)
    : path_(std::filesystem::temp_directory_path() /
            ("orbelin-bench-" + std::to_string(::getpid()) + "-" + name)) {
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path Scratch::fresh(const std::string& name) const {
  std::filesystem::path folder = path_ / name;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder;
}

namespace {
std::atomic<std::size_t> quietLines{0};
std::mutex firstMutex;
std::string firstLine;  // guarded by firstMutex
}  // namespace

QuietConsole::QuietConsole() {
  platform::Console::setSink([](std::string_view line) {
    if (quietLines++ == 0) {
      std::lock_guard<std::mutex> lock(firstMutex);
      firstLine = line;
    }
  });
}

QuietConsole::~QuietConsole() {
  platform::Console::setSink({});
}

std::size_t QuietConsole::lines() {
  return quietLines;
}

std::string QuietConsole::first() {
  std::lock_guard<std::mutex> lock(firstMutex);
  return firstLine;
}

}  // namespace orbelin::bench
