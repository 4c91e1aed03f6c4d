// Values hold short texts in place and everything longer on the heap; the
// boundary, copies and moves must never lose or share content.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "graph/test_model.h"
#include "orbelin/graph/value.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

TEST(ValueTest, TextsOnBothSidesOfTheInlineLimitSurviveCopiesAndMoves) {
  const std::vector<std::string> texts = {"",
                                          "a",
                                          std::string("nul\0inside", 10),
                                          std::string(14, 'x'),
                                          std::string(15, 'y'),
                                          std::string(300, 'z')};
  for (const std::string& text : texts) {
    Value original(text);
    ASSERT_TRUE(original.string()) << text;
    EXPECT_EQ(*original.string(), text);
    Value copy = original;
    EXPECT_EQ(*copy.string(), text);
    EXPECT_EQ(copy, original);
    // A copy owns its own text: changing the original leaves it alone.
    original = Value(std::string_view("changed"));
    EXPECT_EQ(*copy.string(), text);
    Value moved = std::move(copy);
    EXPECT_EQ(*moved.string(), text);
    EXPECT_TRUE(copy.isNil());  // NOLINT: the moved-from state is part of the contract
    moved = moved;              // self-assignment keeps the text
    EXPECT_EQ(moved.stringValue(), text);
  }
  EXPECT_NE(Value(std::string(15, 'y')), Value(std::string(14, 'y')));
  EXPECT_EQ(Value(std::string_view()), Value(""));
}

TEST(ValueTest, EveryKindReadsBackAndComparesByContent) {
  const Date when = dateFromSeconds(1430000000.5);
  std::vector<Value> values = {Value(),
                               Value(std::int64_t{-7}),
                               Value(2.5),
                               Value(true),
                               Value(when),
                               Value(Bytes{1, 2, 3}),
                               Value(boost::json::value{1, "two"})};
  EXPECT_EQ(values[1].integer(), -7);
  EXPECT_EQ(values[2].number(), 2.5);
  EXPECT_EQ(values[3].boolean(), true);
  EXPECT_EQ(values[4].date(), when);
  EXPECT_EQ(*values[5].binary(), (Bytes{1, 2, 3}));
  EXPECT_EQ(*values[6].transformable(), (boost::json::value{1, "two"}));
  std::vector<Value> copies = values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < values.size(); ++j) EXPECT_EQ(copies[i] == values[j], i == j);
  }
  EXPECT_EQ(Value(3), Value(3.0));  // numbers compare by value, as boxed numbers do
  EXPECT_NE(Value(1), Value(true));
  EXPECT_FALSE(values[0].string() || values[1].binary() || values[5].transformable());
}

// Past 2^53 two integers can share one double: comparing them as doubles
// would lose a change from one to its neighbour and sort them as equal.
TEST(ValueTest, IntegersPastTwoToThe53StayDistinctInComparisonsSortsAndSaves) {
  const std::int64_t big = std::int64_t{1} << 53;
  EXPECT_NE(Value(big), Value(big + 1));
  EXPECT_EQ(Value(big), Value(static_cast<double>(big)));

  ::orbelin::test::TempDir dir;
  const auto file = dir.path() / "big.sqlite";
  auto open = [&file] {
    auto coordinator = std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel());
    EXPECT_TRUE(coordinator->addPersistentStore(StoreType::SQLite, file).ok());
    auto context = std::make_unique<ManagedObjectContext>();
    context->setPersistentStoreCoordinator(coordinator);
    return context;
  };
  auto writer = open();
  ManagedObject* first = writer->insertNewObject("Patient");
  ManagedObject* second = writer->insertNewObject("Patient");
  first->setValue("id", big + 1);
  second->setValue("id", big);
  ASSERT_TRUE(writer->save().ok());
  first->setValue("id", big);  // each a change to its neighbour
  second->setValue("id", big + 1);
  ASSERT_TRUE(writer->save().ok());

  auto reader = open();
  FetchRequest request("Patient");
  request.setSortDescriptors({{"id", false}});
  auto patients = reader->fetch(request);
  ASSERT_TRUE(patients.ok());
  ASSERT_EQ(patients->size(), 2u);
  EXPECT_EQ((*patients)[0]->value("id").integer(), big + 1);
  EXPECT_EQ((*patients)[1]->value("id").integer(), big);
  request.setPredicate(Predicate::less("id", Value(big + 1)));
  patients = reader->fetch(request);
  ASSERT_TRUE(patients.ok());
  ASSERT_EQ(patients->size(), 1u);
  EXPECT_EQ((*patients)[0]->value("id").integer(), big);
}

}  // namespace
}  // namespace orbelin::graph
