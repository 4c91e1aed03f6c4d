#include "orbelin/networking/data_source_manager.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <mutex>
#include <system_error>
#include <vector>

#include "orbelin/platform/console.h"
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
  std::size_t maximumReplySize = DataSourceManager::kDefaultMaximumReplySize;
  std::optional<std::filesystem::path> certificateAuthorities;
  // The system's bundle followed by the host's certificates; set with the path.
  std::shared_ptr<const std::string> certificateBundle;
  std::optional<std::string> pinnedPublicKey;
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

// The header name as it may appear in a console line: one line, no controls.
std::string printableName(std::string_view name) {
  std::string printable(name);
  for (char& c : printable) {
    auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) c = '?';
  }
  return printable;
}

void reportRefusedHeader(std::string_view name) {
  orbelin::platform::Console::log("OrbelinData: Refused header " + printableName(name));
}

// The request's own fields that may go on the wire, then the defaults it does
// not set itself.
HeaderFields headersToSend(const HeaderFields& own, const HeaderFields& defaults) {
  HeaderFields headers;
  for (const auto& [name, value] : own.fields()) {
    if (isSafeHeaderField(name, value)) {
      headers.set(name, value);
    } else {
      reportRefusedHeader(name);
    }
  }
  for (const auto& [name, value] : defaults.fields()) {
    if (!own.contains(name)) headers.set(name, value);
  }
  return headers;
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

constexpr std::string_view kBeginCertificate = "-----BEGIN CERTIFICATE-----";
// Far above any real bundle; keeps a wrong path (a disk image, /dev/zero) out.
constexpr std::uintmax_t kMaximumCertificateFileSize = std::uintmax_t{16} << 20;

// Appends the file's text when it is a readable regular file of sane size.
void appendCertificateFile(const std::filesystem::path& path, std::string& pem) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return;
  auto size = std::filesystem::file_size(path, error);
  if (error || size > kMaximumCertificateFileSize) return;
  std::ifstream file(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (text.find(kBeginCertificate) == std::string::npos) return;
  pem += text;
  if (!pem.empty() && pem.back() != '\n') pem += '\n';
}

// Every PEM certificate at `location` (a file, or the files of a directory in
// name order); "" when there is none.
std::string readCertificates(const std::filesystem::path& location) {
  std::string pem;
  std::error_code error;
  if (std::filesystem::is_directory(location, error)) {
    std::vector<std::filesystem::path> files;
    for (std::filesystem::directory_iterator it(location, error), end; !error && it != end;
         it.increment(error))
      files.push_back(it->path());
    std::sort(files.begin(), files.end());
    for (const auto& file : files) appendCertificateFile(file, pem);
  } else {
    appendCertificateFile(location, pem);
  }
  return pem;
}

bool isBase64SHA256(std::string_view text) {
  // 32 bytes in base64: 43 characters and one "=".
  if (text.size() != 44 || text.back() != '=') return false;
  return std::all_of(text.begin(), text.end() - 1, [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/';
  });
}

bool isPinText(std::string_view pin) {
  constexpr std::string_view kPrefix = "sha256//";
  if (pin.empty()) return false;
  for (;;) {
    auto end = pin.find(';');
    std::string_view one = pin.substr(0, end);
    if (one.substr(0, kPrefix.size()) != kPrefix || !isBase64SHA256(one.substr(kPrefix.size())))
      return false;
    if (end == std::string_view::npos) return true;
    pin.remove_prefix(end + 1);
  }
}

}  // namespace

bool DataSourceManager::setCertificateAuthorities(
    std::optional<std::filesystem::path> pemFileOrDirectory) {
  std::shared_ptr<const std::string> bundle;
  if (pemFileOrDirectory) {
    std::string extra = readCertificates(*pemFileOrDirectory);
    if (extra.empty()) return false;
    // libcurl takes one bundle in place of its default, so the system's
    // certificates go in first to keep trusting them.
    std::string pem = detail::Transport::systemCertificateAuthorities();
    if (!pem.empty() && pem.back() != '\n') pem += '\n';
    pem += extra;
    bundle = std::make_shared<const std::string>(std::move(pem));
  }
  std::lock_guard lock(manager().mutex);
  manager().configuration.certificateAuthorities = std::move(pemFileOrDirectory);
  manager().configuration.certificateBundle = std::move(bundle);
  return true;
}

std::optional<std::filesystem::path> DataSourceManager::certificateAuthorities() {
  return snapshot().certificateAuthorities;
}

bool DataSourceManager::setPinnedPublicKey(std::optional<std::string> pin) {
  if (pin && !isPinText(*pin)) return false;
  std::lock_guard lock(manager().mutex);
  manager().configuration.pinnedPublicKey = std::move(pin);
  return true;
}

std::optional<std::string> DataSourceManager::pinnedPublicKey() {
  return snapshot().pinnedPublicKey;
}

void DataSourceManager::setDefaultHeader(const std::string& name, const std::string& value) {
  if (!isSafeHeaderField(name, value)) {
    reportRefusedHeader(name);
    std::lock_guard lock(manager().mutex);
    manager().configuration.headers.remove(name);
    return;
  }
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

std::size_t DataSourceManager::maximumReplySize() {
  return snapshot().maximumReplySize;
}

void DataSourceManager::setMaximumReplySize(std::size_t bytes) {
  std::lock_guard lock(manager().mutex);
  manager().configuration.maximumReplySize = std::max(bytes, std::size_t{1});
}

void DataSourceManager::resetToDefaults() {
  std::lock_guard lock(manager().mutex);
  manager().configuration = Configuration();
}

std::shared_ptr<Request> DataSourceManager::request(const DataSourceRequest& value) {
  std::shared_ptr<Request> request = Request::make();
  const Configuration configuration = snapshot();
  URLRequest urlRequest = value.urlRequestWithBaseURLString(configuration.baseURLString);
  urlRequest.headers = headersToSend(urlRequest.headers, configuration.headers);
  if (configuration.localMode) {
    request->finish(localReply(value, std::move(urlRequest)));
  } else if (!isValidURLText(urlRequest.url)) {
    Reply reply;
    reply.error = badURLError(urlRequest.url);
    reply.request = std::move(urlRequest);
    request->finish(std::move(reply));
  } else {
    detail::TransferOptions options;
    options.timeout = configuration.timeout;
    options.maximumReplySize = configuration.maximumReplySize;
    options.certificateAuthorities = configuration.certificateBundle;
    options.pinnedPublicKey = configuration.pinnedPublicKey;
    detail::Transport::shared().start(request, std::move(urlRequest), std::move(options));
  }
  return request;
}

}  // namespace TamberNetworking
