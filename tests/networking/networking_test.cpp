#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "networking/client_test.h"
#include "orbelin/platform/console.h"

using namespace orbelin;
using namespace orbelin::test;
using namespace std::chrono_literals;
using TamberNetworking::isSafeHeaderField;
using TamberNetworking::isValidURLText;
using TamberNetworking::ParameterEncoding;
using TamberNetworking::Request;
using TamberNetworking::Response;

namespace {

constexpr const char* kTasks = R"({"tasks": [{"taskId": 1}, {"taskId": 2}]})";

PathCall local(std::string resource) {
  PathCall call = pathCall("/api/tasks");
  call.resource = std::move(resource);
  return call;
}

class NetworkingTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    writeFile(resources.path() / "allTasks.json", kTasks);
  }
};

// Header fields or URL texts that could inject or mislead are refused; JSON
// parameters become the body with their content type.
TEST(RequestBuilding, HeaderFieldsURLTextsAndJSONParameters) {
  EXPECT_TRUE(isSafeHeaderField("App-Version", "1.2 (34)"));
  EXPECT_TRUE(isSafeHeaderField("Device-Model", ""));
  for (const std::string& value : {std::string("1.2\r\nX-Injected: yes"),
                                   std::string("1.2\nX-Injected: yes"), std::string("1.2\0X", 5)}) {
    EXPECT_FALSE(isSafeHeaderField("App-Version", value)) << value;
  }
  for (const char* name : {"", "Bad Name", "X-A\r\nX-B", "X-A:"}) {
    EXPECT_FALSE(isSafeHeaderField(name, "v")) << name;
  }

  EXPECT_TRUE(isValidURLText("http://127.0.0.1:8080/api/patients/12?x=%20a#top"));
  EXPECT_TRUE(isValidURLText("https://ward.example/a-b_c.d~e/%7Bid%7D"));
  for (const char* text :
       {"", "/api/patients/12", "file:///etc/passwd", "ftp://127.0.0.1/x", "http:///api",
        "http:/api", "http:api", "http://", "http://?q", "http:/api?next=http://evil",
        "http://h/patients/50%", "http://h/patients/50%2", "http://h/patients/50%zz"}) {
    EXPECT_FALSE(isValidURLText(text)) << text;
  }
  EXPECT_FALSE(isValidURLText(std::string("http://h/a\0b", 12)));
  for (char c : std::string(" \"<>\\^`{|}\x01\x7f\n")) {
    EXPECT_FALSE(isValidURLText(std::string("http://h/patients/1") + c + "2")) << int(c);
  }

  TamberNetworking::URLRequest request("http://127.0.0.1/api/authenticate", "POST");
  auto encoded = ParameterEncoding::JSON.encodeRequest(
      request, boost::json::object{{"username", "nurse"}, {"weight", 71.5}, {"count", 100000.0}});
  EXPECT_EQ(encoded.body, R"({"username":"nurse","weight":71.5,"count":100000})");
  EXPECT_EQ(encoded.headers.value("Content-Type"), "application/json");
  EXPECT_FALSE(ParameterEncoding::JSON.encodeRequest(request, std::nullopt).body);
}

