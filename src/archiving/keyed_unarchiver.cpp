#include "orbelin/archiving/keyed_unarchiver.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>

#include "archiving/archive_format.h"
#include "orbelin/archiving/property_list_check.h"

namespace orbelin::archiving {

struct ArchiveState {
  PropertyListHandle root;
  plist_t objects = nullptr;
  std::uint32_t count = 0;
};

namespace {

plist_t node(void* pointer) {
  return static_cast<plist_t>(pointer);
}

Error archiveError(const std::string& why) {
  return Error(error_domain::kPlatform, 5, "The archive cannot be read: " + why + ".");
}

std::optional<std::string> stringOf(plist_t item) {
  if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) return std::nullopt;
  char* value = nullptr;
  plist_get_string_val(item, &value);
  if (value == nullptr) return std::nullopt;
  std::string text(value);
  std::free(value);
  return text;
}

// A UID node, or its XML spelling {"CF$UID": n}.
std::optional<std::uint64_t> uidOf(plist_t item) {
  if (item == nullptr) return std::nullopt;
  std::uint64_t value = 0;
  if (plist_get_node_type(item) == PLIST_UID) {
    plist_get_uid_val(item, &value);
    return value;
  }
  if (plist_get_node_type(item) != PLIST_DICT || plist_dict_get_size(item) != 1)
    return std::nullopt;
  plist_t inner = plist_dict_get_item(item, format::kXmlUid);
  if (inner == nullptr || plist_get_node_type(inner) != PLIST_UINT) return std::nullopt;
  plist_get_uint_val(inner, &value);
  return value;
}

// libplist 2.2 reads every integer as unsigned; signed 8-byte values come
// back as their two's complement. Integers outside the signed 64-bit range
// never get this far: checkPropertyListBytes refuses them, since libplist
// would hand them out wrapped (2^64 - 1 as -1) or cut to their low 8 bytes.
BoxedNumber numberOf(plist_t item) {
  if (plist_get_node_type(item) == PLIST_REAL) {
    double value = 0;
    plist_get_real_val(item, &value);
    return value;
  }
  std::uint64_t value = 0;
  plist_get_uint_val(item, &value);
  return static_cast<std::int64_t>(value);
}

// Years 1 to 9999, and no further than the date type can hold.
std::optional<Date> dateFromReferenceSeconds(double seconds) {
  double since1970 = seconds + format::kSecondsFrom1970To2001;
  double low = -62135596800.0;   // 0001-01-01T00:00:00Z
  double high = 253402300800.0;  // 10000-01-01T00:00:00Z
  if constexpr (requires { typename Date::duration; }) {
    using Limit = std::chrono::duration<double>;
    low = std::max(low, std::chrono::duration_cast<Limit>(Date::duration::min()).count() + 1.0);
    high = std::min(high, std::chrono::duration_cast<Limit>(Date::duration::max()).count() - 1.0);
  }
  if (!std::isfinite(since1970) || since1970 < low || since1970 >= high) return std::nullopt;
  return dateFromSeconds(since1970);
}

// The exact seconds since 2001 of a property-list date. libplist 2.2 hands a
// date out only as 32-bit seconds and unsigned microseconds, which wraps
// dates past 2069 and loses the sign of the second before 2001; its binary
// writer keeps the stored double, so the date is written alone and read back
// from those bytes: "bplist00", the marker 0x33, eight big-endian bytes.
std::optional<double> plistDateSeconds(plist_t item) {
  PropertyListHandle copy(plist_copy(item));
  char* data = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(node(copy.get()), &data, &size);
  std::unique_ptr<char, decltype(&std::free)> owned(data, &std::free);
  constexpr std::uint32_t kAt = 8;
  if (data == nullptr || size < kAt + 9 || static_cast<unsigned char>(data[kAt]) != 0x33)
    return std::nullopt;
  std::uint64_t bits = 0;
  for (std::uint32_t i = 1; i <= 8; ++i)
    bits = (bits << 8) | static_cast<unsigned char>(data[kAt + i]);
  double seconds = 0;
  std::memcpy(&seconds, &bits, sizeof seconds);
  return seconds;
}

// Inline values: numbers, booleans, plain dates and (leniently) texts.
DecodedValue inlineValue(plist_t item) {
  switch (plist_get_node_type(item)) {
    case PLIST_DATE: {
      // Another archiver's NSDate, stored as the property list's own date.
      auto seconds = plistDateSeconds(item);
      auto date = seconds ? dateFromReferenceSeconds(*seconds) : std::nullopt;
      return date ? DecodedValue::date(*date) : DecodedValue::other();
    }
    case PLIST_UINT:
    case PLIST_REAL:
      return DecodedValue::number(numberOf(item));
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      plist_get_bool_val(item, &flag);
      return DecodedValue::boolean(flag != 0);
    }
    case PLIST_STRING:
      return DecodedValue::text(stringOf(item).value_or(""));
    default:
      return DecodedValue::other();
  }
}

