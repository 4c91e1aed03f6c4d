// orbelin-demo watch: archives of the sample hospital's records, read back.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

bool hasLine(const DemoRun& run, const std::string& line) {
  return contains("\n" + run.out, "\n" + line + "\n");
}

// Each kind is written as a binary archive with --out (XML on stdout without
// it) and reads back with the record's values under the right class.
TEST(DemoWatchTest, ArchivesRecordsAndReadsThemBack) {
  TempDir dir;
  std::string taskFile = (dir.path() / "task.plist").string();
  DemoRun written = runDemo({"watch", "task", "102", "--out", taskFile});
  ASSERT_EQ(written.exitCode, 0) << written.err;
  EXPECT_EQ(written.out, "");
  auto bytes = readBytes(taskFile);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + std::min<std::size_t>(8, bytes.size())),
            "bplist00");
  DemoRun task = runDemo({"watch", "read", taskFile});
  for (const char* line : {"class: OrbelinData.WatchTask", "id: 102", "patient.id: 1",
                           "patient.firstname: \"Eleanor\"", "patient.lastname: \"Hughes\"",
                           "text: \"Arrange home oxygen delivery\"", "delayed: false", "status: 2",
                           "statusDescription: \"Oxygen supplier closed until noon\"", "type: 1"})
    EXPECT_TRUE(hasLine(task, line)) << line << "\n" << task.out << task.err;

  std::string staffFile = (dir.path() / "staff.plist").string();
  ASSERT_EQ(runDemo({"watch", "staff", "8", "--out", staffFile}).exitCode, 0);
  EXPECT_EQ(runDemo({"watch", "read", staffFile}).out,
            "class: OrbelinData.WatchStaffMember\nfirstName: \"James\"\nlastName: \"Okafor\"\n"
            "phoneNumber: \"555-0108\"\nimage: \"staff8.png\"\nrole: \"Nurse\"\n");

  std::string patientFile = (dir.path() / "patient.plist").string();
  ASSERT_EQ(runDemo({"watch", "patient", "1", "--out", patientFile}).exitCode, 0);
  DemoRun patient = runDemo({"watch", "read", patientFile});
  for (const char* line : {"class: OrbelinData.WatchPatient", "id: 1", "lastname: \"Hughes\""})
    EXPECT_TRUE(hasLine(patient, line)) << line << "\n" << patient.out;

  DemoRun xml = runDemo({"watch", "task", "102"});
  EXPECT_EQ(xml.out.rfind("<?xml", 0), 0u) << xml.err;
  EXPECT_TRUE(contains(xml.out, "<string>NSKeyedArchiver</string>"));
  EXPECT_TRUE(contains(xml.out, "<string>OrbelinData.WatchPatient</string>"));
}

// Reading prints dates the same way whatever the zone, half-hour ones included.
TEST(DemoWatchTest, ReadingPrintsTheSameInEveryTimeZone) {
  TempDir dir;
  std::string file = (dir.path() / "task.plist").string();
  ASSERT_EQ(runDemo({"watch", "task", "101", "--out", file}).exitCode, 0);
  std::vector<std::string> outputs;
  for (const char* zone : {"UTC", "Asia/Kolkata", "America/St_Johns"})
    outputs.push_back(runDemo({"watch", "read", file}, std::string("TZ=") + zone).out);
  EXPECT_TRUE(contains(outputs[0], "dueDate: "));
  EXPECT_EQ(outputs[1], outputs[0]);
  EXPECT_EQ(outputs[2], outputs[0]);
}

// Unknown records, hostile or missing archives: one error line, no file.
TEST(DemoWatchTest, FailuresPrintOneErrorLine) {
  TempDir dir;
  expectOneErrorLine(runDemo({"watch", "task", "999999"}));
  expectOneErrorLine(runDemo({"watch", "patient", "424242"}));
  expectOneErrorLine(runDemo({"watch", "staff", "1234", "--out", (dir.path() / "x").string()}));
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "x"));
  expectOneErrorLine(
      runDemo({"watch", "read", (sourceDir() / "tests/watch/hostile/uid-cycle.bin").string()}));
  expectOneErrorLine(runDemo({"watch", "read", (dir.path() / "missing.plist").string()}));
}

// Remote mode asks the service (the shift's staff) and writes the same bytes;
// a refused login is one error line.
TEST(DemoWatchTest, RemoteArchiveMatchesLocal) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  ASSERT_TRUE(service.running()) << service.failure();
  TempDir dir;
  std::string local = (dir.path() / "local.plist").string();
  std::string remote = (dir.path() / "remote.plist").string();
  ASSERT_EQ(runDemo({"watch", "staff", "8", "--out", local}).exitCode, 0);
  DemoRun run = runDemo({"--base-url", service.baseUrl(), "watch", "staff", "8", "--out", remote});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(readBytes(remote), readBytes(local));
  bool asked = false;
  for (const auto& request : service.requests()) asked = asked || contains(request.path, "shift");
  EXPECT_TRUE(asked);
  expectOneErrorLine(
      runDemo({"--base-url", service.baseUrl(), "--password", "wrong", "watch", "staff", "8"}));
}

}  // namespace
}  // namespace orbelin::test
