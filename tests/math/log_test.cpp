// Logarithms in lanes.
#define KELVO_LEVEL math_test
#define KELVO_LANE_BYTES 16
#include "math/log.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "math/lane_check.h"

namespace kelvo::Math {
namespace {

using namespace Support;

constexpr auto kLog = [](auto x) { return Log(x); };
constexpr auto kLog10 = [](auto x) { return Log10(x); };
constexpr auto kLog1p = [](auto x) { return Log1p(x); };

const Known kHardestOfLog[] = {
    {0x1.2f1fd6p+3f, 0x1.1fcbcep+1f},  {0x1.b121a6p+76f, 0x1.a9a3f2p+5f}, {0x1.827a74p-7f, -0x1.1c2b1ep+2f},
    {0x1.6351d8p+95f, 0x1.08b512p+6f}, {0x1.c09d7cp+27f, 0x1.346a58p+4f}, {0x1.5190cp+78f, 0x1.b2bc8cp+5f},
    {0x1.22d57p-65f, -0x1.676a7cp+5f}, {0x1.bacb4ap+25f, 0x1.1e0696p+4f}, {0x1.917748p-100f, -0x1.137588p+6f},
    {0x1.d1309cp+62f, 0x1.5c9442p+5f},
};
const Known kHardestOfLog10[] = {
    {0x1.7bdb9p+12f, 0x1.e451ap+1f},    {0x1.0acfc8p+67f, 0x1.42fdd8p+4f},  {0x1.4d83bap+70f, 0x1.52fdd8p+4f},
    {0x1.fddcf4p-98f, -0x1.d33a46p+4f}, {0x1.1727b8p-91f, -0x1.b5b2aep+4f}, {0x1.207a4ap+76f, 0x1.6ee1e8p+4f},
    {0x1.9be058p+65f, 0x1.3c6028p+4f},  {0x1.0f399cp+7f, 0x1.10ef32p+1f},   {0x1.292424p-33f, -0x1.3bd10ap+3f},
    {0x1.5cf1a6p-88f, -0x1.a5b2aep+4f},
};
const Known kHardestOfLog1p[] = {
    {0x1.200036p-17f, 0x1.1fffe6p-17f}, {-0x1.1fffcap-17f, -0x1.20001ap-17f}, {-0x1.7ffffap-21f, -0x1.800002p-21f},
    {0x1.b121a6p+76f, 0x1.a9a3f2p+5f},  {0x1.30bf04p+43f, 0x1.dfac9p+4f},     {-0x1.1d9188p-9f, -0x1.1de14ap-9f},
    {0x1.6351d8p+95f, 0x1.08b512p+6f},  {0x1.800006p-21f, 0x1.7ffffep-21f},   {0x1.5190cp+78f, 0x1.b2bc8cp+5f},
    {0x1.0f1fd6p+3f, 0x1.1fcbcep+1f},   {0x1.fb035ap-2f, 0x1.9bddc2p-2f},     {0x1.e00096p-17f, 0x1.dfffb6p-17f},
};

TEST(Logarithms, OfTheHardestArgumentsAreCorrectlyRounded) {
  for (const Known& row : kHardestOfLog) EXPECT_TRUE(IsEverywhere(kLog, row.x, row.result));
  for (const Known& row : kHardestOfLog10) EXPECT_TRUE(IsEverywhere(kLog10, row.x, row.result));
  for (const Known& row : kHardestOfLog1p) EXPECT_TRUE(IsEverywhere(kLog1p, row.x, row.result));
}

TEST(Logarithms, HaveTheirSpecialValues) {
  for (const Known& row : std::initializer_list<Known>{{0.0f, -kInfinity},
                                                       {-0.0f, -kInfinity},
                                                       {1.0f, 0.0f},
                                                       {-1e-45f, kNan},
                                                       {-1.0f, kNan},
                                                       {-kInfinity, kNan},
                                                       {kInfinity, kInfinity},
                                                       {kNan, kNan}}) {
    EXPECT_TRUE(IsEverywhere(kLog, row.x, row.result));
    EXPECT_TRUE(IsEverywhere(kLog10, row.x, row.result));
  }
  for (const Known& row : std::initializer_list<Known>{{0.0f, 0.0f},
                                                       {-0.0f, -0.0f},
                                                       {-1.0f, -kInfinity},
                                                       {-0x1.000002p0f, kNan},
                                                       {-kInfinity, kNan},
                                                       {kInfinity, kInfinity},
                                                       {kNan, kNan},
                                                       {1e-45f, 1e-45f},
                                                       {-1e-38f, -1e-38f}}) {
    EXPECT_TRUE(IsEverywhere(kLog1p, row.x, row.result));
  }
  float power = 1.0f;
  for (int i = 0; i <= 10; ++i, power *= 10.0f) EXPECT_TRUE(IsEverywhere(kLog10, power, static_cast<float>(i)));
}

// In double the C library is right by far enough that its rounded value is wrong for one argument in 10^8 or fewer.
TEST(Logarithms, OfASampleAreThoseOfTheCLibraryInDouble) {
  CheckSample(kLog, [](float x) { return static_cast<float>(std::log(static_cast<double>(x))); });
  CheckSample(kLog10, [](float x) { return static_cast<float>(std::log10(static_cast<double>(x))); });
  CheckSample(kLog1p, [](float x) { return static_cast<float>(std::log1p(static_cast<double>(x))); });
}

}  // namespace
}  // namespace kelvo::Math
