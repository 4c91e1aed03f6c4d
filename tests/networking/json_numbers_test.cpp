#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "orbelin/networking/json.h"
#include "orbelin/networking/parameter_encoding.h"
#include "orbelin/text/json_reader.h"
#include "orbelin/text/json_text.h"

using TamberNetworking::JSON;

namespace {

// Texts that Boost.JSON 1.81's own parser reads one unit in the last place off.
constexpr const char* kHardNumbers[] = {"-458.15974160320667", "-0.00011420839937465539",
                                        "-1.2851037045928471", "-504.46779388291236"};

TEST(JSONNumbers, ReadCorrectlyRoundedAndWrittenBackUnchanged) {
  for (const char* number : kHardNumbers) {
    std::string text = std::string(R"({"v":)") + number + "}";
    auto parsed = JSON::parse(text);
    ASSERT_TRUE(parsed.ok()) << number;
    EXPECT_EQ(parsed->operator[]("v").doubleValue(), std::stod(number)) << number;
    // Written back in the shortest form, which reads back as the same double.
    std::string shortest = R"({"v":)";
    orbelin::text::appendJsonNumber(shortest, std::stod(number));
    shortest += "}";
    EXPECT_EQ(orbelin::text::jsonString(parsed->raw()), shortest);
    auto reread = JSON::parse(shortest);
    ASSERT_TRUE(reread.ok());
    EXPECT_EQ((*reread)["v"].doubleValue(), std::stod(number));

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
  EXPECT_EQ((*parsed)["id"].doubleValue(), 0.0);
  EXPECT_TRUE(std::signbit((*parsed)["tiny"].doubleValue()));
  EXPECT_EQ((*parsed)["max"].doubleValue(), std::numeric_limits<double>::max());
  EXPECT_EQ(orbelin::text::jsonString(parsed->raw()),
            R"({"id":0,"tiny":-0,"max":1.7976931348623157e+308})");
}

TEST(JSONNumbers, IntValueOfNonFiniteOrHugeNumbersNeverMisbehaves) {
  JSON nan{boost::json::value(std::nan(""))};
  JSON inf{boost::json::value(std::numeric_limits<double>::infinity())};
  JSON minusInf{boost::json::value(-std::numeric_limits<double>::infinity())};
  EXPECT_EQ(nan.intValue(), 0);
  EXPECT_EQ(inf.intValue(), 0);
  EXPECT_EQ(minusInf.intValue(), 0);

  auto parsed = JSON::parse(R"([1e300, -1e300, 12.9, -12.9])");
  ASSERT_TRUE(parsed.ok());
  EXPECT_EQ((*parsed)[0].intValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ((*parsed)[1].intValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ((*parsed)[2].intValue(), 12);
  EXPECT_EQ((*parsed)[3].intValue(), -12);
}

TEST(JSONNumbers, RequestBodiesSpellNumbersAsPeopleDo) {
  auto encoded = TamberNetworking::ParameterEncoding::JSON.encodeRequest(
      TamberNetworking::URLRequest("http://h/x", "POST"),
      boost::json::object{{"weight", 71.5}, {"dose", 0.0001}, {"count", 100000.0}});
  EXPECT_EQ(encoded.body, R"({"weight":71.5,"dose":0.0001,"count":100000})");
}

TEST(JSONNumbers, ReaderRefusesWhatIsNotExactlyOneValue) {
  EXPECT_FALSE(orbelin::text::readJsonValue("", 8));
  EXPECT_FALSE(orbelin::text::readJsonValue("1 2", 8));
  EXPECT_FALSE(orbelin::text::readJsonValue("[[[[1]]]]", 3));
  EXPECT_TRUE(orbelin::text::readJsonValue("[[[1]]]", 3));
  EXPECT_EQ(*orbelin::text::readJsonValue(R"( {"a":[1,"x",null,true]} )", 8),
            boost::json::value({{"a", boost::json::array{1, "x", nullptr, true}}}));
}

}  // namespace
