#include "records/import_support.h"

#include "orbelin/stack/core_data_stack.h"

namespace orbelin::records_detail {
namespace {
thread_local int importDepth = 0;
}  // namespace

ImportScope::ImportScope() {
  registerFirstGenerationModel();
  context_ = CoreDataStack::sharedInstance().managedObjectContext();
  ++importDepth;
}

ImportScope::~ImportScope() {
  --importDepth;
}

bool ImportScope::nestedAllowed() const {
  return importDepth < kMaxNestedImportDepth;
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
