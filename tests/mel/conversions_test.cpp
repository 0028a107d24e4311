// Decibels, norms, magnitudes and phases, log(1 + x), standardisation.
#include "mel/conversions.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "kelvo_audio.h"
#include "mel/checks.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Mel {
namespace {

using namespace Support;

constexpr float kFloor = 1e-10f;

std::vector<float> ToDb(const std::vector<float>& src, float top_db) {
  std::vector<float> dst(src.size());
  EXPECT_EQ(kelvoAudioConvertPowerToDB(dst.data(), src.data(), static_cast<int>(src.size()), top_db), 0);
  return dst;
}

TEST(PowerToDb, FollowsItsRules) {
  const float below_floor = std::nextafter(kFloor, 0.0f);
  const struct {
    const char* name;
    float top_db;
    std::vector<float> src, expected;
  } rows[] = {
      {"silence", -1.0f, {0.0f, 0.0f, -0.0f}, {0.0f, 0.0f, 0.0f}},
      {"peak at the floor", 80.0f, {kFloor, 0.0f}, {0.0f, 0.0f}},
      {"powers of ten", -1.0f, {1.0f, 10.0f, 100.0f}, {-20.0f, -10.0f, 0.0f}},
      {"no limit", -1.0f, {1.0f, 1e-12f}, {0.0f, -100.0f}},
      {"limit", 80.0f, {1.0f, 1e-12f, 0.1f}, {0.0f, -80.0f, -10.0f}},
      {"limit 0", 0.0f, {1.0f, 1e-12f, 0.1f}, {0.0f, 0.0f, 0.0f}},
      {"limit -0 is a limit", -0.0f, {1.0f, 0.1f}, {0.0f, 0.0f}},
      {"limit NaN is none", kNan, {1.0f, 0.0f}, {0.0f, -100.0f}},
      {"limit infinity", kInfinity, {1.0f, 0.0f}, {0.0f, -100.0f}},
      {"negative values", -1.0f, {-5.0f, 1.0f, -kInfinity}, {-100.0f, 0.0f, -100.0f}},
      {"all negative", -1.0f, {-5.0f, -1.0f}, {0.0f, 0.0f}},
      {"a later NaN is passed over", -1.0f, {1.0f, kNan, 10.0f}, {-10.0f, -110.0f, 0.0f}},
      {"a first NaN stays the peak", -1.0f, {kNan, 10.0f, 1.0f}, {0.0f, 110.0f, 100.0f}},
      {"below the floor", -1.0f, {below_floor, kFloor}, {0.0f, 0.0f}},
      {"infinite peak", 80.0f, {kInfinity, 1.0f}, {kNan, -80.0f}},
      {"infinite peak, no limit", -1.0f, {1.0f, kInfinity}, {-kInfinity, kNan}},
  };
  for (const auto& row : rows) EXPECT_TRUE(SameBits(ToDb(row.src, row.top_db), row.expected)) << row.name;
}

// A NaN and the peak in every lane, every accumulator and the tail.
TEST(PowerToDb, FindsThePeakWhereverItIs) {
  for (const Simd::Level level : Simd::SupportedLevels()) {
    for (std::size_t count = 2; count < 300; count += count < 140 ? 1 : 37) {
      for (std::size_t at = 0; at < count; at += 1 + count / 9) {
        std::vector<float> src(count, 0.4f), expected(count, -10.0f);
        src[at] = 4.0f;
        expected[at] = 0.0f;
        if (at > 0) {
          src[count - at] = at == count - at ? 4.0f : kNan;
          expected[count - at] = at == count - at ? 0.0f : -10.0f * std::log10(4.0f) - 100.0f;
        }
        std::vector<float> dst(count);
        ConvertPowerToDb(dst.data(), src, -1.0f, level);
        ASSERT_EQ(Bits(dst[at]), 0u);
        for (std::size_t i = 0; i < count; ++i)
          ASSERT_NEAR(dst[i], expected[i], 2e-5f) << count << " " << at << " " << i;
      }
    }
  }
}

TEST(ComplexNorm, HasKnownValues) {
  const std::vector<float> src{3.0f, 4.0f, 0.0f, -0.0f, 1e30f, 0.0f, 1e-30f, 1e-30f, kInfinity, kNan};
  for (const auto& [power, of_five] : {std::pair{1.0f, 5.0f}, {2.0f, 25.0f}, {4.0f, 625.0f}}) {
    std::vector<float> dst(5);
    ASSERT_EQ(kelvoAudioComplexNorm(dst.data(), src.data(), 5, power), KELVO_AUDIO_STATUS_OK);
    EXPECT_TRUE(SameBits(dst, std::vector{of_five, 0.0f, kInfinity, 0.0f, kNan})) << power;
  }
}

TEST(MagPhase, HasKnownValues) {
  constexpr float kPi = 3.14159274f;
  const std::vector<float> src{0.0f, 0.0f, -0.0f, 0.0f,      -1.0f,      0.0f, -1.0f, -0.0f,
                               3.0f, 4.0f, 0.0f,  kInfinity, -kInfinity, 0.0f, kNan,  1.0f};
  std::vector<float> magnitudes(8), ones(8), angles(8), unit(16);
  ASSERT_EQ(kelvoAudioMagPhase(magnitudes.data(), angles.data(), src.data(), 4, 2, 1.0f, KELVO_AUDIO_PHASE_ANGLE), 0);
  ASSERT_EQ(kelvoAudioMagPhase(ones.data(), unit.data(), src.data(), 4, 2, 0.0f, KELVO_AUDIO_PHASE_COMPLEX), 0);
  EXPECT_TRUE(SameBits(magnitudes, std::vector{0.0f, 0.0f, 1.0f, 1.0f, 5.0f, kInfinity, kInfinity, kNan}));
  EXPECT_TRUE(SameBits(angles, std::vector{0.0f, kPi, kPi, -kPi, std::atan2(4.0f, 3.0f), kPi / 2.0f, kPi, kNan}));
  EXPECT_TRUE(SameBits(ones, std::vector(8, 1.0f)));
  EXPECT_TRUE(SameBits(std::span(unit).first(2), std::vector{1.0f, 0.0f}));
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_LE(UlpDistance(unit[2 * i], std::cos(angles[i])), 1) << i;
    EXPECT_LE(UlpDistance(unit[2 * i + 1], std::sin(angles[i])), 1) << i;
  }
}

