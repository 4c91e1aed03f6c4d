#include "orbelin/rest/rest_api_util.h"

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/rest_request.h"
#include "orbelin/text/json_text.h"

namespace orbelin {
namespace {

void send(const RestRequest& request, RestHandler handler) {
  request.execute()->validate()->responseString(
      [handler = std::move(handler)](auto urlRequest, auto urlResponse,
                                     std::optional<std::string> text, auto error) {
        handler(std::move(urlRequest), std::move(urlResponse), std::move(text), std::move(error));
      });
}

std::optional<std::string> bodyText(const std::optional<boost::json::object>& body) {
  if (!body) return std::nullopt;
  return text::jsonString(*body);
}

}  // namespace

void RestApiUtil::GET(const std::string& path, RestHandler handler) {
  platform::Console::log("GET " + path);
  send(RestRequest::GET(path), std::move(handler));
}

void RestApiUtil::POST(const std::string& path, const std::optional<boost::json::object>& body,
                       RestHandler handler) {
  platform::Console::log("POST " + path);
  TamberNetworking::DataSourceManager::setDefaultHeader("Content-Type", "application/json");
  auto text = bodyText(body);
  if (!text) return;
  send(RestRequest::POST(path, std::move(text)), std::move(handler));
}

void RestApiUtil::PUT(const std::string& path, const std::optional<boost::json::object>& body,
                      RestHandler handler) {
  platform::Console::log("PUT " + path);
  TamberNetworking::DataSourceManager::setDefaultHeader("Content-Type", "application/json");
  auto text = bodyText(body);
  if (!text) return;
  send(RestRequest::PUT(path, std::move(text)), std::move(handler));
}

}  // namespace orbelin
