#include "orbelin/platform/owner_only_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "orbelin/platform/error.h"

namespace orbelin::platform {

namespace {

Error fileError(int code, const std::string& what, const std::filesystem::path& path) {
  return Error(error_domain::kPlatform, code,
               "Cannot create the " + what + " " + path.string() + ": " +
                   std::generic_category().message(code));
}

}  // namespace

Status createOwnerOnlyDirectories(const std::filesystem::path& directory) {
  std::filesystem::path partial;
  for (const auto& part : directory) {
    partial /= part;
    if (::mkdir(partial.c_str(), 0700) == 0 || errno == EEXIST) continue;
    return fileError(errno, "directory", partial);
  }
  return Status::success();
}

Result<bool> createOwnerOnlyFile(const std::filesystem::path& path) {
  if (path.has_parent_path()) {
    if (auto status = createOwnerOnlyDirectories(path.parent_path()); !status)
      return status.error();
  }
  int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
  if (fd < 0 && errno == EEXIST) return false;
  if (fd < 0) return fileError(errno, "file", path);
  ::fchmod(fd, 0600);  // whatever the process's umask
  ::close(fd);
  return true;
}

}  // namespace orbelin::platform
