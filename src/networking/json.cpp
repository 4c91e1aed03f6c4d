#include "orbelin/networking/json.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

#include "networking/json_access.h"
#include "orbelin/text/json_reader.h"

namespace TamberNetworking {
namespace {

const boost::json::value& nullValue() {
  static const boost::json::value kNull;
  return kNull;
}

// Reads exactly `count` digits at `pos`; advances pos on success.
bool readDigits(std::string_view text, std::size_t& pos, std::size_t count, int& out) {
  if (pos + count > text.size()) return false;
  int value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    char c = text[pos + i];
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  out = value;
  pos += count;
  return true;
}

bool readChar(std::string_view text, std::size_t& pos, char expected) {
  if (pos < text.size() && text[pos] == expected) {
    ++pos;
    return true;
  }
  return false;
}

// Fractional seconds after the '.', as nanoseconds (extra digits are dropped).
bool readFraction(std::string_view text, std::size_t& pos, std::int64_t& nanos) {
  std::size_t start = pos;
  std::int64_t scale = 100000000;
  nanos = 0;
  while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
    nanos += (text[pos] - '0') * scale;
    scale /= 10;
    ++pos;
  }
  return pos > start;
}

// "Z", "+hh:mm", "+hhmm", "+hh" or nothing; offset in minutes east of UTC.
bool readZone(std::string_view text, std::size_t& pos, int& offsetMinutes) {
  offsetMinutes = 0;
  if (pos == text.size()) return true;
  if (readChar(text, pos, 'Z')) return pos == text.size();
  char sign = text[pos];
  if (sign != '+' && sign != '-') return false;
  ++pos;
  int hours = 0, minutes = 0;
  if (!readDigits(text, pos, 2, hours)) return false;
  if (pos < text.size()) {
    readChar(text, pos, ':');
    if (!readDigits(text, pos, 2, minutes)) return false;
  }
  if (hours > 23 || minutes > 59 || pos != text.size()) return false;
  offsetMinutes = (sign == '+' ? 1 : -1) * (hours * 60 + minutes);
  return true;
}

}  // namespace

