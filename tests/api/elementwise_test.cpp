// The element-wise transforms and their exports.
#include "api/elementwise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "api/elementwise_checks.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Api {
namespace {

using Support::Bits;
using Support::MessageOf;
using Support::Noise;
using Support::SameBits;

using Transform = void (*)(std::span<float>, std::span<const float>, Simd::Level);

// Every length around the vector widths, separate and in place, at every level: one answer, and nothing beyond the end.
TEST(Elementwise, EveryLevelAndTailAgrees) {
  for (const Transform transform : {Transform{ComputeLog1p}, Transform{Standardize}}) {
    for (std::size_t count = 1; count < 70; ++count) {
      auto src = Noise(count, static_cast<std::uint32_t>(count));
      if (transform == ComputeLog1p && count > 3) src[count / 2] = -2.0f;
      std::vector<float> expected(count);
      transform(expected, src, Simd::Level::scalar);
      for (const Simd::Level level : Simd::SupportedLevels()) {
        std::vector<float> dst(count + 1, 123.0f);
        transform({dst.data(), count}, src, level);
        EXPECT_EQ(dst[count], 123.0f);
        dst.resize(count);
        EXPECT_TRUE(SameBits(dst, expected)) << Simd::LevelName(level) << " " << count;
        std::vector<float> in_place = src;
        transform(in_place, in_place, level);
        EXPECT_TRUE(SameBits(in_place, expected)) << Simd::LevelName(level) << " " << count;
      }
    }
  }
}

TEST(Log1p, SpecialValues) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
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

// Straight from the definition, one rounding at a time.
std::vector<float> StandardizeStepByStep(const std::vector<float>& src) {
  volatile float sum = 0.0f;
  volatile float sum_sq = 0.0f;
  for (const float value : src) {
    const volatile float square = value * value;
    sum = sum + value;
    sum_sq = sum_sq + square;
  }
  const volatile float inv_n = 1.0f / static_cast<float>(src.size());
  const volatile float mean = sum * inv_n;
  const volatile float mean_sq = inv_n * sum_sq;
  const volatile float sq_mean = mean * mean;
  const volatile float variance = mean_sq - sq_mean;
  volatile float deviation = std::sqrt(variance);
  if (deviation == 0.0f) deviation = 1e-16f;
  const volatile float scale = 1.0f / deviation;
  std::vector<float> dst;
  for (const float value : src) {
    const volatile float shifted = value - mean;
    dst.push_back(shifted * scale);
  }
  return dst;
}

TEST(Standardize, KeepsTheOrderAndPrecisionOfItsSums) {
  for (const std::size_t count : {2u, 3u, 16u, 1000u, 4097u}) {
    auto src = Noise(count, 7);
    for (float& value : src) value = value * 3.0f + 0.5f;
    std::vector<float> dst(count);
    ASSERT_EQ(kelvoAudioStandardize(dst.data(), src.data(), static_cast<int>(count)), KELVO_AUDIO_STATUS_OK);
    EXPECT_TRUE(SameBits(dst, StandardizeStepByStep(src))) << count;
    double sum = 0.0;
    double sum_sq = 0.0;
    for (const float value : dst) {
      sum += static_cast<double>(value);
      sum_sq += static_cast<double>(value) * static_cast<double>(value);
    }
    // Sums of up to 4097 values in single precision are good to about 1e-5 of their size.
    EXPECT_NEAR(sum / static_cast<double>(count), 0.0, 1e-4);
    EXPECT_NEAR(sum_sq / static_cast<double>(count), 1.0, 1e-3);
  }
}

// A constant: the variance comes out as 0, or beside it on either side, and each of the three shows.
TEST(Standardize, ConstantsFollowTheirRoundedVariance) {
  bool saw_zero = false, saw_nan = false, saw_scaled = false;
  for (int step = 1; step <= 200; ++step) {
    const std::vector<float> src(static_cast<std::size_t>(step % 13 + 1), 0.1f * static_cast<float>(step));
    std::vector<float> dst(src.size());
    ASSERT_EQ(kelvoAudioStandardize(dst.data(), src.data(), static_cast<int>(src.size())), KELVO_AUDIO_STATUS_OK);
    EXPECT_TRUE(SameBits(dst, StandardizeStepByStep(src))) << step;
    (std::isnan(dst[0]) ? saw_nan : dst[0] == 0.0f ? saw_zero : saw_scaled) = true;
    if (src.size() == 1) {
      EXPECT_EQ(Bits(dst[0]), 0u);
    }
  }
  EXPECT_TRUE(saw_zero && saw_nan && saw_scaled);
}

TEST(Standardize, ANanOrInfinityReachesEveryOutput) {
  for (const float intruder : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    auto src = Noise(40);
    src[31] = intruder;
    std::vector<float> dst(40);
    ASSERT_EQ(kelvoAudioStandardize(dst.data(), src.data(), 40), KELVO_AUDIO_STATUS_OK);
    EXPECT_TRUE(std::ranges::all_of(dst, [](float value) { return std::isnan(value); }));
  }
}

TEST(ElementwiseChecks, NameTheCount) {
  for (const int bad : {0, -1, INT_MIN}) EXPECT_EQ(MessageOf([=] { CheckElementwise(bad); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckElementwise(1); }), "");
}

}  // namespace
}  // namespace kelvo::Api
