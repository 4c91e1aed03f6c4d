#include "orbelin/networking/response.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "orbelin/networking/data_source_manager.h"

namespace TamberNetworking {
namespace {

namespace fs = std::filesystem;

orbelin::Error resourceError(long code, const std::string& text, const fs::path& path) {
  orbelin::Error error(orbelin::error_domain::kResources, code, text);
  if (!path.empty()) error.setUserInfoValue("NSFilePath", path.string());
  return error;
}

// True when the relative name cannot climb out of the directory it is joined to.
bool staysInside(const fs::path& relative) {
  if (relative.empty() || relative.is_absolute() || relative.has_root_name() ||
      relative.has_root_directory())
    return false;
  for (const auto& part : relative) {
    if (part == "..") return false;
  }
  return true;
}

// Symbolic links inside the root may still point out of it: compare real paths.
bool resolvesInside(const fs::path& root, const fs::path& file) {
  std::error_code error;
  fs::path realRoot = fs::weakly_canonical(root, error);
  if (error) return false;
  fs::path realFile = fs::weakly_canonical(file, error);
  if (error) return false;
  auto rootEnd = std::distance(realRoot.begin(), realRoot.end());
  auto fileEnd = std::distance(realFile.begin(), realFile.end());
  if (fileEnd <= rootEnd) return false;
  return std::equal(realRoot.begin(), realRoot.end(), realFile.begin());
}

struct FileRead {
  std::optional<std::string> bytes;
  bool missing = false;  // not there, or not a regular file
};

// One open, one check of what was opened, and one read of its whole length
// (more only if the file grows or a read comes back short).
FileRead readRegularFile(const fs::path& path) {
  FileRead result;
  // O_NONBLOCK: opening a FIFO must not wait for a writer; the check below
  // refuses it anyway.
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    result.missing = errno == ENOENT || errno == ENOTDIR;
    return result;
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    result.missing = true;
    ::close(fd);
    return result;
  }
  std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) bytes.resize(bytes.size() + 4096);
    ssize_t count = ::read(fd, bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      ::close(fd);
      return result;
    }
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  ::close(fd);
  bytes.resize(filled);
  result.bytes = std::move(bytes);
  return result;
}

}  // namespace

Response Response::withResource(const std::string& name, const std::string& type) const {
  Response response;
  const std::string fileName = name + "." + type;
  const fs::path relative(fileName);
  if (name.empty() || fileName.find('\0') != std::string::npos || !staysInside(relative)) {
    response.error_ = resourceError(
        kOutsideRoot, "The resource name \"" + fileName + "\" is not allowed.", fs::path());
    return response;
  }
  const fs::path root = DataSourceManager::resourceRoot();
  response.path_ = root / relative;
  if (!resolvesInside(root, response.path_)) {
    std::error_code error;
    // A name that leads nowhere is missing; one that leads out is refused.
    const bool exists = fs::exists(response.path_, error);
    response.error_ =
        exists ? resourceError(kOutsideRoot,
                               "The resource \"" + fileName + "\" lies outside the resources.",
                               response.path_)
               : resourceError(kNotFound, "The resource \"" + fileName + "\" could not be found.",
                               response.path_);
    return response;
  }
  FileRead read = readRegularFile(response.path_);
  if (!read.bytes) {
    response.error_ =
        read.missing
            ? resourceError(kNotFound, "The resource \"" + fileName + "\" could not be found.",
                            response.path_)
            : resourceError(kUnreadable, "The resource \"" + fileName + "\" could not be read.",
                            response.path_);
    return response;
  }
  response.data_ = std::move(*read.bytes);
  return response;
}

}  // namespace TamberNetworking
