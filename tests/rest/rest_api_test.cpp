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

constexpr const char* kPatient = R"({"entityName": "Patient", "patientId": "7"})";
constexpr const char* kBooklet = R"({"entityName": "InformationBooklet", "bookletId": "3"})";
constexpr const char* kStaff = R"({"entityName": "StaffMember", "staffId": "5"})";

// The sample service over resources the fixture writes, one per record kind.
class RestApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(resources.path() / "hospital/patients/patient.7.json", kPatient);
    writeFile(resources.path() / "hospital/informationBooklets/informationBooklet.3.json",
              kBooklet);
    writeFile(resources.path() / "hospital/staffMembers/staffMember.5.json", kStaff);
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    service = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
    ASSERT_TRUE(service->running()) << service->failure();
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
  Outcome patient, booklet, staff;
  restAPI().getPatient("7", patient.stringHandler());
  restAPI().getInformationBooklet("3", booklet.stringHandler());
  restAPI().getStaffMember("5", staff.stringHandler());
  for (Outcome* outcome : {&patient, &booklet, &staff}) {
    ASSERT_TRUE(outcome->wait());
    EXPECT_EQ(outcome->calls, 1);
    EXPECT_TRUE(outcome->onMainThread);
    EXPECT_FALSE(outcome->error);
    ASSERT_TRUE(outcome->response);
    EXPECT_EQ(outcome->response->statusCode, 200);
    ASSERT_TRUE(outcome->request);
    EXPECT_EQ(outcome->request->method, "GET");
  }
  EXPECT_EQ(patient.text, kPatient);
  EXPECT_EQ(booklet.text, kBooklet);
  EXPECT_EQ(staff.text, kStaff);
  EXPECT_EQ(staff.request->url, service->baseUrl() + "/hospital/staffMembers/staffMember.5");

  std::vector<std::string> paths;
  for (const auto& request : service->requests()) paths.push_back(request.path);
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ(paths, (std::vector<std::string>{"/hospital/informationBooklets/informationBooklet.3",
                                             "/hospital/patients/patient.7",
                                             "/hospital/staffMembers/staffMember.5"}));
  EXPECT_EQ(console.lines(),
            (std::vector<std::string>{"GET hospital/patients/patient.7",
                                      "GET hospital/informationBooklets/informationBooklet.3",
                                      "GET hospital/staffMembers/staffMember.5"}));
}

TEST_F(RestApiTest, LocalModeReadsTheSameResourcesWithoutTraffic) {
  DataSourceManager::setLocalMode(true);
  Outcome patient, staff;
  restAPI().getPatient("7", patient.stringHandler());
  restAPI().getStaffMember("5", staff.stringHandler());
  ASSERT_TRUE(patient.wait());
  ASSERT_TRUE(staff.wait());
  EXPECT_EQ(patient.text, kPatient);
  EXPECT_EQ(staff.text, kStaff);
  EXPECT_TRUE(service->requests().empty());
}

TEST_F(RestApiTest, WritesSendCompactJSONAndContentTypeFollowsEveryLaterRequest) {
  Outcome before;
  RestApiUtil::GET("hospital/patients/patient.7", before.stringHandler());
  ASSERT_TRUE(before.wait());

  boost::json::object body{{"entityName", "Patient"},
                           {"patientId", "7"},
                           {"weight", 71.5},
                           {"notes", boost::json::array{"a", "b"}}};
  platform::ConsoleCapture console;
  Outcome put, post, after;
  RestApiUtil::PUT("/hospital/patients/patient.7", body, put.stringHandler());
  ASSERT_TRUE(put.wait());
  RestApiUtil::POST("hospital/patients/patient.8", boost::json::object{}, post.stringHandler());
  ASSERT_TRUE(post.wait());
  RestApiUtil::GET("hospital/patients/patient.7", after.stringHandler());
  ASSERT_TRUE(after.wait());
  EXPECT_EQ(console.lines(), (std::vector<std::string>{"PUT /hospital/patients/patient.7",
                                                       "POST hospital/patients/patient.8",
                                                       "GET hospital/patients/patient.7"}));

  const std::string compact =
      R"({"entityName":"Patient","patientId":"7","weight":71.5,"notes":["a","b"]})";
  auto requests = service->requests();
  ASSERT_EQ(requests.size(), 4u);
  EXPECT_EQ(requests[0].header("Content-Type"), "") << "no POST or PUT yet";
  EXPECT_EQ(requests[1].method, "PUT");
  EXPECT_EQ(requests[1].path, "/hospital/patients/patient.7") << "a leading / is not doubled";
  EXPECT_EQ(requests[1].body, compact);
  EXPECT_EQ(requests[2].method, "POST");
  EXPECT_EQ(requests[2].body, "{}");
  for (std::size_t i = 1; i < requests.size(); ++i)
    EXPECT_EQ(requests[i].header("Content-Type"), "application/json") << requests[i].path;

  // The service keeps the written record in memory and answers it back.
  EXPECT_EQ(put.text, compact);
  EXPECT_EQ(after.text, compact);
  EXPECT_FALSE(after.error);
  std::ifstream file(resources.path() / "hospital/patients/patient.7.json");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kPatient)
      << "the file on disk stays as it was";
}

