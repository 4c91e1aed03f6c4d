#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/archiving/boxed_number.h"
#include "orbelin/platform/date.h"
#include "orbelin/platform/result.h"

namespace orbelin::archiving {

class KeyedEncoder;

// A class that writes itself into a keyed archive: a static class name (the
// name the reading side maps back to a class) and encodeWithCoder.
template <typename T>
concept KeyedArchivable = requires(const T& object, KeyedEncoder& encoder) {
  { T::className } -> std::convertible_to<std::string_view>;
  object.encodeWithCoder(encoder);
};

enum class PropertyListFormat { binary, xml };

class KeyedArchiver;

// The coder handed to encodeWithCoder: writes the keys of one object, in the
// order they are written. Absent values are recorded as null ("$null").
// Numbers and truth values are stored inline, texts, dates and nested objects
// as entries of "$objects" referenced by UID; equal texts share one entry.
// Valid only during the encodeWithCoder call it is handed to.
class KeyedEncoder {
 public:
  void encodeNull(std::string_view key);
  void encodeNumber(const BoxedNumber& value, std::string_view key);
  void encodeNumber(const std::optional<BoxedNumber>& value, std::string_view key);
  void encodeBool(bool value, std::string_view key);
  void encodeText(const std::optional<std::string>& value, std::string_view key);
  void encodeDate(const std::optional<Date>& value, std::string_view key);
  // A nested object, recorded once with its class; null when absent.
  template <KeyedArchivable T>
  void encodeObject(const T* object, std::string_view key);

 private:
  friend class KeyedArchiver;
  KeyedEncoder(KeyedArchiver& archiver, void* dictionary)
      : archiver_(archiver), dictionary_(dictionary) {}
  void setReference(std::string_view key, std::uint64_t uid);

  KeyedArchiver& archiver_;
  void* dictionary_;  // plist dictionary node, owned by the archive
};

// Writes an object graph as the platform's keyed archive: a property list
// with "$archiver" = "NSKeyedArchiver", "$version" = 100000, "$top" =
// {"root": UID} and "$objects" starting with "$null"; each object is a
// dictionary of its keys plus "$class", a UID of {"$classname", "$classes"}.
//
// Thread safety: an archiver is used by one thread; separate archivers are
// independent.
class KeyedArchiver {
 public:
  KeyedArchiver();
  ~KeyedArchiver();
  KeyedArchiver(const KeyedArchiver&) = delete;
  KeyedArchiver& operator=(const KeyedArchiver&) = delete;

  // The archive of `root`, binary unless XML is asked for. Fails (no data)
  // when a text cannot be stored: a NUL character or invalid UTF-8.
  template <KeyedArchivable T>
  static Result<std::vector<std::uint8_t>> archivedData(
      const T& root, PropertyListFormat format = PropertyListFormat::binary) {
    KeyedArchiver archiver;
    archiver.setRoot(archiver.encodeRoot(root));
    return archiver.finish(format);
  }

 private:
  friend class KeyedEncoder;

  template <KeyedArchivable T>
  std::uint64_t encodeRoot(const T& object) {
    auto [uid, dictionary] = beginObject();
    KeyedEncoder encoder(*this, dictionary);
    object.encodeWithCoder(encoder);
    endObject(dictionary, T::className);
    return uid;
  }
  std::pair<std::uint64_t, void*> beginObject();
  void endObject(void* dictionary, std::string_view className);
  std::uint64_t textEntry(const std::string& text);
  std::uint64_t dateEntry(Date date);
  std::uint64_t classEntry(std::string_view className);
  std::uint64_t append(void* node);
  void setRoot(std::uint64_t uid);
  Result<std::vector<std::uint8_t>> finish(PropertyListFormat format);

  void* objects_;  // plist array "$objects", owned by top_
  void* top_;      // the whole archive
  std::map<std::string, std::uint64_t, std::less<>> texts_;
  std::map<std::string, std::uint64_t, std::less<>> classes_;
  bool badText_ = false;
  bool objectsAttached_ = false;
};

template <KeyedArchivable T>
void KeyedEncoder::encodeObject(const T* object, std::string_view key) {
  if (object == nullptr) return encodeNull(key);
  setReference(key, archiver_.encodeRoot(*object));
}

}  // namespace orbelin::archiving
