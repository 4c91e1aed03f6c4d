#pragma once

#include <map>
#include <memory>
#include <string>

namespace orbelin {

// The one error value of the whole layer. Nothing in the public API throws:
// asynchronous operations hand an Error to their handler, synchronous ones
// return it inside a Result or an optional.
//
// Thread safety: a plain value; copies may be used from any thread.
class Error {
 public:
  // Well-known user-info keys, named as the phone platform names them so that
  // hosts porting code find them.
  static constexpr const char* kLocalizedDescriptionKey = "NSLocalizedDescription";
  static constexpr const char* kLocalizedFailureReasonKey = "NSLocalizedFailureReason";
  // HTTP failures keep what came back, so a caller can read the status and body.
  static constexpr const char* kStatusCodeKey = "StatusCode";
  static constexpr const char* kResponseBodyKey = "ResponseBody";
  static constexpr const char* kURLKey = "URL";

  Error() = default;
  Error(std::string domain, long code, std::string localizedDescription);
  Error(std::string domain, long code, std::map<std::string, std::string> userInfo);

  const std::string& domain() const { return domain_; }
  long code() const { return code_; }
  const std::map<std::string, std::string>& userInfo() const { return userInfo_; }

  // The user-info entry, or "" when the key is absent.
  std::string userInfoValue(const std::string& key) const;
  Error& setUserInfoValue(const std::string& key, std::string value);

  // The error this one wraps, or null.
  const Error* underlyingError() const { return underlying_.get(); }
  Error& setUnderlyingError(const Error& underlying);

  // The localized description entry; when there is none, a generic text
  // naming the domain and code.
  std::string localizedDescription() const;

  // One-line form used in console lines: `Error Domain=D Code=C "text"`.
  std::string description() const;
  // The user-info dictionary written as `{KEY = value; ...}`, underlying error included.
  std::string userInfoDescription() const;

  bool operator==(const Error& other) const;

 private:
  std::string domain_;
  long code_ = 0;
  std::map<std::string, std::string> userInfo_;
  std::shared_ptr<const Error> underlying_;
};

// Error domains used by the layer's own libraries.
namespace error_domain {
inline constexpr const char* kNetworking = "TamberNetworking";     // transport, validation, parsing
inline constexpr const char* kURL = "NSURLErrorDomain";            // timeouts, refused, bad URL
inline constexpr const char* kResources = "OrbelinResources";      // local resource lookup
inline constexpr const char* kPersistence = "OrbelinPersistence";  // object graph and stores
inline constexpr const char* kPlatform = "OrbelinPlatform";        // files, plists, environment
}  // namespace error_domain

}  // namespace orbelin
