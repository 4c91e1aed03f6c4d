#pragma once

#include <cstddef>
#include <string_view>

// The one reading of UTF-8 for every layer: what JSON text, keyed archives
// and stored texts accept as text.
namespace orbelin::platform {

// Length (1 to 4) of the well-formed UTF-8 sequence that starts at `pos`, or
// 0 when none does: a continuation byte where a sequence should start, a
// sequence cut off by the end of the text, an overlong form, a surrogate
// (U+D800 to U+DFFF) or a value above U+10FFFF. NUL is a well-formed
// sequence of one byte. REQUIRES: pos < text.size().
inline std::size_t utf8SequenceLength(std::string_view text, std::size_t pos) {
  auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned char lead = byte(pos);
  if (lead < 0x80) return 1;
  std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (length == 0 || lead > 0xF4 || length > text.size() - pos) return 0;
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

// The code point of the sequence of `length` bytes at `pos`, as measured by
// utf8SequenceLength (which must not have returned 0).
inline char32_t utf8CodePoint(std::string_view text, std::size_t pos, std::size_t length) {
  static constexpr unsigned char kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t code = static_cast<unsigned char>(text[pos]) & kLeadBits[length];
  for (std::size_t i = 1; i < length; ++i)
    code = (code << 6) | (static_cast<unsigned char>(text[pos + i]) & 0x3Fu);
  return code;
}

// True when the whole text is well-formed UTF-8 (see utf8SequenceLength).
inline bool isValidUtf8(std::string_view text) {
  for (std::size_t pos = 0; pos < text.size();) {
    std::size_t length = utf8SequenceLength(text, pos);
    if (length == 0) return false;
    pos += length;
  }
  return true;
}

}  // namespace orbelin::platform
