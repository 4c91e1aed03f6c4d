#include "orbelin/networking/parameter_encoding.h"

#include <boost/json/serialize.hpp>

#include "orbelin/text/json_text.h"

namespace TamberNetworking {

const ParameterEncoding ParameterEncoding::JSON{ParameterEncoding::Kind::json};

URLRequest ParameterEncoding::encodeRequest(
    const URLRequest& urlRequest, const std::optional<boost::json::object>& parameters) const {
  URLRequest encoded = urlRequest;
  if (!parameters) return encoded;
  // The layer's writer spells numbers as people do (71.5, not 7.15E1); only
  // what JSON cannot hold (a NaN, bytes that are not UTF-8) is left to Boost.
  encoded.body =
      orbelin::text::jsonString(*parameters).value_or(boost::json::serialize(*parameters));
  if (!encoded.headers.contains("Content-Type"))
    encoded.headers.set("Content-Type", "application/json");
  return encoded;
}

}  // namespace TamberNetworking
