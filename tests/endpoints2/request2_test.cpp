#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/endpoints2/request2.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/rest/rest_api.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using platform::HostEnvironment;

namespace {

class Request2Test : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    setPaths({{"Patient", "/p/{patientId}/x/{patientId}"}, {"Authenticate", "/auth"}});
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
    HostEnvironment::setInfoDictionary(std::nullopt);
  }
  static void setPaths(boost::json::object paths) {
    HostEnvironment::setInfoDictionary(boost::json::object{{"DataSourcePaths", std::move(paths)}});
  }
  TempDir resources;
};

TEST_F(Request2Test, RemoteFormFollowsTheFirstCatalogue) {
  const std::string base = "http://127.0.0.1:9";
  auto patient = Request2::Patient("7").urlRequestWithBaseURLString(base);
  EXPECT_EQ(patient.method, "GET");
  EXPECT_EQ(patient.url, base + "/p/7/x/7") << "every placeholder, no separator added";
  EXPECT_FALSE(patient.body.has_value());

  auto login = Request2::Authentication("nurse", "orbelin").urlRequestWithBaseURLString(base);
  EXPECT_EQ(login.method, "POST");
  EXPECT_EQ(login.url, base + "/auth");
  ASSERT_TRUE(login.body.has_value());
  EXPECT_EQ(boost::json::parse(*login.body),
            boost::json::parse(R"({"username": "nurse", "password": "orbelin"})"));

  // Without "DataSourcePaths" the call goes to the base URL itself.
  HostEnvironment::setInfoDictionary(std::nullopt);
  EXPECT_EQ(Request2::Patient("7").urlRequestWithBaseURLString(base).url, base);
  EXPECT_EQ(Request2::Patient("7").urlRequestWithBaseURLString(std::nullopt).url, "");
}

TEST_F(Request2Test, LocalFormReadsTheHospitalFolderLikeTheRestClient) {
  writeFile(resources.path() / "hospital/patients/patient.7.json", R"({"patientId": "7"})");
  writeFile(resources.path() / "hospital/authentication.json", R"({"response": {}})");
  writeFile(resources.path() / "authentication.json", R"({"first": "generation"})");
  DataSourceManager::setLocalMode(true);

  platform::ConsoleCapture console;
  Outcome patient, login, viaClient;
  Request2::Patient("7").execute()->responseString(patient.stringHandler());
  Request2::Authentication("nurse", "x").execute()->responseJSON(login.jsonHandler());
  ASSERT_TRUE(patient.wait());
  ASSERT_TRUE(login.wait());
  EXPECT_EQ(console.lines(), std::vector<std::string>{"responseForURLRequest for patient id: 7"});
  restAPI().getPatient("7", viaClient.stringHandler());
  ASSERT_TRUE(viaClient.wait());

  EXPECT_EQ(patient.calls, 1);
  EXPECT_EQ(patient.text, R"({"patientId": "7"})");
  EXPECT_EQ(viaClient.text, patient.text) << "the same resource as restAPI().getPatient";
  EXPECT_FALSE(login.error);
  EXPECT_TRUE(login.json["response"].isObject()) << "hospital/authentication, not the first one";
  EXPECT_EQ(Request2::Patient("7").localResourceName(), "hospital/patients/patient.7");
  EXPECT_EQ(Request2::Authentication("a", "b").localResourceName(), "hospital/authentication");

  Outcome missing;
  Request2::Patient("8").execute()->responseJSON(missing.jsonHandler());
  ASSERT_TRUE(missing.wait());
  EXPECT_EQ(missing.calls, 1);
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), TamberNetworking::Response::kNotFound);
}

TEST_F(Request2Test, OnTheWireAgainstTheSampleService) {
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  writeFile(resources.path() / "authentication.json", R"({"staffMember": {"id": 7}})");
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()));
  OrbelinFramework::settings().setup(false, service.baseUrl());

  Outcome login, wrong, badId;
  Request2::Authentication("nurse", "orbelin")
      .execute()
      ->validate()
      ->responseJSON(login.jsonHandler());
  ASSERT_TRUE(login.wait());
  Request2::Authentication("nurse", "nope")
      .execute()
      ->validate()
      ->responseJSON(wrong.jsonHandler());
  ASSERT_TRUE(wrong.wait());
  Request2::Patient("7 8").execute()->responseJSON(badId.jsonHandler());
  ASSERT_TRUE(badId.wait());

  EXPECT_FALSE(login.error);
  EXPECT_EQ(login.json["staffMember"]["id"].intValue(), 7);
  ASSERT_TRUE(wrong.error);
  EXPECT_EQ(wrong.error->userInfoValue(Error::kStatusCodeKey), "401");
  ASSERT_TRUE(badId.error) << "an id with a space makes a URL that is never sent";
  EXPECT_EQ(badId.error->code(), TamberNetworking::Request::kBadURL);

  auto requests = service.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].path, "/api/authenticate");
  auto body = boost::json::parse(requests[0].body).as_object();
  EXPECT_EQ(body.size(), 2u);
  EXPECT_EQ(body["username"], "nurse");
  EXPECT_EQ(body["password"], "orbelin");
  EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
  EXPECT_EQ(requests[0].header("Accept-Language"), "en-US");
}

}  // namespace