TEST_F(RestApiTest, AnAbsentOrUnwritableBodySendsNothingAndNeverCallsBack) {
  int calls = 0;
  auto counting = [&calls](auto, auto, auto, auto) { ++calls; };
  boost::json::object notJSON{{"value", std::numeric_limits<double>::quiet_NaN()}};
  boost::json::object notText{{"name", "\xFF"}};
  ASSERT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), std::nullopt);
  RestApiUtil::POST("hospital/patients/patient.7", std::nullopt, counting);
  EXPECT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), "application/json")
      << "a POST alone sets it";
  RestApiUtil::PUT("hospital/patients/patient.7", std::nullopt, counting);
  RestApiUtil::PUT("hospital/patients/patient.7", notJSON, counting);
  RestApiUtil::POST("hospital/patients/patient.7", notText, counting);
  EXPECT_EQ(DataSourceManager::defaultHeaders().value("Content-Type"), "application/json")
      << "the header is set before the body is looked at";

  // A GET after them is the only request, and it carries the header.
  Outcome get;
  RestApiUtil::GET("hospital/patients/patient.7", get.stringHandler());
  ASSERT_TRUE(get.wait());
  platform::MainQueue::runFor(std::chrono::milliseconds(100));
  EXPECT_EQ(calls, 0);
  auto requests = service->requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
}

TEST_F(RestApiTest, FailuresReachTheCallerUnchanged) {
  // Each failure once through RestApiImpl and once through RestApiUtil::GET:
  // the caller of the client sees what the library delivered.
  struct Fault {
    boost::json::object spec;
    const char* domain;
    long code;
  };
  const std::vector<Fault> faults = {
      {{{"status", 500}},
       error_domain::kNetworking,
       TamberNetworking::Request::kStatusCodeValidationFailed},
      // Two drops: libcurl retries once on a kept-alive connection that died.
      {{{"drop", true}, {"count", 2}},
       error_domain::kURL,
       TamberNetworking::Request::kNetworkConnectionLost},
  };
  for (const auto& fault : faults) {
    ASSERT_TRUE(service->reset());
    ASSERT_TRUE(service->setFault(fault.spec));
    Outcome viaClient;
    restAPI().getPatient("7", viaClient.stringHandler());
    ASSERT_TRUE(viaClient.wait());
    ASSERT_TRUE(service->setFault(fault.spec));
    Outcome viaUtil;
    RestApiUtil::GET("hospital/patients/patient.7", viaUtil.stringHandler());
    ASSERT_TRUE(viaUtil.wait());

    EXPECT_EQ(viaClient.calls, 1);
    ASSERT_TRUE(viaClient.error);
    ASSERT_TRUE(viaUtil.error);
    EXPECT_EQ(viaClient.error->domain(), fault.domain);
    EXPECT_EQ(viaClient.error->code(), fault.code);
    EXPECT_EQ(*viaClient.error, *viaUtil.error);
    EXPECT_EQ(viaClient.text, viaUtil.text);
    EXPECT_EQ(viaClient.response.has_value(), viaUtil.response.has_value());
  }

  ASSERT_TRUE(service->reset());
  // A record the service does not have: 404, validated into an error whose
  // user info keeps the status, and the body still comes along.
  Outcome missing;
  restAPI().getStaffMember("404", missing.stringHandler());
  ASSERT_TRUE(missing.wait());
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), TamberNetworking::Request::kStatusCodeValidationFailed);
  EXPECT_EQ(missing.error->userInfoValue(Error::kStatusCodeKey), "404");
  ASSERT_TRUE(missing.response);
  EXPECT_EQ(missing.response->statusCode, 404);
  EXPECT_TRUE(missing.text.has_value());
}

TEST(RestResponseTest, TheTokenIsReadFromResponseAuthorization) {
  auto parse = [](const char* text) { return *TamberNetworking::JSON::parse(text); };
  EXPECT_EQ(Response::authenticationTokenFromJSON(
                parse(R"({"response": {"Authorization": "Bearer abc", "other": 1}})")),
            "Bearer abc");
  EXPECT_EQ(Response::authenticationTokenFromJSON(parse(R"({"Authorization": "top"})")), "");
  EXPECT_EQ(Response::authenticationTokenFromJSON(parse(R"({"response": {"Authorization": 5}})")),
            "");
  EXPECT_EQ(Response::authenticationTokenFromJSON(parse(R"({"response": "Authorization"})")), "");
  EXPECT_EQ(Response::authenticationTokenFromJSON(parse(R"([1, 2])")), "");
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