// Resources come back whole, byte for byte, from folders too; a missing one, one that is not a
// regular file (a FIFO must not wait for a writer) or a name that would leave
// the root is an error with no data.
TEST_F(NetworkingTest, ResourcesAreReadWholeFromUnderTheRootOnly) {
  std::string large;
  for (int i = 0; large.size() < 300000; ++i) large += std::to_string(i) + std::string(1, '\0');
  for (const std::string& content : {std::string(), large}) {
    writeFile(resources.path() / "hospital/file.json", content);
    Response whole = Response().withResource("hospital/file", "json");
    ASSERT_TRUE(whole.data());
    EXPECT_EQ(*whole.data(), content);
  }

  TempDir outside;
  writeFile(outside.path() / "secret.json", R"({"secret": true})");
  std::filesystem::create_directory_symlink(outside.path(), resources.path() / "link");
  std::filesystem::create_directories(resources.path() / "folder.json");
  ASSERT_EQ(::mkfifo((resources.path() / "pipe.json").c_str(), 0600), 0);
  const std::pair<std::string, long> refused[] = {
      {"patient.99", Response::kNotFound},
      {"folder", Response::kNotFound},
      {"pipe", Response::kNotFound},
      {"../" + outside.path().filename().string() + "/secret", Response::kOutsideRoot},
      {"link/secret", Response::kOutsideRoot},
      {"hospital/../../x", 0},
      {(outside.path() / "secret").string(), 0},
      {"", 0},
      {std::string("a\0b", 3), 0}};
  for (const auto& [name, code] : refused) {
    Response response = Response().withResource(name, "json");
    ASSERT_TRUE(response.error()) << name;
    EXPECT_FALSE(response.data()) << name;
    EXPECT_EQ(response.error()->domain(), error_domain::kResources) << name;
    if (code != 0) {
      EXPECT_EQ(response.error()->code(), code) << name;
    }
  }
}

// Handlers run in the order they were attached, whatever their kind.
void expectHandlersRunInAttachOrder(const PathCall& call) {
  std::vector<int> order;
  TamberNetworking::DataSourceManager::request(call)
      ->responseString([&](auto, auto, auto, auto) { order.push_back(1); })
      ->responseJSON([&](auto, auto, auto, auto) { order.push_back(2); })
      ->responseString([&](auto, auto, auto, auto) { order.push_back(3); });
  ASSERT_TRUE(runMainQueueUntil([&] { return order.size() >= 3; }, std::chrono::seconds(10)));
  platform::MainQueue::runFor(std::chrono::milliseconds(30));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

// Local mode answers from resources, each handler once, never inline, on the
// main queue, and sends nothing.
TEST_F(NetworkingTest, LocalModeDeliversEachHandlerOnceOnTheMainQueueAndSendsNothing) {
  SampleService& server = remote();
  DataSourceManager::setLocalMode(true);
  Outcome outcome;
  std::weak_ptr<Request> watch =
      DataSourceManager::request(local("allTasks"))->responseJSON(outcome.jsonHandler());
  EXPECT_EQ(outcome.calls, 0) << "never inline";
  EXPECT_FALSE(watch.expired()) << "the library holds the request until its handler ran";
  ASSERT_TRUE(outcome.wait());
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_TRUE(outcome.onMainThread);
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.json["tasks"][1]["taskId"].intValue(), 2);
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 200);
  EXPECT_TRUE(watch.expired());

  // A handler attached after the reply arrived still runs once, not inline.
  Outcome first, late;
  auto request = DataSourceManager::request(local("allTasks"))->responseJSON(first.jsonHandler());
  ASSERT_TRUE(first.wait());
  ASSERT_TRUE(request->isFinished());
  request->responseString(late.stringHandler());
  EXPECT_EQ(late.calls, 0) << "never inline, even when the reply is already there";
  ASSERT_TRUE(late.wait());
  EXPECT_EQ(late.calls, 1);
  EXPECT_EQ(first.calls, 1);
  EXPECT_EQ(late.text, kTasks);
  expectHandlersRunInAttachOrder(local("allTasks"));

  EXPECT_EQ(json(local("patient.404"), kValidated).errorCode(), Response::kNotFound);
  writeFile(resources.path() / "empty.json", "");
  EXPECT_EQ(json(local("empty")).errorCode(), Request::kJSONSerializationFailed);
  EXPECT_TRUE(server.requests().empty()) << "local mode sends nothing";
}

