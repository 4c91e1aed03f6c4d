#include "orbelin/rest/response.h"

namespace orbelin {

std::string Response::authenticationTokenFromJSON(const TamberNetworking::JSON& json) {
  return json["response"]["Authorization"].stringValue();
}

}  // namespace orbelin
