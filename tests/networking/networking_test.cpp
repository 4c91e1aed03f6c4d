#include <sys/stat.h>

#include <atomic>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/platform/host_environment.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using namespace std::chrono_literals;
using TamberNetworking::DataSourceManager;
using TamberNetworking::HTTPURLResponse;
using TamberNetworking::isValidURLText;
using TamberNetworking::ParameterEncoding;
using TamberNetworking::Request;
using TamberNetworking::Response;
using TamberNetworking::URLRequest;

namespace {

// A call described directly: a path on the base URL, or a local resource.
struct TestCall : TamberNetworking::DataSourceRequest, TamberNetworking::RequestMatching {
  std::string path;
  std::string method = "GET";
  std::optional<std::string> body;
  std::string resource = "allTasks";

  URLRequest urlRequestWithBaseURLString(std::optional<std::string> base) const override {
    URLRequest request(base.value_or("") + path, method);
    request.body = body;
    return request;
  }
  Response responseForURLRequest(const URLRequest&) const override {
    return Response().withResource(resource, "json");
  }
};

TestCall get(std::string path) {
  TestCall call;
  call.path = std::move(path);
  return call;
}

class NetworkingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    writeFile(resources.path() / "allTasks.json", R"({"tasks": [{"taskId": 1}, {"taskId": 2}]})");
    writeFile(resources.path() / "patient.12.json", R"({"patient": {"id": 12}})");
    writeFile(resources.path() / "hospital/patients/patient.7.json", R"({"id": "7"})");
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }

  // Starts the service and points the manager at it in remote mode.
  SampleService& remote() {
    if (!service) {
      service = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
      EXPECT_TRUE(service->running()) << service->failure();
    }
    DataSourceManager::setBaseURLString(service->baseUrl());
    DataSourceManager::setLocalMode(false);
    return *service;
  }

  TempDir resources;
  std::unique_ptr<SampleService> service;
};

TEST(HeaderFields, NamesCompareWithoutCaseAndARepeatedNameReplacesInPlace) {
  TamberNetworking::HeaderFields headers;
  headers.set("Accept-Language", "en-GB");
  headers.set("Device-Model", "Linux");
  headers.set("accept-language", "en-US");
  ASSERT_EQ(headers.fields().size(), 2u);
  EXPECT_EQ(headers.fields()[0].first, "Accept-Language");
  EXPECT_EQ(headers.value("ACCEPT-LANGUAGE"), "en-US");
  EXPECT_EQ(headers.value("Missing"), std::nullopt);
}

TEST(URLText, OnlyAbsoluteHttpURLsWithoutSpacesOrControlCharactersAreValid) {
  EXPECT_TRUE(isValidURLText("http://127.0.0.1:8080/api/patients/12"));
  EXPECT_TRUE(isValidURLText("https://hospital.example/api?x=1"));
  EXPECT_FALSE(isValidURLText("http://127.0.0.1/api/patients/1 2"));
  EXPECT_FALSE(isValidURLText("http://127.0.0.1/api/\x01"));
  EXPECT_FALSE(isValidURLText(std::string("http://127.0.0.1/a\0b", 20)));
  EXPECT_FALSE(isValidURLText("/api/patients/12")) << "no base URL: a bare path";
  EXPECT_FALSE(isValidURLText(""));
  EXPECT_FALSE(isValidURLText("file:///etc/passwd"));
  EXPECT_FALSE(isValidURLText("ftp://127.0.0.1/x"));
}

TEST(ParameterEncodingJSON, WritesTheParametersAsTheBodyAndNamesTheContentType) {
  URLRequest request("http://127.0.0.1/api/authenticate", "POST");
  boost::json::object parameters{{"username", "nurse"}, {"password", "orbelin"}};
  URLRequest encoded = ParameterEncoding::JSON.encodeRequest(request, parameters);
  ASSERT_TRUE(encoded.body);
  EXPECT_EQ(boost::json::parse(*encoded.body), boost::json::value(parameters));
  EXPECT_EQ(encoded.headers.value("Content-Type"), "application/json");
  EXPECT_EQ(encoded.method, "POST");
  EXPECT_EQ(encoded.url, request.url);
  EXPECT_FALSE(request.body) << "the original is left alone";
  EXPECT_FALSE(ParameterEncoding::JSON.encodeRequest(request, std::nullopt).body);
}

