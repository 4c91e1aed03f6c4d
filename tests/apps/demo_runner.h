#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace orbelin::test {

using Args = std::vector<std::string>;

inline Args operator+(Args first, const Args& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// One run of the built orbelin-demo: exit code and everything it printed.
struct DemoRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

inline std::string shellQuoted(const std::string& text) {
  std::string result = "'";
  for (char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

// Runs ORBELIN_DEMO_PATH with `arguments`, collecting stdout and stderr. The
// demo prints times in the host's locale; the expectations are written in
// the POSIX one, so the child gets that whatever the test runner's LANG is.
// `shellPrefix` runs before the demo in the same shell (limits, traps) and
// may end in a command word that runs the demo (timeout, setpriv).
inline DemoRun runDemo(const std::vector<std::string>& arguments,
                       const std::string& shellPrefix = "") {
  TempDir scratch;
  std::string command = shellPrefix + " env LC_ALL=C.UTF-8 " + shellQuoted(ORBELIN_DEMO_PATH);
  for (const auto& argument : arguments) command += " " + shellQuoted(argument);
  const auto errPath = scratch.path() / "stderr.txt";
  command += " 2>" + shellQuoted(errPath.string());
  DemoRun run;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return run;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) run.out.append(buffer, n);
  int status = ::pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = readFile(errPath);
  return run;
}

// The demo with one option (--documents, --resources) before `arguments`.
inline DemoRun runDemoWith(const std::string& option, const std::filesystem::path& value,
                           std::vector<std::string> arguments,
                           const std::string& shellPrefix = "") {
  arguments.insert(arguments.begin(), {option, value.string()});
  return runDemo(arguments, shellPrefix);
}

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// `parts` are all in `text`, in this order.
inline void expectInOrder(const std::string& text, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const auto& part : parts) {
    std::size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part << "\n" << text;
    at = found + part.size();
  }
}

// A failed command: exit code 1, nothing on stdout and a single stderr line
// that starts with `prefix`.
inline void expectOneErrorLine(const DemoRun& run, const std::string& prefix = "error: ") {
  EXPECT_EQ(run.exitCode, 1) << run.err;
  EXPECT_TRUE(run.out.empty()) << run.out;
  EXPECT_EQ(run.err.rfind(prefix, 0), 0u) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

}  // namespace orbelin::test
