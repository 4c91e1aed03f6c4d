#include "property_list_bytes.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace orbelin::platform {
namespace {

constexpr std::string_view kBinaryMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;

// --- XML -------------------------------------------------------------------

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

std::optional<std::string> xmlProblem(std::string_view text, const PropertyListBounds& bounds) {
  if (text.find('\0') != std::string_view::npos) return "it holds a NUL byte";
  int depth = 0;
  std::size_t elements = 0;
  std::size_t at = 0;
  while ((at = text.find_first_of("<&", at)) != std::string_view::npos) {
    std::string_view rest = text.substr(at + 1);
    if (text[at] == '&') {
      if (rest.starts_with('#') && namesNul(rest.substr(1)))
        return "it holds a reference to a NUL character";
      ++at;
      continue;
    }
    // Comments, sections and declarations may hold anything; skip them whole.
    std::string_view close = rest.starts_with("!--")        ? "-->"
                             : rest.starts_with("![CDATA[") ? "]]>"
                             : rest.starts_with('?')        ? "?>"
                                                            : ">";
    std::size_t end = text.find(close, at + 1);
    if (end == std::string_view::npos) return "a tag is never closed";
    std::string_view tag = text.substr(at + 1, end - at - 1);
    at = end + close.size();
    if (close != ">" || tag.starts_with('!')) continue;
    if (++elements > bounds.maxNodes) return "it holds too many objects";
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
        return "an integer is not a signed 64-bit number";
      continue;
    }
    if ((name != "dict" && name != "array") || empty) continue;
    depth += closing ? -1 : 1;
    if (depth > bounds.maxDepth) return "it is nested too deeply";
  }
  return std::nullopt;
}

// --- binary ----------------------------------------------------------------

class BinaryList {
 public:
  BinaryList(std::string_view bytes, const PropertyListBounds& bounds)
      : bytes_(bytes), bounds_(bounds) {}

  std::optional<std::string> problem() {
    if (!readTrailer()) return "its binary trailer or offset table is broken";
    children_.resize(count_);
    container_.resize(count_, false);
    for (std::uint64_t i = 0; i < count_; ++i) {
      if (auto why = readObject(i)) return why;
    }
    return depthProblem();
  }

 private:
  std::uint64_t number(std::size_t pos, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
      value = (value << 8) | static_cast<unsigned char>(bytes_[pos + i]);
    return value;
  }

  bool readTrailer() {
    if (bytes_.size() < kBinaryMagic.size() + kTrailerSize) return false;
    std::size_t trailer = bytes_.size() - kTrailerSize;
    offsetSize_ = static_cast<unsigned char>(bytes_[trailer + 6]);
    refSize_ = static_cast<unsigned char>(bytes_[trailer + 7]);
    count_ = number(trailer + 8, 8);
    top_ = number(trailer + 16, 8);
    table_ = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return false;
    // Every object takes at least one byte, so the count is bounded by the size.
    if (count_ == 0 || count_ > trailer || top_ >= count_) return false;
    if (table_ < kBinaryMagic.size() || table_ > trailer) return false;
    return count_ * offsetSize_ <= trailer - table_;
  }

  // The length of the object at `pos` whose low nibble is `info`; advances pos
  // past an extended length. Absent when it does not fit before the table.
  std::optional<std::uint64_t> length(std::size_t& pos, unsigned info) const {
    if (info != 0xF) return info;
    if (pos >= table_) return std::nullopt;
    auto marker = static_cast<unsigned char>(bytes_[pos]);
    std::size_t size = std::size_t{1} << (marker & 0x3);
    if ((marker & 0xF0) != 0x10 || (marker & 0xF) > 3 || pos + 1 + size > table_)
      return std::nullopt;
    std::uint64_t value = number(pos + 1, size);
    pos += 1 + size;
    return value;
  }

  bool fits(std::size_t pos, std::uint64_t count, std::uint64_t unit) const {
    return pos <= table_ && count <= (table_ - pos) / unit;
  }

  bool isStringObject(std::uint64_t index) const {
    std::uint64_t pos = number(table_ + index * offsetSize_, offsetSize_);
    if (pos < kBinaryMagic.size() || pos >= table_) return false;
    unsigned kind = static_cast<unsigned char>(bytes_[pos]) >> 4;
    return kind == 0x5 || kind == 0x6;
  }

  std::optional<std::string> readObject(std::uint64_t index) {
    std::uint64_t offset = number(table_ + index * offsetSize_, offsetSize_);
    if (offset < kBinaryMagic.size() || offset >= table_) return "an object lies outside the file";
    auto pos = static_cast<std::size_t>(offset);
    auto marker = static_cast<unsigned char>(bytes_[pos++]);
    unsigned kind = marker >> 4, info = marker & 0xFu;
    switch (kind) {
      case 0x0:
        return std::nullopt;
      case 0x1:
        return integerProblem(pos, info);
      case 0x2:
        if ((info != 2 && info != 3) || !fits(pos, std::uint64_t{1} << info, 1))
          return "a broken real";
        return std::nullopt;
      case 0x3:
        if (info != 3 || !fits(pos, 8, 1)) return "a broken date";
        return std::nullopt;
      case 0x8:
        if (!fits(pos, info + 1u, 1)) return "a broken UID";
        return std::nullopt;
      default:
        break;
    }
    auto size = length(pos, info);
    if (!size) return "a broken length";
    switch (kind) {
      case 0x4:
        if (!fits(pos, *size, 1)) return "a broken data object";
        return std::nullopt;
      case 0x5:
        if (!fits(pos, *size, 1)) return "a broken string";
        if (bytes_.substr(pos, *size).find('\0') != std::string_view::npos)
          return "a string or key holds a NUL";
        return std::nullopt;
      case 0x6:
        if (!fits(pos, *size, 2)) return "a broken string";
        for (std::uint64_t i = 0; i < *size; ++i) {
          if (number(pos + 2 * i, 2) == 0) return "a string or key holds a NUL";
        }
        return std::nullopt;
      case 0xA:
      case 0xC:
        return readReferences(index, pos, *size, false);
      case 0xD:
        return readReferences(index, pos, *size, true);
      default:
        return "an object of unknown kind";
    }
  }

