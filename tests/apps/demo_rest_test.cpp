// orbelin-demo rest: one call of any method, locally or against the service.
#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"

using namespace orbelin::test;

namespace {

constexpr const char* kStaff = R"({"entityName": "StaffMember", "staffId": "5"})";
constexpr const char* kPath = "hospital/staffMembers/staffMember.5";

class DemoRestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(resources.path() / "hospital/staffMembers");
    std::ofstream(resources.path() / (std::string(kPath) + ".json")) << kStaff;
  }
  DemoRun demo(std::vector<std::string> arguments) {
    return runDemoWith("--resources", resources.path(), std::move(arguments));
  }
  TempDir resources;
};

// Local mode answers every method with the resource's text alone (no library
// console lines), writes nothing, and a missing resource is an error line.
TEST_F(DemoRestTest, LocalCallsPrintTheResourceTextOnly) {
  for (const Args& call :
       {Args{"rest", "GET", kPath}, Args{"rest", "PUT", kPath, R"({"staffId": "6"})"},
        Args{"rest", "POST", kPath, "{}"}}) {
    DemoRun run = demo(call);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, std::string(kStaff) + "\n");
    EXPECT_TRUE(run.err.empty()) << run.err;
  }
  std::ifstream file(resources.path() / (std::string(kPath) + ".json"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kStaff) << "nothing written";
  expectOneErrorLine(demo({"rest", "GET", "hospital/nothing"}));
}

// A PUT sends the body compact and a later GET reads it back; a failed
// status is one error line naming it. (Headers: rest_api_test.)
TEST_F(DemoRestTest, RemoteWritesAreAnsweredAndReadBack) {
  SampleService service(resources.path(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  const std::string base = service.baseUrl();
  const std::string compact = R"({"entityName":"StaffMember","staffId":"5","phoneNumber":"555"})";
  DemoRun put = demo({"--base-url", base, "rest", "PUT", std::string("/") + kPath,
                      R"({"entityName": "StaffMember", "staffId": "5", "phoneNumber": "555"})"});
  EXPECT_EQ(put.out, compact + "\n") << put.err;
  DemoRun get = demo({"--base-url", base, "rest", "GET", kPath});
  EXPECT_EQ(get.out, compact + "\n") << get.err;

  auto requests = service.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method, "PUT");
  EXPECT_EQ(requests[0].path, std::string("/") + kPath);
  EXPECT_EQ(requests[0].body, compact);

  ASSERT_TRUE(service.setFault(boost::json::object{{"status", 503}}));
  DemoRun failed = demo({"--base-url", base, "rest", "GET", kPath});
  expectOneErrorLine(failed);
  EXPECT_TRUE(contains(failed.err, "HTTP 503")) << failed.err;
}

}  // namespace
