#include "orbelin/networking/response.h"

#include <fstream>
#include <iterator>
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
  std::error_code error;
  if (!fs::is_regular_file(response.path_, error)) {
    response.error_ = resourceError(
        kNotFound, "The resource \"" + fileName + "\" could not be found.", response.path_);
    return response;
  }
  if (!resolvesInside(root, response.path_)) {
    response.error_ =
        resourceError(kOutsideRoot, "The resource \"" + fileName + "\" lies outside the resources.",
                      response.path_);
    return response;
  }
  std::ifstream file(response.path_, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.good() && !file.eof()) {
    response.error_ = resourceError(
        kUnreadable, "The resource \"" + fileName + "\" could not be read.", response.path_);
    return response;
  }
  response.data_ = std::move(bytes);
  return response;
}

}  // namespace TamberNetworking
