#include "orbelin/archiving/property_list_check.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orbelin::archiving {
namespace {

Error checkError(const std::string& why) {
  return Error(error_domain::kPlatform, 3, "The property list cannot be read: " + why + ".");
}

constexpr std::string_view kBinaryMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

std::uint64_t readBigEndian(const std::uint8_t* data, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = (value << 8) | data[i];
  return value;
}

// The layout of a binary list, read from its trailer and checked against the
// data before any object is looked at.
class BinaryWalker {
 public:
  BinaryWalker(std::span<const std::uint8_t> bytes, const PropertyListLimits& limits)
      : bytes_(bytes), limits_(limits) {}

  Status run() {
    if (auto status = readTrailer(); !status) return status;
    std::vector<std::pair<std::uint64_t, int>> pending{{top_, 0}};
    std::size_t visited = 0;
    while (!pending.empty()) {
      auto [index, depth] = pending.back();
      pending.pop_back();
      if (++visited > limits_.maxNodes) return checkError("too many objects");
      if (depth > limits_.maxDepth) return checkError("nested too deeply");
      if (auto status = visit(index, depth, pending); !status) return status;
    }
    return Status::success();
  }

 private:
  Status readTrailer() {
    if (bytes_.size() < kBinaryMagic.size() + kTrailerSize) return checkError("truncated");
    const std::uint8_t* trailer = bytes_.data() + bytes_.size() - kTrailerSize;
    offsetSize_ = trailer[6];
    refSize_ = trailer[7];
    count_ = readBigEndian(trailer + 8, 8);
    top_ = readBigEndian(trailer + 16, 8);
    tableOffset_ = readBigEndian(trailer + 24, 8);
    std::uint64_t end = bytes_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
      return checkError("bad trailer");
    if (count_ == 0 || top_ >= count_ || tableOffset_ < kBinaryMagic.size() || tableOffset_ > end)
      return checkError("bad trailer");
    if (count_ > (end - tableOffset_) / offsetSize_) return checkError("bad offset table");
    return Status::success();
  }

  bool objectOffset(std::uint64_t index, std::uint64_t& offset) const {
    if (index >= count_) return false;
    offset = readBigEndian(bytes_.data() + tableOffset_ + index * offsetSize_, offsetSize_);
    return offset >= kBinaryMagic.size() && offset < tableOffset_;
  }

  // The length of a variable-size object and where its contents start.
  bool readLength(std::uint64_t offset, std::uint64_t& length, std::uint64_t& start) const {
    std::uint8_t low = bytes_[offset] & 0x0F;
    if (low != 0x0F) {
      length = low;
      start = offset + 1;
      return true;
    }
    if (offset + 1 >= tableOffset_) return false;
    std::uint8_t marker = bytes_[offset + 1];
    if ((marker & 0xF0) != 0x10 || (marker & 0x0F) > 3) return false;
    std::uint64_t size = std::uint64_t{1} << (marker & 0x0F);
    if (offset + 2 + size > tableOffset_) return false;
    length = readBigEndian(bytes_.data() + offset + 2, size);
    start = offset + 2 + size;
    return true;
  }

  // True when `count` items of `itemSize` bytes fit between start and the table.
  bool fits(std::uint64_t start, std::uint64_t count, std::uint64_t itemSize) const {
    if (start > tableOffset_) return false;
    return count <= (tableOffset_ - start) / itemSize;
  }

  Status visit(std::uint64_t index, int depth,
               std::vector<std::pair<std::uint64_t, int>>& pending) {
    std::uint64_t offset = 0;
    if (!objectOffset(index, offset)) return checkError("object reference out of range");
    std::uint8_t marker = bytes_[offset];
    std::uint8_t kind = marker >> 4;
    std::uint8_t low = marker & 0x0F;
    std::uint64_t length = 0;
    std::uint64_t start = 0;
    switch (kind) {
      case 0x0:
        return Status::success();
      case 0x1:
        return checkInteger(offset, low);
      case 0x2:
        return fits(offset + 1, std::uint64_t{1} << std::min<std::uint8_t>(low, 4), 1)
                   ? Status::success()
                   : checkError("number past the end");
      case 0x3:
        return fits(offset + 1, 8, 1) ? Status::success() : checkError("date past the end");
      case 0x8:
        return fits(offset + 1, std::uint64_t{low} + 1, 1) ? Status::success()
                                                           : checkError("UID past the end");
      case 0x4:
        if (!readLength(offset, length, start) || !fits(start, length, 1))
          return checkError("data past the end");
        return Status::success();
      case 0x5:
        return checkAscii(offset);
      case 0x6:
        return checkUtf16(offset);
      case 0xA:
      case 0xC:
        return pushReferences(offset, 1, depth, pending);
      case 0xD:
        return pushReferences(offset, 2, depth, pending);
      default:
        return checkError("unknown object kind");
    }
  }

