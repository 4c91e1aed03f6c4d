#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TamberNetworking {

// HTTP header fields in the order they were set. Names compare without regard
// to case, as HTTP wants; setting a name again replaces its value in place.
class HeaderFields {
 public:
  using Field = std::pair<std::string, std::string>;

  void set(std::string name, std::string value);
  // Removes the field of that name, if any.
  void remove(std::string_view name);
  // The value of `name`, or absent.
  std::optional<std::string> value(std::string_view name) const;
  bool contains(std::string_view name) const { return value(name).has_value(); }
  const std::vector<Field>& fields() const { return fields_; }
  bool empty() const { return fields_.empty(); }

 private:
  std::vector<Field> fields_;
};

// The description of one HTTP request: URL text, method, header fields and an
// optional body. A plain value; copies are independent.
//
// The URL is kept as the text it was built from, so a request can be described
// (and answered locally) even when its text is not a valid URL; the library
// checks the text with isValidURLText before sending and never sends one that
// fails.
struct URLRequest {
  URLRequest() = default;
  explicit URLRequest(std::string urlText, std::string httpMethod = "GET")
      : url(std::move(urlText)), method(std::move(httpMethod)) {}

  std::string url;
  std::string method = "GET";
  HeaderFields headers;
  std::optional<std::string> body;  // raw bytes; absent means no body at all
};

// The reply of the server to one request (or, in local mode, the description of
// the resource that answered it: status 200 and a "file://" URL).
struct HTTPURLResponse {
  long statusCode = 0;
  std::string url;
  HeaderFields headers;
};

// True when `text` is an absolute http or https URL that may be sent as it
// stands: "scheme://host..." with a host written out (so "http://" or "http:"
// followed by a path is refused, rather than taking the first path segment as
// the host), libcurl's URL parser accepts it, and nothing after the host holds
// a character a URL may not contain unencoded: a control character, space,
// '"', '<', '>', '\\', '^', '`', '{', '|', '}', or a '%' not followed by two
// hex digits.
bool isValidURLText(std::string_view text);

// True when a header field may go on the wire: a non-empty name made of HTTP
// token characters, and a value without CR, LF or NUL (which would end the
// line early and let the rest pass as extra header fields).
bool isSafeHeaderField(std::string_view name, std::string_view value);

}  // namespace TamberNetworking
