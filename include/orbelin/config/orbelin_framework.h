#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

namespace orbelin {

// The framework's own resource bundle: its identifier and the folder that holds
// its resources (the Info.plist and the sample hospital). Installed builds use
// <datadir>/OrbelinData; a build-tree run uses the source tree's resources/.
struct Bundle {
  static constexpr const char* kFrameworkIdentifier = "com.orbelin.OrbelinData";
  std::string identifier;
  std::filesystem::path resourcePath;
};

// The one object through which the host configures the data layer at launch:
// local mode or the remote service at a base URL.
//
//   OrbelinFramework::settings().setup(false, "https://hospital.example/");
//
// setup() hands the settings, with the default headers "Device-Model",
// "App-Version" and "Accept-Language", to the networking library (see
// DataSourceManager::setup). Changing a setting later has no effect on requests
// until setup() runs again.
//
// Ownership: settings() returns a process-wide instance, created once on first
// use and never released. The operations are virtual so that a host may
// subclass; setup() always configures from the shared instance.
// Thread safety: configure from one thread at launch; the fields are guarded,
// so concurrent reads are safe.
class OrbelinFramework {
 public:
  OrbelinFramework() = default;
  virtual ~OrbelinFramework() = default;
  OrbelinFramework(const OrbelinFramework&) = delete;
  OrbelinFramework& operator=(const OrbelinFramework&) = delete;

  static OrbelinFramework& settings();

  // Absent means "not configured".
  virtual std::optional<bool> localModeBool() const;
  virtual void setLocalModeBool(std::optional<bool> localMode);
  virtual std::optional<std::string> baseUrlString() const;
  virtual void setBaseUrlString(std::optional<std::string> baseUrl);

  // Runs DataSourceManager::setup(); calling it again repeats every step.
  virtual void setup();
  // Stores the flag, then the base URL (through the setters), then setup().
  virtual void setup(bool localMode, const std::string& baseUrl);

  // The bundle with identifier Bundle::kFrameworkIdentifier; absent when its
  // resource folder does not exist.
  std::optional<Bundle> frameworkBundle() const;

 private:
  mutable std::mutex mutex_;
  std::optional<bool> localModeBool_;         // guarded by mutex_
  std::optional<std::string> baseUrlString_;  // guarded by mutex_
};

}  // namespace orbelin