  // Integers of 1, 2, 4 and 8 bytes all fit a signed 64-bit value (the
  // 8-byte ones are signed). A 16-byte one does only when its high half is
  // the sign extension of its low half; libplist would keep the low half
  // alone, so anything wider is refused rather than read as a wrong number.
  Status checkInteger(std::uint64_t offset, std::uint8_t sizeLog2) const {
    if (sizeLog2 > 4) return checkError("an integer wider than 128 bits");
    std::uint64_t size = std::uint64_t{1} << sizeLog2;
    if (!fits(offset + 1, size, 1)) return checkError("number past the end");
    if (size < 16) return Status::success();
    const std::uint8_t* value = bytes_.data() + offset + 1;
    std::uint8_t extension = (value[8] & 0x80) != 0 ? 0xFF : 0x00;
    for (int i = 0; i < 8; ++i) {
      if (value[i] != extension) return checkError("an integer beyond 64 bits");
    }
    return Status::success();
  }

  Status checkAscii(std::uint64_t offset) const {
    std::uint64_t length = 0;
    std::uint64_t start = 0;
    if (!readLength(offset, length, start) || !fits(start, length, 1))
      return checkError("string past the end");
    if (std::memchr(bytes_.data() + start, 0, length) != nullptr)
      return checkError("a string holds a NUL character");
    return Status::success();
  }

  Status checkUtf16(std::uint64_t offset) const {
    std::uint64_t length = 0;
    std::uint64_t start = 0;
    if (!readLength(offset, length, start) || !fits(start, length, 2))
      return checkError("string past the end");
    for (std::uint64_t i = 0; i < length; ++i) {
      if (bytes_[start + 2 * i] == 0 && bytes_[start + 2 * i + 1] == 0)
        return checkError("a string holds a NUL character");
    }
    return Status::success();
  }

  Status pushReferences(std::uint64_t offset, std::uint64_t perEntry, int depth,
                        std::vector<std::pair<std::uint64_t, int>>& pending) const {
    std::uint64_t length = 0;
    std::uint64_t start = 0;
    if (!readLength(offset, length, start) || length > limits_.maxNodes ||
        !fits(start, length * perEntry, refSize_))
      return checkError("container past the end");
    for (std::uint64_t i = 0; i < length * perEntry; ++i) {
      std::uint64_t ref = readBigEndian(bytes_.data() + start + i * refSize_, refSize_);
      if (ref >= count_) return checkError("object reference out of range");
      if (pending.size() >= limits_.maxNodes) return checkError("too many objects");
      pending.emplace_back(ref, depth + 1);
    }
    return Status::success();
  }