bool isFoundationValueClass(std::string_view name) {
  static constexpr std::string_view kNames[] = {
      "NSArray", "NSMutableArray", "NSDictionary", "NSMutableDictionary",
      "NSSet",   "NSMutableSet",   "NSOrderedSet", "NSMutableOrderedSet",
      "NSData",  "NSMutableData"};
  return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

}  // namespace

DecodedValue DecodedValue::number(BoxedNumber value) {
  DecodedValue result(Kind::number);
  result.number_ = value;
  return result;
}
DecodedValue DecodedValue::boolean(bool value) {
  DecodedValue result(Kind::boolean);
  result.boolean_ = value;
  return result;
}
DecodedValue DecodedValue::text(std::string value) {
  DecodedValue result(Kind::text);
  result.text_ = std::move(value);
  return result;
}
DecodedValue DecodedValue::date(Date value) {
  DecodedValue result(Kind::date);
  result.date_ = value;
  return result;
}
DecodedValue DecodedValue::object(KeyedDecoder decoder) {
  DecodedValue result(Kind::object);
  result.object_ = std::make_shared<const KeyedDecoder>(std::move(decoder));
  return result;
}
std::optional<BoxedNumber> DecodedValue::asNumber() const {
  return number_;
}
std::optional<bool> DecodedValue::asBoolean() const {
  if (kind_ == Kind::boolean) return boolean_;
  if (number_ && (*number_ == BoxedNumber(0) || *number_ == BoxedNumber(1)))
    return *number_ == BoxedNumber(1);
  return std::nullopt;
}
std::optional<std::string> DecodedValue::asText() const {
  if (kind_ != Kind::text) return std::nullopt;
  return text_;
}
std::optional<Date> DecodedValue::asDate() const {
  if (kind_ != Kind::date) return std::nullopt;
  return date_;
}

bool KeyedDecoder::containsValueForKey(std::string_view key) const {
  return plist_dict_get_item(node(dictionary_), std::string(key).c_str()) != nullptr;
}

Result<DecodedValue> KeyedDecoder::decodeObjectForKey(std::string_view key) const {
  plist_t item = plist_dict_get_item(node(dictionary_), std::string(key).c_str());
  if (item == nullptr) return DecodedValue::null();
  if (auto uid = uidOf(item)) return decodeEntry(*uid);
  return inlineValue(item);
}

Result<DecodedValue> KeyedDecoder::decodeEntry(std::uint64_t uid) const {
  if (uid >= archive_->count) return archiveError("a UID is out of range");
  if (uid == 0) return DecodedValue::null();
  plist_t entry = plist_array_get_item(archive_->objects, static_cast<std::uint32_t>(uid));
  if (uidOf(entry)) return archiveError("an object entry is itself a UID");
  if (plist_get_node_type(entry) == PLIST_DICT) return decodeDictionary(uid, entry);
  return inlineValue(entry);
}

