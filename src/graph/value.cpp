#include "orbelin/graph/value.h"

#include <cmath>

#include <boost/json/serialize.hpp>

#include "orbelin/text/json_text.h"

namespace orbelin::graph {

Value::Value(boost::json::value json) {
  const boost::json::storage_ptr heap;
  if (json.storage().get() == heap.get()) {
    v_ = std::move(json);
  } else {
    v_ = boost::json::value(json, heap);
  }
}

std::optional<std::int64_t> Value::integer() const {
  if (auto* i = std::get_if<std::int64_t>(&v_)) return *i;
  return std::nullopt;
}

std::optional<double> Value::number() const {
  if (auto* i = std::get_if<std::int64_t>(&v_)) return static_cast<double>(*i);
  if (auto* d = std::get_if<double>(&v_)) return *d;
  return std::nullopt;
}

std::optional<bool> Value::boolean() const {
  if (auto* b = std::get_if<bool>(&v_)) return *b;
  return std::nullopt;
}

std::optional<Date> Value::date() const {
  if (auto* d = std::get_if<Date>(&v_)) return *d;
  return std::nullopt;
}

std::string Value::stringValue() const {
  if (auto* s = string()) return *s;
  return {};
}

std::int64_t Value::integerValue() const {
  if (auto* i = std::get_if<std::int64_t>(&v_)) return *i;
  if (auto* d = std::get_if<double>(&v_)) {
    // Out-of-range doubles would be undefined to convert; clamp them.
    if (!(*d == *d)) return 0;
    if (*d >= 9.2e18) return INT64_MAX;
    if (*d <= -9.2e18) return INT64_MIN;
    return static_cast<std::int64_t>(*d);
  }
  if (auto* b = std::get_if<bool>(&v_)) return *b ? 1 : 0;
  return 0;
}

double Value::doubleValue() const {
  if (auto n = number()) return *n;
  if (auto* b = std::get_if<bool>(&v_)) return *b ? 1.0 : 0.0;
  return 0.0;
}

bool Value::boolValue() const {
  if (auto* b = std::get_if<bool>(&v_)) return *b;
  if (auto n = number()) return *n != 0.0;
  return false;
}

bool Value::operator==(const Value& other) const {
  auto a = number();
  auto b = other.number();
  if (a && b) return *a == *b;
  return v_ == other.v_;
}

namespace {

std::string numberText(double number) {
  if (!std::isfinite(number)) return std::to_string(number);
  std::string out;
  text::appendJsonNumber(out, number);
  return out;
}

}  // namespace

std::string Value::description() const {
  switch (kind()) {
    case Kind::Nil:
      return "nil";
    case Kind::String:
      return *string();
    case Kind::Integer:
      return std::to_string(*integer());
    case Kind::Double:
      return numberText(*number());
    case Kind::Boolean:
      return *boolean() ? "true" : "false";
    case Kind::Date:
      return std::to_string(secondsSince1970(*date()));
    case Kind::Binary:
      return "<" + std::to_string(binary()->size()) + " bytes>";
    case Kind::Transformable:
      // The layer's own writer, so numbers read as elsewhere (0.0001, not 1E-4).
      return text::jsonString(*transformable()).value_or(boost::json::serialize(*transformable()));
  }
  return {};
}

}  // namespace orbelin::graph
