// orbelin-demo watch: archives of the sample hospital's records, read back.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

bool hasLine(const DemoRun& run, const std::string& line) {
  for (const auto& each : linesOf(run.out))
    if (each == line) return true;
  return false;
}

// Exactly one line, an "error:" one.
void expectOneErrorLine(const DemoRun& run, int exitCode) {
  EXPECT_EQ(run.exitCode, exitCode);
  auto lines = linesOf(run.err);
  ASSERT_EQ(lines.size(), 1u) << run.err;
  EXPECT_EQ(lines[0].rfind("error: ", 0), 0u) << run.err;
}

TEST(DemoWatchTest, ArchivesRecordsAndReadsThemBack) {
  TempDir dir;
  std::string taskFile = (dir.path() / "task.plist").string();
  DemoRun written = runDemo({"watch", "task", "102", "--out", taskFile});
  ASSERT_EQ(written.exitCode, 0) << written.err;
  EXPECT_EQ(written.out, "");
  auto bytes = readFile(taskFile);
  ASSERT_GE(bytes.size(), 8u);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), "bplist00");

  DemoRun task = runDemo({"watch", "read", taskFile});
  ASSERT_EQ(task.exitCode, 0) << task.err;
  for (const char* line : {"class: OrbelinData.WatchTask", "id: 102", "patient.id: 1",
                           "patient.firstname: \"Eleanor\"", "patient.lastname: \"Hughes\"",
                           "text: \"Arrange home oxygen delivery\"", "delayed: false", "status: 2",
                           "statusDescription: \"Oxygen supplier closed until noon\"", "type: 1"})
    EXPECT_TRUE(hasLine(task, line)) << line << "\n" << task.out;

  std::string staffFile = (dir.path() / "staff.plist").string();
  ASSERT_EQ(runDemo({"watch", "staff", "8", "--out", staffFile}).exitCode, 0);
  DemoRun staff = runDemo({"watch", "read", staffFile});
  EXPECT_EQ(staff.out,
            "class: OrbelinData.WatchStaffMember\nfirstName: \"James\"\nlastName: \"Okafor\"\n"
            "phoneNumber: \"555-0108\"\nimage: \"staff8.png\"\nrole: \"Nurse\"\n");

  std::string patientFile = (dir.path() / "patient.plist").string();
  ASSERT_EQ(runDemo({"watch", "patient", "1", "--out", patientFile}).exitCode, 0);
  DemoRun patient = runDemo({"watch", "read", patientFile});
  EXPECT_TRUE(hasLine(patient, "class: OrbelinData.WatchPatient")) << patient.out;
  EXPECT_TRUE(hasLine(patient, "id: 1"));
  EXPECT_TRUE(hasLine(patient, "lastname: \"Hughes\""));

  // Without --out the archive is XML on standard output.
  DemoRun xml = runDemo({"watch", "task", "102"});
  ASSERT_EQ(xml.exitCode, 0) << xml.err;
  EXPECT_EQ(xml.out.rfind("<?xml", 0), 0u);
  EXPECT_NE(xml.out.find("<string>NSKeyedArchiver</string>"), std::string::npos);
  EXPECT_NE(xml.out.find("<string>OrbelinData.WatchPatient</string>"), std::string::npos);
}

TEST(DemoWatchTest, ReadingPrintsTheSameInEveryTimeZone) {
  TempDir dir;
  std::string file = (dir.path() / "task.plist").string();
  ASSERT_EQ(runDemo({"watch", "task", "101", "--out", file}).exitCode, 0);
  const char* previous = std::getenv("TZ");
  std::string saved = previous ? previous : "";
  std::vector<std::string> outputs;
  for (const char* zone : {"UTC", "Asia/Kolkata", "America/St_Johns"}) {
    setenv("TZ", zone, 1);
    outputs.push_back(runDemo({"watch", "read", file}).out);
  }
  if (previous)
    setenv("TZ", saved.c_str(), 1);
  else
    unsetenv("TZ");
  EXPECT_NE(outputs[0].find("dueDate: "), std::string::npos);
  EXPECT_EQ(outputs[1], outputs[0]);
  EXPECT_EQ(outputs[2], outputs[0]);
}

TEST(DemoWatchTest, FailuresPrintOneErrorLine) {
  TempDir dir;
  expectOneErrorLine(runDemo({"watch", "task", "999999"}), 1);
  expectOneErrorLine(runDemo({"watch", "patient", "424242"}), 1);
  expectOneErrorLine(runDemo({"watch", "staff", "1234", "--out", (dir.path() / "x").string()}), 1);
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "x"));
  std::filesystem::path hostile =
      std::filesystem::path(ORBELIN_SOURCE_DIR) / "tests/watch/hostile/uid-cycle.bin";
  expectOneErrorLine(runDemo({"watch", "read", hostile.string()}), 1);
  expectOneErrorLine(runDemo({"watch", "read", (dir.path() / "missing.plist").string()}), 1);

  for (const auto& arguments :
       std::vector<std::vector<std::string>>{{"watch"},
                                             {"watch", "task"},
                                             {"watch", "task", "abc"},
                                             {"watch", "task", "12x"},
                                             {"watch", "frob", "1"},
                                             {"watch", "read", "a", "--out", "b"},
                                             {"watch", "task", "1", "--to", "b"}})
    EXPECT_EQ(runDemo(arguments).exitCode, 2) << arguments.size();
}

TEST(DemoWatchTest, RemoteArchiveMatchesLocal) {
  SampleService service(sampleResourcesDir(), bundledInfoPlist());
  if (!service.running()) FAIL() << service.failure();
  TempDir dir;
  std::string local = (dir.path() / "local.plist").string();
  std::string remote = (dir.path() / "remote.plist").string();
  ASSERT_EQ(runDemo({"watch", "staff", "8", "--out", local}).exitCode, 0);
  DemoRun run = runDemo({"--base-url", service.baseUrl(), "watch", "staff", "8", "--out", remote});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(readFile(remote), readFile(local));
  bool asked = false;
  for (const auto& request : service.requests())
    asked = asked || request.path.find("shift") != std::string::npos;
  EXPECT_TRUE(asked);

  // A refused login is one error line.
  DemoRun refused =
      runDemo({"--base-url", service.baseUrl(), "--password", "wrong", "watch", "staff", "8"});
  expectOneErrorLine(refused, 1);
}

}  // namespace
}  // namespace orbelin::test
