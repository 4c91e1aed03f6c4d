#include <sys/stat.h>

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "networking/client_test.h"

using namespace orbelin;
using namespace orbelin::test;
using namespace std::chrono_literals;
using TamberNetworking::isValidURLText;
using TamberNetworking::ParameterEncoding;
using TamberNetworking::Request;
using TamberNetworking::Response;
using TamberNetworking::URLRequest;

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
    writeFile(resources.path() / "patient.12.json", R"({"patient": {"id": 12}})");
    writeFile(resources.path() / "hospital/patients/patient.7.json", R"({"id": "7"})");
  }
  // Starts the service once and points the manager at it in remote mode.
  SampleService& remote() {
    if (!service) service = start();
    use(*service);
    return *service;
  }

  std::unique_ptr<SampleService> service;
};

TEST(RequestBuilding, HeaderNamesURLTextAndJSONParameters) {
  // Names compare without case; a repeated name replaces the value in place.
  TamberNetworking::HeaderFields headers;
  headers.set("Accept-Language", "en-GB");
  headers.set("Device-Model", "Linux");
  headers.set("accept-language", "en-US");
  ASSERT_EQ(headers.fields().size(), 2u);
  EXPECT_EQ(headers.fields()[0].first, "Accept-Language");
  EXPECT_EQ(headers.value("ACCEPT-LANGUAGE"), "en-US");
  EXPECT_EQ(headers.value("Missing"), std::nullopt);

  // Only absolute http(s) URLs without control characters are valid.
  for (const std::string& text :
       {std::string("http://127.0.0.1/api/\x01"), std::string("http://127.0.0.1/a\0b", 20),
        std::string("/api/patients/12"), std::string(), std::string("file:///etc/passwd"),
        std::string("ftp://127.0.0.1/x")}) {
    EXPECT_FALSE(isValidURLText(text)) << text;
  }

  // JSON parameters become the body and name the content type.
  URLRequest request("http://127.0.0.1/api/authenticate", "POST");
  boost::json::object parameters{{"username", "nurse"}, {"password", "orbelin"}};
  URLRequest encoded = ParameterEncoding::JSON.encodeRequest(request, parameters);
  EXPECT_EQ(encoded.body, R"({"username":"nurse","password":"orbelin"})");
  EXPECT_EQ(encoded.headers.value("Content-Type"), "application/json");
  EXPECT_EQ(encoded.method, "POST");
  EXPECT_EQ(encoded.url, request.url);
  EXPECT_FALSE(request.body) << "the original is left alone";
  EXPECT_FALSE(ParameterEncoding::JSON.encodeRequest(request, std::nullopt).body);
}

TEST_F(NetworkingTest, ResourcesAreReadWholeFromUnderTheRootOnly) {
  Response found = Response().withResource("hospital/patients/patient.7", "json");
  ASSERT_TRUE(found.data()) << found.error()->description();
  EXPECT_EQ(*found.data(), R"({"id": "7"})");
  EXPECT_EQ(found.path(), resources.path() / "hospital/patients/patient.7.json");
  EXPECT_FALSE(Response().data());
  EXPECT_FALSE(Response().error());

  // Empty and large files come back whole, byte for byte.
  std::string large;
  for (int i = 0; large.size() < 300000; ++i) large += std::to_string(i) + std::string(1, '\0');
  for (const std::string& content : {std::string(), large}) {
    writeFile(resources.path() / "file.json", content);
    Response whole = Response().withResource("file", "json");
    ASSERT_TRUE(whole.data());
    EXPECT_EQ(*whole.data(), content);
  }

  // Missing, not a regular file (a FIFO must not wait for a writer), or a
  // name that would leave the root: an error and no data.
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

  Outcome missing = json(local("patient.404"), kValidated);
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), Response::kNotFound);
  EXPECT_TRUE(missing.json.isNull());
  writeFile(resources.path() / "empty.json", "");
  Outcome empty = json(local("empty"));
  ASSERT_TRUE(empty.error);
  EXPECT_EQ(empty.error->code(), Request::kJSONSerializationFailed);
  EXPECT_TRUE(server.requests().empty()) << "local mode sends nothing";
}

