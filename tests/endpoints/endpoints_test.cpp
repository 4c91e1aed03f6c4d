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
using R = orbelin::Request;

namespace {

// One row per case, built with sample arguments, and what it must turn into.
// "Placeholder" is the one its argument fills ("" for none).
struct Expected {
  R request;
  const char* method;
  const char* service;
  const char* placeholder;
  const char* resource;
};

const std::vector<Expected>& catalogue() {
  static const std::vector<Expected> rows = {
      {R::Authentication("nurse", "orbelin"), "POST", "Authenticate", "", "authentication"},
      {R::Notifications("7"), "GET", "Notifications", "{userId}", "user.7.notifications"},
      {R::Patients("7"), "GET", "Patients", "{userId}", "user.7.patients"},
      {R::UserTasks("7"), "GET", "UserTasks", "{userId}", "user.7.tasks"},
      {R::UserGroupTasks("7"), "GET", "UserGroupTasks", "{userId}", "user.7.tasks.grouped"},
      {R::UserBarriers("7"), "GET", "UserBarriers", "{userId}", "user.7.barriers.grouped"},
      {R::Patient("12"), "GET", "Patient", "{patientId}", "patient.12"},
      {R::PatientSummary("12"), "GET", "PatientSummary", "{patientId}", "patient.12.summary"},
      {R::PatientTasks("12"), "GET", "PatientTasks", "{patientId}", "patient.12.tasks"},
      {R::PatientsTasks({"1", "2", "3"}), "GET", "PatientsTasks", "", "patients.1.2.3.tasks"},
      {R::Staff("3"), "GET", "Staff", "{shiftId}", "user.shift.3"},
      {R::Issues("9"), "GET", "Issues", "{userId}", "user.9.issues"},
      {R::StaffForPatient("12"), "GET", "StaffForPatient", "{patientId}", "patient.12.users"},
      {R::AllTasks(), "GET", "AllTasks", "", "allTasks"},
      {R::TaskSummaryForUser("7"), "GET", "TaskSummaryForUser", "{userId}", "user.7.tasksummary"},
      {R::PatientsAndTasksSummaryForUser("7"), "GET", "PatientsAndTaskSummary", "{userId}",
       "user.7.patientsandtasks"},
      {R::RoomsForShift("3"), "GET", "RoomsForShift", "{shiftId}", "user.shift.3.rooms"},
  };
  return rows;
}

std::string caseName(const Expected& row) {
  return std::string(R::caseName(row.request.requestCase()));
}

// `path` with every occurrence of the row's placeholder replaced by its argument.
std::string filled(std::string path, const Expected& row) {
  const std::string placeholder = row.placeholder;
  if (placeholder.empty()) return path;
  const std::string argument = row.request.arguments().front();
  for (auto at = path.find(placeholder); at != std::string::npos; at = path.find(placeholder, at))
    path.replace(at, placeholder.size(), argument);
  return path;
}

// Every template holds every placeholder, the own one twice, so a case that
// fills the wrong one or only the first occurrence shows.
std::string templateFor(const std::string& service) {
  return "/" + service + "/{userId}/{patientId}/{shiftId}/{userId}{patientId}{shiftId}";
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
  // The sample service over one resource per case whose content names the
  // case; remote mode uses the bundled Info.plist.
  std::unique_ptr<SampleService> serve(bool local) {
    if (!local) {
      EXPECT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()).ok());
    }
    for (const auto& row : catalogue()) {
      writeFile(resources.path() / (std::string(row.resource) + ".json"),
                R"({"case": ")" + caseName(row) + "\"}");
    }
    auto server = std::make_unique<SampleService>(resources.path(), bundledInfoPlist());
    EXPECT_TRUE(server->running()) << server->failure();
    OrbelinFramework::settings().setup(local, server->baseUrl());
    return server;
  }
  TempDir resources;
};

TEST_F(EndpointsTest, EveryCaseBuildsItsMethodPathBodyAndLocalResourceName) {
  ASSERT_EQ(catalogue().size(), 17u);
  for (const auto& row : catalogue()) {
    SCOPED_TRACE(caseName(row));
    EXPECT_EQ(R::caseNamed(caseName(row)), row.request.requestCase());
    EXPECT_EQ(row.request.localResourceName(), row.resource);
    auto urlRequest = row.request.urlRequestWithBaseURLString("http://127.0.0.1:9");
    EXPECT_EQ(urlRequest.method, row.method);
    EXPECT_EQ(urlRequest.url, "http://127.0.0.1:9" + filled(templateFor(row.service), row));
    EXPECT_EQ(urlRequest.body.has_value(), row.request.requestCase() == R::Case::Authentication);
    // Absent base URL: the path alone.
    EXPECT_EQ(row.request.urlRequestWithBaseURLString(std::nullopt).url,
              filled(templateFor(row.service), row));
  }
  EXPECT_EQ(R::caseNamed("PatientsAndTaskSummary"), std::nullopt);

  // The login body holds exactly the credentials, as JSON.
  auto login = R::Authentication("nurse \"A\"", "p@ss/word").urlRequestWithBaseURLString("");
  ASSERT_TRUE(login.body);
  EXPECT_EQ(boost::json::parse(*login.body),
            boost::json::parse(R"({"username": "nurse \"A\"", "password": "p@ss/word"})"));
  EXPECT_EQ(login.headers.value("Content-Type"), "application/json");
}