TEST(ConversionChecks, ReportTheFirstFailure) {
  const auto norm = [](int src_n, float power) { return MessageOf([=] { CheckComplexNorm(src_n, power); }); };
  const auto mag_phase = [](int freq_n, int frame_n, float power, int form) {
    return MessageOf([=] { CheckMagPhase(freq_n, frame_n, power, form); });
  };
  EXPECT_EQ(MessageOf([] { CheckPowerToDb(0); }), "Invalid src_n size.");
  EXPECT_EQ(norm(0, 0.0f), "Invalid src_n size.");
  EXPECT_EQ(norm(1, 0.0f), "Invalid power value.");
  EXPECT_EQ(norm(1, -0.0f), "Invalid power value.");
  EXPECT_EQ(norm(1, 1e-45f), "");
  EXPECT_EQ(norm(1, kNan), "");
  EXPECT_EQ(mag_phase(0, 0, -1.0f, 2), "Invalid freq_n value.");
  EXPECT_EQ(mag_phase(1, 0, -1.0f, 2), "Invalid frame_n value.");
  EXPECT_EQ(mag_phase(1, 1, -1e-45f, 2), "Invalid power value.");
  EXPECT_EQ(mag_phase(1, 1, 0.0f, 2), "Invalid phase_form format.");
  EXPECT_EQ(mag_phase(1, 1, 0.0f, -1), "Invalid phase_form format.");
  EXPECT_EQ(mag_phase(1, 1, -0.0f, 0), "");
  EXPECT_EQ(mag_phase(1, 1, kNan, 1), "");
}

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

// The computed variance of a constant is 0, or slightly above or below.
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

// Squares that vanish leave the deviation that constants have. However small, any other stays as it is.
TEST(Standardize, OnlyADeviationOfZeroIsReplaced) {
  const float of_constant = 0x1p-90f * (1.0f / 1e-16f);
  EXPECT_TRUE(SameBits(Standardized({0x1p-90f, -0x1p-90f}), std::vector{of_constant, -of_constant}));
  EXPECT_TRUE(SameBits(Standardized({0x1p-70f, -0x1p-70f}), std::vector{1.0f, -1.0f}));
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
}  // namespace kelvo::Mel
