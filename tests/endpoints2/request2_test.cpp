#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/client_test.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/endpoints2/request2.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/rest/rest_api.h"

using namespace orbelin;
using namespace orbelin::test;
using platform::HostEnvironment;

namespace {

class Request2Test : public ClientTest {
 protected:
  void TearDown() override {
    ClientTest::TearDown();
    HostEnvironment::setInfoDictionary(std::nullopt);
  }
};

// Remotely a patient is a GET of the "Patient" path with the id filling every
// placeholder.
TEST_F(Request2Test, RemoteFormFillsThePatientPath) {
  HostEnvironment::setInfoDictionary(
      boost::json::object{{"DataSourcePaths", {{"Patient", "/p/{patientId}/x/{patientId}"}}}});
  const std::string base = "http://127.0.0.1:9";
  auto patient = Request2::Patient("7").urlRequestWithBaseURLString(base);
  EXPECT_EQ(patient.method + " " + patient.url, "GET " + base + "/p/7/x/7");
  EXPECT_FALSE(patient.body.has_value());
}

// Locally a patient is read from the hospital folder, the same resource
// restAPI().getPatient reads, and the login from hospital/authentication.
TEST_F(Request2Test, LocalFormReadsTheHospitalFolderLikeTheRestClient) {
  writeFile(resources.path() / "hospital/patients/patient.7.json", R"({"patientId": "7"})");
  writeFile(resources.path() / "hospital/authentication.json", R"({"response": {}})");
  writeFile(resources.path() / "authentication.json", R"({"first": "generation"})");
  DataSourceManager::setLocalMode(true);

  platform::ConsoleCapture console;
  Outcome patient = text(Request2::Patient("7").execute());
  Outcome login = json(Request2::Authentication("nurse", "x").execute());
  EXPECT_EQ(console.lines(), std::vector<std::string>{"responseForURLRequest for patient id: 7"});
  Outcome viaClient;
  restAPI().getPatient("7", viaClient.stringHandler());
  ASSERT_TRUE(viaClient.wait());

  EXPECT_EQ(patient.text, R"({"patientId": "7"})");
  EXPECT_EQ(viaClient.text, patient.text);
  EXPECT_FALSE(login.error);
  EXPECT_TRUE(login.json["response"].isObject()) << "hospital/authentication, not the first one";
  Outcome missing = json(Request2::Patient("8").execute());
  EXPECT_EQ(missing.errorCode(), TamberNetworking::Response::kNotFound);
}

// On the wire the login posts exactly the credentials as JSON to the bundled
// path, with the default headers.
TEST_F(Request2Test, OnTheWireAgainstTheSampleService) {
  writeFile(resources.path() / "authentication.json", R"({"staffMember": {"id": 7}})");
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()));
  SampleService& server = remote();
  OrbelinFramework::settings().setup(false, server.baseUrl());

  Outcome login = json(Request2::Authentication("nurse", "orbelin").execute()->validate());
  EXPECT_FALSE(login.error);
  EXPECT_EQ(login.json["staffMember"]["id"].intValue(), 7);

  auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method + " " + requests[0].path, "POST /api/authenticate");
  EXPECT_EQ(boost::json::parse(requests[0].body),
            boost::json::parse(R"({"username": "nurse", "password": "orbelin"})"));
  EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
  EXPECT_EQ(requests[0].header("Accept-Language"), "en-US");
}

}  // namespace
