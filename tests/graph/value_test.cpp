// Values hold short texts in place and everything longer on the heap; the
// boundary, copies and moves must never lose or share content. Numbers must
// come back from a store as they went in.

#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "graph/test_model.h"
#include "orbelin/graph/value.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

// Guards against texts at the inline limit truncated, shared by copies, or lost by a move.
TEST(ValueTest, TextsOnBothSidesOfTheInlineLimitSurviveCopiesAndMoves) {
  const std::vector<std::string> texts = {"", std::string("nul\0inside", 10), std::string(14, 'x'),
                                          std::string(15, 'y'), std::string(300, 'z')};
  for (const std::string& text : texts) {
    Value original(text);
    EXPECT_EQ(original.stringValue(), text);
    Value copy = original;
    EXPECT_EQ(copy, original);
    original = Value(std::string_view("changed"));
    EXPECT_EQ(copy.stringValue(), text);
    Value moved = std::move(copy);
    EXPECT_TRUE(copy.isNil());  // NOLINT: the moved-from state is part of the contract
    moved = moved;
    EXPECT_EQ(moved.stringValue(), text);
  }
  EXPECT_NE(Value(std::string(15, 'y')), Value(std::string(14, 'y')));
  EXPECT_EQ(Value(std::string_view()), Value(""));
}

// Guards against different values comparing equal (a change never saved) and the reverse.
TEST(ValueTest, EveryKindComparesByContent) {
  const std::vector<Value> values = {Value(),
                                     Value(std::int64_t{-7}),
                                     Value(2.5),
                                     Value(true),
                                     Value(dateFromSeconds(1430000000.5)),
                                     Value(Bytes{1, 2, 3}),
                                     Value(boost::json::value{1, "two"})};
  std::vector<Value> copies = values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < values.size(); ++j) EXPECT_EQ(copies[i] == values[j], i == j);
  }
  EXPECT_EQ(Value(3), Value(3.0));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_FALSE(values[0].string() || values[1].binary() || values[5].transformable());
  EXPECT_EQ(Value(100000.0).description(), "100000");
  EXPECT_EQ(Value(boost::json::value(boost::json::array{0.0001, 1e21, "a"})).description(),
            R"([0.0001,1e+21,"a"])");
}

// Guards against integers past 2^53, hard doubles, 3.0 or deep nesting changed by a store.
TEST(ValueTest, NumbersPastWhatADoubleOrAParserKeepsSurviveComparisonsSortsAndSaves) {
  const std::int64_t big = std::int64_t{1} << 53;
  EXPECT_NE(Value(big), Value(big + 1));
  EXPECT_EQ(Value(big), Value(static_cast<double>(big)));
  // Doubles whose shortest text Boost.JSON's own parser reads one unit off.
  const boost::json::value hard = boost::json::array{
      -458.15974160320667, -0.00011420839937465539, -1.2851037045928471, -504.46779388291236, 3.0,
      std::int64_t{-7},    std::uint64_t{1} << 63};
  boost::json::value deep = boost::json::array{};
  for (int i = 0; i < 100; ++i) deep = boost::json::array{std::move(deep)};

  test::TempDir dir;
  const auto file = dir.path() / "numbers.sqlite";
  testing::Stack writer(file);
  ManagedObject* first = testing::insert(writer.context, "Patient", {{"id", big + 1}});
  ManagedObject* second = testing::insert(writer.context, "Patient", {{"id", big}});
  ASSERT_TRUE(writer.context.save().ok());
  first->setValue("id", big);  // each a change to its neighbour
  first->setValue("staffIds", deep);
  second->setValue("id", big + 1);
  second->setValue("staffIds", hard);
  ASSERT_TRUE(writer.context.save().ok());

  testing::Stack reader(file);
  auto patients = reader.context.fetch(testing::request("Patient", {}, {{"id", false}}));
  ASSERT_TRUE(patients.ok() && patients->size() == 2u);
  EXPECT_EQ((*patients)[0]->value("id").integer(), big + 1);
  EXPECT_EQ((*patients)[1]->value("id").integer(), big);
  const Value loaded = (*patients)[0]->value("staffIds");
  ASSERT_NE(loaded.transformable(), nullptr);
  EXPECT_EQ(*loaded.transformable(), hard);
  EXPECT_TRUE(loaded.transformable()->as_array()[4].is_double());
  EXPECT_EQ((*patients)[1]->value("staffIds"), Value(deep));
  EXPECT_EQ(
      testing::fetched(reader.context,
                       testing::request("Patient", Predicate::less("id", Value(big + 1))), "id"),
      std::vector<std::string>{std::to_string(big)});
}

}  // namespace
}  // namespace orbelin::graph