  std::span<const std::uint8_t> bytes_;
  const PropertyListLimits& limits_;
  std::uint8_t offsetSize_ = 0;
  std::uint8_t refSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t top_ = 0;
  std::uint64_t tableOffset_ = 0;
};

// A character reference such as "&#0;" or "&#x00;" that names NUL.
bool namesNul(std::string_view rest) {
  bool hex = !rest.empty() && (rest[0] == 'x' || rest[0] == 'X');
  if (hex) rest.remove_prefix(1);
  std::size_t digits = 0;
  while (digits < rest.size() && rest[digits] == '0') ++digits;
  return digits > 0 && digits < rest.size() && rest[digits] == ';';
}

// The text of an <integer> element, when it is a number libplist reads as
// written and that fits a signed 64-bit value. libplist reads the text with
// strtoull(base 0): a decimal with a leading zero would be taken as octal,
// trailing text would be dropped, and a magnitude past 2^64 would saturate.
bool integerTextFits(std::string_view text) {
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  unsigned base = 10;
  if (text.size() > 1 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() > 1 && text[0] == '0') {
    return false;
  }
  if (text.empty()) return false;
  const std::uint64_t limit = negative ? std::uint64_t{1} << 63 : (std::uint64_t{1} << 63) - 1;
  std::uint64_t magnitude = 0;
  for (char c : text) {
    unsigned digit = c >= '0' && c <= '9'                 ? unsigned(c - '0')
                     : base == 16 && c >= 'a' && c <= 'f' ? unsigned(c - 'a' + 10)
                     : base == 16 && c >= 'A' && c <= 'F' ? unsigned(c - 'A' + 10)
                                                          : base;
    if (digit >= base) return false;
    if (magnitude > (limit - digit) / base) return false;
    magnitude = magnitude * base + digit;
  }
  return true;
}

bool isNestingTag(std::string_view name) {
  return name == "dict" || name == "array";
}

Status checkXml(std::string_view text, const PropertyListLimits& limits) {
  if (text.find('\0') != std::string_view::npos) return checkError("a NUL character");
  int depth = 0;
  std::size_t elements = 0;
  std::size_t at = 0;
  while ((at = text.find_first_of("<&", at)) != std::string_view::npos) {
    std::string_view rest = text.substr(at + 1);
    if (text[at] == '&') {
      if (rest.starts_with('#') && namesNul(rest.substr(1)))
        return checkError("a reference to a NUL character");
      ++at;
      continue;
    }
    // Comments, sections and declarations may hold anything; skip them whole.
    std::string_view close = rest.starts_with("!--")        ? "-->"
                             : rest.starts_with("![CDATA[") ? "]]>"
                             : rest.starts_with('?')        ? "?>"
                                                            : ">";
    std::size_t end = text.find(close, at + 1);
    if (end == std::string_view::npos) return checkError("an unclosed tag");
    std::string_view tag = text.substr(at + 1, end - at - 1);
    at = end + close.size();
    if (close != ">" || tag.starts_with('!')) continue;
    if (++elements > limits.maxNodes) return checkError("too many elements");
    bool closing = tag.starts_with('/');
    if (closing) tag.remove_prefix(1);
    bool empty = tag.ends_with('/');
    std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    if (name == "integer" && !closing) {
      std::size_t textEnd = empty ? at : text.find('<', at);
      // Nothing but the number may stand in the element (a comment or a
      // section would split it into pieces libplist joins).
      if (textEnd == std::string_view::npos || !integerTextFits(text.substr(at, textEnd - at)) ||
          (!empty && !text.substr(textEnd).starts_with("</integer>")))
        return checkError("an integer that is not a signed 64-bit number");
      continue;
    }
    if (!isNestingTag(name) || empty) continue;
    depth += closing ? -1 : 1;
    if (depth > limits.maxDepth) return checkError("nested too deeply");
  }
  return Status::success();
}

}  // namespace

Status checkPropertyListBytes(std::span<const std::uint8_t> bytes,
                              const PropertyListLimits& limits) {
  if (bytes.empty()) return checkError("no data");
  if (bytes.size() > limits.maxBytes) return checkError("too large");
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with(kBinaryMagic)) return BinaryWalker(bytes, limits).run();
  return checkXml(text, limits);
}

void PropertyListDeleter::operator()(void* node) const {
  plist_free(static_cast<plist_t>(node));
}

Result<PropertyListHandle> parsePropertyList(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits) {
  if (auto status = checkPropertyListBytes(bytes, limits); !status) return status.error();
  const char* data = reinterpret_cast<const char*>(bytes.data());
  auto size = static_cast<std::uint32_t>(bytes.size());
  plist_t root = nullptr;
  if (plist_is_binary(data, size))
    plist_from_bin(data, size, &root);
  else
    plist_from_xml(data, size, &root);
  if (root == nullptr) return checkError("not a property list");
  return PropertyListHandle(root);
}

}  // namespace orbelin::archiving
