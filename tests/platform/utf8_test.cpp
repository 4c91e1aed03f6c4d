#include "platform/utf8.h"

#include <string>

#include <gtest/gtest.h>

namespace orbelin::platform {
namespace {

TEST(Utf8Test, AcceptsEveryWellFormedLengthAtTheEdgesOfItsRange) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8(std::string("a\0b", 3)));
  EXPECT_TRUE(isValidUtf8("\x7F\xC2\x80\xDF\xBF"));                  // U+007F, U+0080, U+07FF
  EXPECT_TRUE(isValidUtf8("\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80"));  // U+0800, U+D7FF, U+E000
  EXPECT_TRUE(isValidUtf8("\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"));  // to U+10FFFF
  EXPECT_EQ(utf8SequenceLength("\xF0\x9F\x99\x82", 0), 4u);
  EXPECT_EQ(utf8CodePoint("\xF0\x9F\x99\x82", 0, 4), U'\U0001F642');
  EXPECT_EQ(utf8CodePoint("x\xC3\xA9", 1, 2), U'\u00E9');
  EXPECT_EQ(utf8CodePoint("\xEF\xBF\xBE", 0, 3), char32_t{0xFFFE});
}

TEST(Utf8Test, RefusesWhatIsNotText) {
  for (const char* bad : {
           "\x80",              // continuation byte first
           "\xC0\x80",          // overlong NUL
           "\xC1\xBF",          // overlong
           "\xE0\x9F\xBF",      // overlong three-byte
           "\xF0\x8F\xBF\xBF",  // overlong four-byte
           "\xED\xA0\x80",      // surrogate
           "\xED\xBF\xBF",      // surrogate
           "\xF4\x90\x80\x80",  // above U+10FFFF
           "\xF5\x80\x80\x80",  // no such lead byte
           "\xFF",              //
           "\xC3",              // cut off
           "ok\xE2\x82",        // cut off after text
           "\xE2\x28\xA1",      // second byte not a continuation
       }) {
    EXPECT_FALSE(isValidUtf8(bad)) << testing::PrintToString(std::string(bad));
  }
  EXPECT_EQ(utf8SequenceLength("\xE2\x82\xAC", 0), 3u);
  EXPECT_EQ(utf8SequenceLength("\xE2\x82\xAC", 1), 0u);
}

}  // namespace
}  // namespace orbelin::platform
