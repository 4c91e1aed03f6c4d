#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/client_test.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/endpoints/request.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"

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

class EndpointsTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    resetSettings();
    boost::json::object paths;
    for (const auto& row : catalogue()) paths[row.service] = templateFor(row.service);
    HostEnvironment::setInfoDictionary(boost::json::object{{"DataSourcePaths", paths}});
    HostEnvironment::setDeviceModel("iPad");
  }
  void TearDown() override {
    ClientTest::TearDown();
    resetSettings();
    HostEnvironment::setInfoDictionary(std::nullopt);
    HostEnvironment::setDeviceModel("Linux");
  }
  static void resetSettings() {
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
  }
};

// Each case fills every occurrence of its own placeholder (and no other) in
// its own service's path, and carries a body only for the login.
TEST_F(EndpointsTest, EveryCaseFillsItsOwnPathAndOnlyTheLoginHasABody) {
  for (const auto& row : catalogue()) {
    SCOPED_TRACE(caseName(row));
    auto urlRequest = row.request.urlRequestWithBaseURLString("http://127.0.0.1:9");
    EXPECT_EQ(urlRequest.url, "http://127.0.0.1:9" + filled(templateFor(row.service), row));
    EXPECT_EQ(urlRequest.body.has_value(), row.request.requestCase() == R::Case::Authentication);
    EXPECT_EQ(row.request.urlRequestWithBaseURLString(std::nullopt).url,
              filled(templateFor(row.service), row));
  }

  // The login body holds exactly the credentials, as JSON.
  auto login = R::Authentication("nurse \"A\"", "p@ss/word").urlRequestWithBaseURLString("");
  ASSERT_TRUE(login.body);
  EXPECT_EQ(boost::json::parse(*login.body),
            boost::json::parse(R"({"username": "nurse \"A\"", "password": "p@ss/word"})"));
  EXPECT_EQ(login.headers.value("Content-Type"), "application/json");

  // Paths are taken as stored, ids go in unescaped, and a service without a
  // path goes to the base URL itself.
  HostEnvironment::setInfoDictionary(boost::json::object{
      {"DataSourcePaths",
       {{"PatientsAndTaskSummary", "pts/{userId}"}, {"Patient", "/p/{patientId}"}}}});
  EXPECT_EQ(R::PatientsAndTasksSummaryForUser("7").urlRequestWithBaseURLString("http://h").url,
            "http://hpts/7");
  EXPECT_EQ(R::Patient("1 2").urlRequestWithBaseURLString("http://h").url, "http://h/p/1 2");
  EXPECT_EQ(R::AllTasks().urlRequestWithBaseURLString("http://h").url, "http://h");
  EXPECT_EQ(R::PatientsTasks({}).localResourceName(), "patients..tasks");
}

// Every case is answered from its own resource locally, quietly and sending
// nothing; remotely it reaches its path with its method, the default headers
// and its body.
TEST_F(EndpointsTest, EveryCaseIsAnsweredLocallyAndByTheSampleService) {
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(bundledInfoPlist()).ok());
  for (const auto& row : catalogue()) {
    writeFile(resources.path() / (std::string(row.resource) + ".json"),
              R"({"case": ")" + caseName(row) + "\"}");
  }
  SampleService& server = remote();
  OrbelinFramework::settings().setup(false, server.baseUrl());
  platform::ConsoleCapture console;
  for (const auto& row : catalogue()) {
    SCOPED_TRACE(caseName(row));
    ASSERT_TRUE(server.reset());
    DataSourceManager::setLocalMode(true);
    Outcome local = json(row.request.execute());
    DataSourceManager::setLocalMode(false);
    Outcome sent = json(row.request.execute()->validate());
    for (const Outcome* outcome : {&local, &sent}) {
      ASSERT_FALSE(outcome->error) << outcome->error->description();
      EXPECT_EQ(outcome->json["case"].stringValue(), caseName(row));
    }

    auto received = server.requests();
    ASSERT_EQ(received.size(), 1u) << "nothing sent locally";
    EXPECT_EQ(received[0].method, row.method);
    EXPECT_EQ(received[0].path,
              filled(orbelin::DataSourceManager::pathForServiceName(row.service), row));
    EXPECT_EQ(received[0].header("Device-Model"), "iPad");
    EXPECT_EQ(received[0].header("App-Version"), "1.0");
    EXPECT_EQ(received[0].body, row.request.urlRequestWithBaseURLString("").body.value_or(""));
  }
  EXPECT_TRUE(console.lines().empty());
}

}  // namespace
