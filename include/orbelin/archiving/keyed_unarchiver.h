#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/archiving/boxed_number.h"
#include "orbelin/platform/date.h"
#include "orbelin/platform/result.h"

namespace orbelin::archiving {

class KeyedDecoder;

// What one key of an archived object holds, whether the archive stores it as
// an entry of "$objects" referenced by UID (as the platform's archiver and
// KeyedArchiver write every value) or inline under the key (numbers and
// truth values in archives from before KeyedArchiver wrote references).
// Numbers and truth values are kept apart as the property list keeps them;
// asBoolean() also takes the numbers 0 and 1, as the platform's boxed truth
// values are numbers. A date is an NSDate object {"NS.time"} or the property
// list's own date. `other` is anything the objects here never hold: data,
// arrays, dictionaries without a class, the platform's own collection and
// data classes (NSArray, NSDictionary, NSSet, NSOrderedSet, NSData and their
// mutable forms, whose members are not read); callers treat it as a value of
// the wrong type.
class DecodedValue {
 public:
  enum class Kind { null, number, boolean, text, date, object, other };

  static DecodedValue null() { return DecodedValue(Kind::null); }
  static DecodedValue other() { return DecodedValue(Kind::other); }
  static DecodedValue number(BoxedNumber value);
  static DecodedValue boolean(bool value);
  static DecodedValue text(std::string value);
  static DecodedValue date(Date value);
  static DecodedValue object(KeyedDecoder decoder);

  Kind kind() const { return kind_; }
  // Each is present only for its own kind.
  std::optional<BoxedNumber> asNumber() const;
  std::optional<bool> asBoolean() const;
  std::optional<std::string> asText() const;
  std::optional<Date> asDate() const;
  // The nested object's decoder; null unless kind() is object.
  const KeyedDecoder* asObject() const { return object_.get(); }

 private:
  explicit DecodedValue(Kind kind) : kind_(kind) {}
  Kind kind_;
  std::optional<BoxedNumber> number_;
  bool boolean_ = false;
  std::string text_;
  Date date_{};
  std::shared_ptr<const KeyedDecoder> object_;
};

struct ArchiveState;

// Reads the keys of one archived object. Structural faults (a UID out of
// range, a reference cycle, a class entry that is not a class, nesting past
// the limit) are errors; a missing key or a recorded null is Kind::null.
//
// Thread safety: a decoder and the ones made from it share the parsed
// archive read-only; use them from one thread at a time.
class KeyedDecoder {
 public:
  // The class name recorded for this object ("$classname").
  const std::string& className() const { return className_; }
  bool containsValueForKey(std::string_view key) const;
  Result<DecodedValue> decodeObjectForKey(std::string_view key) const;

 private:
  friend class KeyedUnarchiver;
  KeyedDecoder(std::shared_ptr<const ArchiveState> archive, void* dictionary, std::string className,
               std::vector<std::uint64_t> chain)
      : archive_(std::move(archive)),
        dictionary_(dictionary),
        className_(std::move(className)),
        chain_(std::move(chain)) {}
  Result<DecodedValue> decodeEntry(std::uint64_t uid) const;
  Result<DecodedValue> decodeDictionary(std::uint64_t uid, void* dictionary) const;

  std::shared_ptr<const ArchiveState> archive_;
  void* dictionary_;  // plist dictionary node inside archive_
  std::string className_;
  std::vector<std::uint64_t> chain_;  // UIDs from the root down to this object
};

// Opens a keyed archive (binary or XML property list) written by the
// platform's archiver or by KeyedArchiver. Unknown extra keys are ignored.
// Errors (OrbelinPlatform domain): bytes libplist must not see (see
// checkPropertyListBytes; an integer outside the signed 64-bit range
// anywhere in the list is one), not a property list, no "$top" root UID, no
// "$objects" array starting with "$null", a root that is not a classed object.
class KeyedUnarchiver {
 public:
  // Objects may nest this deep below the root.
  static constexpr std::size_t kMaxObjectDepth = 32;

  static Result<KeyedDecoder> rootDecoder(std::span<const std::uint8_t> bytes);
};

}  // namespace orbelin::archiving
