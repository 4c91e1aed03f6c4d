#pragma once

// The second process of the tests that share a store file between
// processes: this very test binary, re-run on one test that is skipped
// when it runs on its own.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace orbelin::test {

class ChildProcess {
 public:
  // `test`: the full name of the test the child runs ("Suite.Name").
  ChildProcess(const std::string& test,
               const std::vector<std::pair<std::string, std::string>>& env) {
    pid_ = fork();
    if (pid_ == 0) {
      for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
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

  bool started() const { return pid_ > 0; }
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

}  // namespace orbelin::test
