#include "orbelin/networking/data_source_manager.h"

#include <mutex>
#include <system_error>

#include "transport.h"

namespace TamberNetworking {
namespace {

using namespace std::chrono_literals;

struct Configuration {
  HeaderFields headers;
  std::optional<std::string> baseURLString;
  bool localMode = false;
  std::optional<std::filesystem::path> resourceRoot;
  std::chrono::milliseconds timeout = 30s;
};

struct ManagerState {
  std::mutex mutex;
  Configuration configuration;  // guarded by mutex
};

ManagerState& manager() {
  static ManagerState state;
  return state;
}

Configuration snapshot() {
  std::lock_guard lock(manager().mutex);
  return manager().configuration;
}

orbelin::Error badURLError(const std::string& url) {
  orbelin::Error error(orbelin::error_domain::kURL, Request::kBadURL, "unsupported URL");
  error.setUserInfoValue(orbelin::Error::kURLKey, url);
  return error;
}

Reply localReply(const DataSourceRequest& value, URLRequest urlRequest) {
  Reply reply;
  const auto* matching = dynamic_cast<const RequestMatching*>(&value);
  if (matching == nullptr) {
    reply.error = orbelin::Error(orbelin::error_domain::kNetworking, Request::kUnknown,
                                 "The request cannot be answered in local mode.");
    reply.request = std::move(urlRequest);
    return reply;
  }
  Response response = matching->responseForURLRequest(urlRequest);
  reply.request = std::move(urlRequest);
  if (response.error()) {
    reply.error = response.error();
    return reply;
  }
  HTTPURLResponse http;
  http.statusCode = 200;
  http.url = "file://" + response.path().string();
  reply.response = std::move(http);
  reply.body = response.data();
  return reply;
}

}  // namespace

void DataSourceManager::setDefaultHeader(const std::string& name, const std::string& value) {
  std::lock_guard lock(manager().mutex);
  manager().configuration.headers.set(name, value);
}

HeaderFields DataSourceManager::defaultHeaders() {
  return snapshot().headers;
}

std::optional<std::string> DataSourceManager::baseURLString() {
  return snapshot().baseURLString;
}

void DataSourceManager::setBaseURLString(std::optional<std::string> baseURLString) {
  std::lock_guard lock(manager().mutex);
  manager().configuration.baseURLString = std::move(baseURLString);
}

bool DataSourceManager::localMode() {
  return snapshot().localMode;
}

void DataSourceManager::setLocalMode(bool localMode) {
  std::lock_guard lock(manager().mutex);
  manager().configuration.localMode = localMode;
}

std::filesystem::path DataSourceManager::defaultResourceRoot() {
  std::error_code error;
  const std::filesystem::path installed(ORBELIN_INSTALLED_SAMPLE_DIR);
  if (std::filesystem::is_directory(installed, error)) return installed;
  return std::filesystem::path(ORBELIN_SOURCE_SAMPLE_DIR);
}

std::filesystem::path DataSourceManager::resourceRoot() {
  auto root = snapshot().resourceRoot;
  return root ? *root : defaultResourceRoot();
}

void DataSourceManager::setResourceRoot(std::optional<std::filesystem::path> root) {
  std::lock_guard lock(manager().mutex);
  manager().configuration.resourceRoot = std::move(root);
}

std::chrono::milliseconds DataSourceManager::requestTimeout() {
  return snapshot().timeout;
}

void DataSourceManager::setRequestTimeout(std::chrono::milliseconds timeout) {
  std::lock_guard lock(manager().mutex);
  // libcurl reads 0 as "no limit"; the shortest real limit is 1 ms.
  manager().configuration.timeout = std::max(timeout, std::chrono::milliseconds(1));
}

void DataSourceManager::resetToDefaults() {
  std::lock_guard lock(manager().mutex);
  manager().configuration = Configuration();
}

std::shared_ptr<Request> DataSourceManager::request(const DataSourceRequest& value) {
  std::shared_ptr<Request> request = Request::make();
  const Configuration configuration = snapshot();
  URLRequest urlRequest = value.urlRequestWithBaseURLString(configuration.baseURLString);
  for (const auto& [name, headerValue] : configuration.headers.fields()) {
    if (!urlRequest.headers.contains(name)) urlRequest.headers.set(name, headerValue);
  }
  if (configuration.localMode) {
    request->finish(localReply(value, std::move(urlRequest)));
  } else if (!isValidURLText(urlRequest.url)) {
    Reply reply;
    reply.error = badURLError(urlRequest.url);
    reply.request = std::move(urlRequest);
    request->finish(std::move(reply));
  } else {
    detail::Transport::shared().start(request, std::move(urlRequest), configuration.timeout);
  }
  return request;
}

}  // namespace TamberNetworking
