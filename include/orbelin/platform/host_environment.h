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
// booleans booleans, dates UTC ISO 8601 text "2015-04-21T09:41:00Z" (with
// ".uuuuuu" microseconds when not whole), data base64 text). Integers are
// read as signed 64-bit numbers: libplist hands negative ones over as their
// two's complement bits, so values above 2^63 - 1 come back negative.
//
// A file is checked before libplist sees it, and refused with an error when
// it holds a NUL byte (XML) or a NUL in a string or key (binary), when its
// containers nest deeper than kMaxPropertyListDepth, or when its binary
// layout (trailer, offset table, object references, lengths) does not hold
// together, references that loop included. Nothing is partly loaded.
//
// Thread safety: configure at launch from one thread; reads may then come
// from any thread (each read returns a copy).
class HostEnvironment {
 public:
  // Deepest nesting of dictionaries and arrays a property list may have.
  static constexpr int kMaxPropertyListDepth = 64;

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
