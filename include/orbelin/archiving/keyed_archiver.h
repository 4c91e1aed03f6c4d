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
// order they are written. Every call stores its value the way the platform's
// archiver stores a value given to encodeObject(_:forKey:): the key holds a UID
// into "$objects", never the value itself. Numbers become integer or real
// entries, truth values boolean entries, texts string entries, dates NSDate
// objects and nested objects their own classed dictionaries; an absent value
// is UID 0 ("$null"). Equal numbers (of the same kind), equal truth values and
// equal texts share one entry, as the platform's unique boxed values do. The
// watch side decodes every key with decodeObjectForKey, which refuses a value
// stored inline under the key (that is the layout of the scalar encoders,
// encodeInteger and encodeBool, which none of our objects use).
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
// Entries come in the order the platform's archiver makes them: the root is
// entry 1, every value gets the next entry when it is first written (a nested
// object's values right after the object), and an object's class entry
// follows all of its values, unless an earlier object already made it.
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
  // when a text cannot be stored: a NUL character or invalid UTF-8; in XML
  // also a control character other than tab, line feed and carriage return,
  // or U+FFFE / U+FFFF, which XML 1.0 cannot carry in any spelling. A
  // carriage return is written as "&#13;" so that XML readers, which turn a
  // raw one into a line feed, read it back unchanged. What is written is
  // always a well-formed document.
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
  std::uint64_t numberEntry(const BoxedNumber& value);
  std::uint64_t boolEntry(bool value);
  std::uint64_t dateEntry(Date date);
  std::uint64_t classEntry(std::string_view className);
  std::uint64_t append(void* node);
  void setRoot(std::uint64_t uid);
  Result<std::vector<std::uint8_t>> finish(PropertyListFormat format);

  void* objects_;  // plist array "$objects", owned by top_
  void* top_;      // the whole archive
  std::map<std::string, std::uint64_t, std::less<>> texts_;
  std::map<std::string, std::uint64_t, std::less<>> classes_;
  std::map<std::int64_t, std::uint64_t> integers_;
  std::map<std::uint64_t, std::uint64_t> reals_;  // by bit pattern: -0.0 and 0.0 stay apart
  std::optional<std::uint64_t> booleans_[2];
  bool badText_ = false;
  bool textNotForXml_ = false;
  bool objectsAttached_ = false;
};

template <KeyedArchivable T>
void KeyedEncoder::encodeObject(const T* object, std::string_view key) {
  if (object == nullptr) return encodeNull(key);
  setReference(key, archiver_.encodeRoot(*object));
}

}  // namespace orbelin::archiving
