#include "orbelin/platform/host_environment.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>

#include <plist/plist.h>

#include "property_list_bytes.h"

namespace orbelin::platform {
namespace {

struct EnvironmentState {
  std::mutex mutex;
  std::optional<boost::json::object> infoDictionary;
  std::string deviceModel = "Linux";
  std::optional<std::filesystem::path> documentsDirectory;
};

EnvironmentState& env() {
  static EnvironmentState state;
  return state;
}

struct PlistDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

boost::json::value toJson(plist_t node, int depth);

boost::json::value dictionaryToJson(plist_t node, int depth) {
  boost::json::object object;
  plist_dict_iter iter = nullptr;
  plist_dict_new_iter(node, &iter);
  for (;;) {
    char* key = nullptr;
    plist_t child = nullptr;
    plist_dict_next_item(node, iter, &key, &child);
    if (key == nullptr) break;
    object[key] = toJson(child, depth + 1);
    std::free(key);
  }
  std::free(iter);
  return object;
}

boost::json::value arrayToJson(plist_t node, int depth) {
  boost::json::array array;
  uint32_t size = plist_array_get_size(node);
  for (uint32_t i = 0; i < size; ++i)
    array.push_back(toJson(plist_array_get_item(node, i), depth + 1));
  return array;
}

std::string ownedText(char* text) {
  std::string copy = text ? text : "";
  std::free(text);
  return copy;
}

constexpr int kMaxDepth = HostEnvironment::kMaxPropertyListDepth;

// libplist 2.2 has no signed integers: a negative number comes back as its
// two's complement bits. No Info.plist holds a count above 2^63.
boost::json::value integerToJson(uint64_t bits) {
  if (bits > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
    return static_cast<int64_t>(bits);
  return bits;
}

std::string base64(std::string_view bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::size_t left = std::min<std::size_t>(3, bytes.size() - i);
    uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j)
      group = (group << 8) | (j < left ? static_cast<unsigned char>(bytes[i + j]) : 0u);
    for (std::size_t j = 0; j < 4; ++j)
      out += j <= left ? kAlphabet[(group >> (18 - 6 * j)) & 0x3F] : '=';
  }
  return out;
}

// Seconds since 2001-01-01T00:00Z as UTC ISO 8601 text, with microseconds
// only when there are some.
std::string isoDate(int32_t seconds, int32_t micros) {
  using namespace std::chrono;
  constexpr std::int64_t kReferenceDate = 978307200;  // 2001-01-01 in Unix seconds
  std::int64_t total = kReferenceDate + seconds;
  if (micros < 0) {
    total -= 1;
    micros += 1000000;
  }
  sys_seconds moment{std::chrono::seconds(total)};
  auto day = floor<days>(moment);
  year_month_day date{day};
  hh_mm_ss<std::chrono::seconds> time{moment - day};
  char text[40];
  int length = std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02ld:%02ld:%02ld", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<long>(time.hours().count()), static_cast<long>(time.minutes().count()),
      static_cast<long>(time.seconds().count()));
  std::string out(text, static_cast<std::size_t>(length));
  if (micros != 0) {
    std::snprintf(text, sizeof text, ".%06d", static_cast<int>(micros));
    out += text;
  }
  return out + "Z";
}

boost::json::value toJson(plist_t node, int depth) {
  if (node == nullptr || depth > kMaxDepth) return nullptr;
  switch (plist_get_node_type(node)) {
    case PLIST_DICT:
      return dictionaryToJson(node, depth);
    case PLIST_ARRAY:
      return arrayToJson(node, depth);
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return flag != 0;
    }
    case PLIST_UINT: {
      uint64_t number = 0;
      plist_get_uint_val(node, &number);
      return integerToJson(number);
    }
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return number;
    }
    case PLIST_STRING: {
      char* text = nullptr;
      plist_get_string_val(node, &text);
      return boost::json::string(ownedText(text));
    }
    case PLIST_KEY: {
      char* text = nullptr;
      plist_get_key_val(node, &text);
      return boost::json::string(ownedText(text));
    }
    case PLIST_UID: {
      uint64_t uid = 0;
      plist_get_uid_val(node, &uid);
      return uid;
    }
    case PLIST_DATE: {
      int32_t seconds = 0, micros = 0;
      plist_get_date_val(node, &seconds, &micros);
      return boost::json::string(isoDate(seconds, micros));
    }
    case PLIST_DATA: {
      char* bytes = nullptr;
      uint64_t length = 0;
      plist_get_data_val(node, &bytes, &length);
      std::string encoded = base64(std::string_view(bytes ? bytes : "", bytes ? length : 0));
      std::free(bytes);
      return boost::json::string(encoded);
    }
    default:
      return nullptr;
  }
}

Error plistError(const std::filesystem::path& path, const std::string& why) {
  return Error(error_domain::kPlatform, 1,
               "Cannot read property list " + path.string() + ": " + why);
}

}  // namespace

std::optional<boost::json::object> HostEnvironment::infoDictionary() {
  std::lock_guard lock(env().mutex);
  return env().infoDictionary;
}

void HostEnvironment::setInfoDictionary(std::optional<boost::json::object> dictionary) {
  std::lock_guard lock(env().mutex);
  env().infoDictionary = std::move(dictionary);
}

Result<boost::json::value> HostEnvironment::readPropertyList(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return plistError(path, "the file cannot be opened");
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.empty()) return plistError(path, "the file is empty");
  if (bytes.size() > std::numeric_limits<uint32_t>::max())
    return plistError(path, "the file is too large");
  // libplist aborts on some inputs and recurses on others: look first.
  // Far above any Info.plist, far below what exhausts memory.
  constexpr PropertyListBounds kBounds{std::numeric_limits<uint32_t>::max(), kMaxPropertyListDepth,
                                       1'000'000};
  if (auto problem = propertyListProblem(bytes, kBounds)) return plistError(path, *problem);
  plist_t root = nullptr;
  if (plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size())))
    plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  else
    plist_from_xml(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  PlistPtr owner(root);
  if (root == nullptr) return plistError(path, "not a property list");
  return toJson(root, 0);
}

Status HostEnvironment::loadInfoPlist(const std::filesystem::path& path) {
  auto value = readPropertyList(path);
  if (!value) return value.error();
  if (!value->is_object()) return plistError(path, "the top level is not a dictionary");
  setInfoDictionary(std::move(value->as_object()));
  return Status::success();
}

std::string HostEnvironment::deviceModel() {
  std::lock_guard lock(env().mutex);
  return env().deviceModel;
}

void HostEnvironment::setDeviceModel(std::string model) {
  std::lock_guard lock(env().mutex);
  env().deviceModel = std::move(model);
}

std::filesystem::path HostEnvironment::documentsDirectory() {
  {
    std::lock_guard lock(env().mutex);
    if (env().documentsDirectory) return *env().documentsDirectory;
  }
  if (const char* explicitDir = std::getenv("ORBELIN_DOCUMENTS"); explicitDir && *explicitDir)
    return explicitDir;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data)
    return std::filesystem::path(data) / "OrbelinData" / "Documents";
  if (const char* home = std::getenv("HOME"); home && *home)
    return std::filesystem::path(home) / ".local" / "share" / "OrbelinData" / "Documents";
  return std::filesystem::temp_directory_path() / "OrbelinData" / "Documents";
}

void HostEnvironment::setDocumentsDirectory(std::optional<std::filesystem::path> directory) {
  std::lock_guard lock(env().mutex);
  env().documentsDirectory = std::move(directory);
}

}  // namespace orbelin::platform
