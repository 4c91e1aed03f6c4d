#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "networking/networking_test_support.h"
#include "orbelin/platform/console.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using TamberNetworking::DataSourceManager;
using TamberNetworking::isSafeHeaderField;
using TamberNetworking::isValidURLText;
using TamberNetworking::Request;
using TamberNetworking::URLRequest;

namespace {

struct TestCall : TamberNetworking::DataSourceRequest {
  std::string url;  // the whole URL text, base included
  std::string method = "GET";
  TamberNetworking::HeaderFields headers;
  URLRequest urlRequestWithBaseURLString(std::optional<std::string> base) const override {
    URLRequest request(base.value_or("") + url, method);
    request.headers = headers;
    return request;
  }
};

TestCall call(std::string url) {
  TestCall value;
  value.url = std::move(url);
  return value;
}

// A TCP server on 127.0.0.1 that answers every connection with fixed bytes,
// whatever was asked, then closes it: for replies no HTTP server would send.
class RawServer {
 public:
  explicit RawServer(std::string reply) : reply_(std::move(reply)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(listener_, 8);
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~RawServer() {
    stop_ = true;
    thread_.join();
    ::close(listener_);
  }
  std::string baseUrl() const { return "http://127.0.0.1:" + std::to_string(port_); }
  int connections() const { return connections_; }

 private:
  void serve() {
    while (!stop_) {
      pollfd ready{listener_, POLLIN, 0};
      if (::poll(&ready, 1, 50) <= 0) continue;
      int client = ::accept(listener_, nullptr, nullptr);
      if (client < 0) continue;
      ++connections_;
      readRequestHead(client);
      std::size_t sent = 0;
      while (sent < reply_.size()) {
        ssize_t n = ::send(client, reply_.data() + sent, reply_.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<std::size_t>(n);
      }
      ::close(client);
    }
  }
  static void readRequestHead(int client) {
    std::string head;
    char buffer[1024];
    while (head.find("\r\n\r\n") == std::string::npos) {
      pollfd ready{client, POLLIN, 0};
      if (::poll(&ready, 1, 2000) <= 0) return;
      ssize_t n = ::recv(client, buffer, sizeof buffer, 0);
      if (n <= 0) return;
      head.append(buffer, static_cast<std::size_t>(n));
    }
  }

  std::string reply_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> connections_{0};
  std::thread thread_;
};

class NetworkingSafetyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    writeFile(resources.path() / "allTasks.json", R"({"tasks": []})");
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }
  SampleService& remote() {
    if (!service) {
      service = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
      EXPECT_TRUE(service->running()) << service->failure();
    }
    DataSourceManager::setBaseURLString(service->baseUrl());
    DataSourceManager::setLocalMode(false);
    return *service;
  }
  Outcome send(const TestCall& value) {
    Outcome outcome;
    DataSourceManager::request(value)->responseJSON(outcome.jsonHandler());
    EXPECT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    return outcome;
  }

  TempDir resources;
  std::unique_ptr<SampleService> service;
};

TEST(HeaderSafety, LineBreaksNulAndNonTokenNamesAreUnsafe) {
  EXPECT_TRUE(isSafeHeaderField("App-Version", "1.2 (34)"));
  EXPECT_TRUE(isSafeHeaderField("Device-Model", ""));
  EXPECT_FALSE(isSafeHeaderField("App-Version", "1.2\r\nX-Injected: yes"));
  EXPECT_FALSE(isSafeHeaderField("App-Version", "1.2\nX-Injected: yes"));
  EXPECT_FALSE(isSafeHeaderField("App-Version", std::string("1.2\0X", 5)));
  EXPECT_FALSE(isSafeHeaderField("", "v"));
  EXPECT_FALSE(isSafeHeaderField("Bad Name", "v"));
  EXPECT_FALSE(isSafeHeaderField("X-A\r\nX-B", "v"));
  EXPECT_FALSE(isSafeHeaderField("X-A:", "v"));
}

TEST_F(NetworkingSafetyTest, AnInjectedHeaderIsRefusedWithAConsoleLineAndNeverSent) {
  SampleService& server = remote();
  platform::ConsoleCapture console;
  DataSourceManager::setDefaultHeader("Device-Model", "Ward Tablet");
  DataSourceManager::setDefaultHeader("App-Version", "1.0");
  // A later unsafe value drops the earlier one rather than sending it stale.
  DataSourceManager::setDefaultHeader("App-Version", "1.0\r\nX-Injected: app");
  DataSourceManager::setDefaultHeader("Device-Model\nX-Injected", "name");
  EXPECT_TRUE(console.contains("OrbelinData: Refused header App-Version"));
  EXPECT_TRUE(console.contains("OrbelinData: Refused header Device-Model?X-Injected"));
  EXPECT_FALSE(DataSourceManager::defaultHeaders().contains("App-Version"));

  TestCall value = call("/api/tasks");
  value.headers.set("Authorization", std::string("token\0X-Injected: own", 21));
  value.headers.set("X-Trace", "7");
  Outcome outcome = send(value);
  EXPECT_FALSE(outcome.error);
  EXPECT_TRUE(console.contains("OrbelinData: Refused header Authorization"));

  auto received = server.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].header("Device-Model"), "Ward Tablet");
  EXPECT_EQ(received[0].header("X-Trace"), "7");
  EXPECT_EQ(received[0].headers.count("X-Injected"), 0u);
  EXPECT_EQ(received[0].headers.count("App-Version"), 0u);
  EXPECT_EQ(received[0].headers.count("Authorization"), 0u);
}

