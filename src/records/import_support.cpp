#include "records/import_support.h"

#include <array>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "orbelin/stack/core_data_stack.h"

namespace orbelin::records_detail {
namespace {

// What the outermost create of an import on this thread found, for the
// creates nested in it: the context and its model, and the entities already
// looked up (an import makes records of a few kinds many times over).
struct Import {
  graph::ManagedObjectContext* context = nullptr;
  std::shared_ptr<const graph::ManagedObjectModel> model;
  std::array<std::pair<std::string_view, const graph::EntityDescription*>, 16> entities{};
  std::size_t entityCount = 0;

  const graph::EntityDescription* entity(std::string_view name) {
    for (std::size_t i = 0; i < entityCount; ++i) {
      if (entities[i].first == name) return entities[i].second;
    }
    const graph::EntityDescription* found = model ? model->entity(name) : nullptr;
    if (entityCount < entities.size()) entities[entityCount++] = {name, found};
    return found;
  }
};

thread_local int importDepth = 0;
thread_local Import current;

}  // namespace

ImportScope::ImportScope() {
  if (importDepth++ > 0) return;
  context_ = CoreDataStack::sharedInstance().managedObjectContext();
  if (!context_) return;
  batch_.emplace(*context_);
  current.context = context_.get();
  if (auto coordinator = context_->persistentStoreCoordinator())
    current.model = coordinator->managedObjectModel();
}

ImportScope::~ImportScope() {
  if (--importDepth == 0) current = Import();
}

graph::ManagedObject* ImportScope::insertObject(std::string_view entityName) {
  if (!current.context) return nullptr;
  const graph::EntityDescription* entity = current.entity(entityName);
  return entity ? current.context->insertNewObject(*entity) : nullptr;
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
