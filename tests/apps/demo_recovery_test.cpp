#include <sys/stat.h>

#include <thread>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_support.h"

using namespace orbelin::test;
namespace fs = std::filesystem;

namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// Positions of `parts` in `text`, which must all be there in this order.
void expectInOrder(const std::string& text, const std::vector<std::string>& parts) {
  std::size_t at = 0;
  for (const auto& part : parts) {
    std::size_t found = text.find(part, at);
    ASSERT_NE(found, std::string::npos) << "missing or out of order: " << part << "\n" << text;
    at = found + part.size();
  }
}

void copyTree(const fs::path& from, const fs::path& to) {
  fs::create_directories(to);
  fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

// The report is written in the device's time zone; a half-hour zone makes a
// date that is converted the wrong way show.
class DemoRecoveryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* zone = std::getenv("TZ");
    savedZone = zone ? std::optional<std::string>(zone) : std::nullopt;
    ::setenv("TZ", "Asia/Kolkata", 1);
  }
  void TearDown() override {
    if (savedZone) {
      ::setenv("TZ", savedZone->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
  }
  DemoRun demo(const fs::path& documents, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--documents", documents.string()});
    return runDemo(arguments);
  }
  std::optional<std::string> savedZone;
  TempDir scratch;
};

TEST_F(DemoRecoveryTest, DownloadThenStoredRunsInNewProcessesShowTheSameReport) {
  const fs::path documents = scratch.path() / "new/Documents";
  DemoRun downloaded = demo(documents, {"recovery", "1"});
  ASSERT_EQ(downloaded.exitCode, 0) << downloaded.err;
  EXPECT_TRUE(downloaded.err.empty()) << downloaded.err;
  const std::string& report = downloaded.out;
  expectInOrder(report, {"Patient 1: Eleanor Hughes (Female, born 1941-06-12)",
                         "status Admitted, room 3A bed 3A-1, physician Dr. Priya Raman",
                         "admitted 2015-04-17 16:20, discharge 2015-04-22 11:00 to Home (Approved)",
                         "Appointments (4)",
                         "2015-04-17 17:00  Complete  Pre-operative assessment",
                         "Coronary bypass surgery",
                         "Physiotherapy walk",
                         "Cardiology follow-up",
                         "Instructions (3)",
                         "Medical tests (3)",
                         "Vitals (4)",
                         "Care team (3)",
                         "Maria Alvarez, Charge Nurse, 555-0201",
                         "Priya Raman, Family Physician",
                         "Tom Becker, Surgeon, 555-0203",
                         "Information booklets (3)",
                         "Going Home After Heart Surgery",
                         "Walking every day",
                         "Managing pain",
                         "Eating for your heart",
                         "When to call",
                         "Objects in the store"});
  EXPECT_TRUE(contains(report, "Take warfarin [Delayed]")) << report;
  EXPECT_TRUE(
      contains(report, "Warfarin 5 mg; latest Missed 2015-04-21 08:30 (Held for high INR)"));
  EXPECT_TRUE(contains(report, "ABNORMAL INR 3.8, above range"));
  EXPECT_TRUE(contains(report, "normal   131 g/L"));
  EXPECT_TRUE(contains(report, "Heart Rate: 88 bpm (Irregular)"));
  EXPECT_TRUE(contains(report, " Patient 1 ")) << "one patient in a new store";
  EXPECT_TRUE(contains(report, " StaffMember 6 ")) << "three entries and three full records";
  EXPECT_FALSE(contains(report, "not downloaded"));

  // The documents folder was made, for its owner only, and holds the store.
  struct stat info {};
  ASSERT_EQ(::stat(documents.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  EXPECT_TRUE(fs::exists(documents / "MainStore.sqlite"));

  DemoRun stored = demo(documents, {"recovery", "--stored", "1"});
  EXPECT_EQ(stored.exitCode, 0) << stored.err;
  EXPECT_EQ(stored.out, report) << "the data lives in the file";

  DemoRun json = demo(documents, {"recovery", "--json", "--stored", "1"});
  ASSERT_EQ(json.exitCode, 0) << json.err;
  auto patient = boost::json::parse(json.out).as_object();
  EXPECT_EQ(patient["entityName"], "Patient");
  EXPECT_EQ(patient["patientId"], "1");
  EXPECT_EQ(patient["birthDate"], "1941-06-12 12:00:00") << "read and written in the same zone";
  auto& appointments = patient["recoveryPath"].as_object()["appoitments"].as_array();
  ASSERT_EQ(appointments.size(), 4u);
  EXPECT_EQ(appointments[3].as_object()["shortDesc"], "Cardiology follow-up");
}

TEST_F(DemoRecoveryTest, StoredWithoutADownloadSendsNothingAndFails) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun run =
      demo(scratch.path() / "docs", {"--base-url", service.baseUrl(), "recovery", "--stored", "1"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(run.out.empty());
  EXPECT_EQ(run.err, "error: no stored patient 1\n");
  EXPECT_TRUE(service.requests().empty());
}

TEST_F(DemoRecoveryTest, RemoteReportEqualsLocalAndPartialFailuresStillPrint) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun local = demo(scratch.path() / "local", {"recovery", "2"});
  DemoRun remote =
      demo(scratch.path() / "remote", {"--base-url", service.baseUrl(), "recovery", "2"});
  ASSERT_EQ(remote.exitCode, 0) << remote.err;
  EXPECT_EQ(remote.out, local.out);
  // Patient 2's care team of four and two booklets: one request each.
  EXPECT_EQ(service.requests().size(), 1u + 4u + 2u);

  // A copy of the sample where one care-team member and one booklet are gone.
  const fs::path partial = scratch.path() / "partial";
  copyTree(sampleResourcesDir() / "hospital", partial / "hospital");
  fs::remove(partial / "hospital/staffMembers/staffMember.6.json");
  fs::remove(partial / "hospital/informationBooklets/informationBooklet.3.json");
  SampleService broken(partial, bundledInfoPlist());
  ASSERT_TRUE(broken.running()) << broken.failure();
  DemoRun run = demo(scratch.path() / "broken", {"--base-url", broken.baseUrl(), "recovery", "2"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_TRUE(contains(run.out, "Care team (4)")) << run.out;
  EXPECT_TRUE(contains(run.out, "Hannah Weiss, Dietition, 555-0206 (full record not downloaded)"));
  EXPECT_TRUE(contains(run.out, "Aiko Tanaka, Pharmacist"));
  EXPECT_TRUE(contains(run.out, "Living With Diabetes (full record not downloaded)"));
  EXPECT_TRUE(contains(run.out, "Your Stay on Ward 3\n    The ward"));
  EXPECT_EQ(run.err.rfind("error: care team: ", 0), 0u) << run.err;
  EXPECT_TRUE(contains(run.err, "booklets: ")) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

TEST_F(DemoRecoveryTest, PatientsOfAUserOneLineEach) {
  DemoRun run = demo(scratch.path() / "docs", {"patients", "1"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out,
            "1  Eleanor Hughes  Admitted  bed 3A-1\n"
            "2  Samuel Ortiz  Ready To Discharge  bed 12-2\n"
            "3  Ruth Nakamura  Admitted  bed 101-1\n"
            "8  Walter Nguyen  To Be Admitted  bed -\n");
  DemoRun stored = demo(scratch.path() / "docs", {"recovery", "--stored", "8"});
  EXPECT_EQ(stored.exitCode, 0) << "the downloaded patients are stored";
  EXPECT_TRUE(contains(stored.out, "no recovery path yet"));

  DemoRun unknown = demo(scratch.path() / "docs", {"patients", "404"});
  EXPECT_EQ(unknown.exitCode, 1);
  EXPECT_EQ(unknown.err.rfind("error:", 0), 0u);
}

TEST_F(DemoRecoveryTest, TwoProcessesDownloadingIntoOneStoreAtOnceLoseNothing) {
  const fs::path documents = scratch.path() / "shared";
  DemoRun first, second;
  std::thread one([&] { first = demo(documents, {"recovery", "3"}); });
  std::thread two([&] { second = demo(documents, {"patients", "7"}); });
  one.join();
  two.join();
  EXPECT_EQ(first.exitCode, 0) << first.err;
  EXPECT_EQ(second.exitCode, 0) << second.err;
  // Patient 3, and user 7's patients 6 and 7, all in the one file.
  DemoRun stored = demo(documents, {"recovery", "--stored", "6"});
  EXPECT_EQ(stored.exitCode, 0) << stored.err;
  EXPECT_TRUE(contains(stored.out, " Patient 3 ")) << stored.out;
  EXPECT_EQ(demo(documents, {"recovery", "--stored", "3"}).exitCode, 0);
}

TEST_F(DemoRecoveryTest, WrongArgumentsAreUsageErrors) {
  for (const std::vector<std::string>& call :
       {std::vector<std::string>{"recovery"}, std::vector<std::string>{"recovery", "--stored"},
        std::vector<std::string>{"recovery", "1", "2"},
        std::vector<std::string>{"recovery", "--all", "1"}, std::vector<std::string>{"patients"},
        std::vector<std::string>{"patients", "1", "2"}}) {
    DemoRun run = demo(scratch.path() / "docs", call);
    EXPECT_EQ(run.exitCode, 2) << call.back();
    EXPECT_TRUE(run.out.empty());
    EXPECT_TRUE(contains(run.err, "usage: orbelin-demo"));
  }
}

}  // namespace
