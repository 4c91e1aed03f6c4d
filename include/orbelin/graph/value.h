#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
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
  enum class Kind { Nil, String, Integer, Double, Boolean, Date, Binary, Transformable };

  Value() = default;
  Value(std::nullopt_t) {}  // NOLINT: implicit so that `setValue(key, std::nullopt)` reads well
  Value(std::string text) : v_(std::move(text)) {}         // NOLINT
  Value(std::string_view text) : v_(std::string(text)) {}  // NOLINT
  Value(const char* text) : v_(std::string(text)) {}       // NOLINT
  template <std::integral I>
  requires(!std::same_as<I, bool>) Value(I number)
      : v_(static_cast<std::int64_t>(number)) {}  // NOLINT
  Value(double number) : v_(number) {}            // NOLINT
  Value(bool flag) : v_(flag) {}                  // NOLINT
  Value(Date date) : v_(date) {}                  // NOLINT
  Value(Bytes data) : v_(std::move(data)) {}      // NOLINT
  // Held on the heap: a value that came from an arena (a parsed reply) is
  // copied out of it, so a stored value never keeps a whole reply alive.
  Value(boost::json::value json);  // NOLINT
  // An absent optional is nil.
  template <typename T>
  Value(const std::optional<T>& maybe) {  // NOLINT
    if (maybe) *this = Value(*maybe);
  }

  Kind kind() const { return static_cast<Kind>(v_.index()); }
  bool isNil() const { return kind() == Kind::Nil; }

  // Exact readers: null (or nullopt) when the value holds another kind.
  const std::string* string() const { return std::get_if<std::string>(&v_); }
  std::optional<std::int64_t> integer() const;
  std::optional<double> number() const;  // integers and doubles
  std::optional<bool> boolean() const;
  std::optional<Date> date() const;
  const Bytes* binary() const { return std::get_if<Bytes>(&v_); }
  const boost::json::value* transformable() const { return std::get_if<boost::json::value>(&v_); }

  // Readers with fallbacks ("" / 0 / 0.0 / false) for typed record accessors.
  std::string stringValue() const;
  std::int64_t integerValue() const;  // a double is truncated, a bool is 0 or 1
  double doubleValue() const;
  bool boolValue() const;  // non-zero numbers are true

  // Equality of kind and content; an integer equals a double of the same
  // numeric value, as boxed numbers compare on the phone.
  bool operator==(const Value& other) const;

  // A short human-readable form for diagnostics.
  std::string description() const;

 private:
  std::variant<std::monostate, std::string, std::int64_t, double, bool, Date, Bytes,
               boost::json::value>
      v_;
};

}  // namespace orbelin::graph
