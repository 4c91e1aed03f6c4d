#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "networking/client_test.h"
#include "orbelin/platform/console.h"

using namespace orbelin;
using namespace orbelin::test;
using TamberNetworking::isSafeHeaderField;
using TamberNetworking::isValidURLText;
using TamberNetworking::Request;

namespace {

// A call that also carries headers of its own.
struct HeaderCall : PathCall {
  TamberNetworking::HeaderFields headers;
  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    TamberNetworking::URLRequest request = PathCall::urlRequestWithBaseURLString(base);
    request.headers = headers;
    return request;
  }
};

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
      // The request head is read first: closing on unread bytes resets the connection.
      std::string head;
      char buffer[1024];
      pollfd in{client, POLLIN, 0};
      ssize_t n = 0;
      while (head.find("\r\n\r\n") == std::string::npos && ::poll(&in, 1, 2000) > 0 &&
             (n = ::recv(client, buffer, sizeof buffer, 0)) > 0)
        head.append(buffer, static_cast<std::size_t>(n));
      for (std::size_t sent = 0; sent < reply_.size(); sent += static_cast<std::size_t>(n))
        if ((n = ::send(client, reply_.data() + sent, reply_.size() - sent, MSG_NOSIGNAL)) <= 0)
          break;
      ::close(client);
    }
  }

  std::string reply_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<int> connections_{0};
  std::thread thread_;
};

class NetworkingSafetyTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    writeFile(resources.path() / "allTasks.json", R"({"tasks": []})");
  }
  SampleService& remote() {
    if (!service) service = start();
    use(*service);
    return *service;
  }

  std::unique_ptr<SampleService> service;
};

TEST(InputSafety, UnsafeHeaderFieldsAndURLTextsAreRefused) {
  // Line breaks, NUL and names that are not tokens.
  EXPECT_TRUE(isSafeHeaderField("App-Version", "1.2 (34)"));
  EXPECT_TRUE(isSafeHeaderField("Device-Model", ""));
  for (const std::string& value : {std::string("1.2\r\nX-Injected: yes"),
                                   std::string("1.2\nX-Injected: yes"), std::string("1.2\0X", 5)})
    EXPECT_FALSE(isSafeHeaderField("App-Version", value)) << value;
  for (const char* name : {"", "Bad Name", "X-A\r\nX-B", "X-A:"})
    EXPECT_FALSE(isSafeHeaderField(name, "v")) << name;

  // URLs without a host, or with characters left unencoded.
  EXPECT_TRUE(isValidURLText("http://127.0.0.1:8080/api/patients/12?x=%20a#top"));
  EXPECT_TRUE(isValidURLText("https://ward.example/a-b_c.d~e/%7Bid%7D"));
  for (const char* text :
       {"http:///api/authenticate", "http:/api/authenticate", "http:api/authenticate", "http://",
        "http://?q", "http:/api?next=http://evil", "http://h/patients/50%",
        "http://h/patients/50%2", "http://h/patients/50%zz", "http://h/p?q=a b"})
    EXPECT_FALSE(isValidURLText(text)) << text;
  for (char c : std::string(" \"<>\\^`{|}"))
    EXPECT_FALSE(isValidURLText(std::string("http://h/patients/1") + c + "2")) << c;
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

  HeaderCall value;
  value.path = "/api/tasks";
  value.headers.set("Authorization", std::string("token\0X-Injected: own", 21));
  value.headers.set("X-Trace", "7");
  EXPECT_FALSE(json(value).error);
  EXPECT_TRUE(console.contains("OrbelinData: Refused header Authorization"));

  auto received = server.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].header("Device-Model"), "Ward Tablet");
  EXPECT_EQ(received[0].header("X-Trace"), "7");
  for (const char* name : {"X-Injected", "App-Version", "Authorization"})
    EXPECT_EQ(received[0].headers.count(name), 0u) << name;
}

TEST_F(NetworkingSafetyTest, BadURLsEndAsBadURLErrorsWithNothingSent) {
  SampleService& server = remote();
  std::vector<std::pair<std::string, std::string>> cases = {{"http://", "/api/authenticate"},
                                                            {"http:", "/api/authenticate"}};
  for (std::string id : {"1{2}", "a|b", "50%", "x^y", "q`", "a\\b", "<b>", "\"q\""})
    cases.emplace_back(server.baseUrl(), "/api/patients/" + id);
  for (const auto& [base, path] : cases) {
    DataSourceManager::setBaseURLString(base);
    Outcome outcome = json(pathCall(path, "POST"));
    ASSERT_TRUE(outcome.error) << base << path;
    EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
    EXPECT_EQ(outcome.error->code(), Request::kBadURL) << base << path;
  }
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(NetworkingSafetyTest, RepliesThatAreNotHTTPOrTooLargeEndWithErrors) {
  {
    RawServer garbage("SSH-2.0-OpenSSH_9.2\r\nnot a web server at all\r\n");
    DataSourceManager::setBaseURLString(garbage.baseUrl());
    Outcome outcome = json(pathCall("/api/tasks"));
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
    EXPECT_EQ(outcome.error->code(), Request::kBadServerResponse);
    EXPECT_GE(garbage.connections(), 1);
  }

  EXPECT_EQ(DataSourceManager::maximumReplySize(), std::size_t{64} << 20);
  const std::string big = R"({"tasks": ")" + std::string(200000, 'x') + R"("})";
  writeFile(resources.path() / "allTasks.json", big);
  remote();
  DataSourceManager::setMaximumReplySize(4096);
  // Announced by Content-Length (the sample service always sends one).
  Outcome announced = json(pathCall("/api/tasks"));
  ASSERT_TRUE(announced.error);
  EXPECT_EQ(announced.error->code(), Request::kDataLengthExceedsMaximum);
  EXPECT_TRUE(announced.json.isNull());

  // Not announced: the body just keeps coming until the server closes.
  RawServer unannounced("HTTP/1.0 200 OK\r\nContent-Type: application/json\r\n\r\n" + big);
  DataSourceManager::setBaseURLString(unannounced.baseUrl());
  Outcome streamed = text(pathCall("/api/tasks"));
  ASSERT_TRUE(streamed.error);
  EXPECT_EQ(streamed.error->code(), Request::kDataLengthExceedsMaximum);
  EXPECT_FALSE(streamed.text && streamed.text->size() > 4096);

  // Within the limit the same reply arrives whole.
  DataSourceManager::setMaximumReplySize(big.size());
  Outcome whole = text(pathCall("/api/tasks"));
  EXPECT_FALSE(whole.error);
  EXPECT_EQ(whole.text, big);
}

}  // namespace
