#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "networking/networking_test_support.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "support/sample_service.h"
#include "support/test_support.h"

using namespace orbelin;
using platform::ConsoleCapture;
using platform::HostEnvironment;

namespace {

constexpr const char* kWarning = "OrbelinData: Warning! Setting to local mode only";

class ConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
    HostEnvironment::setDeviceModel("iPad");
    HostEnvironment::setInfoDictionary(boost::json::parse(R"({
      "CFBundleShortVersionString": "2.4.1",
      "DataSourcePaths": {"Patient": "/api/patients/{patientId}", "Authenticate": "login"}
    })")
                                           .as_object());
  }
  void TearDown() override {
    DataSourceManager::resetToDefaults();
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
    HostEnvironment::setInfoDictionary(std::nullopt);
    HostEnvironment::setDeviceModel("Linux");
  }
};

TEST_F(ConfigTest, SetupWithFlagAndBaseURLHandsBothOverSilentlyWithTheThreeHeaders) {
  ConsoleCapture console;
  OrbelinFramework::settings().setup(false, "http://127.0.0.1:9/");
  EXPECT_TRUE(console.lines().empty());
  EXPECT_EQ(DataSourceManager::baseURLString(), "http://127.0.0.1:9/");
  EXPECT_FALSE(DataSourceManager::localMode());
  auto headers = DataSourceManager::defaultHeaders();
  ASSERT_EQ(headers.fields().size(), 3u);
  EXPECT_EQ(headers.fields()[0], (std::pair<std::string, std::string>{"Device-Model", "iPad"}));
  EXPECT_EQ(headers.fields()[1], (std::pair<std::string, std::string>{"App-Version", "2.4.1"}));
  EXPECT_EQ(headers.fields()[2], (std::pair<std::string, std::string>{"Accept-Language", "en-US"}));
  EXPECT_EQ(OrbelinFramework::settings().localModeBool(), false);
  EXPECT_EQ(OrbelinFramework::settings().baseUrlString(), "http://127.0.0.1:9/");

  // Setup again repeats every step with what the host has now.
  HostEnvironment::setDeviceModel("iPhone");
  OrbelinFramework::settings().setup(true, "http://127.0.0.1:10");
  EXPECT_EQ(DataSourceManager::defaultHeaders().value("Device-Model"), "iPhone");
  EXPECT_EQ(DataSourceManager::defaultHeaders().fields().size(), 3u);
  EXPECT_TRUE(DataSourceManager::localMode());
  EXPECT_EQ(DataSourceManager::baseURLString(), "http://127.0.0.1:10");
  EXPECT_TRUE(console.lines().empty());
}

TEST_F(ConfigTest, MissingSettingsFallBackToLocalModeWithTheWarningButAnExplicitFlagWins) {
  {  // Nothing set.
    ConsoleCapture console;
    OrbelinFramework::settings().setup();
    EXPECT_EQ(console.lines(), std::vector<std::string>{kWarning});
    EXPECT_TRUE(DataSourceManager::localMode());
    EXPECT_EQ(DataSourceManager::baseURLString(), std::nullopt);
  }
  {  // Base URL set, flag never set: the base URL is not handed over.
    DataSourceManager::setBaseURLString("http://earlier");
    DataSourceManager::setLocalMode(false);
    OrbelinFramework::settings().setBaseUrlString("http://127.0.0.1:9");
    ConsoleCapture console;
    OrbelinFramework::settings().setup();
    EXPECT_EQ(console.lines(), std::vector<std::string>{kWarning});
    EXPECT_TRUE(DataSourceManager::localMode());
    EXPECT_EQ(DataSourceManager::baseURLString(), "http://earlier");
  }
  {  // Flag false, base URL never set: warned, yet local mode ends off.
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
    OrbelinFramework::settings().setLocalModeBool(false);
    ConsoleCapture console;
    OrbelinFramework::settings().setup();
    EXPECT_EQ(console.lines(), std::vector<std::string>{kWarning});
    EXPECT_FALSE(DataSourceManager::localMode());
  }
}

TEST_F(ConfigTest, AppVersionIsEmptyWithoutATextVersion) {
  HostEnvironment::setInfoDictionary(
      boost::json::parse(R"({"CFBundleShortVersionString": 3})").as_object());
  DataSourceManager::setup();
  EXPECT_EQ(DataSourceManager::defaultHeaders().value("App-Version"), "");
  HostEnvironment::setInfoDictionary(std::nullopt);
  DataSourceManager::setup();
  EXPECT_EQ(DataSourceManager::defaultHeaders().value("App-Version"), "");
}

