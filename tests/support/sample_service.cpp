#include "support/sample_service.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <thread>

#include <curl/curl.h>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

extern char** environ;

namespace orbelin::test {
namespace {

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Reads the first line the child writes, waiting at most until `deadline`.
std::optional<std::string> readFirstLine(int fd, std::chrono::steady_clock::time_point deadline) {
  std::string line;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    pollfd ready{fd, POLLIN, 0};
    if (::poll(&ready, 1, static_cast<int>(left.count())) <= 0) return std::nullopt;
    char c = 0;
    if (::read(fd, &c, 1) != 1) return std::nullopt;
    if (c == '\n') return line;
    line += c;
  }
}

std::size_t appendText(char* data, std::size_t size, std::size_t count, void* user) {
  static_cast<std::string*>(user)->append(data, size * count);
  return size * count;
}

}  // namespace

std::string RecordedRequest::header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (lowercase(key) == lowercase(name)) return value;
  }
  return std::string();
}

std::filesystem::path SampleService::scriptPath() {
  return std::filesystem::path(ORBELIN_SOURCE_DIR) / "tools" / "sample_service.py";
}

SampleService::SampleService(const std::filesystem::path& resources,
                             const std::filesystem::path& infoPlist)
    : SampleService(resources, infoPlist, Options()) {}

SampleService::SampleService(const std::filesystem::path& resources,
                             const std::filesystem::path& infoPlist, Options options) {
  start(resources, infoPlist, options);
}

void SampleService::start(const std::filesystem::path& resources,
                          const std::filesystem::path& infoPlist, const Options& options) {
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) {
    failure_ = "pipe failed";
    return;
  }
  std::vector<std::string> args = {
      "python3",      scriptPath().string(), "--resources", resources.string(),
      "--info-plist", infoPlist.string(),    "--port",      "0",
      "--user",       options.user,          "--password",  options.password};
  args.insert(args.end(), options.arguments.begin(), options.arguments.end());
  if (options.tlsCertificate) {
    tls_ = true;
    args.insert(args.end(), {"--tls-cert", options.tlsCertificate->string()});
    if (options.tlsKey) args.insert(args.end(), {"--tls-key", options.tlsKey->string()});
  }
  std::vector<char*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
  pid_t pid = -1;
  int spawned = posix_spawnp(&pid, "python3", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeFds[1]);
  if (spawned != 0) {
    ::close(pipeFds[0]);
    failure_ = std::string("cannot start python3: ") + std::strerror(spawned);
    return;
  }
  pid_ = pid;
  auto line = readFirstLine(pipeFds[0], std::chrono::steady_clock::now() + options.startTimeout);
  ::close(pipeFds[0]);
  const std::string prefix = "listening on 127.0.0.1:";
  if (!line || line->rfind(prefix, 0) != 0) {
    failure_ = "the sample service did not report its port";
    return;
  }
  port_ = std::atoi(line->c_str() + prefix.size());
  if (port_ == 0) failure_ = "the sample service reported no port";
}

SampleService::~SampleService() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  for (int waited = 0; waited < 200; ++waited) {
    if (::waitpid(pid_, nullptr, WNOHANG) == pid_) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ::kill(pid_, SIGKILL);
  ::waitpid(pid_, nullptr, 0);
}

std::string SampleService::baseUrl() const {
  return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_);
}

std::optional<std::string> SampleService::call(const std::string& method, const std::string& path,
                                               const std::string& body) const {
  if (!running()) return std::nullopt;
  std::unique_ptr<CURL, void (*)(CURL*)> easy(curl_easy_init(), curl_easy_cleanup);
  if (!easy) return std::nullopt;
  std::string url = baseUrl() + path;
  std::string reply;
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, 10000L);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, appendText);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &reply);
  // The control channel talks to our own child; the certificate under test is
  // checked by the library's requests, not here.
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  if (method == "POST") {
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, body.c_str());
  }
  if (curl_easy_perform(easy.get()) != CURLE_OK) return std::nullopt;
  return reply;
}

std::vector<RecordedRequest> SampleService::requests() const {
  std::vector<RecordedRequest> result;
  auto text = call("GET", "/__requests", "");
  if (!text) return result;
  boost::system::error_code error;
  auto value = boost::json::parse(*text, error);
  if (error || !value.is_array()) return result;
  for (const auto& entry : value.get_array()) {
    if (!entry.is_object()) continue;
    const auto& object = entry.get_object();
    RecordedRequest request;
    auto text_of = [&](const char* key) {
      const auto* member = object.if_contains(key);
      return member && member->is_string() ? std::string(member->get_string()) : std::string();
    };
    request.method = text_of("method");
    request.path = text_of("path");
    request.body = text_of("body");
    if (const auto* bytes = object.if_contains("reply_bytes"); bytes && bytes->is_int64())
      request.replyBytes = static_cast<std::size_t>(bytes->get_int64());
    if (const auto* headers = object.if_contains("headers"); headers && headers->is_object()) {
      for (const auto& header : headers->get_object()) {
        if (header.value().is_string())
          request.headers[std::string(header.key())] = std::string(header.value().get_string());
      }
    }
    result.push_back(std::move(request));
  }
  return result;
}

bool SampleService::setFault(const boost::json::object& fault) const {
  return call("POST", "/__fault", boost::json::serialize(fault)).has_value();
}

SampleService::Connections SampleService::connections() const {
  Connections counts;
  auto text = call("GET", "/__connections", "");
  if (!text) return counts;
  boost::system::error_code error;
  auto value = boost::json::parse(*text, error);
  if (error || !value.is_object()) return counts;
  const auto& object = value.get_object();
  if (const auto* open = object.if_contains("open"); open && open->is_int64())
    counts.open = static_cast<int>(open->get_int64());
  if (const auto* most = object.if_contains("most"); most && most->is_int64())
    counts.most = static_cast<int>(most->get_int64());
  return counts;
}

bool SampleService::reset() const {
  return call("POST", "/__reset", "").has_value();
}

}  // namespace orbelin::test
