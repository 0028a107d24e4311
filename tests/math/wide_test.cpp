// Fixed-point numbers of 256 bits, by identities that hold far beyond double precision.
#include "math/wide.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "math/bits.h"
#include "math/tables.h"

namespace kelvo::Math {
namespace {

// How far from 0, as a power of two; a value that is 0 counts as 2^-300.
int SizeOf(const Wide& a) {
  const double rough = Abs(ToRoughDouble(a));
  return rough == 0.0 ? -300 : ExponentOf(rough);
}

TEST(Wide, ComputesExactlyWithDoubles) {
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    const double a = std::ldexp(static_cast<double>(random() >> 2), -static_cast<int>(random() % 40)) - 5.0;
    const double b = std::ldexp(static_cast<double>(random() % 4096), -static_cast<int>(random() % 30)) - 1.0;
    ASSERT_EQ(ToRoughDouble(ToWide(a)), a);
    ASSERT_EQ(SizeOf(ToWide(a) + ToWide(b) - ToWide(a) - ToWide(b)), -300);
    ASSERT_EQ(ToRoughDouble(ToWide(a) * ToWide(b) - ToWide(a * b)), std::fma(a, b, -(a * b))) << a << " " << b;
    ASSERT_LE(SizeOf(ToWide(a) / 77 * ToWide(77.0) - ToWide(a)), -217) << a;
  }
}

TEST(Wide, FunctionsKeepTheirIdentities) {
  constexpr int kRight = -200;
  const Wide one = ToWide(1.0);
  std::mt19937 random(2);
  for (int i = 0; i < 60; ++i) {
    const double u = std::ldexp(static_cast<double>(random()), -32);
    const double v = std::ldexp(static_cast<double>(random()), -32);
    const Wide x = ToWide(u);
    const Wide y = ToWide(v * 0.5);
    EXPECT_LE(SizeOf(Sin(x) * Sin(x) + Cos(x) * Cos(x) - one), kRight) << u;
    EXPECT_LE(SizeOf(Exp(x) - Exp(x / 3) * Exp(x / 3) * Exp(x - x / 3 - x / 3)), kRight) << u;
    EXPECT_LE(SizeOf(Log(one + y) + Log(one + y) - Log((one + y) * (one + y) / 2) - Log(ToWide(2.0))), kRight) << v;
    EXPECT_LE(SizeOf(Exp(Log(one + y)) - one - y), kRight) << v;
    // The angle's sine and cosine point where it came from.
    const Wide angle = Atan(u, 1.0 + v);
    EXPECT_LE(SizeOf(Sin(angle) * ToWide(1.0 + v) - Cos(angle) * ToWide(u)), -185) << u << " " << v;
  }
  EXPECT_LE(SizeOf(Log(ToWide(2.0)) - ToWide(kWideLog2)), kRight);
  EXPECT_LE(SizeOf(Log(ToWide(2.0)) * ToWide(kWideInverseLog2) - one), kRight);
  EXPECT_LE(SizeOf(Atan(1.0, 1.0) * ToWide(2.0) - ToWide(kWideHalfPi)), -185);
}

TEST(Wide, RoundsToTheBitsThatAFloatHas) {
  // A little above and below the middle between 1 and its successor.
  EXPECT_EQ(RoundToFloat(ToWide(1.0 + 0x1p-24 + 0x1p-50)), 1.0f + 0x1p-23f);
  EXPECT_EQ(RoundToFloat(ToWide(-1.0 - 0x1p-24 + 0x1p-50)), -1.0f);
  EXPECT_EQ(RoundToFloat(ToWide(0x1.fffffffp+0), 127), HUGE_VALF);
  // Below 2^-126 a place is 2^-149 wide, and below half of that there is 0.
  EXPECT_EQ(RoundToFloat(ToWide(1.6), -148), 0x1.8p-148f);
  EXPECT_EQ(RoundToFloat(ToWide(1.7), -149), 0x1p-148f);
  EXPECT_EQ(RoundToFloat(ToWide(1.001), -150), 0x1p-149f);
  EXPECT_EQ(RoundToFloat(ToWide(1.999), -151), 0.0f);
  EXPECT_EQ(RoundToFloat(ToWide(1.999), -152), 0.0f);
  EXPECT_TRUE(std::signbit(RoundToFloat(ToWide(-1.999), -152)));
  EXPECT_EQ(Round(ToWide(1.0 / 3.0), 0, 53), 1.0 / 3.0);
}

}  // namespace
}  // namespace kelvo::Math
