// The JSON text helpers, each held to its own rule: what json() accepts
// jsonString() writes back, and that text reads as the same dictionary;
// queryToFile() leaves no '&', '+', '=', '?' and keeps the length; data()
// keeps the bytes of valid UTF-8.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "orbelin/text/json_text.h"

namespace {

using namespace orbelin::text;

// Equality as the writer promises it: a whole double is written as an integer
// and reads back as one, so numbers compare by value, whatever their kind.
bool sameNumber(const boost::json::value& a, const boost::json::value& b) {
  if (!a.is_double() && !b.is_double()) {
    if (a.is_int64() && b.is_int64()) return a.get_int64() == b.get_int64();
    if (a.is_uint64() && b.is_uint64()) return a.get_uint64() == b.get_uint64();
    return false;  // one negative int64, one above its range
  }
  return a.to_number<double>() == b.to_number<double>();
}

bool same(const boost::json::value& a, const boost::json::value& b);

bool sameObject(const boost::json::object& a, const boost::json::object& b) {
  if (a.size() != b.size()) return false;
  for (auto left = a.begin(), right = b.begin(); left != a.end(); ++left, ++right) {
    if (left->key() != right->key() || !same(left->value(), right->value())) return false;
  }
  return true;
}

bool same(const boost::json::value& a, const boost::json::value& b) {
  if (a.is_number() && b.is_number()) return sameNumber(a, b);
  if (a.kind() != b.kind()) return false;
  if (a.is_object()) return sameObject(a.get_object(), b.get_object());
  if (a.is_array()) {
    const auto& left = a.get_array();
    const auto& right = b.get_array();
    if (left.size() != right.size()) return false;
    for (std::size_t i = 0; i < left.size(); ++i)
      if (!same(left[i], right[i])) return false;
    return true;
  }
  return a == b;
}

void checkRoundTrip(std::string_view input) {
  auto dictionary = json(input);
  if (!dictionary) return;
  auto text = jsonString(*dictionary);
  // Parsed text holds only finite numbers and valid UTF-8, so it can be written.
  if (!text) std::abort();
  auto again = json(*text);
  if (!again || !sameObject(*again, *dictionary)) std::abort();
  // Once numbers have their written kind, writing and reading is a fixed point.
  auto textAgain = jsonString(*again);
  auto third = textAgain ? json(*textAgain) : std::nullopt;
  if (!third || jsonString(*third) != textAgain) std::abort();
  auto pretty = prettyJsonString(boost::json::value(*dictionary));
  if (!pretty) std::abort();
  auto fromPretty = json(*pretty);
  if (!fromPretty || !sameObject(*fromPretty, *dictionary)) std::abort();
}

void checkQueryToFile(std::string_view input) {
  std::string name = queryToFile(input);
  if (name.size() != input.size()) std::abort();
  for (std::size_t i = 0; i < name.size(); ++i) {
    char original = input[i];
    bool replaced = original == '&' || original == '+' || original == '=' || original == '?';
    if (name[i] != (replaced ? '_' : original)) std::abort();
  }
}

void checkData(std::string_view input) {
  auto bytes = data(input);
  if (!bytes) return;
  auto sameByte = [](std::uint8_t byte, char c) { return byte == static_cast<unsigned char>(c); };
  if (!std::equal(bytes->begin(), bytes->end(), input.begin(), input.end(), sameByte)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(bytes), size);
  checkRoundTrip(input);
  // The byte overload reads exactly as the text one.
  auto fromText = json(input);
  auto fromBytes = json(std::span<const std::uint8_t>(bytes, size));
  if (fromText.has_value() != fromBytes.has_value()) std::abort();
  if (fromText && *fromText != *fromBytes) std::abort();
  checkQueryToFile(input);
  checkData(input);
  return 0;
}
