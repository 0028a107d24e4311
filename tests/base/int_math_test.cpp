// Integer arithmetic at the ends of its ranges.
#include "base/int_math.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace kelvo::Base {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(IntMath, SaturatesDoubles) {
  const struct {
    double value;
    int expected;
  } rows[] = {
      {-0.0, 0},
      {0.999, 0},
      {-0.999, 0},
      {1.5, 1},
      {-1.5, -1},
      {5e-324, 0},
      {kNan, 0},
      {-kNan, 0},
      {kInfinity, INT_MAX},
      {-kInfinity, INT_MIN},
      {1e300, INT_MAX},
      {-1e300, INT_MIN},
      // On both sides of either end.
      {2147483646.5, INT_MAX - 1},
      {2147483647.0, INT_MAX},
      {std::nextafter(2147483648.0, 0.0), INT_MAX},
      {2147483648.0, INT_MAX},
      {-2147483647.0, -INT_MAX},
      {std::nextafter(-2147483648.0, 0.0), -INT_MAX},
      {-2147483648.0, INT_MIN},
      {std::nextafter(-2147483648.0, -kInfinity), INT_MIN},
      {-2147483649.0, INT_MIN},
  };
  for (const auto& row : rows) EXPECT_EQ(SaturateToInt(row.value), row.expected) << row.value;
}

TEST(IntMath, SaturatesFloats) {
  const float values[] = {NAN, -3.99f, 2147483520.0f, 2147483648.0f, -2147483520.0f, -2147483904.0f};
  const int expected[] = {0, -3, 2147483520, INT_MAX, -2147483520, INT_MIN};
  for (std::size_t i = 0; i < std::size(values); ++i) EXPECT_EQ(SaturateToInt(values[i]), expected[i]) << values[i];
}

TEST(IntMath, WrapsAround) {
  EXPECT_EQ(WrappingAdd(INT_MAX, 1), INT_MIN);
  EXPECT_EQ(WrappingAdd(INT_MIN, -1), INT_MAX);
  EXPECT_EQ(WrappingMultiply(46341, 46341), -2147479015);
  EXPECT_EQ(WrappingMultiply(INT_MIN, -1), INT_MIN);
}

}  // namespace
}  // namespace kelvo::Base
