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
