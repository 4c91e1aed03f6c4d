#pragma once

#include <optional>
#include <string>

#include "orbelin/networking/response.h"
#include "orbelin/networking/url_request.h"

namespace TamberNetworking {

// Something the manager can send: it describes itself as a URL request built on
// the manager's base URL (absent when none is set).
class DataSourceRequest {
 public:
  virtual ~DataSourceRequest() = default;
  virtual URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> baseURLString) const = 0;
};

// Something the manager can answer without the network, in local mode. The
// URL request given is the one urlRequestWithBaseURLString built.
class RequestMatching {
 public:
  virtual ~RequestMatching() = default;
  virtual Response responseForURLRequest(const URLRequest& urlRequest) const = 0;
};

}  // namespace TamberNetworking
