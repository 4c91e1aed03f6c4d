// orbelin-demo request, and the usage errors of every command.
#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"

using namespace orbelin::test;

namespace {

class DemoRequestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const auto& [name, text] : {std::pair{"patient.12.json", kPatient},
                                     {"patients.1.2.3.tasks.json", R"({"tasks": []})"},
                                     {"allTasks.json", R"({"tasks": [1, 2]})"},
                                     {"authentication.json", R"({"staffMember": {"id": 7}})"}})
      std::ofstream(resources.path() / name, std::ios::binary) << text;
  }
  DemoRun demo(std::vector<std::string> arguments) {
    return runDemoWith("--resources", resources.path(), std::move(arguments));
  }
  static constexpr const char* kPatient = R"({"patient": {"id": 12, "weight": 71.5}})";
  TempDir resources;
};

// Each case reaches its resource with its own arguments, and the reply is
// printed as it was written.
TEST_F(DemoRequestTest, PrintsTheReplyOfEachCaseInLocalMode) {
  DemoRun patient = demo({"request", "Patient", "12"});
  EXPECT_EQ(patient.exitCode, 0) << patient.err;
  EXPECT_EQ(boost::json::parse(patient.out), boost::json::parse(kPatient));
  EXPECT_TRUE(contains(patient.out, "71.5")) << "numbers as written, not 7.15E1";
  EXPECT_TRUE(patient.err.empty());

  DemoRun tasks = demo({"request", "PatientsTasks", "1", "2", "3"});
  EXPECT_EQ(boost::json::parse(tasks.out), boost::json::parse(R"({"tasks": []})")) << tasks.err;
  EXPECT_EQ(demo({"request", "AllTasks"}).exitCode, 0);
  EXPECT_EQ(demo({"request", "Authentication", "nurse", "orbelin"}).exitCode, 0);
}

// A failed request or an unreadable Info.plist is one error line, exit 1.
TEST_F(DemoRequestTest, AFailedRequestPrintsOneErrorLineAndExitsOne) {
  expectOneErrorLine(demo({"request", "Patient", "99"}));
  expectOneErrorLine(
      demo({"--info-plist", (resources.path() / "none.plist").string(), "request", "AllTasks"}));
}

// Wrong commands, cases or argument counts never run anything: usage, exit 2.
TEST_F(DemoRequestTest, WrongArgumentsOfAnyCommandPrintUsageAndExitTwo) {
  // Each call's arguments are its words.
  std::vector<std::string> calls;
  calls.insert(calls.end(), {"request Patients", "request Patient 1 2", "request AllTasks 1",
                             "request Authentication nurse", "request PatientsAndTaskSummary 7",
                             "request", "frobnicate", "--base-url"});
  calls.insert(calls.end(), {"recovery", "recovery --stored", "recovery 1 2", "recovery --all 1",
                             "patients", "patients 1 2"});
  calls.insert(calls.end(), {"rest", "rest GET", "rest DELETE x", "rest get x", "rest GET x {}",
                             "rest PUT x", "rest POST x [1,2]", "rest POST x {"});
  calls.insert(calls.end(), {"watch", "watch task", "watch task abc", "watch task 12x",
                             "watch frob 1", "watch read a --out b", "watch task 1 --to b"});
  for (const std::string& call : calls) {
    Args words;
    std::istringstream in(call);
    for (std::string word; in >> word;) words.push_back(word);
    DemoRun run = demo(words);
    EXPECT_EQ(run.exitCode, 2) << call;
    EXPECT_TRUE(run.out.empty()) << call;
    EXPECT_TRUE(contains(run.err, "usage: orbelin-demo")) << call;
  }
}

// Remote mode sends the case's path and passes the service's refusal on.
TEST_F(DemoRequestTest, RemoteModePrintsWhatTheServiceAnswers) {
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun patient = demo({"--base-url", service.baseUrl(), "request", "Patient", "12"});
  EXPECT_EQ(boost::json::parse(patient.out).at("patient").at("id"), 12) << patient.err;
  DemoRun refused =
      demo({"--base-url", service.baseUrl(), "request", "Authentication", "nurse", "x"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_TRUE(contains(refused.err, "401")) << refused.err;
  ASSERT_EQ(service.requests().size(), 2u);
  EXPECT_EQ(service.requests()[0].path, "/api/patients/12");
}

}  // namespace
