// The files of a store on disk: the store file and the journal files
// beside it, set aside together when the store does not fit the model, or
// removed together.

#include "store_files.h"

#include <fcntl.h>
#include <stdio.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "dates/icu_calendars.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/platform/clock.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/error.h"
#include "orbelin/stores2/object_store.h"

namespace orbelin {

namespace fs = std::filesystem;

namespace {

void log(const std::string& line) {
  platform::Console::log(line);
}

Error fileError(int code, const std::string& what) {
  return Error(error_domain::kPlatform, code, what + ": " + std::strerror(code));
}

// The current moment as "yyyy-MM-dd-HH-mm-ss" in the layer's time zone
// (DateUtils::setTimeZone), like every other local time it shows.
std::string timestamp() {
  UErrorCode status = U_ZERO_ERROR;
  // A file name, not a display: Gregorian fields and ASCII digits whatever
  // the host's locale, so a Thai or Japanese calendar cannot change the year.
  icu::SimpleDateFormat formatter(icu::UnicodeString("yyyy-MM-dd-HH-mm-ss"),
                                  icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status)) return {};
  formatter.setTimeZone(*dates::ThreadCalendars::get().zone());
  icu::UnicodeString text;
  formatter.format(secondsSince1970(platform::Clock::now()) * 1000.0, text);
  std::string result;
  text.toUTF8String(result);
  return result;
}

// The names in `directory` that belong to the store file, sorted; nullopt
// when the directory cannot be listed.
std::optional<std::vector<std::string>> storeFileNames(const std::string& directory) {
  std::error_code ec;
  std::vector<std::string> names;
  fs::directory_iterator it(directory, ec);
  if (ec) return std::nullopt;
  const std::string pattern = std::string(ObjectStore::MAIN_STORE_NAME) + "*";
  for (; it != fs::directory_iterator(); it.increment(ec)) {
    if (ec) return std::nullopt;
    std::string name = it->path().filename().string();
    if (graph::wildcardMatch(pattern, name)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Moves without replacing an existing file, as the platform's file manager does.
std::optional<Error> moveFile(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
    return std::nullopt;
  return fileError(errno, "Cannot move " + from + " to " + to);
}

}  // namespace

bool setAsideStoreFiles(const std::string& directory) {
  auto names = storeFileNames(directory);
  if (!names) return false;
  bool result = true;
  for (const std::string& name : *names) {
    std::string from = (fs::path(directory) / name).string();
    std::string to =
        (fs::path(directory) / (ObjectStore::INCOMPATIBLE_STORE_NAME + name + timestamp()))
            .string();
    if (auto error = moveFile(from, to)) {
      log("ObjectStore.persistentStoreCoordinator: Unable to rename incompatible store file : " +
          from + ". Error: " + error->description());
      result = false;
    }
  }
  return result;
}

bool removeStoreFiles(const std::string& directory) {
  auto names = storeFileNames(directory);
  if (!names) return false;
  bool result = true;
  for (const std::string& name : *names) {
    std::string path = (fs::path(directory) / name).string();
    if (::unlink(path.c_str()) != 0) {
      log("deleteStore: Unable to remove store file : " + path +
          ". Error: " + fileError(errno, "Cannot remove " + path).description());
      result = false;
    }
  }
  return result;
}

}  // namespace orbelin
