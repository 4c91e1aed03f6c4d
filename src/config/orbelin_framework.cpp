#include "orbelin/config/orbelin_framework.h"

#include <system_error>

#include "orbelin/config/data_source_manager.h"

namespace orbelin {

OrbelinFramework& OrbelinFramework::settings() {
  // Never destroyed: handlers may still read the settings while statics go away.
  static OrbelinFramework* shared = new OrbelinFramework();
  return *shared;
}

std::optional<bool> OrbelinFramework::localModeBool() const {
  std::lock_guard lock(mutex_);
  return localModeBool_;
}

void OrbelinFramework::setLocalModeBool(std::optional<bool> localMode) {
  std::lock_guard lock(mutex_);
  localModeBool_ = localMode;
}

std::optional<std::string> OrbelinFramework::baseUrlString() const {
  std::lock_guard lock(mutex_);
  return baseUrlString_;
}

void OrbelinFramework::setBaseUrlString(std::optional<std::string> baseUrl) {
  std::lock_guard lock(mutex_);
  baseUrlString_ = std::move(baseUrl);
}

void OrbelinFramework::setup() {
  DataSourceManager::setup();
}

void OrbelinFramework::setup(bool localMode, const std::string& baseUrl) {
  setLocalModeBool(localMode);
  setBaseUrlString(baseUrl);
  setup();
}

std::optional<Bundle> OrbelinFramework::frameworkBundle() const {
  std::error_code error;
  for (const char* folder : {ORBELIN_INSTALLED_RESOURCE_DIR, ORBELIN_SOURCE_RESOURCE_DIR}) {
    if (std::filesystem::is_directory(folder, error))
      return Bundle{Bundle::kFrameworkIdentifier, folder};
  }
  return std::nullopt;
}

}  // namespace orbelin