// The request carries its method, path and body, the default headers (a
// repeated name replacing the value, an empty value still sent) and its own;
// an unsafe header is refused with a console line and never sent, and drops
// an earlier value rather than sending it stale. Delivery is on the main
// queue whichever thread started the request.
TEST_F(NetworkingTest, RemoteRequestCarriesMethodPathHeadersAndBodyButNoUnsafeHeader) {
  SampleService& server = remote();
  platform::ConsoleCapture console;
  DataSourceManager::setDefaultHeader("Device-Model", "Ward Tablet");
  DataSourceManager::setDefaultHeader("App-Version", "");
  DataSourceManager::setDefaultHeader("Accept-Language", "fr-FR");
  DataSourceManager::setDefaultHeader("accept-language", "en-US");
  DataSourceManager::setDefaultHeader("X-Build", "1.0");
  DataSourceManager::setDefaultHeader("X-Build", "1.0\r\nX-Injected: app");
  DataSourceManager::setDefaultHeader("Device-Model\nX-Injected", "name");
  PathCall login;
  login.path = "/api/authenticate";
  login.method = "POST";
  login.body = R"({"username":"nurse","password":"orbelin"})";
  login.headers.set("Authorization", std::string("token\0X-Injected: own", 21));
  login.headers.set("X-Trace", "7");
  Outcome outcome;
  std::thread caller(
      [&] { DataSourceManager::request(login)->responseJSON(outcome.jsonHandler()); });
  caller.join();
  ASSERT_TRUE(outcome.wait());
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_TRUE(outcome.onMainThread);
  EXPECT_FALSE(outcome.error) << "without validate() a 404 is a reply";
  for (const char* name : {"X-Build", "Device-Model?X-Injected", "Authorization"}) {
    EXPECT_TRUE(console.contains(std::string("OrbelinData: Refused header ") + name)) << name;
  }

  auto received = server.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].method + " " + received[0].path, "POST /api/authenticate");
  EXPECT_EQ(received[0].body, *login.body);
  EXPECT_EQ(received[0].header("Device-Model"), "Ward Tablet");
  EXPECT_EQ(received[0].header("Accept-Language"), "en-US");
  EXPECT_EQ(received[0].header("X-Trace"), "7");
  EXPECT_TRUE(received[0].headers.count("App-Version")) << "sent even when empty";
  for (const char* name : {"X-Injected", "X-Build", "Authorization"}) {
    EXPECT_EQ(received[0].headers.count(name), 0u) << name;
  }
  expectHandlersRunInAttachOrder(pathCall("/api/tasks"));
}

