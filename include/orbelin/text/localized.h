#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "orbelin/platform/result.h"

namespace orbelin::text {

// Translations of user-visible labels (the time units of DateUtils, for
// instance), as the host provides them; key → translated text.
using StringsTable = std::unordered_map<std::string, std::string>;

// The translation of `key` in the host's strings table; the key itself when
// the host gave no table or the table has no entry for it.
// Thread safety: may be called from any thread, also while the table is set.
std::string localized(std::string_view key);

// Replaces the host's strings table; std::nullopt removes it.
// Thread safety: any thread; readers see the old or the new table, whole.
void setLocalizedStringsTable(std::optional<StringsTable> table);

// Loads a strings table from a JSON file holding one object of text members
// (members of other kinds are skipped). On failure the table is unchanged and
// an error describes why.
Status loadLocalizedStringsTable(const std::filesystem::path& path);

}  // namespace orbelin::text
