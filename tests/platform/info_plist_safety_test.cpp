#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plist/plist.h>

#include "orbelin/platform/host_environment.h"
#include "platform/binary_plist.h"
#include "support/test_support.h"

using orbelin::platform::HostEnvironment;
using ::testing::HasSubstr;
using namespace orbelin::test;

namespace {

// The XML property list rewritten by libplist's own binary writer.
std::string binaryFromXml(const std::string& xml) {
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &root);
  if (!root) return {};
  char* bin = nullptr;
  uint32_t length = 0;
  plist_to_bin(root, &bin, &length);
  std::string bytes(bin, length);
  std::free(bin);
  plist_free(root);
  return bytes;
}

class InfoPlistSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    HostEnvironment::setInfoDictionary(boost::json::object{{"CFBundleShortVersionString", "9"}});
  }
  void TearDown() override { HostEnvironment::setInfoDictionary(std::nullopt); }

  // Loads `bytes`, expects a refusal and the earlier dictionary in place.
  std::string expectRefused(const std::string& name, const std::string& bytes) {
    std::ofstream(dir.path() / name, std::ios::binary) << bytes;
    auto status = HostEnvironment::loadInfoPlist(dir.path() / name);
    EXPECT_FALSE(status.ok()) << name;
    if (status.ok()) return "";
    EXPECT_EQ(HostEnvironment::infoDictionary(),
              (boost::json::object{{"CFBundleShortVersionString", "9"}}))
        << name;
    return status.error().description();
  }
  boost::json::object load(const std::string& name, const std::string& bytes) {
    std::ofstream(dir.path() / name, std::ios::binary) << bytes;
    auto status = HostEnvironment::loadInfoPlist(dir.path() / name);
    EXPECT_TRUE(status.ok()) << name << ": " << (status.ok() ? "" : status.error().description());
    return HostEnvironment::infoDictionary().value_or(boost::json::object{});
  }

  TempDir dir;
};

const std::string kXmlHead = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)";

// Nesting past the limit, loops and exponential sharing are refused by
// looking, before libplist recurses or copies; what is within bounds loads.
// (Bytes the shared checker refuses otherwise are in property_list_check_test.)
TEST_F(InfoPlistSafety, DeepLoopingOrExplodingListsAreRefusedWithoutRecursion) {
  // 100,000 arrays, each holding the next.
  std::vector<std::string> chain;
  for (std::uint64_t i = 0; i < 100000; ++i) chain.push_back(array({i + 1}, 4));
  chain.push_back(array({}, 4));
  EXPECT_THAT(expectRefused("deep.bplist", binaryPlist(chain, 4)), HasSubstr("nested too deeply"));

  std::string deepXml = kXmlHead + "<dict><key>a</key>";
  for (int i = 0; i < 100000; ++i) deepXml += "<array>";
  EXPECT_THAT(expectRefused("deep.plist", deepXml), HasSubstr("nested too deeply"));

  EXPECT_THAT(expectRefused("loop.bplist", binaryPlist({dictionary1(1, 0), ascii("self")})),
              HasSubstr("loop"));
  // Sixty levels each referring twice to the next: 2^60 objects once copied.
  std::vector<std::string> doubling{dictionary1(62, 1)};
  for (std::uint64_t i = 1; i <= 60; ++i) doubling.push_back(array({i + 1, i + 1}));
  doubling.push_back(array({}));
  doubling.push_back(ascii("k"));
  EXPECT_THAT(expectRefused("doubling.bplist", binaryPlist(doubling)),
              HasSubstr("too many objects"));

  // Nesting within the limit still loads, shared objects included.
  std::string fine = kXmlHead + "<dict><key>a</key>";
  for (int i = 0; i < HostEnvironment::kMaxPropertyListDepth - 1; ++i) fine += "<array>";
  for (int i = 0; i < HostEnvironment::kMaxPropertyListDepth - 1; ++i) fine += "</array>";
  fine += "<key>e</key><array/></dict></plist>";
  EXPECT_TRUE(load("fine.plist", fine).contains("a"));
  auto shared = load("shared.bplist",
                     binaryPlist({dictionary1(1, 2), ascii("k"), array({3, 3}), ascii("v")}));
  EXPECT_EQ(shared, (boost::json::object{{"k", boost::json::array{"v", "v"}}}));
}

// XML and libplist's binary form of one dictionary load the same values,
// dates and data as text; bad files are refused, keeping the loaded one.
TEST_F(InfoPlistSafety, XmlAndBinaryLoadTheSameValuesAndBadFilesAreRefused) {
  const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
    <key>CFBundleShortVersionString</key><string>2.1</string>
    <key>DataSourcePaths</key><dict><key>Patient</key><string>/patients/{patientId}</string></dict>
    <key>Flag</key><true/>
    <key>Built</key><date>2015-04-21T09:41:00Z</date>
    <key>Old</key><date>1999-12-31T23:59:59Z</date>
    <key>Blob</key><data>SGVsbG8=</data>
    <key>Offset</key><integer>-5</integer>
    <key>Big</key><integer>9223372036854775807</integer>
  </dict></plist>)";
  auto fromXml = load("values.plist", xml);
  EXPECT_EQ(fromXml.at("CFBundleShortVersionString"), "2.1");
  EXPECT_EQ(fromXml.at("DataSourcePaths").at("Patient"), "/patients/{patientId}");
  EXPECT_EQ(fromXml.at("Flag"), true);
  EXPECT_EQ(fromXml.at("Built"), "2015-04-21T09:41:00Z");
  EXPECT_EQ(fromXml.at("Old"), "1999-12-31T23:59:59Z");
  EXPECT_EQ(fromXml.at("Blob"), "SGVsbG8=");
  ASSERT_TRUE(fromXml.at("Offset").is_int64());
  EXPECT_EQ(fromXml.at("Offset").as_int64(), -5);
  EXPECT_EQ(fromXml.at("Big").to_number<std::int64_t>(), INT64_MAX);

  const std::string binary = binaryFromXml(xml);
  ASSERT_FALSE(binary.empty());
  EXPECT_EQ(load("values.bplist", binary), fromXml);

  HostEnvironment::setInfoDictionary(boost::json::object{{"CFBundleShortVersionString", "9"}});
  expectRefused("garbage.plist", "not a plist at all");
  expectRefused("array.plist", kXmlHead + "<array/></plist>");
  EXPECT_FALSE(HostEnvironment::loadInfoPlist(dir.path() / "missing.plist").ok());
}

}  // namespace