// Each failure reaches the handler once as the matching error.
TEST_F(NetworkingTest, FailuresReachEachHandlerOnceAsTheMatchingError) {
  SampleService& server = remote();
  // URL text that does not parse is never sent; the request as built comes back.
  const std::pair<std::optional<std::string>, std::string> badURLs[] = {
      {server.baseUrl(), "/api/patients/1 2"},
      {server.baseUrl(), "/api/patients/\n12"},
      {"http://", "/api/authenticate"},
      {std::nullopt, "/api/tasks"}};
  for (const auto& [base, path] : badURLs) {
    DataSourceManager::setBaseURLString(base);
    Outcome outcome = json(pathCall(path, "POST"));
    EXPECT_EQ(outcome.errorCode(), Request::kBadURL) << path;
    ASSERT_TRUE(outcome.request);
    EXPECT_EQ(outcome.request->url, base.value_or("") + path);
  }
  EXPECT_TRUE(server.requests().empty());

  remote();
  // validate() turns a server error into an error keeping status and body.
  ASSERT_TRUE(server.setFault({{"status", 500}, {"count", 2}}));
  Outcome validated = json(pathCall("/api/tasks"), kValidated);
  ASSERT_TRUE(validated.error);
  EXPECT_EQ(validated.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(validated.error->userInfoValue(Error::kStatusCodeKey), "500");
  EXPECT_THAT(validated.error->userInfoValue(Error::kResponseBodyKey),
              ::testing::HasSubstr("injected fault"));
  ASSERT_TRUE(validated.response);
  EXPECT_EQ(validated.response->statusCode, 500);
  Outcome unvalidated = json(pathCall("/api/tasks"));
  EXPECT_FALSE(unvalidated.error) << "without validate any status is a reply";
  EXPECT_EQ(unvalidated.json["status"].intValue(), 500);
  Outcome ok = text(pathCall("/api/tasks"), kValidated);
  EXPECT_FALSE(ok.error);
  EXPECT_EQ(ok.text, kTasks);

  // A malformed body is a JSON error, and whole as text.
  ASSERT_TRUE(server.setFault({{"malformed", true}}));
  Outcome asJSON, asText;
  DataSourceManager::request(pathCall("/api/tasks"))
      ->responseJSON(asJSON.jsonHandler())
      ->responseString(asText.stringHandler());
  ASSERT_TRUE(asJSON.wait());
  ASSERT_TRUE(asText.wait());
  EXPECT_EQ(asJSON.calls, 1);
  EXPECT_EQ(asJSON.errorCode(), Request::kJSONSerializationFailed);
  EXPECT_EQ(asText.calls, 1);
  EXPECT_FALSE(asText.error) << "the text form does not parse";
  EXPECT_EQ(asText.text, R"({"staffMember": {"id": 7,)");

  // Transport failures: a timeout, a dropped connection, a refused one.
  DataSourceManager::setRequestTimeout(300ms);
  ASSERT_TRUE(server.setFault({{"delay_ms", 3000}}));
  EXPECT_EQ(json(pathCall("/api/tasks")).errorCode(), Request::kTimedOut);

  DataSourceManager::setRequestTimeout(5s);
  ASSERT_TRUE(server.setFault({{"drop", true}}));
  EXPECT_EQ(text(pathCall("/api/tasks")).errorCode(), Request::kNetworkConnectionLost);

  DataSourceManager::setBaseURLString(start()->baseUrl());  // a service stopped at once
  Outcome refused = json(pathCall("/api/tasks"), kValidated);
  EXPECT_EQ(refused.errorCode(), Request::kCannotConnectToHost);
  EXPECT_FALSE(refused.response);
}

// A reply that is not HTTP is an error, and so is one over the size limit,
// whether its length was announced or it arrives chunked.
TEST_F(NetworkingTest, RepliesThatAreNotHTTPOrTooLargeEndWithErrors) {
  // A listener on 127.0.0.1 that answers one connection with bytes no HTTP
  // server would send, after reading the request head (one small segment):
  // closing on unread bytes would reset the connection instead.
  int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
  ::listen(listener, 1);
  ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  std::thread garbage([listener] {
    int client = ::accept(listener, nullptr, nullptr);
    char head[4096];
    ::recv(client, head, sizeof head, 0);
    ::send(client, "SSH-2.0-OpenSSH_9.2\r\n", 21, MSG_NOSIGNAL);
    ::close(client);
  });
  DataSourceManager::setBaseURLString("http://127.0.0.1:" +
                                      std::to_string(ntohs(address.sin_port)));
  EXPECT_EQ(json(pathCall("/api/tasks")).errorCode(), Request::kBadServerResponse);
  ::shutdown(listener, SHUT_RDWR);  // wakes accept() if nothing connected
  garbage.join();
  ::close(listener);

  const std::string big = R"({"tasks": ")" + std::string(200000, 'x') + R"("})";
  writeFile(resources.path() / "allTasks.json", big);
  SampleService& server = remote();
  DataSourceManager::setMaximumReplySize(4096);
  for (bool chunked : {false, true}) {
    ASSERT_TRUE(server.setFault({{"chunked", chunked}}));
    Outcome outcome = text(pathCall("/api/tasks"));
    EXPECT_EQ(outcome.errorCode(), Request::kDataLengthExceedsMaximum) << chunked;
    EXPECT_FALSE(outcome.text && outcome.text->size() > 4096) << chunked;
  }

  // Within the limit the same reply arrives whole.
  DataSourceManager::setMaximumReplySize(big.size());
  ASSERT_TRUE(server.setFault({{"chunked", true}}));
  Outcome whole = text(pathCall("/api/tasks"));
  EXPECT_FALSE(whole.error);
  EXPECT_EQ(whole.text, big);
}

}  // namespace
