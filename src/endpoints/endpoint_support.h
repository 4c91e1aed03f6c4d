#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orbelin/networking/url_request.h"

// URL building shared by the endpoint catalogues (Request and Request2), so
// both fill their path templates and encode credentials the same way.
namespace orbelin::endpoint_support {

// Every occurrence of `placeholder` in `text` replaced by `value`, compared
// character for character; the value is not escaped. An empty placeholder
// leaves the text unchanged.
std::string replacingAll(std::string text, std::string_view placeholder, const std::string& value);

// The URL request of a catalogue call: (base URL, or "" when absent) + path,
// no separator added, with the method. Plain: no body, no headers.
TamberNetworking::URLRequest urlRequestFor(const std::optional<std::string>& baseURLString,
                                           const std::string& path, const std::string& method);

// The request with the JSON body {"username": ..., "password": ...}
// (ParameterEncoding::JSON).
TamberNetworking::URLRequest withCredentials(const TamberNetworking::URLRequest& urlRequest,
                                             const std::string& username,
                                             const std::string& password);

}  // namespace orbelin::endpoint_support
