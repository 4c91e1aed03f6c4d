#pragma once

#include <string>

#include "orbelin/networking/json.h"

namespace orbelin {

// Reading the sign-in reply. The data layer keeps no token: a host that needs
// one reads it here and attaches it to its own requests.
class Response {
 public:
  // json["response"]["Authorization"].stringValue(): "" when either member is
  // missing or the token is not text.
  static std::string authenticationTokenFromJSON(const TamberNetworking::JSON& json);
};

}  // namespace orbelin
