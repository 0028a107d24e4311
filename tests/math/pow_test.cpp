// Exponentials and powers in lanes.
#define KELVO_LEVEL math_test
#define KELVO_LANE_BYTES 16
#include "math/pow.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "math/lane_check.h"

namespace kelvo::Math {
namespace {

using namespace Support;

template <class Lane>
Lane PowOf(Lane base, const Exponent& exponent) {
  float power[Lane::kSize];
  StorePow(power, base, exponent);
  return Lane::Load(power);
}

testing::AssertionResult HasPower(float base, float exponent, float power) {
  return IsEverywhere([=](auto x) { return PowOf(x, MakeExponent(exponent)); }, base, power);
}

struct Case {
  float base, exponent, power;
};

// Right in the middle between two floats, to the even one; beside such a middle; and with results below 2^-126.
TEST(Pow, DecidesTies) {
  for (const Case& row : std::initializer_list<Case>{
           {0x1.e4p+6f, 3.5f, 0x1.2959c4p+24f},
           {0x1.e4p+16f, 3.5f, 0x1.2959c4p+59f},
           {0x1.fp+20f, 5.0f, 0x1.b4d8ap+104f},
           {0x1.a48p-27f, 2.5f, 0x1.38f9acp-66f},
           {0x1.e08p+17f, 2.5f, 0x1.b4d8ap+44f},
           {0x1.14p-29f, 4.0f, 0x1.59df7p-116f},
           {0x1.2cp-2f, 4.0f, 0x1.e2cc3p-8f},
           {361.0f * 361.0f, 1.5f, 47045881.0f},
           {4.0f, 0.5f, 2.0f},
           {0x1p-75f, 2.0f, 0.0f},
           {0x1.8p-75f, 2.0f, 0x1p-149f},
           {0x1p-100f, 1.5f, 0.0f},
           {2.0f, -149.0f, 0x1p-149f},
           {2.0f, -150.0f, 0.0f},
           {0x1p-149f, 0.5f, 0x1.6a09e6p-75f},
           {2.0f, 128.0f, kInfinity},
           {2.0f, 127.0f, 0x1p127f},
       }) {
    EXPECT_TRUE(HasPower(row.base, row.exponent, row.power)) << row.base << " to " << row.exponent;
  }
}

// All of C's special cases: the C library's powf follows the same table.
TEST(Pow, HasItsSpecialValues) {
  const float values[] = {0.0f,  1.0f,           0.5f,          2.0f,      3.0f,
                          4.0f,  0x1.fffffep-1f, 0x1.000002p0f, 1e-45f,    1e-38f,
                          3e38f, 8388609.0f,     16777216.0f,   kInfinity, kNan};
  for (const float size : values) {
    for (const float other : values) {
      for (const float base : {size, -size}) {
        for (const float exponent : {other, -other}) {
          const float special = std::pow(base, exponent);
          if (special != 0.0f && std::isfinite(special) && special != 1.0f && special != -1.0f) continue;
          ASSERT_TRUE(HasPower(base, exponent, special)) << base << " to " << exponent;
        }
      }
    }
  }
}

TEST(Pow, OfASampleIsThatOfTheCLibraryInDouble) {
  for (const float exponent : {0.3f, 0.35f, 0.15f, 1.5f, -0.7f, 2.0f, 3.7f, 20.0f, 90.0f, 1e-3f, 1e-30f, -1000.0f}) {
    const Exponent prepared = MakeExponent(exponent);
    CheckSample([&](auto x) { return PowOf(x, prepared); },
                [&](float x) {
                  const double power = std::pow(static_cast<double>(x), static_cast<double>(exponent));
                  const auto below = static_cast<float>(power * (1 - 0x1p-48));
                  const auto above = static_cast<float>(power * (1 + 0x1p-48));
                  return Bits(below) == Bits(above) ? below : kNan;
                });
  }
}

TEST(Exp, IsThatOfTheCLibraryInDoubleAndHasItsSpecialValues) {
  constexpr auto kExp = [](auto x) { return Exp(x); };
  for (const Known& row : std::initializer_list<Known>{{0.0f, 1.0f},
                                                       {-0.0f, 1.0f},
                                                       {kInfinity, kInfinity},
                                                       {-kInfinity, 0.0f},
                                                       {kNan, kNan},
                                                       {89.0f, kInfinity},
                                                       {-104.0f, 0.0f},
                                                       {-103.9f, 1e-45f},
                                                       {1e-45f, 1.0f}}) {
    EXPECT_TRUE(IsEverywhere(kExp, row.x, row.result));
  }
  CheckSample(kExp, [](float x) { return static_cast<float>(std::exp(static_cast<double>(x))); });
}

}  // namespace
}  // namespace kelvo::Math
