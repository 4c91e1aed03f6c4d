#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

namespace orbelin::test {

// A fresh directory under the system temp directory, removed with its
// contents when the object goes away.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// The whole file as bytes in a string; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);

// Drains the main queue until `done` holds or `timeout` passes; returns done().
bool runMainQueueUntil(const std::function<bool()>& done,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10));

// Paths of the source tree's bundled resources.
std::filesystem::path sourceDir();
std::filesystem::path sampleResourcesDir();  // resources/sample
std::filesystem::path bundledInfoPlist();    // resources/Info.plist

}  // namespace orbelin::test
