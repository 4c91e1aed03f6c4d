// Hostile archives (written by make_hostile_archives.py) end in an error value.
#include <string>

#include "watch/watch_fixture.h"

namespace orbelin::test {
namespace {

std::filesystem::path hostileDir() {
  return std::filesystem::path(ORBELIN_SOURCE_DIR) / "tests" / "watch" / "hostile";
}

// Every file is refused as a platform error, none read as some object.
TEST(WatchHostileTest, EveryHostileArchiveIsRefused) {
  std::size_t seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator(hostileDir())) {
    auto object = unarchiveWatchObject(readBytes(entry.path()));
    EXPECT_FALSE(object) << entry.path().filename();
    if (!object) {
      EXPECT_EQ(object.error().domain(), error_domain::kPlatform);
    }
    ++seen;
  }
  EXPECT_GE(seen, 49u);
}

// Missing or mistyped keys, unknown classes and broken structure are told
// apart. (Integers past 64 bits: property_list_check_test.)
TEST(WatchHostileTest, RefusalsSayWhatWasWrong) {
  auto errorOf = [](const char* name) {
    auto object = unarchiveWatchObject(readBytes(hostileDir() / name));
    return object ? Error() : object.error();
  };
  for (const char* name :
       {"missing-due-date.bin", "null-id.bin", "delayed-is-two.bin", "due-date-huge.bin"})
    EXPECT_EQ(errorOf(name).code(), kWatchMissingKeyCode) << name;
  for (const char* name : {"unknown-class.bin", "unknown-nested-class.bin"})
    EXPECT_EQ(errorOf(name).code(), kWatchUnknownClassCode) << name;
  for (const char* name : {"uid-cycle.bin", "field-uid-out-of-range.bin", "no-top.bin",
                           "deep-arrays.bin", "exponential-arrays.bin", "nul-in-key.bin"}) {
    EXPECT_NE(errorOf(name).code(), kWatchMissingKeyCode) << name;
    EXPECT_NE(errorOf(name).code(), kWatchUnknownClassCode) << name;
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
