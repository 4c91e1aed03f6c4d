#pragma once

// Files only their owner may read or write: the stores hold patients' data.

#include <filesystem>

#include "orbelin/platform/result.h"

namespace orbelin::platform {

// Creates each missing directory of `directory`, owner-only (0700): the
// documents directory of a fresh account does not exist yet. Errors are of
// error_domain::kPlatform, with the errno as code.
Status createOwnerOnlyDirectories(const std::filesystem::path& directory);

// Creates the file empty and owner-only (0600), with its missing parent
// directories, so that nothing else can open it before its permissions are
// set (SQLite gives a database's journal files the database's permissions).
// False when the file is there already: another process may have made it
// first.
Result<bool> createOwnerOnlyFile(const std::filesystem::path& path);

}  // namespace orbelin::platform
