#include <thread>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/response.h"
#include "orbelin/rest/rest_api.h"
#include "orbelin/rest/rest_api_util.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using TamberNetworking::DataSourceManager;

namespace {

// Each getter, and the resource it must reach.
struct Getter {
  void (RestApi::*get)(const std::string&, RestHandler);
  const char* id;
  const char* path;
  const char* text;
};
const Getter kGetters[] = {
    {&RestApi::getPatient, "7", "hospital/patients/patient.7",
     R"({"entityName": "Patient", "patientId": "7"})"},
    {&RestApi::getInformationBooklet, "3", "hospital/informationBooklets/informationBooklet.3",
     R"({"entityName": "InformationBooklet", "bookletId": "3"})"},
    {&RestApi::getStaffMember, "5", "hospital/staffMembers/staffMember.5",
     R"({"entityName": "StaffMember", "staffId": "5"})"},
};

// The sample service over resources the fixture writes, one per record kind.
class RestApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const Getter& getter : kGetters)
      writeFile(resources.path() / (std::string(getter.path) + ".json"), getter.text);
    service = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
    ASSERT_TRUE(service->running()) << service->failure();
    useService();
  }
  // Remote mode on the service, with the default headers of a new manager.
  void useService() {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    DataSourceManager::setBaseURLString(service->baseUrl());
    DataSourceManager::setLocalMode(false);
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }
  TempDir resources;
  std::unique_ptr<SampleService> service;
};

TEST_F(RestApiTest, EachRecordIsFetchedAtItsPathAndDeliveredAsText) {
  platform::ConsoleCapture console;
  std::vector<std::string> lines, paths;
  for (const Getter& getter : kGetters) {
    Outcome outcome;
    (restAPI().*getter.get)(getter.id, outcome.stringHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.text, getter.text);
    ASSERT_TRUE(outcome.response && outcome.request);
    EXPECT_EQ(outcome.response->statusCode, 200);
    EXPECT_EQ(outcome.request->method + " " + outcome.request->url,
              "GET " + service->baseUrl() + "/" + getter.path);
    lines.push_back(std::string("GET ") + getter.path);
    paths.push_back(std::string("/") + getter.path);
  }
  std::vector<std::string> received;
  for (const auto& request : service->requests()) received.push_back(request.path);
  EXPECT_EQ(received, paths);
  EXPECT_EQ(console.lines(), lines);
}

TEST_F(RestApiTest, WritesSendCompactJSONAndContentTypeFollowsEveryLaterRequest) {
  const std::string path = "hospital/patients/patient.7";
  Outcome before;
  RestApiUtil::GET(path, before.stringHandler());
  ASSERT_TRUE(before.wait());

  // A POST or PUT sets the header before it looks at the body; an absent
  // body, or one JSON text cannot hold, sends nothing and never calls back.
  int calls = 0;
  auto counting = [&calls](auto, auto, auto, auto) { ++calls; };
  for (auto* write : {&RestApiUtil::POST, &RestApiUtil::PUT}) {
    useService();
    ASSERT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), std::nullopt);
    write(path, std::nullopt, counting);
    EXPECT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), "application/json");
  }
  RestApiUtil::PUT(path, boost::json::object{{"n", std::numeric_limits<double>::quiet_NaN()}},
                   counting);
  RestApiUtil::POST(path, boost::json::object{{"name", "\xFF"}}, counting);

  const std::string compact =
      R"({"entityName":"Patient","patientId":"7","weight":71.5,"notes":["a","b"]})";
  platform::ConsoleCapture console;
  Outcome put, post, after;
  RestApiUtil::PUT("/" + path, boost::json::parse(compact).as_object(), put.stringHandler());
  ASSERT_TRUE(put.wait());
  RestApiUtil::POST("hospital/patients/patient.8", boost::json::object{}, post.stringHandler());
  ASSERT_TRUE(post.wait());
  RestApiUtil::GET(path, after.stringHandler());
  ASSERT_TRUE(after.wait());
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"PUT /hospital/patients/patient.7",
                                                       "POST hospital/patients/patient.8",
                                                       "GET hospital/patients/patient.7"}));

  std::vector<std::string> sent;
  for (const auto& request : service->requests()) {
    sent.push_back(request.method + " " + request.path + " " + request.header("Content-Type") +
                   " " + request.body);
  }
  // A leading / is not doubled.
  EXPECT_EQ(sent, (std::vector<std::string>{
                      "GET /hospital/patients/patient.7  ",
                      "PUT /hospital/patients/patient.7 application/json " + compact,
                      "POST /hospital/patients/patient.8 application/json {}",
                      "GET /hospital/patients/patient.7 application/json "}));
  EXPECT_EQ(put.text, compact) << "the reply to the write";
}

// The caller of the client sees the error the library delivered: a fault of
// the service, or a record it does not have (404, whose body comes along).
TEST_F(RestApiTest, FailuresReachTheCallerUnchanged) {
  struct Fault {
    boost::json::object setting;
    const char* id;
    int status;  // 0: no reply
  };
  // Two drops: libcurl retries once on a kept-alive connection that died.
  const std::vector<Fault> faults = {
      {{{"status", 500}}, "7", 500}, {{{"drop", true}, {"count", 2}}, "7", 0}, {{}, "404", 404}};
  for (const auto& fault : faults) {
    SCOPED_TRACE(fault.status);
    ASSERT_TRUE(service->reset());
    if (!fault.setting.empty()) {
      ASSERT_TRUE(service->setFault(fault.setting));
    }
    Outcome outcome;
    restAPI().getPatient(fault.id, outcome.stringHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain(),
              fault.status ? error_domain::kNetworking : error_domain::kURL);
    EXPECT_EQ(outcome.error->code(), fault.status
                                         ? TamberNetworking::Request::kStatusCodeValidationFailed
                                         : TamberNetworking::Request::kNetworkConnectionLost);
    EXPECT_EQ(outcome.response.has_value(), fault.status != 0);
    if (!fault.status || !outcome.response) continue;
    EXPECT_EQ(outcome.error->userInfoValue(Error::kStatusCodeKey), std::to_string(fault.status));
    EXPECT_EQ(outcome.response->statusCode, fault.status);
    EXPECT_TRUE(outcome.text.has_value());
  }
}

TEST(RestResponseTest, TheTokenIsReadFromResponseAuthorization) {
  for (const auto& [text, token] : std::vector<std::pair<const char*, const char*>>{
           {R"({"response": {"Authorization": "Bearer abc", "other": 1}})", "Bearer abc"},
           {R"({"Authorization": "top"})", ""},
           {R"({"response": {"Authorization": 5}})", ""},
           {R"({"response": "Authorization"})", ""},
           {"[1, 2]", ""}}) {
    EXPECT_EQ(Response::authenticationTokenFromJSON(*TamberNetworking::JSON::parse(text)), token)
        << text;
  }
  EXPECT_EQ(Response::authenticationTokenFromJSON(TamberNetworking::JSON()), "");
}

TEST(RestClientTest, OneSharedClientAlsoWhenThreadsRace) {
  std::vector<RestApi*> seen(8, nullptr);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] { seen[i] = &restAPI(); });
  for (auto& thread : threads) thread.join();
  for (RestApi* client : seen) EXPECT_EQ(client, &restAPI());
  EXPECT_NE(dynamic_cast<RestApiImpl*>(&restAPI()), nullptr);
}

}  // namespace
