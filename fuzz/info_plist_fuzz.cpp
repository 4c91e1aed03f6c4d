// Info.plist loading, XML and binary: any file either loads into a dictionary
// or is refused with an error, and a refused file leaves the loaded
// dictionary as it was.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"

namespace {

namespace fs = std::filesystem;
using orbelin::platform::HostEnvironment;

const fs::path& scratchFile() {
  static const fs::path file =
      fs::temp_directory_path() / ("orbelin-plist-fuzz-" + std::to_string(::getpid()) + ".plist");
  return file;
}

bool write(const uint8_t* data, size_t size) {
  std::ofstream out(scratchFile(), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  return static_cast<bool>(out);
}

std::size_t depthOf(const boost::json::value& value) {
  std::size_t deepest = 0;
  if (value.is_object()) {
    for (const auto& member : value.as_object())
      deepest = std::max(deepest, depthOf(member.value()));
    return deepest + 1;
  }
  if (value.is_array()) {
    for (const auto& element : value.as_array()) deepest = std::max(deepest, depthOf(element));
    return deepest + 1;
  }
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orbelin::platform::ConsoleCapture quiet;
  if (!write(data, size)) return 0;
  auto value = HostEnvironment::readPropertyList(scratchFile());
  if (value && depthOf(*value) > static_cast<std::size_t>(HostEnvironment::kMaxPropertyListDepth))
    std::abort();

  const boost::json::object before{{"fuzz", "before"}};
  HostEnvironment::setInfoDictionary(before);
  auto status = HostEnvironment::loadInfoPlist(scratchFile());
  auto after = HostEnvironment::infoDictionary();
  if (!status.ok()) {
    if (!after || *after != before) std::abort();  // nothing partly loaded
  } else {
    if (!after || !value || !value->is_object() || *after != value->as_object()) std::abort();
  }
  std::error_code ignored;
  fs::remove(scratchFile(), ignored);
  return 0;
}