TEST(URLSafety, HostlessURLsAndUnencodedCharactersAreInvalid) {
  EXPECT_TRUE(isValidURLText("http://127.0.0.1:8080/api/patients/12?x=%20a#top"));
  EXPECT_TRUE(isValidURLText("https://ward.example/a-b_c.d~e/%7Bid%7D"));
  EXPECT_FALSE(isValidURLText("http:///api/authenticate"));
  EXPECT_FALSE(isValidURLText("http:/api/authenticate"));
  EXPECT_FALSE(isValidURLText("http:api/authenticate"));
  EXPECT_FALSE(isValidURLText("http://"));
  EXPECT_FALSE(isValidURLText("http://?q"));
  EXPECT_FALSE(isValidURLText("http:/api?next=http://evil"));
  for (char c : std::string(" \"<>\\^`{|}")) {
    EXPECT_FALSE(isValidURLText(std::string("http://h/patients/1") + c + "2")) << c;
  }
  EXPECT_FALSE(isValidURLText("http://h/patients/50%"));
  EXPECT_FALSE(isValidURLText("http://h/patients/50%2"));
  EXPECT_FALSE(isValidURLText("http://h/patients/50%zz"));
  EXPECT_FALSE(isValidURLText("http://h/p?q=a b"));
}

TEST_F(NetworkingSafetyTest, BadURLsEndAsBadURLErrorsWithNothingSent) {
  SampleService& server = remote();
  for (const std::string& base : {std::string("http://"), std::string("http:")}) {
    DataSourceManager::setBaseURLString(base);
    TestCall login = call("/api/authenticate");
    login.method = "POST";
    Outcome outcome = send(login);
    ASSERT_TRUE(outcome.error) << base;
    EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
    EXPECT_EQ(outcome.error->code(), Request::kBadURL);
  }
  DataSourceManager::setBaseURLString(server.baseUrl());
  for (std::string id : {"1{2}", "a|b", "50%", "x^y", "q`", "a\\b", "<b>", "\"q\""}) {
    Outcome outcome = send(call("/api/patients/" + id));
    ASSERT_TRUE(outcome.error) << id;
    EXPECT_EQ(outcome.error->code(), Request::kBadURL) << id;
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(NetworkingSafetyTest, AReplyThatIsNotHTTPIsABadServerResponse) {
  RawServer garbage("SSH-2.0-OpenSSH_9.2\r\nnot a web server at all\r\n");
  DataSourceManager::setBaseURLString(garbage.baseUrl());
  Outcome outcome = send(call("/api/tasks"));
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
  EXPECT_EQ(outcome.error->code(), Request::kBadServerResponse);
  EXPECT_NE(outcome.error->code(), Request::kBadURL);
  EXPECT_GE(garbage.connections(), 1);
}

TEST_F(NetworkingSafetyTest, AReplyLargerThanTheMaximumEndsWithAnError) {
  EXPECT_EQ(DataSourceManager::maximumReplySize(), std::size_t{64} << 20);
  const std::string big = R"({"tasks": ")" + std::string(200000, 'x') + R"("})";
  writeFile(resources.path() / "allTasks.json", big);
  remote();
  DataSourceManager::setMaximumReplySize(4096);

  // Announced by Content-Length (the sample service always sends one).
  Outcome announced = send(call("/api/tasks"));
  ASSERT_TRUE(announced.error);
  EXPECT_EQ(announced.error->code(), Request::kDataLengthExceedsMaximum);
  EXPECT_TRUE(announced.json.isNull());

  // Not announced: the body just keeps coming until the server closes.
  RawServer unannounced("HTTP/1.0 200 OK\r\nContent-Type: application/json\r\n\r\n" + big);
  DataSourceManager::setBaseURLString(unannounced.baseUrl());
  Outcome streamed;
  DataSourceManager::request(call("/api/tasks"))->responseString(streamed.stringHandler());
  ASSERT_TRUE(streamed.wait());
  EXPECT_EQ(streamed.calls, 1);
  ASSERT_TRUE(streamed.error);
  EXPECT_EQ(streamed.error->code(), Request::kDataLengthExceedsMaximum);
  EXPECT_FALSE(streamed.text && streamed.text->size() > 4096);

  // Within the limit the same reply arrives whole.
  DataSourceManager::setMaximumReplySize(big.size());
  Outcome whole;
  DataSourceManager::request(call("/api/tasks"))->responseString(whole.stringHandler());
  ASSERT_TRUE(whole.wait());
  EXPECT_FALSE(whole.error);
  EXPECT_EQ(whole.text, big);
}

}  // namespace
