#include "endpoint_support.h"

#include <boost/json/object.hpp>

#include "orbelin/networking/parameter_encoding.h"

namespace orbelin::endpoint_support {

std::string replacingAll(std::string text, std::string_view placeholder, const std::string& value) {
  if (placeholder.empty()) return text;
  for (auto at = text.find(placeholder); at != std::string::npos;
       at = text.find(placeholder, at + value.size())) {
    text.replace(at, placeholder.size(), value);
  }
  return text;
}

TamberNetworking::URLRequest urlRequestFor(const std::optional<std::string>& baseURLString,
                                           const std::string& path, const std::string& method) {
  return TamberNetworking::URLRequest(baseURLString.value_or("") + path, method);
}

TamberNetworking::URLRequest withCredentials(const TamberNetworking::URLRequest& urlRequest,
                                             const std::string& username,
                                             const std::string& password) {
  boost::json::object credentials;
  credentials["username"] = username;
  credentials["password"] = password;
  return TamberNetworking::ParameterEncoding::JSON.encodeRequest(urlRequest, credentials);
}

}  // namespace orbelin::endpoint_support