  // Integers of 1, 2, 4 and 8 bytes all fit a signed 64-bit value (the
  // 8-byte ones are signed). A 16-byte one does only when its high half is
  // the sign extension of its low half; libplist would keep the low half
  // alone, so anything wider is refused rather than read as a wrong number.
  std::optional<std::string> integerProblem(std::size_t pos, unsigned sizeLog2) const {
    if (sizeLog2 > 4 || !fits(pos, std::uint64_t{1} << sizeLog2, 1)) return "a broken integer";
    if (sizeLog2 < 4) return std::nullopt;
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes_[pos + i]); };
    unsigned char extension = (byte(8) & 0x80) != 0 ? 0xFF : 0x00;
    for (std::size_t i = 0; i < 8; ++i) {
      if (byte(i) != extension) return "an integer is not a signed 64-bit number";
    }
    return std::nullopt;
  }

  std::optional<std::string> readReferences(std::uint64_t index, std::size_t pos,
                                            std::uint64_t size, bool dictionary) {
    std::uint64_t references = dictionary ? size * 2 : size;
    if (size > table_ || !fits(pos, references, refSize_)) return "a broken container";
    auto& children = children_[index];
    children.reserve(static_cast<std::size_t>(references));
    for (std::uint64_t i = 0; i < references; ++i) {
      std::uint64_t child = number(pos + i * refSize_, refSize_);
      if (child >= count_) return "a reference points outside the file";
      if (dictionary && i < size && !isStringObject(child)) return "a key is not a string";
      children.push_back(child);
    }
    container_[index] = true;
    return std::nullopt;
  }

  // Height of the object graph from the top object, by an explicit stack with
  // each object finished once, so shared objects cost nothing extra.
  std::optional<std::string> depthProblem() const {
    enum : std::uint8_t { kNew, kOpen, kDone };
    std::vector<std::uint8_t> state(static_cast<std::size_t>(count_), kNew);
    std::vector<int> height(static_cast<std::size_t>(count_), 0);
    // Objects libplist creates: a shared object is copied at every reference.
    std::vector<std::uint64_t> weight(static_cast<std::size_t>(count_), 1);
    const std::uint64_t maxNodes = bounds_.maxNodes;
    auto addWeight = [&](std::uint64_t parent, std::uint64_t child) {
      weight[parent] = std::min(weight[parent] + weight[child], maxNodes + 1);
    };
    struct Frame {
      std::uint64_t index;
      std::size_t next;
    };
    std::vector<Frame> stack{{top_, 0}};
    state[top_] = kOpen;
    while (!stack.empty()) {
      Frame& frame = stack.back();
      const auto& children = children_[frame.index];
      if (frame.next == children.size()) {
        int own = container_[frame.index] ? height[frame.index] + 1 : 0;
        height[frame.index] = own;
        state[frame.index] = kDone;
        if (own > bounds_.maxDepth) return "it is nested too deeply";
        if (weight[frame.index] > maxNodes) return "it expands to too many objects";
        std::uint64_t finished = frame.index;
        stack.pop_back();
        if (!stack.empty()) {
          auto& parent = height[stack.back().index];
          parent = std::max(parent, own);
          addWeight(stack.back().index, finished);
        }
        continue;
      }
      std::uint64_t child = children[frame.next++];
      if (state[child] == kOpen) return "its references loop";
      if (state[child] == kDone) {
        int own = height[child];  // finished: already its own height
        height[frame.index] = std::max(height[frame.index], own);
        addWeight(frame.index, child);
        continue;
      }
      if (stack.size() > static_cast<std::size_t>(bounds_.maxDepth) + 1)
        return "it is nested too deeply";
      state[child] = kOpen;
      stack.push_back({child, 0});
    }
    return std::nullopt;
  }

  std::string_view bytes_;
  const PropertyListBounds& bounds_;
  std::size_t offsetSize_ = 0;
  std::size_t refSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t top_ = 0;
  std::uint64_t table_ = 0;
  std::vector<std::vector<std::uint64_t>> children_;
  std::vector<bool> container_;
};

}  // namespace

std::optional<std::string> propertyListProblem(std::string_view bytes,
                                               const PropertyListBounds& bounds) {
  if (bytes.empty()) return "it is empty";
  if (bytes.size() > bounds.maxBytes) return "it is too large";
  if (bytes.starts_with(kBinaryMagic)) return BinaryList(bytes, bounds).problem();
  return xmlProblem(bytes, bounds);
}

}  // namespace orbelin::platform
