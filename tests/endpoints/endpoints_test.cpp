#include <functional>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/endpoints/request.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "support/sample_service.h"

using namespace orbelin;
using namespace orbelin::test;
using platform::HostEnvironment;
using Case = orbelin::Request::Case;

namespace {

// One row per case: how to build it with sample arguments, and what it must
// turn into. "Placeholder" is the one its argument fills ("" for none).
struct Expected {
  Case requestCase;
  std::function<orbelin::Request()> make;
  const char* method;
  const char* service;
  const char* placeholder;
  const char* resource;
};

const std::vector<Expected>& catalogue() {
  static const std::vector<Expected> rows = {
      {Case::Authentication, [] { return orbelin::Request::Authentication("nurse", "orbelin"); },
       "POST", "Authenticate", "", "authentication"},
      {Case::Notifications, [] { return orbelin::Request::Notifications("7"); }, "GET",
       "Notifications", "{userId}", "user.7.notifications"},
      {Case::Patients, [] { return orbelin::Request::Patients("7"); }, "GET", "Patients",
       "{userId}", "user.7.patients"},
      {Case::UserTasks, [] { return orbelin::Request::UserTasks("7"); }, "GET", "UserTasks",
       "{userId}", "user.7.tasks"},
      {Case::UserGroupTasks, [] { return orbelin::Request::UserGroupTasks("7"); }, "GET",
       "UserGroupTasks", "{userId}", "user.7.tasks.grouped"},
      {Case::UserBarriers, [] { return orbelin::Request::UserBarriers("7"); }, "GET",
       "UserBarriers", "{userId}", "user.7.barriers.grouped"},
      {Case::Patient, [] { return orbelin::Request::Patient("12"); }, "GET", "Patient",
       "{patientId}", "patient.12"},
      {Case::PatientSummary, [] { return orbelin::Request::PatientSummary("12"); }, "GET",
       "PatientSummary", "{patientId}", "patient.12.summary"},
      {Case::PatientTasks, [] { return orbelin::Request::PatientTasks("12"); }, "GET",
       "PatientTasks", "{patientId}", "patient.12.tasks"},
      {Case::PatientsTasks,
       [] {
         return orbelin::Request::PatientsTasks({"1", "2", "3"});
       },
       "GET", "PatientsTasks", "", "patients.1.2.3.tasks"},
      {Case::Staff, [] { return orbelin::Request::Staff("3"); }, "GET", "Staff", "{shiftId}",
       "user.shift.3"},
      {Case::Issues, [] { return orbelin::Request::Issues("9"); }, "GET", "Issues", "{userId}",
       "user.9.issues"},
      {Case::StaffForPatient, [] { return orbelin::Request::StaffForPatient("12"); }, "GET",
       "StaffForPatient", "{patientId}", "patient.12.users"},
      {Case::AllTasks, [] { return orbelin::Request::AllTasks(); }, "GET", "AllTasks", "",
       "allTasks"},
      {Case::TaskSummaryForUser, [] { return orbelin::Request::TaskSummaryForUser("7"); }, "GET",
       "TaskSummaryForUser", "{userId}", "user.7.tasksummary"},
      {Case::PatientsAndTasksSummaryForUser,
       [] { return orbelin::Request::PatientsAndTasksSummaryForUser("7"); }, "GET",
       "PatientsAndTaskSummary", "{userId}", "user.7.patientsandtasks"},
      {Case::RoomsForShift, [] { return orbelin::Request::RoomsForShift("3"); }, "GET",
       "RoomsForShift", "{shiftId}", "user.shift.3.rooms"},
  };
  return rows;
}

std::string argumentOf(const orbelin::Request& request) {
  return request.arguments().empty() ? "" : request.arguments().front();
}

// Every template holds every placeholder, the own one twice, so a case that
// fills the wrong one or only the first occurrence shows.
std::string templateFor(const std::string& service) {
  return "/" + service + "/{userId}/{patientId}/{shiftId}/{userId}{patientId}{shiftId}";
}

std::string expectedPath(const Expected& row, const std::string& argument) {
  std::string path = templateFor(row.service);
  std::string placeholder = row.placeholder;
  if (placeholder.empty()) return path;
  for (auto at = path.find(placeholder); at != std::string::npos; at = path.find(placeholder, at))
    path.replace(at, placeholder.size(), argument);
  return path;
}

class EndpointsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    DataSourceManager::setResourceRoot(resources.path());
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
    boost::json::object paths;
    for (const auto& row : catalogue()) paths[row.service] = templateFor(row.service);
    boost::json::object info{{"CFBundleShortVersionString", "3.1"}, {"DataSourcePaths", paths}};
    HostEnvironment::setInfoDictionary(info);
    HostEnvironment::setDeviceModel("iPad");
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
    HostEnvironment::setInfoDictionary(std::nullopt);
    HostEnvironment::setDeviceModel("Linux");
  }
  // One resource per case whose content names the case.
  void writeCaseResources() {
    for (const auto& row : catalogue()) {
      writeFile(resources.path() / (std::string(row.resource) + ".json"),
                R"({"case": ")" + std::string(orbelin::Request::caseName(row.requestCase)) + "\"}");
    }
  }
  TempDir resources;
};

