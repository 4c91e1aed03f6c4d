#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include "orbelin/platform/host_environment.h"
#include "platform/plist_test_support.h"
#include "support/test_support.h"

using orbelin::platform::HostEnvironment;
using ::testing::HasSubstr;

namespace {

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string bigEndian(std::uint64_t value, std::size_t size) {
  std::string out(size, '\0');
  for (std::size_t i = 0; i < size; ++i)
    out[size - 1 - i] = static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

// A binary property list from encoded objects, references `refSize` bytes wide.
std::string binaryPlist(const std::vector<std::string>& objects, std::size_t refSize,
                        std::uint64_t top = 0) {
  std::string out = "bplist00";
  std::vector<std::uint64_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(out.size());
    out += object;
  }
  std::uint64_t table = out.size();
  for (auto offset : offsets) out += bigEndian(offset, 4);
  out += std::string(6, '\0');
  out += static_cast<char>(4);
  out += static_cast<char>(refSize);
  out += bigEndian(objects.size(), 8) + bigEndian(top, 8) + bigEndian(table, 8);
  return out;
}

std::string ascii(const std::string& text) {
  return static_cast<char>(0x50 | text.size()) + text;  // short strings only
}
std::string dictionary1(std::uint64_t key, std::uint64_t value, std::size_t refSize) {
  return std::string(1, '\xD1') + bigEndian(key, refSize) + bigEndian(value, refSize);
}
std::string array(const std::vector<std::uint64_t>& refs, std::size_t refSize) {
  std::string out(1, static_cast<char>(0xA0 | refs.size()));
  for (auto ref : refs) out += bigEndian(ref, refSize);
  return out;
}

class InfoPlistSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    HostEnvironment::setInfoDictionary(boost::json::object{{"CFBundleShortVersionString", "9"}});
  }
  void TearDown() override { HostEnvironment::setInfoDictionary(std::nullopt); }

  // Loads `bytes`, expects a refusal and the earlier dictionary in place.
  std::string expectRefused(const std::string& name, const std::string& bytes) {
    writeFile(dir.path() / name, bytes);
    auto status = HostEnvironment::loadInfoPlist(dir.path() / name);
    EXPECT_FALSE(status.ok()) << name;
    if (status.ok()) return "";
    EXPECT_EQ(HostEnvironment::infoDictionary(),
              (boost::json::object{{"CFBundleShortVersionString", "9"}}))
        << name;
    return status.error().description();
  }
  boost::json::object load(const std::string& name, const std::string& bytes) {
    writeFile(dir.path() / name, bytes);
    auto status = HostEnvironment::loadInfoPlist(dir.path() / name);
    EXPECT_TRUE(status.ok()) << name << ": " << (status.ok() ? "" : status.error().description());
    return HostEnvironment::infoDictionary().value_or(boost::json::object{});
  }

  orbelin::test::TempDir dir;
};

const std::string kXmlHead = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)";

TEST_F(InfoPlistSafety, NulBytesAreRefusedNotAborted) {
  expectRefused("nul-string.plist", kXmlHead + "<dict><key>A</key><string>x" +
                                        std::string(1, '\0') + "y</string></dict></plist>");
  expectRefused("nul-key.plist", kXmlHead + "<dict><key>A" + std::string(1, '\0') +
                                     "B</key><string>x</string></dict></plist>");
  // Binary: a key "a\0b", then a UTF-16 value holding a NUL unit.
  expectRefused("nul-key.bplist",
                binaryPlist({dictionary1(1, 2, 1), ascii(std::string("a\0b", 3)), ascii("v")}, 1));
  expectRefused("nul-utf16.bplist",
                binaryPlist({dictionary1(1, 2, 1), ascii("k"), std::string("\x62\0A\0\0", 5)}, 1));
  // A well-formed binary list of the same shape loads.
  auto loaded = load("fine.bplist", binaryPlist({dictionary1(1, 2, 1), ascii("k"), ascii("v")}, 1));
  EXPECT_EQ(loaded, (boost::json::object{{"k", "v"}}));
}