TEST_F(ConfigTest, PathForServiceNameReturnsTheTemplateAsStoredOrEmpty) {
  EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), "/api/patients/{patientId}");
  EXPECT_EQ(DataSourceManager::pathForServiceName("Authenticate"), "login") << "no '/' added";
  EXPECT_EQ(DataSourceManager::pathForServiceName("Staff"), "");
  EXPECT_EQ(DataSourceManager::pathForServiceName("patient"), "") << "names are case-sensitive";

  // Read anew on every lookup.
  HostEnvironment::setInfoDictionary(
      boost::json::parse(R"({"DataSourcePaths": {"Patient": "/v2/p/{patientId}"}})").as_object());
  EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), "/v2/p/{patientId}");

  for (const char* malformed :
       {R"({"DataSourcePaths": ["Patient"]})", R"({"DataSourcePaths": "Patient"})",
        R"({"DataSourcePaths": {"Patient": "/p", "Staff": 3}})", "{}"}) {
    HostEnvironment::setInfoDictionary(boost::json::parse(malformed).as_object());
    EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), "") << malformed;
  }
  HostEnvironment::setInfoDictionary(std::nullopt);
  EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), "");
}

TEST_F(ConfigTest, TheBundledInfoPlistNamesEveryServiceAndAVersion) {
  ASSERT_TRUE(HostEnvironment::loadInfoPlist(test::bundledInfoPlist()).ok());
  for (const char* service :
       {"Authenticate", "Notifications", "Patients", "UserTasks", "UserGroupTasks", "UserBarriers",
        "Patient", "PatientSummary", "PatientTasks", "PatientsTasks", "Staff", "Issues",
        "StaffForPatient", "AllTasks", "TaskSummaryForUser", "PatientsAndTaskSummary",
        "RoomsForShift"}) {
    EXPECT_EQ(DataSourceManager::pathForServiceName(service).rfind("/api/", 0), 0u) << service;
  }
  DataSourceManager::setup();
  EXPECT_FALSE(DataSourceManager::defaultHeaders().value("App-Version")->empty());
}

// Records the order in which setup(localMode, baseUrl) goes through the setters.
class RecordingFramework : public OrbelinFramework {
 public:
  using OrbelinFramework::setup;
  std::vector<std::string> calls;
  void setLocalModeBool(std::optional<bool> flag) override {
    calls.push_back("localModeBool");
    OrbelinFramework::setLocalModeBool(flag);
  }
  void setBaseUrlString(std::optional<std::string> url) override {
    calls.push_back("baseUrlString");
    OrbelinFramework::setBaseUrlString(std::move(url));
  }
  void setup() override {
    calls.push_back("setup");
    OrbelinFramework::setup();
  }
};

TEST_F(ConfigTest, SetupStoresThroughTheSettersInOrderAndAlwaysConfiguresFromTheSharedInstance) {
  RecordingFramework own;
  ConsoleCapture console;
  own.setup(false, "http://127.0.0.1:9");
  EXPECT_EQ(own.calls, (std::vector<std::string>{"localModeBool", "baseUrlString", "setup"}));
  EXPECT_EQ(own.baseUrlString(), "http://127.0.0.1:9");
  // The shared instance is still unconfigured, so the library falls back.
  EXPECT_TRUE(console.contains(kWarning));
  EXPECT_TRUE(DataSourceManager::localMode());
}

TEST_F(ConfigTest, TheSharedInstanceIsCreatedOnceAndTheBundleIsFound) {
  std::set<OrbelinFramework*> seen;
  std::mutex mutex;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      OrbelinFramework* instance = &OrbelinFramework::settings();
      std::lock_guard lock(mutex);
      seen.insert(instance);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(seen.size(), 1u);
  auto bundle = OrbelinFramework::settings().frameworkBundle();
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->identifier, Bundle::kFrameworkIdentifier);
  EXPECT_TRUE(std::filesystem::is_directory(bundle->resourcePath));
}

}  // namespace

namespace {

struct TasksCall : TamberNetworking::DataSourceRequest {
  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> base) const override {
    return TamberNetworking::URLRequest(base.value_or("") + "/api/tasks");
  }
};

TEST_F(ConfigTest, HostValuesWithLineBreaksNeverReachTheWire) {
  test::TempDir resources;
  test::SampleService service(resources.path(), test::bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  HostEnvironment::setDeviceModel("iPad\r\nX-Injected: model");
  HostEnvironment::setInfoDictionary(
      boost::json::parse(R"({"CFBundleShortVersionString": "2.4\nX-Injected: version"})")
          .as_object());
  ConsoleCapture console;
  OrbelinFramework::settings().setup(false, service.baseUrl());
  EXPECT_TRUE(console.contains("OrbelinData: Refused header Device-Model"));
  EXPECT_TRUE(console.contains("OrbelinData: Refused header App-Version"));

  test::Outcome outcome;
  DataSourceManager::request(TasksCall())->responseJSON(outcome.jsonHandler());
  ASSERT_TRUE(outcome.wait());
  EXPECT_EQ(outcome.calls, 1);
  auto received = service.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].headers.count("X-Injected"), 0u);
  EXPECT_EQ(received[0].headers.count("Device-Model"), 0u);
  EXPECT_EQ(received[0].headers.count("App-Version"), 0u);
  EXPECT_EQ(received[0].header("Accept-Language"), "en-US");
}

}  // namespace
