// Hostile archives (written by make_hostile_archives.py) end in an error value.
#include <set>
#include <string>

#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

std::filesystem::path hostileDir() {
  return std::filesystem::path(ORBELIN_SOURCE_DIR) / "tests" / "watch" / "hostile";
}

TEST(WatchHostileTest, EveryHostileArchiveIsRefused) {
  std::size_t seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator(hostileDir())) {
    auto data = readFile(entry.path());
    auto object = unarchiveWatchObject(data);
    EXPECT_FALSE(object) << entry.path().filename();
    if (!object) {
      EXPECT_EQ(object.error().domain(), error_domain::kPlatform);
    }
    ++seen;
  }
  EXPECT_GE(seen, 49u);
}

TEST(WatchHostileTest, RefusalsSayWhatWasWrong) {
  auto codeOf = [](const char* name) {
    auto object = unarchiveWatchObject(readFile(hostileDir() / name));
    return object ? 0L : object.error().code();
  };
  EXPECT_EQ(codeOf("missing-due-date.bin"), kWatchMissingKeyCode);
  EXPECT_EQ(codeOf("null-id.bin"), kWatchMissingKeyCode);
  EXPECT_EQ(codeOf("delayed-is-two.bin"), kWatchMissingKeyCode);
  EXPECT_EQ(codeOf("due-date-huge.bin"), kWatchMissingKeyCode);
  EXPECT_EQ(codeOf("unknown-class.bin"), kWatchUnknownClassCode);
  EXPECT_EQ(codeOf("unknown-nested-class.bin"), kWatchUnknownClassCode);
  for (const char* broken : {"uid-cycle.bin", "field-uid-out-of-range.bin", "no-top.bin",
                             "deep-arrays.bin", "exponential-arrays.bin", "nul-in-key.bin"}) {
    long code = codeOf(broken);
    EXPECT_NE(code, kWatchMissingKeyCode) << broken;
    EXPECT_NE(code, 0) << broken;
  }
  // An integer past 64 bits anywhere is refused as unreadable, not read as
  // the number libplist would make of it (2^64 - 1 as -1, 2^64 + 12 as 12).
  for (const char* wide :
       {"id-2-pow-64-minus-1.bin", "id-2-pow-63.bin", "id-2-pow-64-plus-12.bin",
        "id-minus-2-pow-64.bin", "xml-id-2-pow-64.xml", "xml-id-2-pow-64-minus-1.xml",
        "xml-id-below-int64.xml", "xml-id-minus-2-pow-64-plus-1.xml", "xml-id-octal-looking.xml",
        "xml-id-trailing-text.xml"}) {
    auto object = unarchiveWatchObject(readFile(hostileDir() / wide));
    ASSERT_FALSE(object) << wide;
    EXPECT_NE(object.error().code(), kWatchMissingKeyCode) << wide;
    EXPECT_NE(object.error().description().find("integer"), std::string::npos)
        << wide << ": " << object.error().description();
  }
}

// Staff keys spelled like the record's ("firstName") are not the archive's.
TEST(WatchHostileTest, CamelCaseStaffKeysAreMissingKeys) {
  auto uid = [](int n) {
    return "<dict><key>CF$UID</key><integer>" + std::to_string(n) + "</integer></dict>";
  };
  std::string xml =
      "<plist><dict><key>$top</key><dict><key>root</key>" + uid(1) +
      "</dict><key>$objects</key><array><string>$null</string><dict><key>firstName</key>" + uid(3) +
      "<key>lastName</key>" + uid(3) + "<key>phoneNumber</key>" + uid(3) + "<key>role</key>" +
      uid(3) + "<key>$class</key>" + uid(2) +
      "</dict><dict><key>$classname</key><string>OrbelinData.WatchStaffMember</string></dict>"
      "<string>x</string></array></dict></plist>";
  auto object = unarchiveWatchObject(std::vector<std::uint8_t>(xml.begin(), xml.end()));
  ASSERT_FALSE(object);
  EXPECT_EQ(object.error().code(), kWatchMissingKeyCode);
}

// A patient that is not a readable WatchPatient leaves the task's patient absent.
TEST_F(WatchTest, UnreadableNestedPatientIsAbsent) {
  WatchTask watch(*task(3, 0, 0, true));
  auto data = archive(watch, archiving::PropertyListFormat::xml);
  std::string text(data.begin(), data.end());
  // Rename the patient's "id" key so the required key is missing.
  auto at = text.find("<key>id</key>", text.find("<key>id</key>") + 1);
  ASSERT_NE(at, std::string::npos);
  text.replace(at, 13, "<key>ID</key>");
  WatchTask back = readBack<WatchTask>({text.begin(), text.end()});
  EXPECT_FALSE(back.patient);
  EXPECT_EQ(back.id, archiving::BoxedNumber(3));
}

}  // namespace
}  // namespace orbelin::test
