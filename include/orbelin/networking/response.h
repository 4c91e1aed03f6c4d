#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "orbelin/platform/error.h"

namespace TamberNetworking {

// A local answer to a request: the content of one resource file under the
// manager's resource root (DataSourceManager::resourceRoot), or the error that
// kept it from being read. A plain value.
class Response {
 public:
  // The empty response: no content and no error.
  Response() = default;

  // A response whose content is the file `<root>/<name>.<type>` read now.
  // `name` may contain "/" directory segments and dots ("hospital/patients/
  // patient.7"). The lookup never leaves the root: an empty name, an absolute
  // name, a ".." segment, a NUL character, or a path that resolves (through
  // symbolic links) outside the root gives an error in the OrbelinResources
  // domain; so does a name that is not there or is not a regular file.
  // Codes: kNotFound for a missing file, kOutsideRoot for a name that would
  // leave the root, kUnreadable for a file that cannot be read.
  Response withResource(const std::string& name, const std::string& type) const;

  static constexpr long kNotFound = 260;
  static constexpr long kOutsideRoot = 257;
  static constexpr long kUnreadable = 256;

  // The file's bytes; absent for the empty response and on error.
  const std::optional<std::string>& data() const { return data_; }
  const std::optional<orbelin::Error>& error() const { return error_; }
  // The file that was (or would have been) read; empty for the empty response
  // and for names refused before any lookup.
  const std::filesystem::path& path() const { return path_; }

 private:
  std::optional<std::string> data_;
  std::optional<orbelin::Error> error_;
  std::filesystem::path path_;
};

}  // namespace TamberNetworking
