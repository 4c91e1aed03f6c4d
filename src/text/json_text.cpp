#include "orbelin/text/json_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "orbelin/text/json_reader.h"
#include "platform/utf8.h"
#include "text/json_writer.h"

namespace orbelin::text {
namespace {

// The shortest digits that read back as `number` (finite, not zero), and the
// decimal exponent n such that number = 0.d1d2...dk * 10^n.
struct ShortestDigits {
  std::string digits;
  int pointPosition = 0;
};

ShortestDigits shortestDigits(double number) {
  std::array<char, 40> buffer{};
  auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), std::fabs(number),
                              std::chars_format::scientific);
  std::string_view text(buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data()));
  std::size_t e = text.find('e');
  ShortestDigits shortest;
  shortest.digits += text[0];
  if (e > 2) shortest.digits.append(text.substr(2, e - 2));
  int exponent = 0;
  std::from_chars(text.data() + e + 2, text.data() + text.size(), exponent);
  if (text[e + 1] == '-') exponent = -exponent;
  shortest.pointPosition = exponent + 1;
  return shortest;
}

}  // namespace

void appendJsonNumber(std::string& out, double number) {
  if (number == 0) {
    out += std::signbit(number) ? "-0" : "0";
    return;
  }
  if (number < 0) out += '-';
  auto [digits, n] = shortestDigits(number);
  int k = static_cast<int>(digits.size());
  auto count = [](int c) { return static_cast<std::size_t>(c); };
  if (k <= n && n <= 21) {
    out += digits;
    out.append(count(n - k), '0');
  } else if (0 < n && n <= 21) {
    out.append(digits, 0, count(n));
    out += '.';
    out.append(digits, count(n));
  } else if (-6 < n && n <= 0) {
    out += "0.";
    out.append(count(-n), '0');
    out += digits;
  } else {
    out += digits[0];
    if (k > 1) {
      out += '.';
      out.append(digits, 1);
    }
    out += n - 1 >= 0 ? "e+" : "e-";
    out += std::to_string(n - 1 >= 0 ? n - 1 : 1 - n);
  }
}

namespace {

// What each byte needs inside a JSON string: nothing, an escape, or (a
// non-ASCII lead byte) a check that a whole UTF-8 sequence starts there.
enum ByteClass : unsigned char { kPlain, kEscape, kMultiByte };

constexpr std::array<unsigned char, 256> kByteClasses = [] {
  std::array<unsigned char, 256> classes{};
  for (std::size_t c = 0; c < 256; ++c) {
    classes[c] = c < 0x20 || c == '"' || c == '\\' ? kEscape : c >= 0x80 ? kMultiByte : kPlain;
  }
  return classes;
}();

// The escape of a byte that needs one: the short forms JSON has, else the
// six-character escape of its code.
std::string_view escapeOf(unsigned char c) {
  static const std::array<std::array<char, 6>, 0x20> kControls = [] {
    static constexpr char kHex[] = "0123456789abcdef";
    std::array<std::array<char, 6>, 0x20> escapes{};
    for (std::size_t i = 0; i < escapes.size(); ++i) {
      escapes[i] = {'\\', 'u', '0', '0', kHex[i >> 4], kHex[i & 0xF]};
    }
    return escapes;
  }();
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    default:
      return std::string_view(kControls[c].data(), kControls[c].size());
  }
}

}  // namespace

