#include "orbelin/rest/rest_request.h"

#include <algorithm>

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/networking/response.h"
#include "orbelin/platform/console.h"
#include "orbelin/text/json_text.h"

namespace orbelin {

RestRequest RestRequest::GET(std::string path) {
  return RestRequest(Case::GET, std::move(path), std::nullopt);
}

RestRequest RestRequest::POST(std::string path, std::optional<std::string> body) {
  return RestRequest(Case::POST, std::move(path), std::move(body));
}

RestRequest RestRequest::PUT(std::string path, std::optional<std::string> body) {
  return RestRequest(Case::PUT, std::move(path), std::move(body));
}

std::string_view RestRequest::method() const {
  switch (case_) {
    case Case::GET:
      return "GET";
    case Case::POST:
      return "POST";
    case Case::PUT:
      return "PUT";
  }
  return "GET";
}

std::string RestRequest::urlSuffix(std::string_view path) {
  if (!path.empty() && path.front() == '/') return std::string(path);
  return "/" + std::string(path);
}

std::string RestRequest::bodyDescription(const std::optional<std::string>& body) {
  return body ? "Optional(\"" + *body + "\")" : "nil";
}

std::shared_ptr<TamberNetworking::Request> RestRequest::execute() const {
  return TamberNetworking::DataSourceManager::request(*this);
}

TamberNetworking::URLRequest RestRequest::urlRequestWithBaseURLString(
    std::optional<std::string> baseURLString) const {
  TamberNetworking::URLRequest urlRequest(baseURLString.value_or("") + urlSuffix(path_),
                                          std::string(method()));
  if (case_ == Case::GET || !body_) return urlRequest;
  // Text that is not valid UTF-8 has no byte form here: sent without a body.
  if (auto bytes = text::data(*body_)) urlRequest.body = std::string(bytes->begin(), bytes->end());
  return urlRequest;
}

TamberNetworking::Response RestRequest::responseForURLRequest(
    const TamberNetworking::URLRequest& /*urlRequest*/) const {
  const std::string name = text::queryToFile(path_);
  switch (case_) {
    case Case::GET:
      platform::Console::log("file url = " + name);
      break;
    case Case::POST:
      platform::Console::log("LOCAL POST\n " + bodyDescription(body_));
      break;
    case Case::PUT:
      platform::Console::log("LOCAL PUT\n " + bodyDescription(body_));
      break;
  }
  // Remotely "/a" and "a" reach the same resource, so locally they read the
  // same file too: the name is always relative to the resource root.
  const std::size_t relative = std::min(name.find_first_not_of('/'), name.size());
  return TamberNetworking::Response().withResource(name.substr(relative), "json");
}

}  // namespace orbelin
