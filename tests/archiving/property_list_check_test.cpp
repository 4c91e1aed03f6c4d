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

// A binary integer of 2^sizeLog2 big-endian bytes.
std::vector<std::uint8_t> integer(std::uint8_t sizeLog2, std::vector<std::uint8_t> value) {
  value.insert(value.begin(), static_cast<std::uint8_t>(0x10 | sizeLog2));
  return value;
}

std::vector<std::uint8_t> repeated(std::size_t count, std::uint8_t byte,
                                   std::vector<std::uint8_t> rest = {}) {
  std::vector<std::uint8_t> value(count, byte);
  value.insert(value.end(), rest.begin(), rest.end());
  return value;
}

TEST(PropertyListCheckTest, IntegersMustFitASigned64BitValue) {
  // Binary: 8-byte integers are signed, so any of them fits; a 16-byte one
  // fits when its high half only extends the sign of its low half.
  const std::vector<std::uint8_t> kHighBit = {0x80, 0, 0, 0, 0, 0, 0, 0};
  const std::vector<std::uint8_t> kLowMax = {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  const std::vector<std::vector<std::uint8_t>> fitting = {
      integer(3, repeated(8, 0xFF)),            // -1
      integer(4, repeated(8, 0x00, kLowMax)),   // 2^63 - 1
      integer(4, repeated(8, 0xFF, kHighBit)),  // -2^63
      integer(4, repeated(15, 0xFF, {0xFB})),   // -5
  };
  for (const auto& value : fitting) EXPECT_TRUE(parsePropertyList(binaryList({value})));
  const std::vector<std::vector<std::uint8_t>> wide = {
      integer(4, repeated(8, 0x00, kHighBit)),                        // 2^63
      integer(4, repeated(8, 0x00, repeated(8, 0xFF))),               // 2^64 - 1
      integer(4, {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 12}),  // 2^64 + 12
      integer(4, repeated(8, 0xFF, kLowMax)),                         // -2^63 - 1
      integer(5, repeated(32, 0)),                                    // no such width
  };
  for (const auto& value : wide) {
    EXPECT_FALSE(checkPropertyListBytes(binaryList({value})));
    // Inside a container as well as at the top.
    EXPECT_FALSE(checkPropertyListBytes(binaryList({{0xA1, 1}, value})));
  }

  // XML: decimal (no leading zero) or hex, within the range, nothing else in
  // the element.
  auto xml = [](const std::string& content) {
    return bytes("<plist><array><integer>" + content + "</integer></array></plist>");
  };
  for (const char* fits : {"0", "-0", "+7", " 12\n", "9223372036854775807", "-9223372036854775808",
                           "0x7fffffffffffffff", "-0x8000000000000000", "0XfF"}) {
    EXPECT_TRUE(parsePropertyList(xml(fits))) << fits;
  }
  for (const char* tooWide :
       {"9223372036854775808", "-9223372036854775809", "18446744073709551615",
        "18446744073709551616", "-18446744073709551615", "99999999999999999999999",
        "0x8000000000000000", "0x10000000000000000", "010", "08", "12abc", "1 2", "", "-", "0x",
        "1<!-- -->2", "&#49;"}) {
    EXPECT_FALSE(checkPropertyListBytes(xml(tooWide))) << tooWide;
  }
  EXPECT_FALSE(checkPropertyListBytes(bytes("<plist><integer/></plist>")));
  // A closing tag or a text outside <integer> is no integer.
  EXPECT_TRUE(checkPropertyListBytes(
      bytes("<plist><dict><key>99999999999999999999</key><string>010</string></dict></plist>")));
}

}  // namespace
}  // namespace orbelin::archiving