TEST_F(NetworkingTest, ResourcesAreReadUnderTheRootWithDirectoriesAndDots) {
  Response found = Response().withResource("hospital/patients/patient.7", "json");
  ASSERT_TRUE(found.data()) << found.error()->description();
  EXPECT_EQ(*found.data(), R"({"id": "7"})");
  EXPECT_EQ(found.path(), resources.path() / "hospital/patients/patient.7.json");

  Response missing = Response().withResource("patient.99", "json");
  ASSERT_TRUE(missing.error());
  EXPECT_EQ(missing.error()->code(), Response::kNotFound);
  EXPECT_FALSE(missing.data());
  EXPECT_FALSE(Response().data());
  EXPECT_FALSE(Response().error());

  // Empty and large files come back whole, byte for byte.
  writeFile(resources.path() / "empty.json", "");
  Response empty = Response().withResource("empty", "json");
  ASSERT_TRUE(empty.data());
  EXPECT_EQ(*empty.data(), "");
  std::string large;
  for (int i = 0; large.size() < 300000; ++i) large += std::to_string(i) + std::string(1, '\0');
  writeFile(resources.path() / "large.json", large);
  Response whole = Response().withResource("large", "json");
  ASSERT_TRUE(whole.data());
  EXPECT_EQ(*whole.data(), large);

  // What is not a regular file is not there: a folder, and a FIFO (which must
  // not wait for a writer).
  std::filesystem::create_directories(resources.path() / "folder.json");
  ASSERT_EQ(::mkfifo((resources.path() / "pipe.json").c_str(), 0600), 0);
  for (const char* name : {"folder", "pipe"}) {
    Response response = Response().withResource(name, "json");
    ASSERT_TRUE(response.error()) << name;
    EXPECT_EQ(response.error()->code(), Response::kNotFound) << name;
    EXPECT_FALSE(response.data()) << name;
  }
}

TEST_F(NetworkingTest, ResourceNamesThatWouldLeaveTheRootAreRefused) {
  TempDir outside;
  writeFile(outside.path() / "secret.json", R"({"secret": true})");
  std::filesystem::create_directory_symlink(outside.path(), resources.path() / "link");
  const std::string climb = "../" + outside.path().filename().string() + "/secret";
  for (const std::string& name :
       std::vector<std::string>{climb, "hospital/../../x", (outside.path() / "secret").string(),
                                "link/secret", "", std::string("a\0b", 3)}) {
    Response response = Response().withResource(name, "json");
    ASSERT_TRUE(response.error()) << name;
    EXPECT_FALSE(response.data()) << name;
    EXPECT_EQ(response.error()->domain(), error_domain::kResources);
  }
  EXPECT_EQ(Response().withResource(climb, "json").error()->code(), Response::kOutsideRoot);
  EXPECT_EQ(Response().withResource("link/secret", "json").error()->code(), Response::kOutsideRoot);
}

TEST_F(NetworkingTest, LocalModeDeliversOnceOnTheMainQueueAndSendsNothing) {
  SampleService& server = remote();
  DataSourceManager::setLocalMode(true);
  Outcome outcome;
  std::weak_ptr<Request> watch;
  {
    auto request =
        DataSourceManager::request(get("/api/tasks"))->responseJSON(outcome.jsonHandler());
    watch = request;
  }
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

  Outcome missing;
  TestCall absent = get("/api/tasks");
  absent.resource = "patient.404";
  DataSourceManager::request(absent)->validate()->responseJSON(missing.jsonHandler());
  ASSERT_TRUE(missing.wait());
  EXPECT_EQ(missing.calls, 1);
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), Response::kNotFound);
  EXPECT_TRUE(missing.json.isNull());
  EXPECT_TRUE(server.requests().empty()) << "local mode sends nothing";
}