Result<DecodedValue> KeyedDecoder::decodeDictionary(std::uint64_t uid, void* dictionary) const {
  plist_t classRef = plist_dict_get_item(node(dictionary), format::kClass);
  if (classRef == nullptr) return DecodedValue::other();
  auto classUid = uidOf(classRef);
  if (!classUid || *classUid == 0 || *classUid >= archive_->count)
    return archiveError("an object's class is not a valid UID");
  plist_t classEntry =
      plist_array_get_item(archive_->objects, static_cast<std::uint32_t>(*classUid));
  if (plist_get_node_type(classEntry) != PLIST_DICT)
    return archiveError("an object's class entry is not a class");
  auto className = stringOf(plist_dict_get_item(classEntry, format::kClassName));
  if (!className) return archiveError("an object's class entry has no name");
  if (*className == format::kDateClass) {
    plist_t time = plist_dict_get_item(node(dictionary), format::kTime);
    if (time == nullptr) return DecodedValue::other();
    auto type = plist_get_node_type(time);
    if (type != PLIST_REAL && type != PLIST_UINT) return DecodedValue::other();
    auto date = dateFromReferenceSeconds(numberOf(time).doubleValue());
    return date ? DecodedValue::date(*date) : DecodedValue::other();
  }
  if (*className == "NSString" || *className == "NSMutableString") {
    auto text = stringOf(plist_dict_get_item(node(dictionary), format::kStringValue));
    return text ? DecodedValue::text(*text) : DecodedValue::other();
  }
  // The platform's own collections and data decode there into objects that
  // are none of ours, so under any of our keys they are values of the wrong
  // type, not unknown classes. Their members are never read.
  if (isFoundationValueClass(*className)) return DecodedValue::other();
  if (std::find(chain_.begin(), chain_.end(), uid) != chain_.end())
    return archiveError("objects refer to each other in a cycle");
  if (chain_.size() > KeyedUnarchiver::kMaxObjectDepth)
    return archiveError("objects are nested too deeply");
  auto chain = chain_;
  chain.push_back(uid);
  return DecodedValue::object(KeyedDecoder(archive_, dictionary, *className, std::move(chain)));
}

Result<KeyedDecoder> KeyedUnarchiver::rootDecoder(std::span<const std::uint8_t> bytes) {
  auto parsed = parsePropertyList(bytes);
  if (!parsed) return parsed.error();
  auto state = std::make_shared<ArchiveState>();
  state->root = std::move(*parsed);
  plist_t top = node(state->root.get());
  if (plist_get_node_type(top) != PLIST_DICT)
    return archiveError("the top level is not a dictionary");
  state->objects = plist_dict_get_item(top, format::kObjects);
  if (state->objects == nullptr || plist_get_node_type(state->objects) != PLIST_ARRAY)
    return archiveError("there is no \"$objects\" array");
  state->count = plist_array_get_size(state->objects);
  if (state->count == 0 || stringOf(plist_array_get_item(state->objects, 0)) != format::kNull)
    return archiveError("\"$objects\" does not start with \"$null\"");
  plist_t topKeys = plist_dict_get_item(top, format::kTop);
  auto rootUid = topKeys != nullptr && plist_get_node_type(topKeys) == PLIST_DICT
                     ? uidOf(plist_dict_get_item(topKeys, format::kRoot))
                     : std::nullopt;
  if (!rootUid) return archiveError("there is no \"$top\" root");
  // The root is decoded as if it were a value of an empty holder.
  KeyedDecoder holder(state, nullptr, "", {});
  auto root = holder.decodeEntry(*rootUid);
  if (!root) return root.error();
  if (root->kind() != DecodedValue::Kind::object) return archiveError("the root is not an object");
  return *root->asObject();
}

}  // namespace orbelin::archiving
