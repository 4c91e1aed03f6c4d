#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "orbelin/archiving/boxed_number.h"

namespace orbelin::archiving {
namespace {

TEST(BoxedNumberTest, ComparesAndHashesAsNumbers) {
  EXPECT_EQ(BoxedNumber(5), BoxedNumber(5.0));
  EXPECT_EQ(BoxedNumber(5).hash(), BoxedNumber(5.0).hash());
  EXPECT_EQ(BoxedNumber(-7), BoxedNumber(-7.0));
  EXPECT_EQ(BoxedNumber(-7).hash(), BoxedNumber(-7.0).hash());
  EXPECT_EQ(BoxedNumber(0.0), BoxedNumber(-0.0));
  EXPECT_EQ(BoxedNumber(0.0).hash(), BoxedNumber(-0.0).hash());
  EXPECT_NE(BoxedNumber(5), BoxedNumber(5.5));
  EXPECT_NE(BoxedNumber(5), BoxedNumber(6));
  EXPECT_TRUE(BoxedNumber(5).isInteger());
  EXPECT_FALSE(BoxedNumber(5.0).isInteger());

  // 2^53 + 1 has no double of its own: a double comparison would call it equal.
  constexpr std::int64_t kBig = (std::int64_t{1} << 53) + 1;
  EXPECT_NE(BoxedNumber(kBig), BoxedNumber(static_cast<double>(kBig)));
  EXPECT_EQ(BoxedNumber(std::int64_t{1} << 53), BoxedNumber(9007199254740992.0));

  // Values past the integer range never compare equal to an integer.
  EXPECT_NE(BoxedNumber(std::numeric_limits<std::int64_t>::max()), BoxedNumber(9.3e18));
  EXPECT_NE(BoxedNumber(1), BoxedNumber(std::nan("")));
  EXPECT_NE(BoxedNumber(std::nan("")), BoxedNumber(std::nan("")));
}

TEST(BoxedNumberTest, DescribesBothKinds) {
  EXPECT_EQ(BoxedNumber(-42).description(), "-42");
  EXPECT_EQ(BoxedNumber(5.0).description(), "5");
  EXPECT_EQ(BoxedNumber(71.5).description(), "71.5");
  EXPECT_EQ(BoxedNumber(0.1).description(), "0.1");
}

}  // namespace
}  // namespace orbelin::archiving
