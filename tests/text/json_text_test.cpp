#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <boost/json/parse.hpp>

#include "orbelin/text/json_text.h"
#include "orbelin/text/localized.h"
#include "support/test_support.h"

namespace orbelin::text {
namespace {

TEST(JsonStringTest, CompactTextWithReadableNumbers) {
  EXPECT_EQ(jsonString(boost::json::object{}), "{}");

  boost::json::object body;
  body["username"] = "ann";
  body["weight"] = 71.5;
  body["ratio"] = 0.1;
  body["whole"] = 3.0;
  body["big"] = 1e21;
  body["count"] = -12;
  body["list"] = boost::json::array{1, "two", nullptr, true, boost::json::object{}};
  body["nested"] = boost::json::object{{"a", boost::json::array{}}};
  auto text = jsonString(body);
  ASSERT_TRUE(text);
  EXPECT_EQ(*text,
            R"({"username":"ann","weight":71.5,"ratio":0.1,"whole":3,"big":1e+21,"count":-12,)"
            R"("list":[1,"two",null,true,{}],"nested":{"a":[]}})");
  EXPECT_EQ(text->find('\n'), std::string::npos);
  EXPECT_EQ(text->find(' '), std::string::npos);
  // What we write reads back as the same document (3.0 reads back as the integer 3).
  auto reread = boost::json::parse(*text).as_object();
  EXPECT_EQ(reread["whole"].as_int64(), 3);
  reread.erase("whole");
  body.erase("whole");
  EXPECT_EQ(reread, body);
}

std::string numberText(double number) {
  std::string out;
  appendJsonNumber(out, number);
  return out;
}

TEST(JsonStringTest, NumbersWrittenAsPeopleWriteThem) {
  // Plain form between 1e-7 and 1e21, exponent form outside.
  EXPECT_EQ(numberText(100000.0), "100000");
  EXPECT_EQ(numberText(0.0001), "0.0001");
  EXPECT_EQ(numberText(0.000001), "0.000001");
  EXPECT_EQ(numberText(1e-7), "1e-7");
  EXPECT_EQ(numberText(-1.5e-7), "-1.5e-7");
  EXPECT_EQ(numberText(1e20), "100000000000000000000");
  EXPECT_EQ(numberText(123456789012345680000.0), "123456789012345680000");
  EXPECT_EQ(numberText(1e21), "1e+21");
  EXPECT_EQ(numberText(1.2345e300), "1.2345e+300");
  EXPECT_EQ(numberText(-71.5), "-71.5");
  EXPECT_EQ(numberText(123.456), "123.456");
  EXPECT_EQ(numberText(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(numberText(5e-324), "5e-324");
  EXPECT_EQ(numberText(1.7976931348623157e308), "1.7976931348623157e+308");
  EXPECT_EQ(numberText(0.0), "0");
  EXPECT_EQ(numberText(-0.0), "-0");

  // The compact and the pretty writer use the same spelling.
  boost::json::object body{{"a", 100000.0}, {"b", 0.0001}, {"c", 2e-8}};
  EXPECT_EQ(jsonString(body), R"({"a":100000,"b":0.0001,"c":2e-8})");
  EXPECT_EQ(prettyJsonString(body), "{\n  \"a\" : 100000,\n  \"b\" : 0.0001,\n  \"c\" : 2e-8\n}");

  // Whatever is written reads back as the same double, across magnitudes.
  for (double x : {1e-300, 3.14e-7, 0.1, 2.5, 1e15 + 0.5, 9007199254740993.0, 1e21, 1.7e308}) {
    std::string text = numberText(x);
    double back = 0;
    std::from_chars(text.data(), text.data() + text.size(), back);
    EXPECT_EQ(back, x) << text;
  }
}

TEST(JsonStringTest, EscapesOnlyWhatJsonRequires) {
  boost::json::object body{{"path", "a/b \"q\" \\ \n\t\x01 é"}};
  EXPECT_EQ(jsonString(body), R"({"path":"a/b \"q\" \\ \n\t\u0001 é"})");
  EXPECT_EQ(boost::json::parse(*jsonString(body)), boost::json::value(body));
}

TEST(JsonStringTest, AbsentForWhatJsonCannotHold) {
  EXPECT_FALSE(jsonString(boost::json::object{{"x", std::nan("")}}));
  EXPECT_FALSE(jsonString(boost::json::object{{"x", std::numeric_limits<double>::infinity()}}));
  EXPECT_FALSE(jsonString(boost::json::object{{"x", "\xff\xfe"}}));
  EXPECT_FALSE(jsonString(boost::json::object{{"\xc0\x80", 1}}));  // overlong key
  EXPECT_FALSE(prettyJsonString(boost::json::array{std::nan("")}));

  // A value built in code deeper than any reply is refused, not overflowed.
  boost::json::value deep = boost::json::array{};
  for (int i = 0; i < 5000; ++i) deep = boost::json::array{std::move(deep)};
  EXPECT_FALSE(jsonString(deep));
}

TEST(JsonStringTest, PrettyForm) {
  boost::json::object body;
  body["name"] = "Jo";
  body["list"] = boost::json::array{1, 2.5};
  body["empty"] = boost::json::object{};
  EXPECT_EQ(prettyJsonString(body),
            "{\n  \"name\" : \"Jo\",\n  \"list\" : [\n    1,\n    2.5\n  ],\n  \"empty\" : {}\n}");
  EXPECT_EQ(prettyJsonString(boost::json::object{}), "{}");
  EXPECT_EQ(boost::json::parse(*prettyJsonString(body)), boost::json::value(body));
}

TEST(JsonParseTest, ObjectsOnlyAndNeverACrash) {
  EXPECT_FALSE(json(std::string_view("")));
  EXPECT_FALSE(json(std::string_view("[1,2]")));
  EXPECT_FALSE(json(std::string_view("42")));
  EXPECT_FALSE(json(std::string_view("{\"a\":")));
  EXPECT_FALSE(json(std::string_view("{\"a\":1} trailing")));
  EXPECT_FALSE(json(std::string_view("{\"a\":\"\xff\"}")));

  std::string deep(100000, '[');
  EXPECT_FALSE(json("{\"a\":" + deep));
  std::string nested =
      "{\"a\":" + std::string(kMaxJsonDepth - 2, '[') + std::string(kMaxJsonDepth - 2, ']') + "}";
  EXPECT_TRUE(json(nested));

  auto dictionary = json(std::string_view(R"({"patientId":"p1","vitals":[{"pulse":70}]})"));
  ASSERT_TRUE(dictionary);
  // Nested containers are mutable in place.
  (*dictionary)["vitals"].as_array()[0].as_object()["pulse"] = 72;
  (*dictionary)["added"] = true;
  EXPECT_EQ(jsonString(*dictionary), R"({"patientId":"p1","vitals":[{"pulse":72}],"added":true})");

  Bytes bytes{'{', '"', 'k', '"', ':', '1', '}'};
  auto fromBytes = json(std::span<const std::uint8_t>(bytes));
  ASSERT_TRUE(fromBytes);
  EXPECT_EQ((*fromBytes)["k"], 1);
  EXPECT_FALSE(json(std::span<const std::uint8_t>()));
}

TEST(StringHelpersTest, DataAndQueryToFile) {
  auto bytes = data("é1");
  ASSERT_TRUE(bytes);
  EXPECT_EQ(*bytes, (Bytes{0xC3, 0xA9, '1'}));
  EXPECT_EQ(data(""), Bytes{});
  EXPECT_FALSE(data("\xed\xa0\x80"));  // a lone surrogate is not UTF-8

  EXPECT_EQ(queryToFile("patients/12"), "patients/12");
  EXPECT_EQ(queryToFile("tasks?patientId=3&x+y"), "tasks_patientId_3_x_y");
  EXPECT_EQ(queryToFile("a&&b?"), "a__b_");
}

TEST(LocalizedTest, HostTableOrTheKeyItself) {
  setLocalizedStringsTable(std::nullopt);
  EXPECT_EQ(localized("Hours"), "Hours");

  setLocalizedStringsTable(StringsTable{{"Hours", "Stunden"}});
  EXPECT_EQ(localized("Hours"), "Stunden");
  EXPECT_EQ(localized("Days"), "Days");

  orbelin::test::TempDir dir;
  auto path = dir.path() / "Localizable.json";
  { std::ofstream(path) << R"({"hr":"h","d":7})"; }
  ASSERT_TRUE(loadLocalizedStringsTable(path));
  EXPECT_EQ(localized("hr"), "h");
  EXPECT_EQ(localized("d"), "d");  // non-text entries are skipped
  EXPECT_EQ(localized("Hours"), "Hours");
  EXPECT_FALSE(loadLocalizedStringsTable(dir.path() / "missing.json"));
  EXPECT_EQ(localized("hr"), "h");  // a failed load keeps the table
  setLocalizedStringsTable(std::nullopt);
}

}  // namespace
}  // namespace orbelin::text
