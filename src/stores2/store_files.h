#pragma once

// Internal: the store file and its journal files in a directory.

#include <string>

namespace orbelin {

// Renames every file of the store in `directory` to
// ObjectStore::INCOMPATIBLE_STORE_NAME + its name + the current time, without
// replacing any file. False when one could not be renamed (each is logged)
// or the directory cannot be listed.
bool setAsideStoreFiles(const std::string& directory);

// Removes every file of the store in `directory`. False when one could not
// be removed (each is logged) or the directory cannot be listed.
bool removeStoreFiles(const std::string& directory);

}  // namespace orbelin
