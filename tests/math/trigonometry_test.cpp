// Angles, cosine and sine in lanes.
#define KELVO_LEVEL math_test
#define KELVO_LANE_BYTES 16
#include "math/trigonometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "math/functions.h"
#include "math/lane_check.h"
#include "math/near_direction.h"

namespace kelvo::Math {
namespace {

using namespace Support;

constexpr auto kCosine = [](auto x) { return CosSinNear(x, false).cosine; };
constexpr auto kSine = [](auto x) { return CosSinNear(x, false).sine; };

const Known kHardestOfSine[] = {
    {0x1.e7061ep-2f, 0x1.d4de8ap-2f},     {-0x1.9eab2ep-4f, -0x1.9df5f2p-4f}, {0x1.0ca1d4p-5f, 0x1.0c958p-5f},
    {-0x1.250bfep-11f, -0x1.250bfep-11f}, {0x1.3e42p+1f, 0x1.37f8dep-1f},     {0x1.e64002p-2f, 0x1.d42e64p-2f},
    {0x1.41f49cp+0f, 0x1.e71962p-1f},     {0x1.0a403p-10f, 0x1.0a402ep-10f},  {0x1.404b8cp-6f, 0x1.404654p-6f},
    {0x1.61246ep-10f, 0x1.612468p-10f},
};

TEST(CosSin, OfTheHardestArgumentsAreCorrectlyRounded) {
  for (const Known& row : kHardestOfCosine) EXPECT_TRUE(IsEverywhere(kCosine, row.x, row.result));
  for (const Known& row : kHardestOfSine) EXPECT_TRUE(IsEverywhere(kSine, row.x, row.result));
}

TEST(CosSin, HaveTheirSpecialValues) {
  constexpr float kPi = 0x1.921fb6p+1f;
  for (const Known& row : std::initializer_list<Known>{{0.0f, 0.0f},
                                                       {-0.0f, -0.0f},
                                                       {1e-45f, 1e-45f},
                                                       {kNan, kNan},
                                                       {kPi, -0x1.777a5cp-24f},
                                                       {-kPi, 0x1.777a5cp-24f},
                                                       {kPi / 2, 1.0f},
                                                       {-kPi / 2, -1.0f}}) {
    EXPECT_TRUE(IsEverywhere(kSine, row.x, row.result));
  }
  for (const Known& row : std::initializer_list<Known>{{0.0f, 1.0f},
                                                       {-0.0f, 1.0f},
                                                       {1e-45f, 1.0f},
                                                       {kNan, kNan},
                                                       {kPi, -1.0f},
                                                       {-kPi, -1.0f},
                                                       {kPi / 2, -0x1.777a5cp-25f}}) {
    EXPECT_TRUE(IsEverywhere(kCosine, row.x, row.result));
  }
}

// By way of whichever direction: between two the comparison of floats decides which is the near one.
TEST(CosSin, OfASampleAreThoseOfTheCLibraryInDouble) {
  const auto rounded = [](double (*function)(double)) {
    return [=](float x) {
      return std::fabs(x) > 3.1415927f ? kNan : static_cast<float>(function(static_cast<double>(x)));
    };
  };
  for (const bool by_next : {false, true}) {
    CheckSample([=](auto x) { return CosSinNear(x, by_next).cosine; }, rounded(std::cos));
    CheckSample([=](auto x) { return CosSinNear(x, by_next).sine; }, rounded(std::sin));
  }
}

struct Point {
  float y, x, angle;
};

testing::AssertionResult HasAngle(float y, float x, float angle) {
  return IsEverywhere([x](auto height) { return Atan2(height, decltype(height)::Broadcast(x)); }, y, angle);
}

// Nearest to a middle of 8 * 10^6 pairs, and results below 2^-126, where the quotient may be a middle itself but the
// angle is always less: 1.5 places become 1 and not 2.
const Point kHardestPoints[] = {
    {-0x1.8e87bp+77f, 0x1.dp+88f, -0x1.b7c1dcp-12f},
    {0x1.ep+13f, 0x1.313p+1f, 0x1.921588p+0f},
    {0x1.512f4p-20f, -0x1.3c228p+5f, 0x1.921fb4p+1f},
    {-0x1.39bda4p-66f, 0x1.57354ap-25f, -0x1.d40a56p-42f},
    {-0x1.371598p-103f, -0x1.4c584ep-113f, -0x1.926416p+0f},
    {0x1.55bc86p-50f, 0x1.78aefcp+44f, 0x1.d07fbp-95f},
    {0x1.78p-17f, -0x1.ep-5f, 0x1.92197p+1f},
    {-0x1.34p-6f, -0x1.7c1b78p-20f, -0x1.9224a6p+0f},
    {0x1.2206p-16f, 0x1.6p-19f, 0x1.6b945ep+0f},
    {-0x1.3eb54p-2f, 0x1.c65f4p+2f, -0x1.66e65ep-5f},
    {3e-45f, 2.0f, 1e-45f},
    {0x7p-149f, 2.0f, 0x3p-149f},
    {-0x7p-149f, 2.0f, -0x3p-149f},
    {1e-45f, 2.0f, 0.0f},
    {1e-45f, 1.9f, 1e-45f},
    {0x1p-126f, 0x1.000002p0f, 0x1.fffffcp-127f},
    {0x1.fffffcp-127f, 1.0f, 0x1.fffffcp-127f},
};

TEST(Atan2, OfTheHardestArgumentsIsCorrectlyRounded) {
  for (const Point& row : kHardestPoints) EXPECT_TRUE(HasAngle(row.y, row.x, row.angle));
}

// Quadrants, axes, zeros, infinities and NaN in all combinations. The C library's double-precision angle, rounded,
// differs from the right one only where results are subnormal.
TEST(Atan2, IsRightInAllQuadrantsAndAtTheirSeams) {
  const float sizes[] = {0.0f, 1e-45f, 1e-38f, 1e-20f, 0.1f,  0.4142f,   0.5f,      1.0f, 0x1.000002p0f,
                         2.4f, 3.0f,   1e3f,   1e20f,  3e38f, 0x1p-126f, kInfinity, kNan};
  for (const float height : sizes) {
    for (const float width : sizes) {
      for (const float y : {height, -height}) {
        for (const float x : {width, -width}) {
          const double angle = std::atan2(static_cast<double>(y), static_cast<double>(x));
          if (angle != 0.0 && std::fabs(angle) < 0x1p-126) continue;
          ASSERT_TRUE(HasAngle(y, x, static_cast<float>(angle))) << y << " " << x;
        }
      }
    }
  }
  for (const float x : {1.0f, -0.37f}) {
    CheckSample([x](auto y) { return Atan2(y, decltype(y)::Broadcast(x)); },
                [x](float y) {
                  const double angle = std::atan2(static_cast<double>(y), static_cast<double>(x));
                  return angle != 0.0 && std::fabs(angle) < 0x1p-126 ? kNan : static_cast<float>(angle);
                });
  }
}

testing::AssertionResult HasPhase(float y, float x, float angle) {
  const auto phase = [x](auto heights) { return UnitPhase(heights, decltype(heights)::Broadcast(x)); };
  const auto cosine = IsEverywhere([&](auto heights) { return phase(heights).cosine; }, y, Cos(angle));
  return cosine ? IsEverywhere([&](auto heights) { return phase(heights).sine; }, y, Sin(angle)) : cosine;
}

// The cosine and sine of the float angle, not of the point's: at (-1, 0) the sine is not 0.
TEST(UnitPhase, IsThatOfTheRoundedAngle) {
  for (const Point& row : kHardestPoints) EXPECT_TRUE(HasPhase(row.y, row.x, row.angle));
  const float sizes[] = {0.0f,          1e-45f, 3e-45f, 1e-38f,    1e-20f,           1e-8f,     0.1f, 0.5f, 1.0f,
                         0x1.000002p0f, 1e20f,  3e38f,  0x1p-126f, 0x1.000002p-126f, kInfinity, kNan};
  for (const float height : sizes) {
    for (const float width : sizes) {
      for (const float y : {height, -height}) {
        for (const float x : {width, -width}) {
          ASSERT_TRUE(HasPhase(y, x, PreciseAtan2(y, x))) << y << " " << x;
        }
      }
    }
  }
  for (const float x : {1.0f, -0.37f, 1e-30f}) {
    CheckSample([x](auto y) { return UnitPhase(y, decltype(y)::Broadcast(x)).cosine; },
                [x](float y) { return Cos(Atan2(Lanes<float, 1>{y}, Lanes<float, 1>{x}).v); });
    CheckSample([x](auto y) { return UnitPhase(y, decltype(y)::Broadcast(x)).sine; },
                [x](float y) { return Sin(Atan2(Lanes<float, 1>{y}, Lanes<float, 1>{x}).v); });
  }
}

}  // namespace
}  // namespace kelvo::Math
