// orbelin-demo recovery and patients: download into the documents folder's
// store, read back from it, locally or from the sample service.
#include <sys/stat.h>

#include <thread>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "apps/demo_runner.h"
#include "support/sample_service.h"

using namespace orbelin::test;
namespace fs = std::filesystem;

namespace {

// The report is written in the device's time zone; a half-hour zone makes a
// date that is converted the wrong way show.
class DemoRecoveryTest : public ::testing::Test {
 protected:
  DemoRun demo(const fs::path& documents, std::vector<std::string> arguments) {
    return runDemoWith("--documents", documents, std::move(arguments), "TZ=Asia/Kolkata");
  }
  TempDir scratch;
};

// Every section in order with its values; the owner-only folder and store
// file; a later process reads the same report and JSON from the file alone.
TEST_F(DemoRecoveryTest, DownloadThenStoredRunsInNewProcessesShowTheSameReport) {
  const fs::path documents = scratch.path() / "new/Documents";
  DemoRun downloaded = demo(documents, {"recovery", "1"});
  ASSERT_EQ(downloaded.exitCode, 0) << downloaded.err;
  EXPECT_TRUE(downloaded.err.empty()) << downloaded.err;
  const std::string& report = downloaded.out;
  Args parts = {"Patient 1: Eleanor Hughes (Female, born 1941-06-12)",
                "status Admitted, room 3A bed 3A-1, physician Dr. Priya Raman",
                "admitted 2015-04-17 16:20, discharge 2015-04-22 11:00 to Home (Approved)"};
  parts.insert(parts.end(),
               {"Appointments (4)", "2015-04-17 17:00  Complete  Pre-operative assessment",
                "Coronary bypass surgery", "Physiotherapy walk", "Cardiology follow-up"});
  parts.insert(parts.end(), {"Instructions (3)", "Medical tests (3)", "Vitals (4)", "Care team (3)",
                             "Maria Alvarez, Charge Nurse, 555-0201",
                             "Priya Raman, Family Physician", "Tom Becker, Surgeon, 555-0203"});
  parts.insert(parts.end(),
               {"Information booklets (3)", "Going Home After Heart Surgery", "Walking every day",
                "Managing pain", "Eating for your heart", "When to call", "Objects in the store"});
  expectInOrder(report, parts);
  for (const char* line : {"Take warfarin [Delayed]",
                           "Warfarin 5 mg; latest Missed 2015-04-21 08:30 (Held for high INR)",
                           "ABNORMAL INR 3.8, above range", "normal   131 g/L",
                           "Heart Rate: 88 bpm (Irregular)", " Patient 1 ", " StaffMember 6 "})
    EXPECT_TRUE(contains(report, line)) << line;
  EXPECT_FALSE(contains(report, "not downloaded"));

  struct stat info {};
  ASSERT_EQ(::stat(documents.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  EXPECT_TRUE(fs::exists(documents / "MainStore.sqlite"));
  EXPECT_EQ(demo(documents, {"recovery", "--stored", "1"}).out, report);

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

// --stored never goes to the network, and says the patient is not there.
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

// The remote report equals the local one with one request per record; when
// some records are gone the rest still prints, marked, and one error line
// names each failed group.
TEST_F(DemoRecoveryTest, RemoteReportEqualsLocalAndPartialFailuresStillPrint) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  DemoRun local = demo(scratch.path() / "local", {"recovery", "2"});
  DemoRun remote =
      demo(scratch.path() / "remote", {"--base-url", service.baseUrl(), "recovery", "2"});
  EXPECT_EQ(remote.out, local.out) << remote.err;
  // Patient 2's care team of four and two booklets: one request each.
  EXPECT_EQ(service.requests().size(), 1u + 4u + 2u);

  const fs::path partial = scratch.path() / "partial";
  fs::create_directories(partial);
  fs::copy(sampleResourcesDir() / "hospital", partial / "hospital", fs::copy_options::recursive);
  fs::remove(partial / "hospital/staffMembers/staffMember.6.json");
  fs::remove(partial / "hospital/informationBooklets/informationBooklet.3.json");
  SampleService broken(partial, bundledInfoPlist());
  ASSERT_TRUE(broken.running()) << broken.failure();
  DemoRun run = demo(scratch.path() / "broken", {"--base-url", broken.baseUrl(), "recovery", "2"});
  EXPECT_EQ(run.exitCode, 1);
  for (const char* line :
       {"Care team (4)", "Hannah Weiss, Dietition, 555-0206 (full record not downloaded)",
        "Aiko Tanaka, Pharmacist", "Living With Diabetes (full record not downloaded)",
        "Your Stay on Ward 3\n    The ward"})
    EXPECT_TRUE(contains(run.out, line)) << line << "\n" << run.out;
  EXPECT_EQ(run.err.rfind("error: care team: ", 0), 0u) << run.err;
  EXPECT_TRUE(contains(run.err, "booklets: ")) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

// One line per patient of the user, and those patients are stored.
TEST_F(DemoRecoveryTest, PatientsOfAUserOneLineEach) {
  DemoRun run = demo(scratch.path() / "docs", {"patients", "1"});
  EXPECT_EQ(run.out,
            "1  Eleanor Hughes  Admitted  bed 3A-1\n"
            "2  Samuel Ortiz  Ready To Discharge  bed 12-2\n"
            "3  Ruth Nakamura  Admitted  bed 101-1\n"
            "8  Walter Nguyen  To Be Admitted  bed -\n")
      << run.err;
  DemoRun stored = demo(scratch.path() / "docs", {"recovery", "--stored", "8"});
  EXPECT_TRUE(contains(stored.out, "no recovery path yet")) << stored.err;
  expectOneErrorLine(demo(scratch.path() / "docs", {"patients", "404"}));
}

// Two processes writing one store at once: neither loses the other's records.
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
  EXPECT_TRUE(contains(stored.out, " Patient 3 ")) << stored.out << stored.err;
  EXPECT_EQ(demo(documents, {"recovery", "--stored", "3"}).exitCode, 0);
}

}  // namespace