namespace detail {

JsonWriter::JsonWriter(std::string& out, bool pretty) : out_(out), pretty_(pretty) {
  std::size_t used = out_.size();
  out_.resize(std::max(out_.capacity(), used + 64));
  pos_ = out_.data() + used;
  end_ = out_.data() + out_.size();
}

JsonWriter::JsonWriter(std::string& buffer, std::size_t start, bool pretty)
    : out_(buffer), pretty_(pretty) {
  if (out_.size() < start + 64) out_.resize(std::max(out_.capacity(), start + 64));
  pos_ = out_.data() + start;
  end_ = out_.data() + out_.size();
}

void JsonWriter::finish() {
  out_.resize(static_cast<std::size_t>(pos_ - out_.data()));
  pos_ = out_.data() + out_.size();
  end_ = pos_;
}

void JsonWriter::grow(std::size_t count) {
  auto used = static_cast<std::size_t>(pos_ - out_.data());
  out_.resize(std::max(used + count, 2 * out_.size()));
  pos_ = out_.data() + used;
  end_ = out_.data() + out_.size();
}

void JsonWriter::newline(std::size_t depth) {
  // The line break and the indentation of most levels in one copy.
  static constexpr std::string_view kIndent =
      "\n                                                              ";
  std::size_t width = depth * 2;
  if (width < kIndent.size()) {
    raw(kIndent.substr(0, width + 1));
    return;
  }
  put('\n');
  std::memset(room(width), ' ', width);
  advance(width);
}

// The text is copied whole when no byte needs an escape (the usual case);
// otherwise runs between escapes are. UTF-8 is checked on the way.
bool JsonWriter::string(std::string_view s) {
  char* out = room(s.size() + 2);
  *out = '"';
  std::size_t pos = 0;
  // Eight plain bytes at a time: none below 0x20, none at or above 0x80, no
  // '"' and no '\\' (a zero byte in x ^ pattern marks a match).
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighs = 0x8080808080808080;
  while (s.size() - pos >= 8) {
    std::uint64_t x = 0;
    std::memcpy(&x, s.data() + pos, 8);
    std::uint64_t quote = x ^ (kOnes * '"');
    std::uint64_t backslash = x ^ (kOnes * '\\');
    std::uint64_t special = (((x - kOnes * 0x20) & ~x) | ((quote - kOnes) & ~quote) |
                             ((backslash - kOnes) & ~backslash) | x) &
                            kHighs;
    if (special != 0) break;
    pos += 8;
  }
  while (pos < s.size() && kByteClasses[static_cast<unsigned char>(s[pos])] == kPlain) ++pos;
  if (pos == s.size()) {
    std::memcpy(out + 1, s.data(), s.size());
    out[s.size() + 1] = '"';
    advance(s.size() + 2);
    return true;
  }
  advance(1);
  std::size_t run = 0;
  while (pos < s.size()) {
    auto c = static_cast<unsigned char>(s[pos]);
    switch (kByteClasses[c]) {
      case kPlain:
        ++pos;
        break;
      case kMultiByte: {
        std::size_t length = platform::utf8SequenceLength(s, pos);
        if (length == 0) return false;
        pos += length;
        break;
      }
      default:
        raw(s.substr(run, pos - run));
        raw(escapeOf(c));
        run = ++pos;
    }
  }
  raw(s.substr(run, pos - run));
  put('"');
  return true;
}

template <typename Integer>
bool JsonWriter::wholeNumber(Integer number) {
  constexpr std::size_t kRoom = 24;  // 20 digits and a sign at most
  char* out = room(kRoom);
  auto [end, ec] = std::to_chars(out, out + kRoom, number);
  if (ec != std::errc()) return false;
  advance(static_cast<std::size_t>(end - out));
  return true;
}

bool JsonWriter::integer(std::int64_t number) {
  return wholeNumber(number);
}

bool JsonWriter::unsignedInteger(std::uint64_t number) {
  return wholeNumber(number);
}

bool JsonWriter::number(double number) {
  if (!std::isfinite(number)) return false;
  std::string text;
  appendJsonNumber(text, number);
  raw(text);
  return true;
}

bool JsonWriter::value(const boost::json::value& value, std::size_t depth) {
  if (depth > kMaxWriteDepth) return false;
  switch (value.kind()) {
    case boost::json::kind::null:
      null();
      return true;
    case boost::json::kind::bool_:
      boolean(value.get_bool());
      return true;
    case boost::json::kind::int64:
      return integer(value.get_int64());
    case boost::json::kind::uint64:
      return unsignedInteger(value.get_uint64());
    case boost::json::kind::double_:
      return number(value.get_double());
    case boost::json::kind::string:
      return string(value.get_string());
    case boost::json::kind::array:
      return array(value.get_array(), depth);
    case boost::json::kind::object:
      return object(value.get_object(), depth);
  }
  return false;
}

bool JsonWriter::object(const boost::json::object& object, std::size_t depth) {
  open('{');
  bool first = true;
  for (const auto& member : object) {
    beginMember(first, depth + 1);
    first = false;
    if (!string(member.key())) return false;
    keySeparator();
    if (!value(member.value(), depth + 1)) return false;
  }
  close('}', depth, !first);
  return true;
}

bool JsonWriter::array(const boost::json::array& array, std::size_t depth) {
  open('[');
  bool first = true;
  for (const auto& element : array) {
    beginMember(first, depth + 1);
    first = false;
    if (!value(element, depth + 1)) return false;
  }
  close(']', depth, !first);
  return true;
}

}  // namespace detail

namespace {

std::optional<std::string> writeText(const boost::json::value& value, bool pretty) {
  std::string out;
  detail::JsonWriter writer(out, pretty);
  if (!writer.value(value, 0)) return std::nullopt;
  writer.finish();
  return out;
}

}  // namespace

std::optional<std::string> jsonString(const boost::json::value& value) {
  return writeText(value, false);
}

std::optional<std::string> jsonString(const boost::json::object& dictionary) {
  std::string out;
  detail::JsonWriter writer(out, false);
  if (!writer.object(dictionary, 0)) return std::nullopt;
  writer.finish();
  return out;
}

std::optional<std::string> prettyJsonString(const boost::json::value& value) {
  return writeText(value, true);
}

std::optional<boost::json::object> json(std::string_view text, boost::json::storage_ptr storage) {
  if (text.empty()) return std::nullopt;
  auto value = readJsonValue(text, kMaxJsonDepth, nullptr, std::move(storage));
  if (!value || !value->is_object()) return std::nullopt;
  return std::move(value->get_object());
}

std::optional<boost::json::object> json(std::span<const std::uint8_t> bytes) {
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return json(text);
}

std::optional<Bytes> data(std::string_view string) {
  if (!platform::isValidUtf8(string)) return std::nullopt;
  return Bytes(string.begin(), string.end());
}

std::string queryToFile(std::string_view string) {
  std::string result(string);
  for (char& c : result) {
    if (c == '&' || c == '+' || c == '=' || c == '?') c = '_';
  }
  return result;
}

}  // namespace orbelin::text
