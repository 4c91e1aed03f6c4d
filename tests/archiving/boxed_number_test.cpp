#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include <gtest/gtest.h>

#include "orbelin/archiving/boxed_number.h"

namespace orbelin::archiving {
namespace {

// Numbers compare and hash by value across kinds, exactly past 2^53 (where a
// double comparison would call neighbours equal), and NaN equals nothing.
TEST(BoxedNumberTest, ComparesAndHashesAsNumbers) {
  constexpr std::int64_t k2Pow53 = std::int64_t{1} << 53;
  for (const auto& [a, b] : {std::pair<BoxedNumber, BoxedNumber>{5, 5.0},
                             {-7, -7.0},
                             {0.0, -0.0},
                             {k2Pow53, 9007199254740992.0}}) {
    EXPECT_EQ(a, b) << a.description();
    EXPECT_EQ(a.hash(), b.hash()) << a.description();
  }
  for (const auto& [a, b] : {std::pair<BoxedNumber, BoxedNumber>{5, 5.5},
                             {5, 6},
                             {k2Pow53 + 1, static_cast<double>(k2Pow53 + 1)},
                             {std::numeric_limits<std::int64_t>::max(), 9.3e18},
                             {1, std::nan("")},
                             {std::nan(""), std::nan("")}})
    EXPECT_NE(a, b) << a.description();
  EXPECT_TRUE(BoxedNumber(5).isInteger());
  EXPECT_FALSE(BoxedNumber(5.0).isInteger());
}

// Whole doubles print without a fraction, others shortest.
TEST(BoxedNumberTest, DescribesBothKinds) {
  EXPECT_EQ(BoxedNumber(-42).description(), "-42");
  EXPECT_EQ(BoxedNumber(5.0).description(), "5");
  EXPECT_EQ(BoxedNumber(71.5).description(), "71.5");
  EXPECT_EQ(BoxedNumber(0.1).description(), "0.1");
}

}  // namespace
}  // namespace orbelin::archiving