std::optional<orbelin::Date> parseISO8601Date(std::string_view text) {
  using namespace std::chrono;
  std::size_t pos = 0;
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, offset = 0;
  std::int64_t nanos = 0;
  if (!readDigits(text, pos, 4, year) || !readChar(text, pos, '-') ||
      !readDigits(text, pos, 2, month) || !readChar(text, pos, '-') ||
      !readDigits(text, pos, 2, day))
    return std::nullopt;
  if (pos < text.size()) {
    if (!readChar(text, pos, 'T') && !readChar(text, pos, ' ')) return std::nullopt;
    if (!readDigits(text, pos, 2, hour) || !readChar(text, pos, ':') ||
        !readDigits(text, pos, 2, minute))
      return std::nullopt;
    if (readChar(text, pos, ':')) {
      if (!readDigits(text, pos, 2, second)) return std::nullopt;
      if (readChar(text, pos, '.') && !readFraction(text, pos, nanos)) return std::nullopt;
    }
    if (!readZone(text, pos, offset)) return std::nullopt;
  }
  // The standard library's civil calendar validates the day and converts it.
  year_month_day ymd{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                     std::chrono::day(static_cast<unsigned>(day))};
  if (!ymd.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  // Whole seconds in 64 bits (every 4-digit year fits), then the fraction:
  // a nanosecond count would overflow beyond 2262.
  auto wholeSeconds =
      (sys_days(ymd) + hours(hour) + minutes(minute) + seconds(second) - minutes(offset))
          .time_since_epoch()
          .count();
  return orbelin::makeDate(static_cast<double>(wholeSeconds) + static_cast<double>(nanos) / 1e9);
}

JSON::JSON(boost::json::value document)
    : root_(std::make_shared<const boost::json::value>(std::move(document))), node_(root_.get()) {}

orbelin::Result<JSON> JSON::parse(std::string_view text) {
  std::string problem;
  auto document =
      orbelin::text::readJsonValue(text, kMaxDepth, &problem, orbelin::text::documentArena(text));
  if (!document) {
    return orbelin::Error(
        orbelin::error_domain::kNetworking, 3840,
        "The data couldn't be read because it isn't valid JSON (" + problem + ").");
  }
  return JSON(std::move(*document));
}

JSON JSON::operator[](std::string_view key) const {
  if (!isObject()) return JSON();
  const auto& object = node_->get_object();
  auto found = object.find(key);
  if (found == object.end()) return JSON();
  return JSON(root_, &found->value());
}

JSON JSON::operator[](std::size_t index) const {
  if (!isArray() || index >= node_->get_array().size()) return JSON();
  return JSON(root_, &node_->get_array()[index]);
}

namespace detail {

std::string stringValueOf(const boost::json::value* node) {
  if (node == nullptr || !node->is_string()) return std::string();
  return std::string(node->get_string());
}

std::int64_t intValueOf(const boost::json::value* node) {
  if (node == nullptr) return 0;
  if (node->is_int64()) return node->get_int64();
  if (node->is_uint64()) {
    auto value = node->get_uint64();
    return value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? std::numeric_limits<std::int64_t>::max()
               : static_cast<std::int64_t>(value);
  }
  if (node->is_double()) {
    double value = std::trunc(node->get_double());
    // NaN and infinity have no integer; converting them would be undefined.
    if (!std::isfinite(value)) return 0;
    // Out of range doubles clamp rather than overflow.
    if (value >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
    if (value <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
  }
  return 0;
}

double doubleValueOf(const boost::json::value* node) {
  if (node == nullptr) return 0;
  if (node->is_double()) return node->get_double();
  if (node->is_int64()) return static_cast<double>(node->get_int64());
  if (node->is_uint64()) return static_cast<double>(node->get_uint64());
  return 0;
}

std::optional<orbelin::Date> dateOf(const boost::json::value* node) {
  if (node == nullptr) return std::nullopt;
  if (node->is_string()) return parseISO8601Date(node->get_string());
  if (node->is_number()) return orbelin::makeDate(doubleValueOf(node));
  return std::nullopt;
}

}  // namespace detail

std::string JSON::stringValue() const {
  return detail::stringValueOf(node_);
}

std::int64_t JSON::intValue() const {
  return detail::intValueOf(node_);
}

double JSON::doubleValue() const {
  return detail::doubleValueOf(node_);
}

bool JSON::boolValue() const {
  return node_ != nullptr && node_->is_bool() && node_->get_bool();
}

std::vector<JSON> JSON::arrayValue() const {
  std::vector<JSON> elements;
  if (!isArray()) return elements;
  elements.reserve(node_->get_array().size());
  for (const auto& element : node_->get_array()) elements.push_back(JSON(root_, &element));
  return elements;
}

std::optional<orbelin::Date> JSON::date() const {
  return detail::dateOf(node_);
}

orbelin::Date JSON::dateValue() const {
  return date().value_or(orbelin::Date());
}

std::optional<JSON> JSON::optional() const {
  if (isNull()) return std::nullopt;
  return *this;
}

std::size_t JSON::size() const {
  if (isArray()) return node_->get_array().size();
  if (isObject()) return node_->get_object().size();
  return 0;
}

const boost::json::value& JSON::raw() const {
  return node_ == nullptr ? nullValue() : *node_;
}

JSON JSON::Iterator::operator*() const {
  return JSON(root_, element_);
}

JSON::Iterator JSON::begin() const {
  if (!isArray()) return Iterator();
  return Iterator(root_, node_->get_array().data());
}

JSON::Iterator JSON::end() const {
  if (!isArray()) return Iterator();
  return Iterator(root_, node_->get_array().data() + node_->get_array().size());
}

}  // namespace TamberNetworking
