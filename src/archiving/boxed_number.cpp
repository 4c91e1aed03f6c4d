#include "orbelin/archiving/boxed_number.h"

#include <charconv>
#include <cmath>
#include <functional>

namespace orbelin::archiving {
namespace {

// A double that holds an exact int64 value, as that integer.
bool exactInteger(double value, std::int64_t& out) {
  // 2^63 itself is out of range; everything below it converts exactly.
  constexpr double kLimit = 9223372036854775808.0;
  if (!(value >= -kLimit && value < kLimit) || std::trunc(value) != value) return false;
  out = static_cast<std::int64_t>(value);
  return true;
}

}  // namespace

double BoxedNumber::doubleValue() const {
  if (isInteger()) return static_cast<double>(integerValue());
  return std::get<double>(value_);
}

bool BoxedNumber::operator==(const BoxedNumber& other) const {
  if (isInteger() && other.isInteger()) return integerValue() == other.integerValue();
  const BoxedNumber& real = isInteger() ? other : *this;
  const BoxedNumber& rest = isInteger() ? *this : other;
  if (!rest.isInteger()) return real.doubleValue() == rest.doubleValue();
  // An integer against a double: equal only when the double is that integer
  // exactly (comparing as doubles would call 2^53 + 1 equal to 2^53).
  std::int64_t asInteger = 0;
  return exactInteger(real.doubleValue(), asInteger) && asInteger == rest.integerValue();
}

std::size_t BoxedNumber::hash() const {
  std::int64_t asInteger = 0;
  if (isInteger()) return std::hash<std::int64_t>{}(integerValue());
  if (exactInteger(std::get<double>(value_), asInteger))
    return std::hash<std::int64_t>{}(asInteger);
  double value = std::get<double>(value_);
  return std::hash<double>{}(value == 0.0 ? 0.0 : value);
}

std::string BoxedNumber::description() const {
  char buffer[64];
  auto result = isInteger() ? std::to_chars(buffer, buffer + sizeof buffer, integerValue())
                            : std::to_chars(buffer, buffer + sizeof buffer, doubleValue());
  return std::string(buffer, result.ptr);
}

}  // namespace orbelin::archiving
