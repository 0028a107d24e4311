// The functions that settle doubtful lanes: they must agree with the fast forms, which are right where nothing is in
// doubt.
#include "math/precise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "support/bits.h"

namespace kelvo::Math {
namespace {

using namespace Support;

// A double whose rounding to float no error of 2^-48 changes.
bool IsClear(double value) {
  return Bits(static_cast<float>(value * (1 - 0x1p-48))) == Bits(static_cast<float>(value * (1 + 0x1p-48)));
}

TEST(Precise, IsRightForAllKindsOfArguments) {
  std::mt19937 random(6);
  for (int i = 0; i < 500; ++i) {
    const float any = __builtin_bit_cast(float, static_cast<std::uint32_t>(random()));
    const float near_one =
        std::ldexp(static_cast<float>(random() % (1u << 24)), -23 + static_cast<int>(random() % 7) - 3);
    for (const float x : {any, near_one, -near_one, 1.0f, 2.0f, 289.0f}) {
      const auto wide = static_cast<double>(x);
      const auto check = [&](const char* name, float actual, double expected) {
        if (!IsClear(expected)) return;
        EXPECT_EQ(Bits(actual), Bits(static_cast<float>(expected))) << name << " of " << x;
      };
      check("log", PreciseLog(x), std::log(wide));
      check("log1p", PreciseLog1p(x), std::log1p(wide));
      check("log10", PreciseLog10(x), std::log10(wide));
      check("exp", PreciseExp(x), std::exp(wide));
      for (const float y : {0.3f, -2.5f, 0.5f, 1.5f, 40.0f, near_one, any}) {
        check("pow", PrecisePow(x, y), std::pow(wide, static_cast<double>(y)));
        check("atan2", PreciseAtan2(x, y), std::atan2(wide, static_cast<double>(y)));
        check("atan2", PreciseAtan2(y, x), std::atan2(static_cast<double>(y), wide));
      }
    }
  }
}

// Powers beside the largest float and beside half of the smallest, and those a factor of two further on, which are
// known to be out of range: only their logarithm to many bits decides.
TEST(Precise, KnowsWherePowersLeaveTheRangeOfFloats) {
  for (const float base : {1.5f, 3.0f, 0.7f, 0x1.000002p0f}) {
    for (const double border : {128.0, 129.0, -150.0, -151.0}) {
      auto exponent = static_cast<float>(border / std::log2(static_cast<double>(base)));
      for (int i = 0; i < 4; ++i) exponent = std::nextafter(exponent, 0.0f);
      for (int i = 0; i < 8; ++i, exponent = std::nextafter(exponent, 2 * exponent)) {
        const double power = std::pow(static_cast<double>(base), static_cast<double>(exponent));
        if (!IsClear(power)) continue;
        EXPECT_EQ(Bits(PrecisePow(base, exponent)), Bits(static_cast<float>(power))) << base << " " << exponent;
      }
    }
  }
}

TEST(Precise, RecomputesTheLanesAskedForAlone) {
  const float arguments[] = {1.0f, 0.0f, kInfinity, 2.0f};
  float results[] = {9.0f, 9.0f, 9.0f, 9.0f};
  Recompute(results, arguments, 0b0110, PreciseLog);
  EXPECT_TRUE(SameBits(results, std::vector{9.0f, -kInfinity, kInfinity, 9.0f}));
  const float exponents[] = {3.0f, 3.0f, 3.0f, 3.0f};
  Recompute(results, arguments, exponents, 0b1000, PrecisePow);
  EXPECT_TRUE(SameBits(results, std::vector{9.0f, -kInfinity, kInfinity, 8.0f}));
}

}  // namespace
}  // namespace kelvo::Math
