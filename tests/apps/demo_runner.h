#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace orbelin::test {

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
  std::stringstream text;
  text << std::ifstream(errPath).rdbuf();
  run.err = text.str();
  return run;
}

}  // namespace orbelin::test
