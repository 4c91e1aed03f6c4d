#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/value.hpp>

#include "orbelin/platform/date.h"

namespace orbelin::graph {

using Bytes = std::vector<std::uint8_t>;

// The value of one attribute of a managed object: nothing (nil), text, an
// integer (every integer width is held as 64 bits), a double, a truth value,
// a date, binary data or a transformable value (any JSON value: a list of
// integers, a dictionary, ...).
//
// Setting a value never converts it: a text set on an integer attribute stays
// a text until the context is saved, and the save then fails validation (the
// way the phone's object store behaves). The typed readers below never fail;
// they give a fallback when the value holds another kind.
//
// Thread safety: a plain value.
class Value {
 public:
  enum class Kind : std::uint8_t {
    Nil,
    String,
    Integer,
    Double,
    Boolean,
    Date,
    Binary,
    Transformable
  };

  Value() = default;
  Value(std::nullopt_t) {}  // NOLINT: implicit so that `setValue(key, std::nullopt)` reads well
  Value(const std::string& text);                             // NOLINT
  Value(std::string_view text);                               // NOLINT
  Value(const char* text) : Value(std::string_view(text)) {}  // NOLINT
  template <std::integral I>
  requires(!std::same_as<I, bool>) Value(I number) {  // NOLINT
    set(Kind::Integer, static_cast<std::int64_t>(number));
  }
  Value(double number) { set(Kind::Double, number); }                     // NOLINT
  Value(bool flag) { set(Kind::Boolean, flag); }                          // NOLINT
  Value(Date date) { set(Kind::Date, date.time_since_epoch().count()); }  // NOLINT
  Value(Bytes data);                                                      // NOLINT
  // Held on the heap: a value that came from an arena (a parsed reply) is
  // copied out of it, so a stored value never keeps a whole reply alive.
  Value(boost::json::value json);  // NOLINT
  // An absent optional is nil.
  template <typename T>
  Value(const std::optional<T>& maybe) {  // NOLINT
    if (maybe) *this = Value(*maybe);
  }

  Value(const Value& other) { copyFrom(other); }
  Value(Value&& other) noexcept { take(other); }
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept {
    if (this != &other) {
      release();
      take(other);
    }
    return *this;
  }
  ~Value() { release(); }

  Kind kind() const { return kind_; }
  bool isNil() const { return kind_ == Kind::Nil; }

  // Exact readers: null (or nullopt) when the value holds another kind. The
  // view and the pointers read the value in place: valid while it lives
  // unchanged.
  std::optional<std::string_view> string() const;
  std::optional<std::int64_t> integer() const;
  std::optional<double> number() const;  // integers and doubles
  std::optional<bool> boolean() const;
  std::optional<Date> date() const;
  const Bytes* binary() const { return kind_ == Kind::Binary ? load<Bytes*>() : nullptr; }
  const boost::json::value* transformable() const {
    return kind_ == Kind::Transformable ? load<boost::json::value*>() : nullptr;
  }

  // Readers with fallbacks ("" / 0 / 0.0 / false) for typed record accessors.
  std::string stringValue() const;
  std::int64_t integerValue() const;  // a double is truncated, a bool is 0 or 1
  double doubleValue() const;
  bool boolValue() const;  // non-zero numbers are true

  // Equality of kind and content; an integer equals a double of the same
  // numeric value, as boxed numbers compare on the phone. Two integers
  // compare exactly, also past 2^53.
  bool operator==(const Value& other) const;

  // A short human-readable form for diagnostics.
  std::string description() const;

 private:
  // Sixteen bytes, as objects hold one per attribute: texts of up to 14
  // bytes (most names, identifiers and codes) sit in place; longer texts
  // (one block: size, then bytes), binary data and transformable values are
  // owned on the heap through the pointer in the first eight bytes. Every
  // other kind is its eight bytes.
  static constexpr std::size_t kInlineText = 14;
  static constexpr std::uint8_t kHeapText = 0xff;  // textSize_ of a text on the heap

  template <typename T>
  T load() const {
    T out;
    std::memcpy(&out, bytes_, sizeof out);
    return out;
  }
  template <typename T>
  void set(Kind kind, T payload) {
    std::memcpy(bytes_, &payload, sizeof payload);
    kind_ = kind;
  }
  bool ownsHeap() const {
    return kind_ == Kind::Binary || kind_ == Kind::Transformable ||
           (kind_ == Kind::String && textSize_ == kHeapText);
  }
  void take(Value& other) noexcept {
    std::memcpy(static_cast<void*>(this), &other, sizeof(Value));
    other.kind_ = Kind::Nil;
    other.textSize_ = 0;
  }
  // Inline, since objects hand out copies of their values on every read:
  // only texts on the heap, data and transformables need more than the
  // sixteen bytes.
  void copyFrom(const Value& other) {
    if (other.ownsHeap())
      copyHeap(other);
    else
      std::memcpy(static_cast<void*>(this), &other, sizeof(Value));
  }
  void copyHeap(const Value& other);
  void release() noexcept {
    if (ownsHeap()) releaseHeap();
    kind_ = Kind::Nil;
    textSize_ = 0;
  }
  void releaseHeap() noexcept;

  alignas(8) unsigned char bytes_[kInlineText] = {};
  std::uint8_t textSize_ = 0;
  Kind kind_ = Kind::Nil;
};
static_assert(sizeof(Value) == 16);

}  // namespace orbelin::graph
