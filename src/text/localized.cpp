#include "orbelin/text/localized.h"

#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>

#include "orbelin/text/json_text.h"

namespace orbelin::text {
namespace {

// The table is swapped whole, so a reader holds a snapshot while it looks up.
struct TableHolder {
  std::mutex mutex;
  std::shared_ptr<const StringsTable> table;  // guarded by mutex
};

TableHolder& holder() {
  static TableHolder instance;
  return instance;
}

std::shared_ptr<const StringsTable> currentTable() {
  std::lock_guard lock(holder().mutex);
  return holder().table;
}

}  // namespace

std::string localized(std::string_view key) {
  auto table = currentTable();
  if (table) {
    auto found = table->find(std::string(key));
    if (found != table->end()) return found->second;
  }
  return std::string(key);
}

void setLocalizedStringsTable(std::optional<StringsTable> table) {
  std::shared_ptr<const StringsTable> replacement;
  if (table) replacement = std::make_shared<const StringsTable>(std::move(*table));
  std::lock_guard lock(holder().mutex);
  holder().table = std::move(replacement);
}

Status loadLocalizedStringsTable(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return Error(error_domain::kResources, 1, "Cannot read strings table " + path.string());
  }
  std::ostringstream contents;
  contents << file.rdbuf();
  auto object = json(contents.str());
  if (!object) {
    return Error(error_domain::kResources, 2,
                 "Strings table " + path.string() + " is not a JSON object");
  }
  StringsTable table;
  for (const auto& member : *object) {
    if (member.value().is_string()) {
      table.emplace(member.key(), member.value().get_string());
    }
  }
  setLocalizedStringsTable(std::move(table));
  return Status::success();
}

}  // namespace orbelin::text
