// The ward report of orbelin-demo: the same text locally and from the sample
// service, and one "error:" line when the login or a request fails.
#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"

using namespace orbelin::test;

namespace {

// Every section is printed, rooms sort as text, and the service gives the
// same report from one login and nine fetches.
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
  expectInOrder(local.out, {"\n  10    Grace", "\n  101   Ruth", "\n  12    Samuel",
                            "\n  1B    Henry", "\n  3A    Eleanor", "\n  9     David"});

  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun remote = runDemo({"--base-url", service.baseUrl()});
  EXPECT_EQ(remote.out, local.out) << remote.err;
  EXPECT_EQ(service.requests().size(), 10u);
}

// A refused or dropped login, an unknown user, missing resources and a
// failed fetch after the login each end in one error line, never half a report.
TEST(DemoReportTest, AFailedLoginOrRequestPrintsOneErrorLine) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  const std::string base = service.baseUrl();
  expectOneErrorLine(runDemo({"--base-url", base, "--password", "wrong"}), "error: login failed: ");
  DemoRun otherUser = runDemo({"--base-url", base, "--user", "jokafor", "--password", "orbelin"});
  EXPECT_EQ(otherUser.exitCode, 1) << "the service knows one user only";
  ASSERT_TRUE(service.setFault(boost::json::parse(R"({"drop": true})").as_object()));
  expectOneErrorLine(runDemo({"--base-url", base}), "error: login failed: ");

  TempDir loginOnly;
  std::filesystem::copy_file(sampleResourcesDir() / "authentication.json",
                             loginOnly.path() / "authentication.json");
  expectOneErrorLine(runDemo({"--resources", loginOnly.path().string()}), "error: patients: ");
  TempDir empty;
  expectOneErrorLine(runDemo({"--resources", empty.path().string()}), "error: login failed: ");
}

}  // namespace
