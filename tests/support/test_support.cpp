#include "support/test_support.h"

#include <atomic>
#include <fstream>
#include <random>
#include <sstream>

#include "orbelin/platform/main_queue.h"

namespace orbelin::test {

TempDir::TempDir() {
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  auto base = std::filesystem::temp_directory_path();
  for (;;) {
    path_ = base / ("orbelin-test-" + std::to_string(random()) + "-" + std::to_string(counter++));
    if (std::filesystem::create_directory(path_)) break;
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                               std::filesystem::perm_options::add, ignored);
  std::filesystem::remove_all(path_, ignored);
}

bool runMainQueueUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  return platform::MainQueue::runUntil(done, timeout);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::filesystem::path sourceDir() {
  return ORBELIN_SOURCE_DIR;
}
std::filesystem::path sampleResourcesDir() {
  return sourceDir() / "resources" / "sample";
}
std::filesystem::path bundledInfoPlist() {
  return sourceDir() / "resources" / "Info.plist";
}

}  // namespace orbelin::test