TEST_F(EndpointsTest, EveryCaseBuildsItsMethodPathAndLocalResourceName) {
  ASSERT_EQ(catalogue().size(), 17u);
  for (const auto& row : catalogue()) {
    const orbelin::Request request = row.make();
    const std::string name(orbelin::Request::caseName(row.requestCase));
    SCOPED_TRACE(name);
    EXPECT_EQ(request.requestCase(), row.requestCase);
    EXPECT_EQ(orbelin::Request::caseNamed(name), row.requestCase);
    EXPECT_EQ(orbelin::Request::serviceName(row.requestCase), row.service);
    EXPECT_EQ(request.localResourceName(), row.resource);

    auto urlRequest = request.urlRequestWithBaseURLString("http://127.0.0.1:9");
    EXPECT_EQ(urlRequest.method, row.method);
    EXPECT_EQ(urlRequest.url, "http://127.0.0.1:9" + expectedPath(row, argumentOf(request)));
    EXPECT_EQ(urlRequest.body.has_value(), row.requestCase == Case::Authentication);

    // Absent base URL: the path alone.
    EXPECT_EQ(request.urlRequestWithBaseURLString(std::nullopt).url,
              expectedPath(row, argumentOf(request)));
  }
  EXPECT_EQ(orbelin::Request::caseNamed("PatientsAndTaskSummary"), std::nullopt);
}

TEST_F(EndpointsTest, AuthenticationBodyHoldsExactlyTheCredentials) {
  auto urlRequest = orbelin::Request::Authentication("nurse \"A\"", "p@ss/word")
                        .urlRequestWithBaseURLString("http://127.0.0.1:9");
  ASSERT_TRUE(urlRequest.body);
  auto body = boost::json::parse(*urlRequest.body);
  ASSERT_TRUE(body.is_object());
  EXPECT_EQ(body.as_object().size(), 2u);
  EXPECT_EQ(body.at("username"), "nurse \"A\"");
  EXPECT_EQ(body.at("password"), "p@ss/word");
  EXPECT_EQ(urlRequest.headers.value("Content-Type"), "application/json");
}

TEST_F(EndpointsTest, PathsComeFromTheHostAsStoredWithLiteralReplacement) {
  HostEnvironment::setInfoDictionary(boost::json::parse(R"({"DataSourcePaths": {
    "Patient": "/p/{patientId}/again/{patientId}", "Staff": "/staff/{shiftId}",
    "PatientsAndTaskSummary": "/pts/{userId}", "Patients": "/no/placeholder"}})")
                                         .as_object());
  const std::string base = "http://127.0.0.1:9";
  EXPECT_EQ(orbelin::Request::Patient("12").urlRequestWithBaseURLString(base).url,
            base + "/p/12/again/12");
  EXPECT_EQ(orbelin::Request::Staff("3").urlRequestWithBaseURLString(base).url, base + "/staff/3");
  EXPECT_EQ(
      orbelin::Request::PatientsAndTasksSummaryForUser("7").urlRequestWithBaseURLString(base).url,
      base + "/pts/7");
  EXPECT_EQ(orbelin::Request::Patients("7").urlRequestWithBaseURLString(base).url,
            base + "/no/placeholder");
  // Ids go in unescaped: this one makes the URL text invalid (and is then never sent).
  EXPECT_EQ(orbelin::Request::Patient("1 2").urlRequestWithBaseURLString(base).url,
            base + "/p/1 2/again/1 2");
  // No entry for the service: the base URL itself.
  EXPECT_EQ(orbelin::Request::AllTasks().urlRequestWithBaseURLString(base).url, base);
  EXPECT_EQ(orbelin::Request::PatientsTasks({}).localResourceName(), "patients..tasks");
  EXPECT_EQ(orbelin::Request::PatientsTasks({"4"}).localResourceName(), "patients.4.tasks");
}

