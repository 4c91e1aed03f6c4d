#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"

using namespace orbelin;
using platform::ConsoleCapture;
using platform::HostEnvironment;

namespace {

constexpr const char* kWarning = "OrbelinData: Warning! Setting to local mode only";

class ConfigTest : public ::testing::Test {
 protected:
  static void resetSettings() {
    DataSourceManager::resetToDefaults();
    OrbelinFramework::settings().setLocalModeBool(std::nullopt);
    OrbelinFramework::settings().setBaseUrlString(std::nullopt);
  }
  void SetUp() override {
    resetSettings();
    HostEnvironment::setDeviceModel("iPad");
    HostEnvironment::setInfoDictionary(boost::json::parse(R"({
      "CFBundleShortVersionString": "2.4.1",
      "DataSourcePaths": {"Patient": "/api/patients/{patientId}", "Authenticate": "login"}
    })")
                                           .as_object());
  }
  void TearDown() override {
    resetSettings();
    HostEnvironment::setInfoDictionary(std::nullopt);
    HostEnvironment::setDeviceModel("Linux");
  }
};

using Fields = std::vector<std::pair<std::string, std::string>>;

// Guards the hand-over of flag and base URL, the three headers in order and
// taken anew from the host on every setup, and host values that would inject
// a header.
TEST_F(ConfigTest, SetupWithFlagAndBaseURLHandsBothOverSilentlyWithTheThreeHeaders) {
  ConsoleCapture console;
  OrbelinFramework::settings().setup(false, "http://127.0.0.1:9/");
  EXPECT_TRUE(console.lines().empty());
  EXPECT_EQ(DataSourceManager::baseURLString(), "http://127.0.0.1:9/");
  EXPECT_FALSE(DataSourceManager::localMode());
  EXPECT_EQ(
      DataSourceManager::defaultHeaders().fields(),
      (Fields{{"Device-Model", "iPad"}, {"App-Version", "2.4.1"}, {"Accept-Language", "en-US"}}));

  // A version that is not a text gives an empty App-Version.
  HostEnvironment::setDeviceModel("iPhone");
  HostEnvironment::setInfoDictionary(
      boost::json::parse(R"({"CFBundleShortVersionString": 3})").as_object());
  OrbelinFramework::settings().setup(true, "http://127.0.0.1:10");
  EXPECT_EQ(
      DataSourceManager::defaultHeaders().fields(),
      (Fields{{"Device-Model", "iPhone"}, {"App-Version", ""}, {"Accept-Language", "en-US"}}));
  EXPECT_TRUE(DataSourceManager::localMode());
  EXPECT_EQ(DataSourceManager::baseURLString(), "http://127.0.0.1:10");

  // Refused values also drop the earlier ones.
  HostEnvironment::setDeviceModel("iPad\r\nX-Injected: model");
  HostEnvironment::setInfoDictionary(
      boost::json::parse(R"({"CFBundleShortVersionString": "2.4\nX-Injected: version"})")
          .as_object());
  OrbelinFramework::settings().setup(false, "http://127.0.0.1:9/");
  EXPECT_EQ(DataSourceManager::defaultHeaders().fields(), (Fields{{"Accept-Language", "en-US"}}));
}

// Guards the fallback to local mode, with its warning, whenever a setting is
// missing, and that an explicit flag still wins.
TEST_F(ConfigTest, MissingSettingsFallBackToLocalModeWithTheWarningButAnExplicitFlagWins) {
  auto setupWith = [](std::optional<bool> flag, std::optional<std::string> url) {
    OrbelinFramework::settings().setLocalModeBool(flag);
    OrbelinFramework::settings().setBaseUrlString(std::move(url));
    ConsoleCapture console;
    OrbelinFramework::settings().setup();
    return console.lines();
  };
  const std::vector<std::string> warned{kWarning};
  EXPECT_EQ(setupWith(std::nullopt, std::nullopt), warned);  // nothing set
  EXPECT_TRUE(DataSourceManager::localMode());
  EXPECT_EQ(DataSourceManager::baseURLString(), std::nullopt);

  // Base URL set, flag never set: the base URL is not handed over.
  DataSourceManager::setBaseURLString("http://earlier");
  DataSourceManager::setLocalMode(false);
  EXPECT_EQ(setupWith(std::nullopt, "http://127.0.0.1:9"), warned);
  EXPECT_TRUE(DataSourceManager::localMode());
  EXPECT_EQ(DataSourceManager::baseURLString(), "http://earlier");

  // Flag false, base URL never set: warned, yet local mode ends off.
  EXPECT_EQ(setupWith(false, std::nullopt), warned);
  EXPECT_FALSE(DataSourceManager::localMode());
}

// Guards the lookup of path templates: as stored, case-sensitive, read anew
// on every lookup, and "" for a malformed or missing table.
TEST_F(ConfigTest, PathForServiceNameReturnsTheTemplateAsStoredOrEmpty) {
  EXPECT_EQ(DataSourceManager::pathForServiceName("Authenticate"), "login") << "no '/' added";
  EXPECT_EQ(DataSourceManager::pathForServiceName("patient"), "") << "case-sensitive";

  const std::pair<const char*, const char*> cases[] = {
      {R"({"DataSourcePaths": {"Patient": "/v2/p/{patientId}"}})", "/v2/p/{patientId}"},
      {R"({"DataSourcePaths": ["Patient"]})", ""},
      {R"({"DataSourcePaths": {"Patient": "/p", "Staff": 3}})", ""},
      {"{}", ""}};
  for (auto [info, path] : cases) {
    HostEnvironment::setInfoDictionary(boost::json::parse(info).as_object());
    EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), path) << info;
  }
  HostEnvironment::setInfoDictionary(std::nullopt);
  EXPECT_EQ(DataSourceManager::pathForServiceName("Patient"), "");
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

// Setup on an instance of the host's own class goes through its setters in
// order, yet always configures from the shared instance, made once.
TEST_F(ConfigTest, SetupStoresThroughTheSettersInOrderAndAlwaysConfiguresFromTheSharedInstance) {
  RecordingFramework own;
  ConsoleCapture console;
  own.setup(false, "http://127.0.0.1:9");
  EXPECT_EQ(own.calls, (std::vector<std::string>{"localModeBool", "baseUrlString", "setup"}));
  EXPECT_EQ(own.baseUrlString(), "http://127.0.0.1:9");
  EXPECT_TRUE(console.contains(kWarning)) << "the shared instance is still unconfigured";

  std::vector<OrbelinFramework*> seen(8);
  {
    std::vector<std::jthread> threads;
    for (auto& instance : seen)
      threads.emplace_back([&] { instance = &OrbelinFramework::settings(); });
  }
  EXPECT_EQ(std::set<OrbelinFramework*>(seen.begin(), seen.end()).size(), 1u);
  auto bundle = OrbelinFramework::settings().frameworkBundle();
  ASSERT_TRUE(bundle);
  EXPECT_TRUE(std::filesystem::is_directory(bundle->resourcePath));
}

}  // namespace