TEST_F(NetworkingTest, AHandlerAttachedAfterTheReplyArrivedStillRunsOnce) {
  DataSourceManager::setLocalMode(true);
  Outcome first, late;
  auto request = DataSourceManager::request(get("/api/tasks"));
  request->responseJSON(first.jsonHandler());
  ASSERT_TRUE(first.wait());
  ASSERT_TRUE(request->isFinished());
  request->responseString(late.stringHandler());
  EXPECT_EQ(late.calls, 0) << "never inline, even when the reply is already there";
  ASSERT_TRUE(late.wait());
  EXPECT_EQ(late.calls, 1);
  EXPECT_EQ(first.calls, 1);
  EXPECT_EQ(late.text, R"({"tasks": [{"taskId": 1}, {"taskId": 2}]})");
}

TEST_F(NetworkingTest, RemoteRequestCarriesMethodPathDefaultHeadersAndBody) {
  SampleService& server = remote();
  DataSourceManager::setDefaultHeader("Device-Model", "Ward Tablet");
  DataSourceManager::setDefaultHeader("App-Version", "");
  DataSourceManager::setDefaultHeader("Accept-Language", "fr-FR");
  DataSourceManager::setDefaultHeader("accept-language", "en-US");
  TestCall login = get("/api/authenticate");
  login.method = "POST";
  login.body = R"({"username":"nurse","password":"orbelin"})";
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
}

