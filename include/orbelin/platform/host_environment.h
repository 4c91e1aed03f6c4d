#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include <boost/json/object.hpp>

#include "orbelin/platform/result.h"

namespace orbelin::platform {

// What the phone platform knows about the host application: its information
// dictionary (Info.plist), the device model name and the documents directory.
//
// The information dictionary is read from an Info.plist (XML or binary) that
// the host names, or set in code; it is held as a JSON object (dictionaries
// become objects, arrays arrays, strings strings, integers and reals numbers,
// booleans booleans, dates ISO 8601 text, data base64 text).
//
// Thread safety: configure at launch from one thread; reads may then come
// from any thread (each read returns a copy).
class HostEnvironment {
 public:
  // The dictionary, or nullopt when none was loaded or set.
  static std::optional<boost::json::object> infoDictionary();
  static void setInfoDictionary(std::optional<boost::json::object> dictionary);
  // Loads an Info.plist file; on failure the dictionary is left unchanged.
  static Status loadInfoPlist(const std::filesystem::path& path);
  // Parses a property list file (XML or binary) into a JSON value.
  static Result<boost::json::value> readPropertyList(const std::filesystem::path& path);

  // The device model name; "Linux" unless set.
  static std::string deviceModel();
  static void setDeviceModel(std::string model);

  // The user's documents directory. Default: $ORBELIN_DOCUMENTS when set, else
  // $XDG_DATA_HOME/OrbelinData/Documents, else ~/.local/share/OrbelinData/Documents,
  // else the system temp directory. Not created here.
  static std::filesystem::path documentsDirectory();
  static void setDocumentsDirectory(std::optional<std::filesystem::path> directory);
};

}  // namespace orbelin::platform