TEST_F(EndpointsTest, PathsComeFromTheHostAsStoredWithLiteralReplacement) {
  HostEnvironment::setInfoDictionary(boost::json::parse(R"({"DataSourcePaths": {
    "Patient": "/p/{patientId}/again/{patientId}", "Staff": "/staff/{shiftId}",
    "PatientsAndTaskSummary": "/pts/{userId}", "Patients": "/no/placeholder"}})")
                                         .as_object());
  const std::string base = "http://127.0.0.1:9";
  const std::vector<std::pair<R, std::string>> cases = {
      {R::Patient("12"), "/p/12/again/12"},
      {R::Staff("3"), "/staff/3"},
      {R::PatientsAndTasksSummaryForUser("7"), "/pts/7"},
      {R::Patients("7"), "/no/placeholder"},
      // Ids go in unescaped: this one makes the URL text invalid (and is then never sent).
      {R::Patient("1 2"), "/p/1 2/again/1 2"},
      // No entry for the service: the base URL itself.
      {R::AllTasks(), ""},
  };
  for (const auto& [request, path] : cases) {
    EXPECT_EQ(request.urlRequestWithBaseURLString(base).url, base + path);
  }
  EXPECT_EQ(R::PatientsTasks({}).localResourceName(), "patients..tasks");
  EXPECT_EQ(R::PatientsTasks({"4"}).localResourceName(), "patients.4.tasks");
}

TEST_F(EndpointsTest, LocalModeAnswersEveryCaseFromItsResourceAndSendsNothing) {
  auto server = serve(true);
  platform::ConsoleCapture console;
  for (const auto& row : catalogue()) {
    Outcome outcome;
    row.request.execute()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    EXPECT_EQ(outcome.json["case"].stringValue(), caseName(row));
  }
  Outcome missing, escape;
  R::Patient("404").execute()->responseJSON(missing.jsonHandler());
  R::Patient("../../etc/passwd").execute()->responseString(escape.stringHandler());
  ASSERT_TRUE(missing.wait() && escape.wait());
  ASSERT_TRUE(missing.error && escape.error);
  EXPECT_EQ(missing.error->code(), TamberNetworking::Response::kNotFound);
  EXPECT_FALSE(escape.text);
  EXPECT_TRUE(server->requests().empty());
  EXPECT_TRUE(console.lines().empty());
}

TEST_F(EndpointsTest, RemoteModeReachesTheSampleServiceForEveryCaseAndBadIdsAreNeverSent) {
  auto server = serve(false);
  for (const auto& row : catalogue()) {
    SCOPED_TRACE(caseName(row));
    ASSERT_TRUE(server->reset());
    Outcome outcome;
    row.request.execute()->validate()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    EXPECT_EQ(outcome.json["case"].stringValue(), caseName(row));

    auto received = server->requests();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].method, row.method);
    EXPECT_EQ(received[0].path, filled(DataSourceManager::pathForServiceName(row.service), row));
    EXPECT_EQ(received[0].header("Device-Model"), "iPad");
    EXPECT_EQ(received[0].header("App-Version"), "1.0");
    EXPECT_EQ(received[0].header("Accept-Language"), "en-US");
    EXPECT_EQ(received[0].body, row.request.urlRequestWithBaseURLString("").body.value_or(""));
  }

  Outcome wrongPassword;
  R::Authentication("nurse", "wrong")
      .execute()
      ->validate()
      ->responseJSON(wrongPassword.jsonHandler());
  ASSERT_TRUE(wrongPassword.wait());
  ASSERT_TRUE(wrongPassword.error);
  EXPECT_EQ(wrongPassword.error->userInfoValue(Error::kStatusCodeKey), "401");

  ASSERT_TRUE(server->reset());
  for (const char* id : {"1 2", "12\r\nX-Injected: 1", "\t"}) {
    Outcome outcome;
    R::Patient(id).execute()->responseJSON(outcome.jsonHandler());
    ASSERT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code(), TamberNetworking::Request::kBadURL);
  }
  EXPECT_TRUE(server->requests().empty());
}

}  // namespace
