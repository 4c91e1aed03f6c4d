#pragma once

// Binary property lists built by hand, for bytes no writer would produce:
// NULs, loops, references and lengths past the end, integers too wide.

#include <cstdint>
#include <string>
#include <vector>

namespace orbelin::test {

inline std::string bigEndian(std::uint64_t value, std::size_t size) {
  std::string out(size, '\0');
  for (std::size_t i = 0; i < size; ++i)
    out[size - 1 - i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

// A binary property list of encoded objects: 4-byte offsets, references
// `refSize` bytes wide, the object `top` at the top.
inline std::string binaryPlist(const std::vector<std::string>& objects, std::size_t refSize = 1,
                               std::uint64_t top = 0) {
  std::string out = "bplist00";
  std::vector<std::uint64_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out += object;
  }
  std::uint64_t table = out.size();
  for (auto offset : offsets) out += bigEndian(offset, 4);
  out += std::string(6, '\0');
  out += static_cast<char>(4);
  out += static_cast<char>(refSize);
  out += bigEndian(objects.size(), 8) + bigEndian(top, 8) + bigEndian(table, 8);
  return out;
}

// The encoded objects: a short ASCII string, an array, a dictionary of one
// entry, an integer of 2^sizeLog2 big-endian bytes.
inline std::string ascii(const std::string& text) {
  return static_cast<char>(0x50 | text.size()) + text;
}
inline std::string array(const std::vector<std::uint64_t>& refs, std::size_t refSize = 1) {
  std::string out(1, static_cast<char>(0xA0 | refs.size()));
  for (auto ref : refs) out += bigEndian(ref, refSize);
  return out;
}
inline std::string dictionary1(std::uint64_t key, std::uint64_t value, std::size_t refSize = 1) {
  return std::string(1, '\xD1') + bigEndian(key, refSize) + bigEndian(value, refSize);
}
inline std::string integer(int sizeLog2, const std::string& bytes) {
  return static_cast<char>(0x10 | sizeLog2) + bytes;
}

}  // namespace orbelin::test
