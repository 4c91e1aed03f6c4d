#include "records/import_support.h"

#include <array>
#include <cstring>
#include <string_view>

#include "orbelin/stack/core_data_stack.h"

namespace orbelin::records_detail {
namespace {
thread_local int importDepth = 0;
}  // namespace

ImportScope::ImportScope() {
  context_ = CoreDataStack::sharedInstance().managedObjectContext();
  ++importDepth;
}

ImportScope::~ImportScope() {
  --importDepth;
}

bool ImportScope::nestedAllowed() const {
  return importDepth < kMaxNestedImportDepth;
}

namespace {

// Dates read from text, remembered by their text: a reply repeats the same
// few dates many times (every task carries its patient's). The reading is
// a function of the text alone, so a remembered result is the same result.
class DateTexts {
 public:
  OptionalDate read(std::string_view text) {
    if (text.size() > kLongest) return TamberNetworking::parseISO8601Date(text);
    std::uint32_t hash = 2166136261u;  // FNV-1a
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    Entry& entry = entries_[hash % entries_.size()];
    if (entry.length == text.size() && std::string_view(entry.text, entry.length) == text)
      return entry.date;
    entry.date = TamberNetworking::parseISO8601Date(text);
    std::memcpy(entry.text, text.data(), text.size());
    entry.length = text.size();
    return entry.date;
  }

 private:
  static constexpr std::size_t kLongest = 40;
  struct Entry {
    char text[kLongest];
    std::size_t length = kLongest + 1;  // matches no text
    OptionalDate date;
  };
  std::array<Entry, 64> entries_{};
};

}  // namespace

OptionalDate Members::date(std::size_t key) const {
  const boost::json::value* node = found_[key];
  if (node == nullptr || !node->is_string()) return TamberNetworking::detail::dateOf(node);
  thread_local DateTexts texts;
  const auto& text = node->get_string();
  return texts.read(std::string_view(text.data(), text.size()));
}

Members::Members(const TamberNetworking::JSON& json, std::span<const std::string_view> keys,
                 MemberMemo& memo)
    : json_(json) {
  const boost::json::value* node = TamberNetworking::detail::JSONAccess::node(json);
  if (node == nullptr || !node->is_object()) return;
  constexpr std::uint8_t kNoKey = 0xFF;
  // Positions past this are matched without the memo (no real reply has them).
  constexpr std::size_t kRemembered = 64;
  std::size_t position = 0;
  for (const auto& member : node->get_object()) {
    std::string_view name(member.key().data(), member.key().size());
    std::size_t key = kNoKey;
    if (position < memo.keyAt.size()) {
      std::uint8_t guess = memo.keyAt[position];
      if (guess < keys.size() && keys[guess] == name) key = guess;
    }
    if (key == kNoKey) {
      for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i] == name) {
          key = i;
          break;
        }
      }
      if (position < kRemembered) {
        if (memo.keyAt.size() <= position) memo.keyAt.resize(position + 1, kNoKey);
        memo.keyAt[position] = static_cast<std::uint8_t>(key);
      }
    }
    if (key != kNoKey) found_[key] = &member.value();
    ++position;
  }
}

}  // namespace orbelin::records_detail
