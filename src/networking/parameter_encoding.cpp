#include "orbelin/networking/parameter_encoding.h"

#include <boost/json/serialize.hpp>

namespace TamberNetworking {

const ParameterEncoding ParameterEncoding::JSON{ParameterEncoding::Kind::json};

URLRequest ParameterEncoding::encodeRequest(
    const URLRequest& urlRequest, const std::optional<boost::json::object>& parameters) const {
  URLRequest encoded = urlRequest;
  if (!parameters) return encoded;
  encoded.body = boost::json::serialize(*parameters);
  if (!encoded.headers.contains("Content-Type"))
    encoded.headers.set("Content-Type", "application/json");
  return encoded;
}

}  // namespace TamberNetworking
