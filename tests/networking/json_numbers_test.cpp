#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "orbelin/networking/json.h"
#include "orbelin/text/json_reader.h"
#include "orbelin/text/json_text.h"

using TamberNetworking::JSON;

namespace {

// Texts that Boost.JSON 1.81's own parser reads one unit in the last place
// off: both readers must round them correctly and write them back unchanged.
TEST(JSONNumbers, ReadCorrectlyRoundedAndWrittenBackUnchanged) {
  for (const char* number : {"-458.15974160320667", "-0.00011420839937465539",
                             "-1.2851037045928471", "-504.46779388291236"}) {
    std::string text = std::string(R"({"v":)") + number + "}";
    auto parsed = JSON::parse(text);
    ASSERT_TRUE(parsed.ok()) << number;
    EXPECT_EQ((*parsed)["v"].doubleValue(), std::stod(number)) << number;
    std::string shortest = R"({"v":)";
    orbelin::text::appendJsonNumber(shortest, std::stod(number));
    shortest += "}";
    EXPECT_EQ(orbelin::text::jsonString(parsed->raw()), shortest);
    auto dictionary = orbelin::text::json(text);
    ASSERT_TRUE(dictionary) << number;
    EXPECT_EQ(orbelin::text::jsonString(*dictionary), shortest);
  }
  // Integers keep their kind; beyond uint64 they become the nearest double.
  auto parsed = JSON::parse(R"([9223372036854775807, 18446744073709551615, 18446744073709551617])");
  ASSERT_TRUE(parsed.ok());
  EXPECT_TRUE((*parsed)[0].raw().is_int64());
  EXPECT_TRUE((*parsed)[1].raw().is_uint64());
  EXPECT_EQ((*parsed)[2].doubleValue(), 18446744073709551616.0);
}

// A number beyond a double's range must be refused, not read as infinity
// that no writer could put back.
TEST(JSONNumbers, BeyondADoublesRangeIsInvalidAndNothingReadIsUnwritable) {
  for (const char* text : {R"({"id":1e309})", R"({"id":-2e400})", R"([1.8e308])"}) {
    EXPECT_FALSE(JSON::parse(text).ok()) << text;
    EXPECT_FALSE(orbelin::text::json(std::string_view(text))) << text;
    std::string problem;
    EXPECT_FALSE(orbelin::text::readJsonValue(text, 16, &problem));
    EXPECT_EQ(problem, "a number is too large");
  }
  // "0e309" is zero, not NaN, and a tiny magnitude is zero of its sign.
  auto parsed = JSON::parse(R"({"id":0e309,"tiny":-1e-400,"max":1.7976931348623157e308})");
  ASSERT_TRUE(parsed.ok());
  EXPECT_EQ((*parsed)["id"].intValue(), 0);
  EXPECT_TRUE(std::signbit((*parsed)["tiny"].doubleValue()));
  EXPECT_EQ(orbelin::text::jsonString(parsed->raw()),
            R"({"id":0,"tiny":-0,"max":1.7976931348623157e+308})");
}

// Converting a non-finite or huge double to an integer is undefined in C++;
// intValue() must clamp or answer 0 instead.
TEST(JSONNumbers, IntValueOfNonFiniteOrHugeNumbersNeverMisbehaves) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::int64_t> cases[] = {
      {std::nan(""), 0},
      {kInfinity, 0},
      {-kInfinity, 0},
      {1e300, std::numeric_limits<std::int64_t>::max()},
      {-1e300, std::numeric_limits<std::int64_t>::min()},
      {12.9, 12},
      {-12.9, -12}};
  for (const auto& [number, expected] : cases) {
    EXPECT_EQ(JSON{boost::json::value(number)}.intValue(), expected) << number;
  }
}

// The reader takes exactly one value within the depth limit.
TEST(JSONNumbers, ReaderRefusesWhatIsNotExactlyOneValue) {
  EXPECT_FALSE(orbelin::text::readJsonValue("", 8));
  EXPECT_FALSE(orbelin::text::readJsonValue("1 2", 8));
  EXPECT_FALSE(orbelin::text::readJsonValue("[[[[1]]]]", 3));
  const std::string deepest = R"([[{"a":"x","b":null,"c":true,"d":-1.5}]])";
  EXPECT_EQ(*orbelin::text::readJsonValue(" " + deepest + " ", 3), boost::json::parse(deepest));
}

}  // namespace