TEST_F(NetworkingTest, RemoteRequestCarriesMethodPathDefaultHeadersAndBody) {
  SampleService& server = remote();
  DataSourceManager::setDefaultHeader("Device-Model", "Ward Tablet");
  DataSourceManager::setDefaultHeader("App-Version", "");
  DataSourceManager::setDefaultHeader("Accept-Language", "fr-FR");
  DataSourceManager::setDefaultHeader("accept-language", "en-US");
  PathCall login =
      pathCall("/api/authenticate", "POST", R"({"username":"nurse","password":"orbelin"})");
  Outcome outcome;
  std::thread caller(
      [&] { DataSourceManager::request(login)->responseJSON(outcome.jsonHandler()); });
  caller.join();
  ASSERT_TRUE(outcome.wait());
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_TRUE(outcome.onMainThread) << "delivered on the main queue whoever started it";
  ASSERT_FALSE(outcome.error) << outcome.error->description();
  EXPECT_TRUE(outcome.json["staffMember"].isNull());  // the temp resources hold no login reply
  ASSERT_TRUE(outcome.response);
  EXPECT_EQ(outcome.response->statusCode, 404);

  auto received = server.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].method, "POST");
  EXPECT_EQ(received[0].path, "/api/authenticate");
  EXPECT_EQ(received[0].body, *login.body);
  EXPECT_EQ(received[0].header("Device-Model"), "Ward Tablet");
  EXPECT_EQ(received[0].header("Accept-Language"), "en-US");
  EXPECT_TRUE(received[0].headers.count("App-Version")) << "sent even when empty";
  EXPECT_EQ(received[0].header("App-Version"), "");
  expectHandlersRunInAttachOrder(pathCall("/api/tasks"));
}

TEST_F(NetworkingTest, FailuresReachEachHandlerOnceAsTheMatchingError) {
  SampleService& server = remote();
  // URL text that does not parse is never sent; the request as built comes back.
  for (const std::string& path : {std::string("/api/patients/1 2"), std::string("/api/\x7f"),
                                  std::string("/api/patients/\n12")}) {
    Outcome outcome = json(pathCall(path));
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code(), Request::kBadURL);
    ASSERT_TRUE(outcome.request);
    EXPECT_EQ(outcome.request->url, server.baseUrl() + path);
  }
  DataSourceManager::setBaseURLString(std::nullopt);
  Outcome noBase = json(pathCall("/api/tasks"));
  ASSERT_TRUE(noBase.error);
  EXPECT_EQ(noBase.error->code(), Request::kBadURL);
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
  ASSERT_TRUE(asJSON.error);
  EXPECT_EQ(asJSON.error->code(), Request::kJSONSerializationFailed);
  EXPECT_TRUE(asJSON.json.isNull());
  EXPECT_EQ(asText.calls, 1);
  EXPECT_FALSE(asText.error) << "the text form does not parse";
  EXPECT_EQ(asText.text, R"({"staffMember": {"id": 7,)");

  // Transport failures: a timeout, a dropped connection, a refused one.
  DataSourceManager::setRequestTimeout(300ms);
  ASSERT_TRUE(server.setFault({{"delay_ms", 3000}}));
  Outcome slow = json(pathCall("/api/tasks"));
  ASSERT_TRUE(slow.error);
  EXPECT_EQ(slow.error->domain(), error_domain::kURL);
  EXPECT_EQ(slow.error->code(), Request::kTimedOut);

  DataSourceManager::setRequestTimeout(5s);
  ASSERT_TRUE(server.setFault({{"drop", true}}));
  Outcome dropped = text(pathCall("/api/tasks"));
  ASSERT_TRUE(dropped.error);
  EXPECT_EQ(dropped.error->code(), Request::kNetworkConnectionLost);

  DataSourceManager::setBaseURLString(start()->baseUrl());  // a service stopped at once
  Outcome refused = json(pathCall("/api/tasks"), kValidated);
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code(), Request::kCannotConnectToHost);
  EXPECT_FALSE(refused.response);
}

TEST_F(NetworkingTest, ManyThreadsStartingRequestsEachGetExactlyOneDelivery) {
  remote();
  constexpr int kThreads = 4, kEach = 10;
  std::atomic<int> delivered{0};
  std::vector<std::atomic<int>> perRequest(kThreads * kEach);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        const int slot = t * kEach + i;
        DataSourceManager::request(pathCall(i % 2 ? "/api/patients/12" : "/api/tasks"))
            ->responseString([&, slot](auto, auto, auto, auto) {
              EXPECT_TRUE(platform::MainQueue::isMainThread());
              ++perRequest[slot];
              ++delivered;
            });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(runMainQueueUntil([&] { return delivered == kThreads * kEach; }, 20s));
  platform::MainQueue::runFor(50ms);
  for (auto& count : perRequest) EXPECT_EQ(count.load(), 1);
}

}  // namespace
