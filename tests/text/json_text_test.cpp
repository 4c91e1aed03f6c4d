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

// Guards member order, escaping of exactly what JSON requires, the layout
// of both forms, and that what is written reads back as the same document.
TEST(JsonStringTest, CompactAndPrettyTextReadBack) {
  EXPECT_EQ(jsonString(boost::json::object{}), "{}");
  EXPECT_EQ(prettyJsonString(boost::json::object{}), "{}");

  boost::json::object body;
  body["name"] = "a/b \"q\" \\ \n\t\x01 é";
  body["whole"] = 3.0;
  body["list"] = boost::json::array{1, 2.5, nullptr, true, boost::json::object{}};
  body["small"] = 2e-8;
  body["nested"] = boost::json::object{{"a", boost::json::array{}}};
  EXPECT_EQ(jsonString(body), R"({"name":"a/b \"q\" \\ \n\t\u0001 é","whole":3,)"
                              R"("list":[1,2.5,null,true,{}],"small":2e-8,"nested":{"a":[]}})");
  EXPECT_EQ(prettyJsonString(body),
            "{\n  \"name\" : \"a/b \\\"q\\\" \\\\ \\n\\t\\u0001 é\",\n  \"whole\" : 3,\n"
            "  \"list\" : [\n    1,\n    2.5,\n    null,\n    true,\n    {}\n  ],\n"
            "  \"small\" : 2e-8,\n  \"nested\" : {\n    \"a\" : []\n  }\n}");
  body["whole"] = 3;  // 3.0 reads back as the integer 3
  EXPECT_EQ(boost::json::parse(*jsonString(body)), boost::json::value(body));
  EXPECT_EQ(boost::json::parse(*prettyJsonString(body)), boost::json::value(body));
}

std::string numberText(double number) {
  std::string out;
  appendJsonNumber(out, number);
  return out;
}

// Guards the switch between plain and exponent form (plain from 1e-7 up to
// 1e21) and the shortest digits that read back as the same double.
TEST(JsonStringTest, NumbersWrittenAsPeopleWriteThem) {
  const std::pair<double, const char*> cases[] = {
      {100000.0, "100000"},
      {0.000001, "0.000001"},
      {1e-7, "1e-7"},
      {-1.5e-7, "-1.5e-7"},
      {123456789012345680000.0, "123456789012345680000"},
      {1e21, "1e+21"},
      {1.2345e300, "1.2345e+300"},
      {-71.5, "-71.5"},
      {0.1 + 0.2, "0.30000000000000004"},
      {5e-324, "5e-324"},
      {0.0, "0"}};
  for (auto [number, text] : cases) EXPECT_EQ(numberText(number), text);
}

// Guards against writing text no reader accepts, and against overflowing the
// stack on a value built in code deeper than any reply.
TEST(JsonStringTest, AbsentForWhatJsonCannotHold) {
  const boost::json::value unwritable[] = {
      boost::json::object{{"x", std::nan("")}},
      boost::json::object{{"x", std::numeric_limits<double>::infinity()}},
      boost::json::object{{"x", "\xff\xfe"}}, boost::json::object{{"\xc0\x80", 1}}};
  for (const auto& value : unwritable) {
    EXPECT_FALSE(jsonString(value)) << value;
    EXPECT_FALSE(prettyJsonString(value)) << value;
  }
  boost::json::value deep = boost::json::array{};
  for (int i = 0; i < 5000; ++i) deep = boost::json::array{std::move(deep)};
  EXPECT_FALSE(jsonString(deep));
}

// Guards that only a whole object is accepted, that hostile nesting is
// refused rather than crashing, and that the result is mutable in place.
TEST(JsonParseTest, ObjectsOnlyAndNeverACrash) {
  const std::string invalid[] = {"",
                                 "[1,2]",
                                 "42",
                                 "{\"a\":",
                                 "{\"a\":1} trailing",
                                 "{\"a\":\"\xff\"}",
                                 "{\"a\":" + std::string(100000, '[')};
  for (const std::string& text : invalid) EXPECT_FALSE(json(text)) << text.substr(0, 20);
  std::string nested =
      "{\"a\":" + std::string(kMaxJsonDepth - 2, '[') + std::string(kMaxJsonDepth - 2, ']') + "}";
  EXPECT_TRUE(json(nested));

  auto dictionary = json(std::string_view(R"({"patientId":"p1","vitals":[{"pulse":70}]})"));
  ASSERT_TRUE(dictionary);
  (*dictionary)["vitals"].as_array()[0].as_object()["pulse"] = 72;
  (*dictionary)["added"] = true;
  EXPECT_EQ(jsonString(*dictionary), R"({"patientId":"p1","vitals":[{"pulse":72}],"added":true})");

  Bytes bytes{'{', '"', 'k', '"', ':', '1', '}'};
  auto fromBytes = json(std::span<const std::uint8_t>(bytes));
  ASSERT_TRUE(fromBytes);
  EXPECT_EQ((*fromBytes)["k"], 1);
  EXPECT_FALSE(json(std::span<const std::uint8_t>()));
}

// Guards the UTF-8 bytes of a text (and refusing what is not UTF-8), and the
// characters replaced in a local reply's file name.
TEST(StringHelpersTest, DataAndQueryToFile) {
  EXPECT_EQ(data("é1"), (Bytes{0xC3, 0xA9, '1'}));
  EXPECT_EQ(data(""), Bytes{});
  EXPECT_FALSE(data("\xed\xa0\x80"));  // a lone surrogate
  EXPECT_EQ(queryToFile("patients/12"), "patients/12");
  EXPECT_EQ(queryToFile("tasks?patientId=3&x+y"), "tasks_patientId_3_x_y");
  EXPECT_EQ(queryToFile("a&&b?"), "a__b_");
}

// Guards the lookup in the host's table, the key itself as the fallback, and
// that a failed load keeps the table loaded before.
TEST(LocalizedTest, HostTableOrTheKeyItself) {
  setLocalizedStringsTable(std::nullopt);
  EXPECT_EQ(localized("Hours"), "Hours");

  orbelin::test::TempDir dir;
  auto path = dir.path() / "Localizable.json";
  { std::ofstream(path) << R"({"hr":"h","d":7})"; }
  ASSERT_TRUE(loadLocalizedStringsTable(path));
  EXPECT_EQ(localized("hr"), "h");
  EXPECT_EQ(localized("d"), "d");  // non-text entries are skipped
  EXPECT_EQ(localized("Hours"), "Hours");
  EXPECT_FALSE(loadLocalizedStringsTable(dir.path() / "missing.json"));
  EXPECT_EQ(localized("hr"), "h");
  setLocalizedStringsTable(std::nullopt);
}

}  // namespace
}  // namespace orbelin::text
