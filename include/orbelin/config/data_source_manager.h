#pragma once

#include <string>

#include "orbelin/networking/data_source_manager.h"

namespace orbelin {

// The networking library's manager with the two operations the data layer adds
// to it; everything else (request, localMode, ...) is inherited, so callers
// write DataSourceManager::setup() and DataSourceManager::request(value) alike.
class DataSourceManager : public TamberNetworking::DataSourceManager {
 public:
  // Configures the library from OrbelinFramework::settings(), in this order:
  //  1-2. reads the device model (platform::HostEnvironment::deviceModel) and
  //       the app version ("CFBundleShortVersionString" of the information
  //       dictionary when it is text, else "");
  //  3-5. sets the default headers "Device-Model", "App-Version" and
  //       "Accept-Language" (always "en-US");
  //  6.   when both the base URL and the flag are set: hands over the base URL,
  //       then the flag;
  //  7.   otherwise: local mode on, the console line
  //       "OrbelinData: Warning! Setting to local mode only", base URL untouched;
  //  8.   finally, when the flag is set, applies it again, so an explicit flag
  //       always wins (flag false without a base URL: warning, local mode off).
  static void setup();

  // The "DataSourcePaths" entry for `name` in the host's information
  // dictionary, exactly as stored; "" when the dictionary, the entry or the
  // name is missing, or when "DataSourcePaths" is not a dictionary of strings.
  // The dictionary is read anew on every call.
  static std::string pathForServiceName(const std::string& name);
};

}  // namespace orbelin