TEST_F(EndpointsTest, LocalModeAnswersEveryCaseFromItsResourceAndSendsNothing) {
  SampleService server(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(server.running()) << server.failure();
  writeCaseResources();
  platform::ConsoleCapture console;
  OrbelinFramework::settings().setup(true, server.baseUrl());
  for (const auto& row : catalogue()) {
    Outcome outcome;
    row.make().execute()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    EXPECT_EQ(outcome.json["case"].stringValue(), orbelin::Request::caseName(row.requestCase));
  }
  Outcome missing;
  orbelin::Request::Patient("404").execute()->responseJSON(missing.jsonHandler());
  ASSERT_TRUE(missing.wait());
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), TamberNetworking::Response::kNotFound);
  Outcome escape;
  orbelin::Request::Patient("../../etc/passwd").execute()->responseString(escape.stringHandler());
  ASSERT_TRUE(escape.wait());
  ASSERT_TRUE(escape.error);
  EXPECT_FALSE(escape.text);
  EXPECT_TRUE(server.requests().empty());
  EXPECT_TRUE(console.lines().empty());
}

TEST_F(EndpointsTest, RemoteModeReachesTheSampleServiceForEveryCase) {
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()).ok());
  SampleService server(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(server.running()) << server.failure();
  writeCaseResources();
  OrbelinFramework::settings().setup(false, server.baseUrl());
  for (const auto& row : catalogue()) {
    const orbelin::Request request = row.make();
    SCOPED_TRACE(std::string(orbelin::Request::caseName(row.requestCase)));
    ASSERT_TRUE(server.reset());
    Outcome outcome;
    request.execute()->validate()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    EXPECT_EQ(outcome.json["case"].stringValue(), orbelin::Request::caseName(row.requestCase));

    auto received = server.requests();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].method, row.method);
    std::string path = DataSourceManager::pathForServiceName(row.service);
    if (*row.placeholder) {
      path.replace(path.find(row.placeholder), std::string(row.placeholder).size(),
                   argumentOf(request));
    }
    EXPECT_EQ(received[0].path, path);
    EXPECT_EQ(received[0].header("Device-Model"), "iPad");
    EXPECT_EQ(received[0].header("App-Version"), "1.0");
    EXPECT_EQ(received[0].header("Accept-Language"), "en-US");
    if (row.requestCase == Case::Authentication) {
      EXPECT_EQ(boost::json::parse(received[0].body),
                boost::json::parse(R"({"username": "nurse", "password": "orbelin"})"));
    } else {
      EXPECT_EQ(received[0].body, "");
    }
  }
}

TEST_F(EndpointsTest, RemoteFailuresReachTheHandlerAndBadIdsAreNeverSent) {
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()).ok());
  SampleService server(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(server.running()) << server.failure();
  writeCaseResources();
  OrbelinFramework::settings().setup(false, server.baseUrl());

  Outcome wrongPassword;
  orbelin::Request::Authentication("nurse", "wrong")
      .execute()
      ->validate()
      ->responseJSON(wrongPassword.jsonHandler());
  ASSERT_TRUE(wrongPassword.wait());
  ASSERT_TRUE(wrongPassword.error);
  EXPECT_EQ(wrongPassword.error->userInfoValue(Error::kStatusCodeKey), "401");

  ASSERT_TRUE(server.reset());
  for (const char* id : {"1 2", "12\r\nX-Injected: 1", "\t"}) {
    Outcome outcome;
    orbelin::Request::Patient(id).execute()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code(), TamberNetworking::Request::kBadURL);
  }
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
