#include "property_list_bytes.h"

#include <cstdint>
#include <vector>

#include "orbelin/platform/host_environment.h"

namespace orbelin::platform {
namespace {

constexpr int kMaxDepth = HostEnvironment::kMaxPropertyListDepth;
constexpr std::string_view kBinaryMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
// Far above any Info.plist, far below what exhausts memory.
constexpr std::uint64_t kMaxExpandedObjects = 1'000'000;

// --- XML -------------------------------------------------------------------

bool startsWith(std::string_view text, std::size_t pos, std::string_view prefix) {
  return text.substr(pos, prefix.size()) == prefix;
}

// Position just past `terminator` at or after `pos`, or npos.
std::size_t skipPast(std::string_view text, std::size_t pos, std::string_view terminator) {
  std::size_t found = text.find(terminator, pos);
  return found == std::string_view::npos ? found : found + terminator.size();
}

bool isContainerTag(std::string_view text, std::size_t nameStart) {
  for (std::string_view name : {std::string_view("dict"), std::string_view("array")}) {
    if (!startsWith(text, nameStart, name)) continue;
    std::size_t after = nameStart + name.size();
    if (after >= text.size()) return false;
    char c = text[after];
    return c == '>' || c == '/' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
  }
  return false;
}

std::optional<std::string> xmlProblem(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) return "it holds a NUL byte";
  int depth = 0;
  std::size_t pos = text.find('<');
  while (pos != std::string_view::npos && pos < text.size()) {
    std::size_t end;
    if (startsWith(text, pos, "<!--")) {
      end = skipPast(text, pos + 4, "-->");
    } else if (startsWith(text, pos, "<![CDATA[")) {
      end = skipPast(text, pos, "]]>");
    } else {
      end = skipPast(text, pos, ">");
      if (end == std::string_view::npos) break;  // libplist reports the cut-off tag
      bool closing = startsWith(text, pos, "</");
      bool selfClosing = text[end - 2] == '/';
      if (isContainerTag(text, pos + (closing ? 2 : 1)) && !selfClosing) {
        depth += closing ? -1 : 1;
        if (depth > kMaxDepth) return "it is nested too deeply";
      }
    }
    if (end == std::string_view::npos) break;
    pos = text.find('<', end);
  }
  return std::nullopt;
}

// --- binary ----------------------------------------------------------------

class BinaryList {
 public:
  explicit BinaryList(std::string_view bytes) : bytes_(bytes) {}

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
    return kind == 0x5 || kind == 0x6 || kind == 0x7;
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
        if (info > 4 || !fits(pos, std::uint64_t{1} << info, 1)) return "a broken integer";
        return std::nullopt;
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
      case 0x7:
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
    auto addWeight = [&](std::uint64_t parent, std::uint64_t child) {
      weight[parent] = std::min(weight[parent] + weight[child], kMaxExpandedObjects + 1);
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
        if (own > kMaxDepth) return "it is nested too deeply";
        if (weight[frame.index] > kMaxExpandedObjects) return "it expands to too many objects";
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
      if (stack.size() > static_cast<std::size_t>(kMaxDepth) + 1) return "it is nested too deeply";
      state[child] = kOpen;
      stack.push_back({child, 0});
    }
    return std::nullopt;
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0;
  std::size_t refSize_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t top_ = 0;
  std::uint64_t table_ = 0;
  std::vector<std::vector<std::uint64_t>> children_;
  std::vector<bool> container_;
};

}  // namespace

std::optional<std::string> propertyListProblem(std::string_view bytes) {
  if (bytes.substr(0, kBinaryMagic.size()) == kBinaryMagic) return BinaryList(bytes).problem();
  return xmlProblem(bytes);
}

}  // namespace orbelin::platform
