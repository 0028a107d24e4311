// Rounding to integers and the parts of doubles.
#include "math/bits.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/bits.h"

namespace kelvo::Math {
namespace {

using Support::Bits;
using Support::kInfinity;
using Support::kNan;

// The C library's floor and ceil are exact, so all bits must agree, the sign of zero included.
TEST(Bits, RoundsToIntegersAsTheCLibraryDoes) {
  const double positive[] = {0.0,
                             5e-324,
                             0.3,
                             0.5,
                             0x1.fffffffffffffp-1,
                             1.0,
                             0x1.0000000000001p0,
                             1.5,
                             2.0,
                             1e9 + 0.5,
                             0x1.fffffffffffffp+51,
                             0x1p+52,
                             0x1.8p+52,
                             1e300,
                             HUGE_VAL,
                             std::nan("")};
  for (const double size : positive) {
    for (const double value : {size, -size}) {
      EXPECT_EQ(Bits(Floor(value)), Bits(std::floor(value))) << value;
      EXPECT_EQ(Bits(Ceil(value)), Bits(std::ceil(value))) << value;
      const auto narrow = static_cast<float>(value);
      EXPECT_EQ(Bits(Floor(narrow)), Bits(std::floor(narrow))) << narrow;
      EXPECT_EQ(Bits(Ceil(narrow)), Bits(std::ceil(narrow))) << narrow;
    }
  }
  for (int i = -4000; i <= 4000; ++i) {
    const double value = i * 0x1.23456789abcdep-4;
    ASSERT_EQ(Bits(Floor(value)), Bits(std::floor(value))) << value;
    ASSERT_EQ(Bits(Ceil(value)), Bits(std::ceil(value))) << value;
  }
}

TEST(Bits, TakesDoublesApart) {
  for (const int exponent : {-1022, -149, -1, 0, 1, 52, 1023}) {
    EXPECT_EQ(PowerOfTwo(exponent), std::ldexp(1.0, exponent));
    EXPECT_EQ(ExponentOf(PowerOfTwo(exponent) * 1.9), exponent);
  }
  EXPECT_EQ(Bits(Abs(-0.0)), Bits(0.0));
  EXPECT_EQ(Abs(-kInfinity), kInfinity);
  EXPECT_EQ(Bits(Abs(-kNan)), Bits(kNan));
  EXPECT_TRUE(IsNegative(-0.0));
  EXPECT_FALSE(IsNegative(0.0));
}

}  // namespace
}  // namespace kelvo::Math
