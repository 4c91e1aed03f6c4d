#pragma once

#include <optional>

#include <boost/json/object.hpp>

#include "orbelin/networking/url_request.h"

namespace TamberNetworking {

// How parameters travel in a request body. Only the JSON encoding exists:
//   ParameterEncoding::JSON.encodeRequest(request, parameters)
class ParameterEncoding {
 public:
  enum class Kind { json };

  // The JSON encoding.
  static const ParameterEncoding JSON;

  // A copy of `urlRequest` whose body is `parameters` written as one compact
  // JSON object (numbers as orbelin::text::appendJsonNumber writes them), with the header
  // "Content-Type: application/json" unless the request already names a content type. Absent
  // parameters leave the request as it is. Never fails.
  URLRequest encodeRequest(const URLRequest& urlRequest,
                           const std::optional<boost::json::object>& parameters) const;

  Kind kind() const { return kind_; }

 private:
  explicit ParameterEncoding(Kind kind) : kind_(kind) {}
  Kind kind_;
};

}  // namespace TamberNetworking
