#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/archiving/property_list_check.h"

namespace orbelin::archiving {
namespace {

std::vector<std::uint8_t> bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

// A binary list from encoded objects, with 1-byte references and offsets.
std::vector<std::uint8_t> binaryList(const std::vector<std::vector<std::uint8_t>>& objects,
                                     std::uint8_t top = 0) {
  std::vector<std::uint8_t> data = bytes("bplist00");
  std::vector<std::uint8_t> offsets;
  for (const auto& object : objects) {
    offsets.push_back(static_cast<std::uint8_t>(data.size()));
    data.insert(data.end(), object.begin(), object.end());
  }
  auto table = static_cast<std::uint8_t>(data.size());
  data.insert(data.end(), offsets.begin(), offsets.end());
  std::vector<std::uint8_t> trailer(32, 0);
  trailer[6] = 1;
  trailer[7] = 1;
  trailer[15] = static_cast<std::uint8_t>(objects.size());
  trailer[23] = top;
  trailer[31] = table;
  data.insert(data.end(), trailer.begin(), trailer.end());
  return data;
}

std::vector<std::uint8_t> ascii(const std::string& text) {
  std::vector<std::uint8_t> object(text.size() + 1);
  object[0] = static_cast<std::uint8_t>(0x50 | text.size());
  std::copy(text.begin(), text.end(), object.begin() + 1);
  return object;
}

TEST(PropertyListCheckTest, AcceptsOrdinaryListsAndParsesThem) {
  // {"key": "value"} in binary: a dictionary of one key and one value.
  auto dictionary = binaryList({{0xD1, 1, 2}, ascii("key"), ascii("value")});
  EXPECT_TRUE(checkPropertyListBytes(dictionary));
  auto parsed = parsePropertyList(dictionary);
  ASSERT_TRUE(parsed) << parsed.error().description();
  EXPECT_NE(parsed->get(), nullptr);

  auto xml = bytes(
      "<?xml version=\"1.0\"?><!-- </dict></dict> --><plist><dict><key>a&amp;b</key>"
      "<array><integer>1</integer><array/></array></dict></plist>");
  EXPECT_TRUE(checkPropertyListBytes(xml));
  EXPECT_TRUE(parsePropertyList(xml));
}

TEST(PropertyListCheckTest, RefusesBinaryListsLibplistCannotTake) {
  std::vector<std::uint8_t> nulString = ascii("ab");
  nulString[1] = 0;
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0xD1, 1, 2}, ascii("key"), nulString})));
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0xD1, 1, 2}, nulString, ascii("v")})));
  // UTF-16 text holding U+0000.
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0x62, 0x00, 0xE9, 0x00, 0x00}})));
  // A reference past the object count, and an offset past the table.
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0xA1, 5}})));
  auto badOffset = binaryList({{0xA1, 0}});
  badOffset[badOffset.size() - 33] = 200;
  EXPECT_FALSE(checkPropertyListBytes(badOffset));
  // A string longer than the data, and an unknown object kind.
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0x5F, 0x10, 0x7F, 'a'}})));
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0x70}})));
  // An array that contains itself, and a trailer cut off.
  EXPECT_FALSE(checkPropertyListBytes(binaryList({{0xA1, 0}})));
  auto cut = binaryList({ascii("x")});
  cut.resize(cut.size() - 5);
  EXPECT_FALSE(checkPropertyListBytes(cut));
  EXPECT_FALSE(checkPropertyListBytes(bytes("bplist00")));
  EXPECT_FALSE(checkPropertyListBytes({}));
}

TEST(PropertyListCheckTest, BoundsNestingAndExpansion) {
  PropertyListLimits limits;
  limits.maxDepth = 4;
  limits.maxNodes = 50;
  auto nested = [](int depth) {
    std::vector<std::vector<std::uint8_t>> objects;
    for (int i = 0; i < depth; ++i) objects.push_back({0xA1, static_cast<std::uint8_t>(i + 1)});
    objects.push_back({0x08});
    return binaryList(objects);
  };
  EXPECT_TRUE(checkPropertyListBytes(nested(4), limits));
  EXPECT_FALSE(checkPropertyListBytes(nested(5), limits));
  // Each array refers twice to the next: 2^5 leaves from six objects.
  std::vector<std::vector<std::uint8_t>> doubling;
  for (int i = 0; i < 5; ++i)
    doubling.push_back({0xA2, static_cast<std::uint8_t>(i + 1), static_cast<std::uint8_t>(i + 1)});
  doubling.push_back({0x09});
  limits.maxDepth = 10;
  EXPECT_FALSE(checkPropertyListBytes(binaryList(doubling), limits));
  limits.maxNodes = 100;
  EXPECT_TRUE(checkPropertyListBytes(binaryList(doubling), limits));

  std::string deep = "<plist>";
  for (int i = 0; i < 5; ++i) deep += "<array>";
  for (int i = 0; i < 5; ++i) deep += "</array>";
  deep += "</plist>";
  limits.maxDepth = 4;
  EXPECT_FALSE(checkPropertyListBytes(bytes(deep), limits));
  limits.maxDepth = 5;
  EXPECT_TRUE(checkPropertyListBytes(bytes(deep), limits));
}

TEST(PropertyListCheckTest, RefusesXmlWithNul) {
  std::string withNul = "<plist><string>a b</string></plist>";
  withNul[17] = '\0';
  EXPECT_FALSE(checkPropertyListBytes(bytes(withNul)));
  EXPECT_FALSE(checkPropertyListBytes(bytes("<plist><key>&#0;</key></plist>")));
  EXPECT_FALSE(checkPropertyListBytes(bytes("<plist><string>&#x0000;</string></plist>")));
  EXPECT_TRUE(checkPropertyListBytes(bytes("<plist><string>&#10;&#x30;</string></plist>")));
  EXPECT_FALSE(checkPropertyListBytes(bytes("<plist><dict")));
  EXPECT_FALSE(parsePropertyList(bytes("not a property list at all")));
}

}  // namespace
}  // namespace orbelin::archiving
