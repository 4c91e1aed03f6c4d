#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

#include "orbelin/platform/date.h"
#include "orbelin/platform/result.h"

namespace TamberNetworking {

namespace detail {
struct JSONAccess;
}  // namespace detail

// A read-only view of a parsed JSON reply, through which every record import
// reads service data. Conversions never fail: a missing member or a value of
// another kind gives the conversion's fallback, so imports go on over
// malformed replies.
//
// Kinds are strict: "12" is text, so its intValue is 0; 12 is a number, so
// its stringValue is "". Fallbacks: stringValue "", intValue 0, arrayValue
// empty, optional() and date() absent, dateValue the epoch (1970-01-01T00:00Z).
//
// Dates (dateValue, date) are read from
//   - ISO 8601 text: "2015-04-21T09:41:00Z", with fractional seconds
//     ("...:00.250Z"), with an offset ("+02:00", "+0200", "-05"), or with no
//     zone at all (taken as UTC); "T" or one space between date and time;
//     a bare date "2015-04-21" (midnight UTC);
//   - a number: seconds since 1970-01-01T00:00Z.
// Anything else (other text, out-of-range fields such as month 13, a moment
// outside years 1 to 9999 such as a millisecond timestamp or 1e300) is not a
// date: never a wrapped or clamped one. dateValue falls back to the epoch, a
// stable value that sorts and moves like any date; imports that must tell
// "no date" apart (a patient's birthdate) read date() instead.
//
// Ownership: a JSON shares ownership of the whole parsed document, so a member
// view stays valid after the value it came from is gone. Copies are cheap (a
// pointer and a reference count).
// Thread safety: the document is immutable; views may be read from any thread.
class JSON {
 public:
  // The null value.
  JSON() = default;
  // Takes ownership of a parsed document.
  explicit JSON(boost::json::value document);

  // Parses text; nesting deeper than kMaxDepth is an error, so hostile replies
  // cannot exhaust the stack of the recursive imports that read them. Numbers
  // are read correctly rounded; a number too large for a double ("1e309") is
  // an error, one too small reads as 0 (see orbelin/text/json_reader.h).
  static constexpr std::size_t kMaxDepth = 256;
  static orbelin::Result<JSON> parse(std::string_view text);

  // Member by key; null for a missing key or a value that is not an object.
  JSON operator[](std::string_view key) const;
  // Element by index; null when out of range or not an array.
  JSON operator[](std::size_t index) const;

  std::string stringValue() const;
  // Numbers with a fraction are truncated toward zero; numbers beyond int64
  // clamp to its limits; NaN and infinity (only in documents built in code)
  // give 0.
  std::int64_t intValue() const;
  double doubleValue() const;
  bool boolValue() const;
  std::vector<JSON> arrayValue() const;
  orbelin::Date dateValue() const;
  std::optional<orbelin::Date> date() const;
  // Absent when the value is null or missing, else this value.
  std::optional<JSON> optional() const;

  bool isNull() const { return node_ == nullptr || node_->is_null(); }
  bool isObject() const { return node_ != nullptr && node_->is_object(); }
  bool isArray() const { return node_ != nullptr && node_->is_array(); }
  // Number of elements (array) or members (object); 0 otherwise.
  std::size_t size() const;

  // The underlying value; a static null when this view is null. A parsed
  // document's values live in one arena that the document owns: a plain copy
  // of a part of it shares (and keeps alive) the whole arena, so a part kept
  // long after the reply should be copied to the heap:
  // `boost::json::value(json.raw(), boost::json::storage_ptr())`.
  const boost::json::value& raw() const;

  // Iteration over the elements of an array value, in order; a value of any
  // other kind has no elements.
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = JSON;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = JSON;

    Iterator() = default;
    Iterator(std::shared_ptr<const boost::json::value> root, const boost::json::value* element)
        : root_(std::move(root)), element_(element) {}
    JSON operator*() const;
    Iterator& operator++() {
      ++element_;
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++element_;
      return before;
    }
    bool operator==(const Iterator& other) const { return element_ == other.element_; }

   private:
    std::shared_ptr<const boost::json::value> root_;
    const boost::json::value* element_ = nullptr;
  };
  Iterator begin() const;
  Iterator end() const;

 private:
  friend struct detail::JSONAccess;
  JSON(std::shared_ptr<const boost::json::value> root, const boost::json::value* node)
      : root_(std::move(root)), node_(node) {}

  std::shared_ptr<const boost::json::value> root_;
  const boost::json::value* node_ = nullptr;
};

// Reads an ISO 8601 text as described above; absent when it is not one.
std::optional<orbelin::Date> parseISO8601Date(std::string_view text);

}  // namespace TamberNetworking