TEST_F(NetworkingTest, ValidateTurnsAServerErrorIntoAnErrorKeepingStatusAndBody) {
  SampleService& server = remote();
  ASSERT_TRUE(server.setFault({{"status", 500}, {"count", 2}}));
  Outcome validated, unvalidated;
  DataSourceManager::request(get("/api/tasks"))->validate()->responseJSON(validated.jsonHandler());
  ASSERT_TRUE(validated.wait());
  EXPECT_EQ(validated.calls, 1);
  ASSERT_TRUE(validated.error);
  EXPECT_EQ(validated.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(validated.error->userInfoValue(Error::kStatusCodeKey), "500");
  EXPECT_THAT(validated.error->userInfoValue(Error::kResponseBodyKey),
              ::testing::HasSubstr("injected fault"));
  ASSERT_TRUE(validated.response);
  EXPECT_EQ(validated.response->statusCode, 500);

  DataSourceManager::request(get("/api/tasks"))->responseJSON(unvalidated.jsonHandler());
  ASSERT_TRUE(unvalidated.wait());
  EXPECT_FALSE(unvalidated.error) << "without validate any status is a reply";
  EXPECT_EQ(unvalidated.json["status"].intValue(), 500);

  Outcome ok;
  DataSourceManager::request(get("/api/tasks"))->validate()->responseString(ok.stringHandler());
  ASSERT_TRUE(ok.wait());
  EXPECT_FALSE(ok.error);
  EXPECT_EQ(ok.text, R"({"tasks": [{"taskId": 1}, {"taskId": 2}]})");
}

TEST_F(NetworkingTest, MalformedAndEmptyBodiesAreJSONErrorsDeliveredOnce) {
  SampleService& server = remote();
  ASSERT_TRUE(server.setFault({{"malformed", true}}));
  Outcome asJSON, asText;
  DataSourceManager::request(get("/api/tasks"))
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

  DataSourceManager::setLocalMode(true);
  writeFile(resources.path() / "empty.json", "");
  TestCall empty = get("/x");
  empty.resource = "empty";
  Outcome emptyJSON;
  DataSourceManager::request(empty)->responseJSON(emptyJSON.jsonHandler());
  ASSERT_TRUE(emptyJSON.wait());
  ASSERT_TRUE(emptyJSON.error);
  EXPECT_EQ(emptyJSON.error->code(), Request::kJSONSerializationFailed);
}

TEST_F(NetworkingTest, TransportFailuresReachTheHandlerOnce) {
  SampleService& server = remote();
  DataSourceManager::setRequestTimeout(300ms);
  ASSERT_TRUE(server.setFault({{"delay_ms", 3000}}));
  Outcome slow;
  DataSourceManager::request(get("/api/tasks"))->responseJSON(slow.jsonHandler());
  ASSERT_TRUE(slow.wait());
  EXPECT_EQ(slow.calls, 1);
  ASSERT_TRUE(slow.error);
  EXPECT_EQ(slow.error->domain(), error_domain::kURL);
  EXPECT_EQ(slow.error->code(), Request::kTimedOut);

  DataSourceManager::setRequestTimeout(5s);
  ASSERT_TRUE(server.setFault({{"drop", true}}));
  Outcome dropped;
  DataSourceManager::request(get("/api/tasks"))->responseString(dropped.stringHandler());
  ASSERT_TRUE(dropped.wait());
  EXPECT_EQ(dropped.calls, 1);
  ASSERT_TRUE(dropped.error);
  EXPECT_EQ(dropped.error->code(), Request::kNetworkConnectionLost);

  std::string deadBase;
  {
    SampleService gone(resources.path(), bundledInfoPlist());
    ASSERT_TRUE(gone.running());
    deadBase = gone.baseUrl();
  }
  DataSourceManager::setBaseURLString(deadBase);
  Outcome refused;
  DataSourceManager::request(get("/api/tasks"))->validate()->responseJSON(refused.jsonHandler());
  ASSERT_TRUE(refused.wait());
  EXPECT_EQ(refused.calls, 1);
  ASSERT_TRUE(refused.error);
  EXPECT_EQ(refused.error->code(), Request::kCannotConnectToHost);
  EXPECT_FALSE(refused.response);
}

TEST_F(NetworkingTest, AURLTextThatDoesNotParseIsNeverSent) {
  SampleService& server = remote();
  for (const std::string& path : {std::string("/api/patients/1 2"), std::string("/api/\x7f"),
                                  std::string("/api/patients/\n12")}) {
    Outcome outcome;
    DataSourceManager::request(get(path))->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code(), Request::kBadURL);
    ASSERT_TRUE(outcome.request) << "the request as built is handed back";
    EXPECT_EQ(outcome.request->url, server.baseUrl() + path);
  }
  DataSourceManager::setBaseURLString(std::nullopt);
  Outcome noBase;
  DataSourceManager::request(get("/api/tasks"))->responseJSON(noBase.jsonHandler());
  ASSERT_TRUE(noBase.wait());
  ASSERT_TRUE(noBase.error);
  EXPECT_EQ(noBase.error->code(), Request::kBadURL);
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(NetworkingTest, SeveralRequestsAreInFlightAtOnce) {
  SampleService& server = remote();
  ASSERT_TRUE(server.setFault({{"delay_ms", 800}, {"all", true}}));
  constexpr int kCount = 6;
  std::vector<Outcome> outcomes(kCount);
  const auto started = std::chrono::steady_clock::now();
  for (auto& outcome : outcomes)
    DataSourceManager::request(get("/api/patients/12"))->responseJSON(outcome.jsonHandler());
  ASSERT_TRUE(runMainQueueUntil(
      [&] {
        return std::all_of(outcomes.begin(), outcomes.end(), [](auto& o) { return o.calls > 0; });
      },
      20s));
  const auto elapsed = std::chrono::steady_clock::now() - started;
  // One after another they would take kCount * 800 ms.
  EXPECT_LT(elapsed, 3s);
  for (auto& outcome : outcomes) {
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.json["patient"]["id"].intValue(), 12);
  }
  EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(kCount));
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
        DataSourceManager::request(get(i % 2 ? "/api/patients/12" : "/api/tasks"))
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
