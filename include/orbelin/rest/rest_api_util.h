#pragma once

#include <optional>
#include <string>

#include <boost/json/object.hpp>

#include "orbelin/rest/rest_api.h"

namespace orbelin {

// GET, POST and PUT of a path relative to the base URL, through RestRequest
// and the networking library, with validation on and the reply delivered as
// text. Each call prints one console line, "GET " / "POST " / "PUT " + path.
//
// POST and PUT first set the manager-wide default header
// "Content-Type: application/json", so every later request of the process
// carries it, GETs included. Their body is the dictionary as compact JSON
// (text::jsonString); when the body is absent or cannot be written as JSON
// (a NaN, text that is not UTF-8) nothing is sent and the handler is never
// called (the header is set all the same).
//
// Thread: any thread may call; handlers run once, on the main queue.
class RestApiUtil {
 public:
  static void GET(const std::string& path, RestHandler handler);
  static void POST(const std::string& path, const std::optional<boost::json::object>& body,
                   RestHandler handler);
  static void PUT(const std::string& path, const std::optional<boost::json::object>& body,
                  RestHandler handler);
};

}  // namespace orbelin
