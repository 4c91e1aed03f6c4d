// The ward report of orbelin-demo: the same text locally and from the sample
// service, and one "error:" line when the login or a request fails.
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_support.h"

using namespace orbelin::test;

namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(DemoReportTest, LocalAndRemoteGiveTheSameReport) {
  DemoRun local = runDemo({});
  ASSERT_EQ(local.exitCode, 0) << local.err;
  EXPECT_TRUE(local.err.empty()) << local.err;
  for (const char* line :
       {"Logged in: Maria Alvarez, Nurse (user \"nurse\", staff 7, shift 3, phone 555-0107)",
        "Patients by room (10)", "Today's tasks by group", "Open overdue tasks on the ward",
        "Tasks with a reported issue (6)", "Barriers to discharge (9)", "Notifications (6)",
        "[Equipment Alert]", "Rooms of shift 3 (14)", "Staff of shift 3 (6)",
        "Completed at 09:41 AM: Insulin pen teaching (Linda Park, Complete)",
        "Delayed by 30 minutes: Extra pillow (Eleanor Hughes), due 09:41 AM -> 10:11 AM",
        "Issue reported: Pain reassessment (Ruth Nakamura, Forward)",
        "Discharge tasks done: 37.5% before, 43.8% after (16 discharge tasks)"}) {
    EXPECT_TRUE(contains(local.out, line)) << line;
  }
  // Rooms in text order: 10 before 101 before 12 before 1B before 3A before 9.
  auto at = [&](const char* room) { return local.out.find(room); };
  EXPECT_LT(at("\n  10    Grace"), at("\n  101   Ruth"));
  EXPECT_LT(at("\n  101   Ruth"), at("\n  12    Samuel"));
  EXPECT_LT(at("\n  1B    Henry"), at("\n  3A    Eleanor"));
  EXPECT_LT(at("\n  3A    Eleanor"), at("\n  9     David"));

  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun remote = runDemo({"--base-url", service.baseUrl()});
  ASSERT_EQ(remote.exitCode, 0) << remote.err;
  EXPECT_EQ(remote.out, local.out);
  EXPECT_EQ(service.requests().size(), 10u) << "one login and nine fetches";
}

TEST(DemoReportTest, AFailedLoginOrRequestPrintsOneErrorLine) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();

  DemoRun refused = runDemo({"--base-url", service.baseUrl(), "--password", "wrong"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_TRUE(refused.out.empty());
  EXPECT_EQ(refused.err.rfind("error: login failed: ", 0), 0u) << refused.err;
  EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1);

  DemoRun otherUser =
      runDemo({"--base-url", service.baseUrl(), "--user", "jokafor", "--password", "orbelin"});
  EXPECT_EQ(otherUser.exitCode, 1) << "the service knows one user only";

  ASSERT_TRUE(service.setFault(boost::json::parse(R"({"drop": true})").as_object()));
  DemoRun dropped = runDemo({"--base-url", service.baseUrl()});
  EXPECT_EQ(dropped.exitCode, 1);
  EXPECT_TRUE(dropped.out.empty());
  EXPECT_EQ(dropped.err.rfind("error: login failed: ", 0), 0u) << dropped.err;
  EXPECT_EQ(std::count(dropped.err.begin(), dropped.err.end(), '\n'), 1);

  // The login passes, the next request finds no reply.
  TempDir loginOnly;
  std::filesystem::copy_file(sampleResourcesDir() / "authentication.json",
                             loginOnly.path() / "authentication.json");
  DemoRun partial = runDemo({"--resources", loginOnly.path().string()});
  EXPECT_EQ(partial.exitCode, 1);
  EXPECT_TRUE(partial.out.empty()) << "nothing of a half report";
  EXPECT_EQ(partial.err.rfind("error: patients: ", 0), 0u) << partial.err;
  EXPECT_EQ(std::count(partial.err.begin(), partial.err.end(), '\n'), 1);

  TempDir empty;
  DemoRun missing = runDemo({"--resources", empty.path().string()});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err.rfind("error: login failed: ", 0), 0u) << missing.err;
}

}  // namespace
