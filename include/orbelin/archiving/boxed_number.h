#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace orbelin::archiving {

// A number as the platform boxes it: an integer or a floating value, kept as
// it was stored. Comparison and hashing are numeric, so 5 and 5.0 are equal
// and hash alike.
//
// Thread safety: a plain value.
class BoxedNumber {
 public:
  BoxedNumber(std::int64_t value) : value_(value) {}       // NOLINT: implicit on purpose
  BoxedNumber(double value) : value_(value) {}             // NOLINT: implicit on purpose
  BoxedNumber(int value) : value_(std::int64_t{value}) {}  // NOLINT: implicit on purpose

  bool isInteger() const { return std::holds_alternative<std::int64_t>(value_); }
  // REQUIRES: isInteger().
  std::int64_t integerValue() const { return std::get<std::int64_t>(value_); }
  // The value as a double (large integers lose precision).
  double doubleValue() const;

  bool operator==(const BoxedNumber& other) const;
  std::size_t hash() const;

  // Integers in decimal, floating values in their shortest round-trip form.
  std::string description() const;

 private:
  std::variant<std::int64_t, double> value_;
};

}  // namespace orbelin::archiving
