#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_support.h"

using namespace orbelin::test;

namespace {

constexpr const char* kStaff = R"({"entityName": "StaffMember", "staffId": "5"})";

class DemoRestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(resources.path() / "hospital/staffMembers");
    std::ofstream(resources.path() / "hospital/staffMembers/staffMember.5.json") << kStaff;
  }
  DemoRun demo(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--resources", resources.path().string()});
    return runDemo(arguments);
  }
  TempDir resources;
};

TEST_F(DemoRestTest, LocalCallsPrintTheResourceTextOnly) {
  for (const std::vector<std::string>& call :
       {std::vector<std::string>{"rest", "GET", "hospital/staffMembers/staffMember.5"},
        std::vector<std::string>{"rest", "PUT", "hospital/staffMembers/staffMember.5",
                                 R"({"staffId": "6"})"},
        std::vector<std::string>{"rest", "POST", "hospital/staffMembers/staffMember.5", "{}"}}) {
    DemoRun run = demo(call);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, std::string(kStaff) + "\n") << "no console lines of the library";
    EXPECT_TRUE(run.err.empty()) << run.err;
  }
  std::ifstream file(resources.path() / "hospital/staffMembers/staffMember.5.json");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kStaff) << "nothing written";
}

TEST_F(DemoRestTest, RemoteWritesAreAnsweredAndReadBack) {
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  const std::string base = service.baseUrl();
  DemoRun put = demo({"--base-url", base, "rest", "PUT", "/hospital/staffMembers/staffMember.5",
                      R"({"entityName": "StaffMember", "staffId": "5", "phoneNumber": "555"})"});
  EXPECT_EQ(put.exitCode, 0) << put.err;
  const std::string compact = R"({"entityName":"StaffMember","staffId":"5","phoneNumber":"555"})";
  EXPECT_EQ(put.out, compact + "\n");
  DemoRun get = demo({"--base-url", base, "rest", "GET", "hospital/staffMembers/staffMember.5"});
  EXPECT_EQ(get.exitCode, 0) << get.err;
  EXPECT_EQ(get.out, compact + "\n") << "the service keeps what was PUT";

  auto requests = service.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method, "PUT");
  EXPECT_EQ(requests[0].path, "/hospital/staffMembers/staffMember.5");
  EXPECT_EQ(requests[0].body, compact);
  EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
  EXPECT_EQ(requests[1].header("Content-Type"), "") << "a new process starts without it";

  ASSERT_TRUE(service.setFault(boost::json::object{{"status", 503}}));
  DemoRun failed = demo({"--base-url", base, "rest", "GET", "hospital/staffMembers/staffMember.5"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_TRUE(failed.out.empty());
  EXPECT_EQ(failed.err.rfind("error:", 0), 0u) << failed.err;
  EXPECT_NE(failed.err.find("HTTP 503"), std::string::npos) << failed.err;
  EXPECT_EQ(std::count(failed.err.begin(), failed.err.end(), '\n'), 1);
}

TEST_F(DemoRestTest, WrongArgumentsAreUsageErrors) {
  for (const std::vector<std::string>& call :
       {std::vector<std::string>{"rest"}, std::vector<std::string>{"rest", "GET"},
        std::vector<std::string>{"rest", "DELETE", "x"},
        std::vector<std::string>{"rest", "get", "x"},
        std::vector<std::string>{"rest", "GET", "x", "{}"},
        std::vector<std::string>{"rest", "PUT", "x"},
        std::vector<std::string>{"rest", "POST", "x", "[1, 2]"},
        std::vector<std::string>{"rest", "POST", "x", "{"}}) {
    DemoRun run = demo(call);
    EXPECT_EQ(run.exitCode, 2) << call.size();
    EXPECT_TRUE(run.out.empty());
    EXPECT_NE(run.err.find("usage: orbelin-demo"), std::string::npos);
  }
  DemoRun missing = demo({"rest", "GET", "hospital/nothing"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err.rfind("error:", 0), 0u);
}

}  // namespace
