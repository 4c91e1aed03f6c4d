#pragma once

// Internal: the writer behind jsonString() and prettyJsonString(), shared with
// layers that write JSON text straight from their own data (the dictionary
// form of managed objects) without building a boost::json tree first. Both
// paths go through these members, so their text is the same to the byte.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <boost/json/value.hpp>

#include "orbelin/text/json_text.h"

namespace orbelin::text::detail {

// Deeper values are refused rather than risking the stack; parsed replies
// never come near it (see kMaxJsonDepth).
inline constexpr std::size_t kMaxWriteDepth = 4 * kMaxJsonDepth;

// Appends JSON text to a string the caller owns. Every member that can meet
// something JSON cannot hold returns false; the text written so far is then
// unspecified and should be dropped.
//
// The writer fills the string's storage through a cursor (most pieces are a
// few characters, and a string append per piece would cost more than the
// piece): until finish() trims it to what was written, the string holds
// unspecified characters past the text.
//
// Layout: a container's members each start on a new line indented two spaces
// per level (pretty) or follow each other directly (compact); see
// prettyJsonString() for the whole form.
class JsonWriter {
 public:
  // Writes after the string's current content.
  JsonWriter(std::string& out, bool pretty);
  // Writes from offset `start` of `buffer`, taking the characters there and
  // after as room: a buffer kept from one use to the next needs no clearing.
  JsonWriter(std::string& buffer, std::size_t start, bool pretty);
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  // Trims the string to the text written so far; writing may go on after.
  void finish();
  // The offset just past the text written so far.
  std::size_t end() const { return static_cast<std::size_t>(pos_ - out_.data()); }

  // Any value, `depth` levels down (the top level is 0).
  bool value(const boost::json::value& value, std::size_t depth);
  bool object(const boost::json::object& object, std::size_t depth);
  bool array(const boost::json::array& array, std::size_t depth);

  // A quoted string; false when it is not UTF-8.
  bool string(std::string_view s);
  bool integer(std::int64_t number);
  bool unsignedInteger(std::uint64_t number);
  // False when not finite.
  bool number(double number);
  void boolean(bool flag) { raw(flag ? std::string_view("true") : std::string_view("false")); }
  void null() { raw("null"); }

  // The pieces of a container, for callers that write members themselves:
  // open('{'); then for each member beginMember(first, depth + 1), the key
  // (string() then keySeparator()) and the value; then close('}', depth, any).
  void open(char bracket) { put(bracket); }
  void beginMember(bool first, std::size_t depth) {
    if (!first) put(',');
    if (pretty_) newline(depth);
  }
  void keySeparator() {
    if (pretty_) {
      raw(" : ");
    } else {
      put(':');
    }
  }
  // `any`: whether a member was written; an empty container stays "{}" / "[]".
  void close(char bracket, std::size_t depth, bool any) {
    if (any && pretty_) newline(depth);
    put(bracket);
  }
  // Text that is already JSON (a key written once and reused).
  void raw(std::string_view text) {
    std::memcpy(room(text.size()), text.data(), text.size());
    pos_ += text.size();
  }

  // For text written in place: room(n) gives where the next n characters go,
  // advance(k) (k <= n) keeps k of them.
  char* room(std::size_t count) {
    if (static_cast<std::size_t>(end_ - pos_) < count) grow(count);
    return pos_;
  }
  void advance(std::size_t count) { pos_ += count; }

  bool pretty() const { return pretty_; }

 private:
  void put(char c) {
    *room(1) = c;
    ++pos_;
  }
  void newline(std::size_t depth);
  void grow(std::size_t count);
  template <typename Integer>
  bool wholeNumber(Integer number);

  std::string& out_;
  char* pos_ = nullptr;
  char* end_ = nullptr;
  bool pretty_;
};

}  // namespace orbelin::text::detail
