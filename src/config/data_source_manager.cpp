#include "orbelin/config/data_source_manager.h"

#include "orbelin/config/orbelin_framework.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"

namespace orbelin {
namespace {

std::string appVersion() {
  auto info = platform::HostEnvironment::infoDictionary();
  if (!info) return std::string();
  const auto* version = info->if_contains("CFBundleShortVersionString");
  if (version == nullptr || !version->is_string()) return std::string();
  return std::string(version->get_string());
}

}  // namespace

void DataSourceManager::setup() {
  const std::string deviceModel = platform::HostEnvironment::deviceModel();
  const std::string version = appVersion();
  setDefaultHeader("Device-Model", deviceModel);
  setDefaultHeader("App-Version", version);
  setDefaultHeader("Accept-Language", "en-US");

  OrbelinFramework& settings = OrbelinFramework::settings();
  const std::optional<std::string> baseUrl = settings.baseUrlString();
  const std::optional<bool> localModeFlag = settings.localModeBool();
  bool configured = false;
  if (baseUrl && localModeFlag) {
    setBaseURLString(*baseUrl);
    setLocalMode(*localModeFlag);
    configured = true;
  }
  if (!configured) {
    setLocalMode(true);
    platform::Console::log("OrbelinData: Warning! Setting to local mode only");
  }
  // An explicit flag wins over the fallback above.
  if (localModeFlag) setLocalMode(*localModeFlag);
}

std::string DataSourceManager::pathForServiceName(const std::string& name) {
  auto info = platform::HostEnvironment::infoDictionary();
  if (!info) return std::string();
  const auto* paths = info->if_contains("DataSourcePaths");
  if (paths == nullptr || !paths->is_object()) return std::string();
  // A table holding anything but text is not a table of paths at all.
  for (const auto& entry : paths->get_object()) {
    if (!entry.value().is_string()) return std::string();
  }
  const auto* path = paths->get_object().if_contains(name);
  return path == nullptr ? std::string() : std::string(path->get_string());
}

}  // namespace orbelin
