// The element-wise transforms and their exports.
#include "api/elementwise.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "api/elementwise_checks.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Api {
namespace {

using namespace Support;

TEST(Log1p, SpecialValues) {
  const std::vector<float> src{0.0f,    -0.0f,           -1.0f,      -2.0f,
                               kNan,    kInfinity,       -kInfinity, 1e-45f,
                               -1e-45f, -0x1.fffffep-1f, 0x1p-30f,   std::numeric_limits<float>::max()};
  // The last three: log(2^-24), no rounding away of a small value, 128 log(2).
  const std::vector<float> expected{0.0f,   -0.0f,   -kInfinity,      kNan,     kNan,         kInfinity, kNan,
                                    1e-45f, -1e-45f, -0x1.0a2b24p+4f, 0x1p-30f, 0x1.62e43p+6f};
  std::vector<float> dst(src.size());
  ASSERT_EQ(kelvoAudioLog1p(dst.data(), src.data(), static_cast<int>(src.size())), KELVO_AUDIO_STATUS_OK);
  EXPECT_TRUE(SameBits(dst, expected));
}

std::vector<float> Standardized(std::vector<float> values) {
  EXPECT_EQ(kelvoAudioStandardize(values.data(), values.data(), static_cast<int>(values.size())), 0);
  return values;
}

// The variance of a constant comes out as 0, or beside it on either side.
TEST(Standardize, ConstantsFollowTheirRoundedVariance) {
  EXPECT_TRUE(SameBits(Standardized({0.1f}), std::vector{0.0f}));
  bool saw_zero = false, saw_nan = false, saw_scaled = false;
  for (int step = 1; step <= 200; ++step) {
    const std::vector<float> constant(static_cast<std::size_t>(step % 13 + 1), 0.001f * static_cast<float>(step));
    const float first = Standardized(constant)[0];
    saw_zero |= first == 0.0f;
    saw_nan |= std::isnan(first);
    saw_scaled |= first != 0.0f && std::fabs(first) < 1.0f;  // by a deviation that is rounding alone
  }
  EXPECT_TRUE(saw_zero && saw_nan && saw_scaled);
}

TEST(Standardize, ANanOrInfinityReachesEveryOutput) {
  for (const float intruder : {kNan, kInfinity}) {
    EXPECT_TRUE(SameBits(Standardized({1.0f, 2.0f, intruder, 3.0f}), std::vector(4, kNan)));
  }
}

TEST(ElementwiseChecks, NameTheCount) {
  for (const int bad : {0, -1, INT_MIN}) EXPECT_EQ(MessageOf([=] { CheckElementwise(bad); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckElementwise(1); }), "");
}

}  // namespace
}  // namespace kelvo::Api
