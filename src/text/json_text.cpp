#include "orbelin/text/json_text.h"

#include <array>
#include <charconv>
#include <cmath>

#include "orbelin/text/json_reader.h"

namespace orbelin::text {
namespace {

// Length of the UTF-8 sequence starting at `pos`, or 0 when it is malformed
// (overlong forms, surrogates and values above U+10FFFF included).
std::size_t utf8SequenceLength(std::string_view s, std::size_t pos) {
  auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
  unsigned char lead = byte(pos);
  if (lead < 0x80) return 1;
  std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (length == 0 || lead > 0xF4 || pos + length > s.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(pos + i) & 0xC0) != 0x80) return 0;
  }
  unsigned char second = byte(pos + 1);
  if (lead == 0xE0 && second < 0xA0) return 0;  // overlong
  if (lead == 0xED && second > 0x9F) return 0;  // surrogate
  if (lead == 0xF0 && second < 0x90) return 0;  // overlong
  if (lead == 0xF4 && second > 0x8F) return 0;  // above U+10FFFF
  return length;
}

bool isValidUtf8(std::string_view s) {
  for (std::size_t pos = 0; pos < s.size();) {
    std::size_t length = utf8SequenceLength(s, pos);
    if (length == 0) return false;
    pos += length;
  }
  return true;
}

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

// Deeper values are refused rather than risking the stack; parsed replies
// never come near it (see kMaxJsonDepth).
constexpr std::size_t kMaxWriteDepth = 4 * kMaxJsonDepth;

// Writes values as JSON text; fails (returns false) on what JSON cannot hold.
class Writer {
 public:
  explicit Writer(bool pretty) : pretty_(pretty) {}

  bool write(const boost::json::value& value, std::size_t depth) {
    if (depth > kMaxWriteDepth) return false;
    switch (value.kind()) {
      case boost::json::kind::null:
        out_ += "null";
        return true;
      case boost::json::kind::bool_:
        out_ += value.get_bool() ? "true" : "false";
        return true;
      case boost::json::kind::int64:
        return writeNumber(value.get_int64());
      case boost::json::kind::uint64:
        return writeNumber(value.get_uint64());
      case boost::json::kind::double_:
        return writeDouble(value.get_double());
      case boost::json::kind::string:
        return writeString(value.get_string());
      case boost::json::kind::array:
        return writeArray(value.get_array(), depth);
      case boost::json::kind::object:
        return writeObject(value.get_object(), depth);
    }
    return false;
  }

  bool writeObject(const boost::json::object& object, std::size_t depth) {
    if (object.empty()) {
      out_ += "{}";
      return true;
    }
    out_ += '{';
    bool first = true;
    for (const auto& member : object) {
      separate(first, depth + 1);
      if (!writeString(member.key())) return false;
      out_ += pretty_ ? " : " : ":";
      if (!write(member.value(), depth + 1)) return false;
    }
    newline(depth);
    out_ += '}';
    return true;
  }

  std::string take() { return std::move(out_); }

 private:
  template <typename Number>
  bool writeNumber(Number number) {
    std::array<char, 32> buffer{};
    auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    if (ec != std::errc()) return false;
    out_.append(buffer.data(), end);
    return true;
  }

  bool writeDouble(double number) {
    if (!std::isfinite(number)) return false;
    appendJsonNumber(out_, number);
    return true;
  }

  bool writeString(std::string_view s) {
    if (!isValidUtf8(s)) return false;
    out_ += '"';
    for (char c : s) {
      switch (c) {
        case '"':
          out_ += "\\\"";
          break;
        case '\\':
          out_ += "\\\\";
          break;
        case '\n':
          out_ += "\\n";
          break;
        case '\r':
          out_ += "\\r";
          break;
        case '\t':
          out_ += "\\t";
          break;
        case '\b':
          out_ += "\\b";
          break;
        case '\f':
          out_ += "\\f";
          break;
        default:
          if (static_cast<unsigned char>(c) < 0x20) {
            writeControl(static_cast<unsigned char>(c));
          } else {
            out_ += c;
          }
      }
    }
    out_ += '"';
    return true;
  }

  void writeControl(unsigned char c) {
    static constexpr char kHex[] = "0123456789abcdef";
    out_ += "\\u00";
    out_ += kHex[c >> 4];
    out_ += kHex[c & 0xF];
  }

  bool writeArray(const boost::json::array& array, std::size_t depth) {
    if (array.empty()) {
      out_ += "[]";
      return true;
    }
    out_ += '[';
    bool first = true;
    for (const auto& element : array) {
      separate(first, depth + 1);
      if (!write(element, depth + 1)) return false;
    }
    newline(depth);
    out_ += ']';
    return true;
  }

  void separate(bool& first, std::size_t depth) {
    if (!first) out_ += ',';
    first = false;
    newline(depth);
  }

  void newline(std::size_t depth) {
    if (!pretty_) return;
    out_ += '\n';
    out_.append(depth * 2, ' ');
  }

  bool pretty_;
  std::string out_;
};

std::optional<std::string> writeText(const boost::json::value& value, bool pretty) {
  Writer writer(pretty);
  if (!writer.write(value, 0)) return std::nullopt;
  return writer.take();
}

}  // namespace

std::optional<std::string> jsonString(const boost::json::value& value) {
  return writeText(value, false);
}

std::optional<std::string> jsonString(const boost::json::object& dictionary) {
  Writer writer(false);
  if (!writer.writeObject(dictionary, 0)) return std::nullopt;
  return writer.take();
}

std::optional<std::string> prettyJsonString(const boost::json::value& value) {
  return writeText(value, true);
}

std::optional<boost::json::object> json(std::string_view text) {
  if (text.empty()) return std::nullopt;
  auto value = readJsonValue(text, kMaxJsonDepth);
  if (!value || !value->is_object()) return std::nullopt;
  return std::move(value->get_object());
}

std::optional<boost::json::object> json(std::span<const std::uint8_t> bytes) {
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return json(text);
}

std::optional<Bytes> data(std::string_view string) {
  if (!isValidUtf8(string)) return std::nullopt;
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