TEST_F(InfoPlistSafety, DeepLoopingOrExplodingListsAreRefusedWithoutRecursion) {
  // 100,000 arrays, each holding the next.
  std::vector<std::string> chain;
  for (std::uint64_t i = 0; i < 100000; ++i) chain.push_back(array({i + 1}, 4));
  chain.push_back(array({}, 4));
  EXPECT_THAT(expectRefused("deep.bplist", binaryPlist(chain, 4)), HasSubstr("nested too deeply"));

  std::string deepXml = kXmlHead + "<dict><key>a</key>";
  for (int i = 0; i < 100000; ++i) deepXml += "<array>";
  EXPECT_THAT(expectRefused("deep.plist", deepXml), HasSubstr("nested too deeply"));

  EXPECT_THAT(expectRefused("loop.bplist", binaryPlist({dictionary1(1, 0, 1), ascii("self")}, 1)),
              HasSubstr("loop"));
  // Sixty levels each referring twice to the next: 2^60 objects once copied.
  std::vector<std::string> doubling{dictionary1(62, 1, 1)};
  for (std::uint64_t i = 1; i <= 60; ++i) doubling.push_back(array({i + 1, i + 1}, 1));
  doubling.push_back(array({}, 1));
  doubling.push_back(ascii("k"));
  EXPECT_THAT(expectRefused("doubling.bplist", binaryPlist(doubling, 1)),
              HasSubstr("too many objects"));

  // References and lengths that point outside the file.
  expectRefused("bad-ref.bplist", binaryPlist({dictionary1(1, 9, 1), ascii("k")}, 1));
  expectRefused("bad-length.bplist",
                binaryPlist({dictionary1(1, 2, 1), ascii("k"),
                             std::string("\x5F\x13\xFF\xFF") + std::string(4, '\xFF')},
                            1));
  expectRefused("truncated.bplist", std::string("bplist00") + std::string(10, '\0'));

  // Nesting within the limit still loads, shared objects included.
  std::string fine = kXmlHead + "<dict><key>a</key>";
  for (int i = 0; i < HostEnvironment::kMaxPropertyListDepth - 1; ++i) fine += "<array>";
  for (int i = 0; i < HostEnvironment::kMaxPropertyListDepth - 1; ++i) fine += "</array>";
  fine += "<key>e</key><array/></dict></plist>";
  EXPECT_TRUE(load("fine.plist", fine).contains("a"));
  auto shared =
      load("shared.bplist",
           binaryPlist({dictionary1(1, 2, 1), ascii("k"), array({3, 3}, 1), ascii("v")}, 1));
  EXPECT_EQ(shared, (boost::json::object{{"k", boost::json::array{"v", "v"}}}));
}

TEST_F(InfoPlistSafety, DatesDataAndNegativeIntegersArriveAsPromised) {
  const std::string xml = kXmlHead + R"(<dict>
    <key>Built</key><date>2015-04-21T09:41:00Z</date>
    <key>Old</key><date>1999-12-31T23:59:59Z</date>
    <key>Blob</key><data>SGVsbG8=</data>
    <key>Offset</key><integer>-5</integer>
    <key>Big</key><integer>9223372036854775807</integer>
  </dict></plist>)";
  auto fromXml = load("values.plist", xml);
  EXPECT_EQ(fromXml.at("Built"), "2015-04-21T09:41:00Z");
  EXPECT_EQ(fromXml.at("Old"), "1999-12-31T23:59:59Z");
  EXPECT_EQ(fromXml.at("Blob"), "SGVsbG8=");
  ASSERT_TRUE(fromXml.at("Offset").is_int64());
  EXPECT_EQ(fromXml.at("Offset").as_int64(), -5);
  EXPECT_EQ(fromXml.at("Big").to_number<std::int64_t>(), INT64_MAX);

  // The same values through libplist's binary writer read back the same.
  const std::string binary = orbelin::test::binaryFromXml(xml);
  ASSERT_FALSE(binary.empty());
  EXPECT_EQ(load("values.bplist", binary), fromXml);
}

}  // namespace
