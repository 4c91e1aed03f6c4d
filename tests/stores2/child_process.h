#pragma once

// The second process of the tests that share a store file between
// processes: this very test binary, re-run on one test that is skipped
// when it runs on its own.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orbelin/platform/host_environment.h"
#include "support/test_support.h"

namespace orbelin::test {

// Where a child finds the documents directory it shares with its parent,
// and which writer it is.
constexpr const char* kChildDocuments = "ORBELIN_CHILD_DOCUMENTS";
constexpr const char* kChildTag = "ORBELIN_CHILD_TAG";

class ChildProcess {
 public:
  // `test`: the full name of the test the child runs ("Suite.Name").
  ChildProcess(const std::string& test, const std::filesystem::path& shared,
               const std::string& tag = "") {
    pid_ = fork();
    if (pid_ == 0) {
      setenv(kChildDocuments, shared.c_str(), 1);
      setenv(kChildTag, tag.c_str(), 1);
      std::string filter = "--gtest_filter=" + test;
      execl("/proc/self/exe", "child", filter.c_str(), nullptr);
      _exit(127);
    }
  }
  ~ChildProcess() {
    if (pid_ > 0 && !waited_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The exit status, 0 when every expectation of the child held.
  int wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    waited_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
  bool waited_ = false;
};

// Waits (up to two minutes) for another process to create the file.
inline bool waitForFile(const std::filesystem::path& path) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  while (!std::filesystem::exists(path)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

// Starts writers "a" and "b" running `test` over `shared` and lets them go
// together once both have opened their stores, so that their saves overlap.
inline std::vector<std::unique_ptr<ChildProcess>> startTwoWriters(
    const std::string& test, const std::filesystem::path& shared) {
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (const char* tag : {"a", "b"})
    children.push_back(std::make_unique<ChildProcess>(test, shared, tag));
  for (const char* tag : {"a", "b"})
    if (!waitForFile(shared / (std::string(tag) + ".ready"))) children.clear();
  std::ofstream(shared / "go") << "go";
  return children;
}

// In a writer child: says it is ready, waits for the start and returns its
// tag.
inline std::string readyThenWaitForGo(const std::filesystem::path& shared) {
  const std::string tag = std::getenv(kChildTag);
  std::ofstream(shared / (tag + ".ready")) << "ready";
  return waitForFile(shared / "go") ? tag : "";
}

// The child side of `Fixture`'s two-process tests, in the directory its
// parent shares; skipped when run on its own.
template <typename Fixture>
class ChildOf : public Fixture {
 protected:
  void SetUp() override {
    Fixture::SetUp();
    const char* directory = std::getenv(kChildDocuments);
    if (directory == nullptr) GTEST_SKIP() << "run by the two-process tests";
    shared = directory;
    platform::HostEnvironment::setDocumentsDirectory(shared);
  }
  std::filesystem::path shared;
};

}  // namespace orbelin::test
