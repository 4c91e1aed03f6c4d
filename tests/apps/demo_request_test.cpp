#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_support.h"

using namespace orbelin::test;

namespace {

void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class DemoRequestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(resources.path() / "patient.12.json", R"({"patient": {"id": 12, "weight": 71.5}})");
    writeFile(resources.path() / "patients.1.2.3.tasks.json", R"({"tasks": []})");
    writeFile(resources.path() / "allTasks.json", R"({"tasks": [1, 2]})");
    writeFile(resources.path() / "authentication.json", R"({"staffMember": {"id": 7}})");
  }
  DemoRun demo(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--resources", resources.path().string()});
    return runDemo(arguments);
  }
  TempDir resources;
};

TEST_F(DemoRequestTest, PrintsTheReplyOfEachCaseInLocalMode) {
  DemoRun patient = demo({"request", "Patient", "12"});
  EXPECT_EQ(patient.exitCode, 0) << patient.err;
  EXPECT_EQ(boost::json::parse(patient.out),
            boost::json::parse(R"({"patient": {"id": 12, "weight": 71.5}})"));
  EXPECT_NE(patient.out.find("71.5"), std::string::npos) << "numbers as written, not 7.15E1";
  EXPECT_TRUE(patient.err.empty());

  DemoRun tasks = demo({"request", "PatientsTasks", "1", "2", "3"});
  EXPECT_EQ(tasks.exitCode, 0) << tasks.err;
  EXPECT_EQ(boost::json::parse(tasks.out), boost::json::parse(R"({"tasks": []})"));
  EXPECT_EQ(demo({"request", "AllTasks"}).exitCode, 0);
  EXPECT_EQ(demo({"request", "Authentication", "nurse", "orbelin"}).exitCode, 0);
}

TEST_F(DemoRequestTest, AFailedRequestPrintsOneErrorLineAndExitsOne) {
  DemoRun missing = demo({"request", "Patient", "99"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_TRUE(missing.out.empty());
  EXPECT_EQ(missing.err.rfind("error:", 0), 0u) << missing.err;
  EXPECT_EQ(std::count(missing.err.begin(), missing.err.end(), '\n'), 1);

  DemoRun badPlist =
      demo({"--info-plist", (resources.path() / "none.plist").string(), "request", "AllTasks"});
  EXPECT_EQ(badPlist.exitCode, 1);
  EXPECT_EQ(badPlist.err.rfind("error:", 0), 0u);
}

TEST_F(DemoRequestTest, AWrongCaseOrArgumentCountPrintsUsageAndExitsTwo) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"request", "Patients"},
        std::vector<std::string>{"request", "Patient", "1", "2"},
        std::vector<std::string>{"request", "AllTasks", "1"},
        std::vector<std::string>{"request", "Authentication", "nurse"},
        std::vector<std::string>{"request", "PatientsAndTaskSummary", "7"},
        std::vector<std::string>{"request"}, std::vector<std::string>{"frobnicate"},
        std::vector<std::string>{"--base-url"}}) {
    DemoRun run = demo(arguments);
    EXPECT_EQ(run.exitCode, 2) << arguments.back();
    EXPECT_NE(run.err.find("usage: orbelin-demo"), std::string::npos);
    EXPECT_TRUE(run.out.empty());
  }
}

TEST_F(DemoRequestTest, RemoteModePrintsWhatTheServiceAnswers) {
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun patient = demo({"--base-url", service.baseUrl(), "request", "Patient", "12"});
  EXPECT_EQ(patient.exitCode, 0) << patient.err;
  EXPECT_EQ(boost::json::parse(patient.out).at("patient").at("id"), 12);
  DemoRun refused =
      demo({"--base-url", service.baseUrl(), "request", "Authentication", "nurse", "x"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("401"), std::string::npos);
  ASSERT_EQ(service.requests().size(), 2u);
  EXPECT_EQ(service.requests()[0].path, "/api/patients/12");
}

}  // namespace
