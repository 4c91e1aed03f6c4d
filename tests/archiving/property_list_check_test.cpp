#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orbelin/archiving/property_list_check.h"
#include "platform/binary_plist.h"

namespace orbelin::archiving {
namespace {

using namespace orbelin::test;

std::vector<std::uint8_t> bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

// Ordinary binary and XML lists (comments, entities, nesting) pass and parse.
TEST(PropertyListCheckTest, AcceptsOrdinaryListsAndParsesThem) {
  auto dictionary = bytes(binaryPlist({dictionary1(1, 2), ascii("key"), ascii("value")}));
  auto parsed = parsePropertyList(dictionary);
  ASSERT_TRUE(parsed) << parsed.error().description();
  EXPECT_NE(parsed->get(), nullptr);
  EXPECT_TRUE(parsePropertyList(
      bytes("<?xml version=\"1.0\"?><!-- </dict></dict> --><plist><dict><key>a&amp;b</key>"
            "<array><integer>1</integer><array/></array></dict></plist>")));
}

// Bytes libplist would abort, loop or read past the end on are refused.
TEST(PropertyListCheckTest, RefusesBinaryListsLibplistCannotTake) {
  const std::string nulString = ascii(std::string("\0b", 2));
  auto badOffset = binaryPlist({array({0})});
  badOffset[badOffset.size() - 33] = '\xC8';  // an offset past the table
  auto cut = binaryPlist({ascii("x")});
  cut.resize(cut.size() - 5);  // the trailer cut off
  for (const std::string& list : {
           binaryPlist({dictionary1(1, 2), ascii("key"), nulString}),  // NUL in a value
           binaryPlist({dictionary1(1, 2), nulString, ascii("v")}),    // NUL in a key
           binaryPlist({std::string("\x62\0\xE9\0\0", 5)}),            // UTF-16 holding U+0000
           binaryPlist({array({5})}),                                  // a reference past the count
           badOffset,
           binaryPlist({std::string("\x5F\x10\x7F") + "a"}),  // a string longer than the data
           binaryPlist({"\x70"}),                             // an unknown object kind
           binaryPlist({array({0})}),                         // an array that contains itself
           cut,
           std::string("bplist00"),
           std::string(),
       }) {
    EXPECT_FALSE(checkPropertyListBytes(bytes(list))) << list.size();
  }
}

// Depth and the number of nodes once shared objects are expanded are bounded.
TEST(PropertyListCheckTest, BoundsNestingAndExpansion) {
  PropertyListLimits limits;
  limits.maxDepth = 4;
  limits.maxNodes = 50;
  auto nested = [](std::uint64_t depth) {
    std::vector<std::string> objects;
    for (std::uint64_t i = 0; i < depth; ++i) objects.push_back(array({i + 1}));
    objects.push_back("\x08");
    return bytes(binaryPlist(objects));
  };
  EXPECT_TRUE(checkPropertyListBytes(nested(4), limits));
  EXPECT_FALSE(checkPropertyListBytes(nested(5), limits));
  // Each array refers twice to the next: 2^5 leaves from six objects.
  std::vector<std::string> doubling;
  for (std::uint64_t i = 0; i < 5; ++i) doubling.push_back(array({i + 1, i + 1}));
  doubling.push_back("\x09");
  limits.maxDepth = 10;
  EXPECT_FALSE(checkPropertyListBytes(bytes(binaryPlist(doubling)), limits));
  limits.maxNodes = 100;
  EXPECT_TRUE(checkPropertyListBytes(bytes(binaryPlist(doubling)), limits));
  // (XML depth at the limit: info_plist_safety_test.)
}

// XML holding NUL, raw or as a reference, or cut off is refused.
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

// Integers past signed 64 bits are refused, never wrapped by libplist.
TEST(PropertyListCheckTest, IntegersMustFitASigned64BitValue) {
  // Binary: 8-byte integers are signed, so any of them fits; a 16-byte one
  // fits when its high half only extends the sign of its low half.
  const std::string zeros(8, '\0'), ones(8, '\xFF');
  const std::string highBit = bigEndian(std::uint64_t{1} << 63, 8),
                    lowMax = bigEndian(~0ull >> 1, 8);
  for (const std::string& value : {integer(3, ones),                               // -1
                                   integer(4, zeros + lowMax),                     // 2^63 - 1
                                   integer(4, ones + highBit),                     // -2^63
                                   integer(4, std::string(15, '\xFF') + "\xFB")})  // -5
    EXPECT_TRUE(parsePropertyList(bytes(binaryPlist({value}))));
  for (const std::string& value : {integer(4, zeros + highBit),                     // 2^63
                                   integer(4, zeros + ones),                        // 2^64 - 1
                                   integer(4, bigEndian(1, 8) + bigEndian(12, 8)),  // 2^64 + 12
                                   integer(4, ones + lowMax),                       // -2^63 - 1
                                   integer(5, std::string(32, '\0'))}) {            // no such width
    EXPECT_FALSE(checkPropertyListBytes(bytes(binaryPlist({value}))));
    // Inside a container as well as at the top.
    EXPECT_FALSE(checkPropertyListBytes(bytes(binaryPlist({array({1}), value}))));
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
