#include "orbelin/graph/value.h"

#include <cmath>

#include <boost/json/serialize.hpp>

#include "orbelin/text/json_text.h"

namespace orbelin::graph {

namespace {

// A text too long to sit in place: its size, then its bytes, in one block.
char* newHeapText(std::string_view text) {
  char* block = new char[sizeof(std::size_t) + text.size()];
  const std::size_t size = text.size();
  std::memcpy(block, &size, sizeof size);
  std::memcpy(block + sizeof size, text.data(), text.size());
  return block;
}

std::string_view heapText(const char* block) {
  std::size_t size = 0;
  std::memcpy(&size, block, sizeof size);
  return {block + sizeof size, size};
}

}  // namespace

Value::Value(const std::string& text) : Value(std::string_view(text)) {}

Value::Value(std::string_view text) {
  if (text.size() > kInlineText) {
    set(Kind::String, newHeapText(text));
    textSize_ = kHeapText;
    return;
  }
  if (!text.empty()) std::memcpy(bytes_, text.data(), text.size());  // data() may be null
  textSize_ = static_cast<std::uint8_t>(text.size());
  kind_ = Kind::String;
}

Value::Value(Bytes data) {
  set(Kind::Binary, new Bytes(std::move(data)));
}

Value::Value(boost::json::value json) {
  const boost::json::storage_ptr heap;
  if (json.storage().get() == heap.get()) {
    set(Kind::Transformable, new boost::json::value(std::move(json)));
  } else {
    set(Kind::Transformable, new boost::json::value(json, heap));
  }
}

void Value::copyHeap(const Value& other) {
  switch (other.kind_) {
    case Kind::String:
      set(Kind::String, newHeapText(*other.string()));
      textSize_ = kHeapText;
      return;
    case Kind::Binary:
      set(Kind::Binary, new Bytes(*other.binary()));
      return;
    case Kind::Transformable:
      set(Kind::Transformable, new boost::json::value(*other.transformable()));
      return;
    default:
      std::memcpy(static_cast<void*>(this), &other, sizeof(Value));
  }
}

Value& Value::operator=(const Value& other) {
  if (this != &other) {
    Value copy(other);
    *this = std::move(copy);
  }
  return *this;
}

void Value::releaseHeap() noexcept {
  switch (kind_) {
    case Kind::String:
      delete[] load<char*>();
      break;
    case Kind::Binary:
      delete load<Bytes*>();
      break;
    case Kind::Transformable:
      delete load<boost::json::value*>();
      break;
    default:
      break;
  }
}

std::optional<std::string_view> Value::string() const {
  if (kind_ != Kind::String) return std::nullopt;
  if (textSize_ == kHeapText) return heapText(load<const char*>());
  return std::string_view(reinterpret_cast<const char*>(bytes_), textSize_);
}

std::optional<std::int64_t> Value::integer() const {
  if (kind_ == Kind::Integer) return load<std::int64_t>();
  return std::nullopt;
}

std::optional<double> Value::number() const {
  if (kind_ == Kind::Integer) return static_cast<double>(load<std::int64_t>());
  if (kind_ == Kind::Double) return load<double>();
  return std::nullopt;
}

std::optional<bool> Value::boolean() const {
  if (kind_ == Kind::Boolean) return load<bool>();
  return std::nullopt;
}

std::optional<Date> Value::date() const {
  if (kind_ == Kind::Date) return dateFromSeconds(load<double>());
  return std::nullopt;
}

std::string Value::stringValue() const {
  if (auto s = string()) return std::string(*s);
  return {};
}

std::int64_t Value::integerValue() const {
  switch (kind_) {
    case Kind::Integer:
      return load<std::int64_t>();
    case Kind::Double: {
      // Out-of-range doubles would be undefined to convert; clamp them.
      const double d = load<double>();
      if (!(d == d)) return 0;
      if (d >= 9.2e18) return INT64_MAX;
      if (d <= -9.2e18) return INT64_MIN;
      return static_cast<std::int64_t>(d);
    }
    case Kind::Boolean:
      return load<bool>() ? 1 : 0;
    default:
      return 0;
  }
}

double Value::doubleValue() const {
  if (auto n = number()) return *n;
  if (kind_ == Kind::Boolean) return load<bool>() ? 1.0 : 0.0;
  return 0.0;
}

bool Value::boolValue() const {
  if (kind_ == Kind::Boolean) return load<bool>();
  if (auto n = number()) return *n != 0.0;
  return false;
}

bool Value::operator==(const Value& other) const {
  // Two integers compare exactly: beyond 2^53 neighbours share one double,
  // and a change between them must still count as a change.
  if (kind_ == Kind::Integer && other.kind_ == Kind::Integer)
    return load<std::int64_t>() == other.load<std::int64_t>();
  auto a = number();
  auto b = other.number();
  if (a && b) return *a == *b;
  if (kind_ != other.kind_) return false;
  switch (kind_) {
    case Kind::Nil:
      return true;
    case Kind::String:
      return *string() == *other.string();
    case Kind::Boolean:
      return load<bool>() == other.load<bool>();
    case Kind::Date:
      return load<double>() == other.load<double>();
    case Kind::Binary:
      return *binary() == *other.binary();
    case Kind::Transformable:
      return *transformable() == *other.transformable();
    default:
      return false;
  }
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
      return stringValue();
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
