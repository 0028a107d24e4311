// Decibels, norms, magnitudes and phases.
#include "mel/spectral_conversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kelvo_audio.h"
#include "mel/spectral_conversion_checks.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Mel {
namespace {

using Support::Bits;
using Support::MessageOf;
using Support::Noise;
using Support::SameBits;
using Support::UlpDistance;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kFloor = 1e-10f;

// The definition, value by value.
float RuntimeDb(float x, float reference) {
  return std::log10(x > kFloor ? x : kFloor) * 10.0f - std::log10(reference) * 10.0f;
}

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

// A NaN may stand, and the peak may lie, in any lane, chain and tail; a NaN is the peak in the first place only.
TEST(PowerToDb, FindsThePeakWhereverItIs) {
  for (const Simd::Level level : Simd::SupportedLevels()) {
    for (std::size_t count = 1; count < 300; count += count < 140 ? 1 : 37) {
      for (std::size_t at = 0; at < count; at += 1 + count / 9) {
        std::vector<float> src(count, 0.25f);
        src[at] = 4.0f;
        src[(at + count / 2) % count] = at == (at + count / 2) % count ? 4.0f : kNan;
        std::vector<float> dst(count + 1, 77.0f);
        ConvertPowerToDb({dst.data(), count}, src, -1.0f, level);
        const float reference = std::isnan(src[0]) ? kFloor : 4.0f;
        for (std::size_t i = 0; i < count; ++i) {
          ASSERT_LE(UlpDistance(dst[i], RuntimeDb(src[i], reference)), 1) << count << " " << at << " " << i;
        }
        EXPECT_EQ(dst[count], 77.0f);
        if (reference == 4.0f) {
          EXPECT_EQ(Bits(dst[at]), 0u);
        }
      }
    }
  }
}

// With the peak at 1 every reference level is 0 and each result is ten runtime logarithms.
TEST(PowerToDb, IsTenRuntimeLogarithms) {
  std::vector<float> src{1.0f};
  for (float value = kFloor; value < 1.0f; value *= 1.00037f) src.push_back(value);
  const auto dst = ToDb(src, -1.0f);
  for (std::size_t i = 0; i < src.size(); ++i) {
    // An ulp of the logarithm is up to two of ten times it.
    ASSERT_LE(UlpDistance(dst[i], RuntimeDb(src[i], 1.0f)), 2) << src[i];
  }
}

TEST(ComplexNorm, HasKnownValues) {
  const std::vector<float> src{3.0f, 4.0f, 0.0f, 0.0f, -0.0f, -0.0f, 1e30f, 0.0f, 1e-30f, 1e-30f, kInfinity, kNan};
  const struct {
    float power;
    std::vector<float> expected;
  } rows[] = {
      {1.0f, {5.0f, 0.0f, 0.0f, kInfinity, 0.0f, kNan}},
      {2.0f, {25.0f, 0.0f, 0.0f, kInfinity, 0.0f, kNan}},
      {4.0f, {625.0f, 0.0f, 0.0f, kInfinity, 0.0f, kNan}},
      {kNan, {kNan, kNan, kNan, kNan, kNan, kNan}},
  };
  for (const auto& row : rows) {
    std::vector<float> dst(6);
    ASSERT_EQ(kelvoAudioComplexNorm(dst.data(), src.data(), 6, row.power), KELVO_AUDIO_STATUS_OK);
    EXPECT_TRUE(SameBits(dst, row.expected)) << row.power;
  }
}

TEST(ComplexNorm, IsThePowerOfTheRuntimeAtEveryLevelAndTail) {
  for (const float power : {0.25f, 1.0f, 1.7f, 2.0f, 3.0f}) {
    for (const std::size_t count : {1u, 2u, 15u, 16u, 17u, 64u, 131u}) {
      const auto src = Noise(2 * count, static_cast<std::uint32_t>(count));
      std::vector<float> expected(count);
      ComputePowerSpectrum(expected, src, power, Simd::Level::scalar);
      for (std::size_t i = 0; i < count; ++i) {
        const float squared = std::pow(src[2 * i + 1], 2.0f) + std::pow(src[2 * i], 2.0f);
        EXPECT_LE(UlpDistance(expected[i], std::pow(squared, power * 0.5f)), 1) << power << " " << i;
      }
      for (const Simd::Level level : Simd::SupportedLevels()) {
        std::vector<float> dst(count + 1, 9.0f);
        ComputePowerSpectrum({dst.data(), count}, src, power, level);
        EXPECT_EQ(dst.back(), 9.0f);
        dst.pop_back();
        EXPECT_TRUE(SameBits(dst, expected)) << Simd::LevelName(level) << " " << power << " " << count;
      }
    }
  }
}

struct MagPhase {
  std::vector<float> magnitudes, phases;
};

MagPhase Take(const std::vector<float>& src, int freq_n, int frame_n, float power, int form) {
  const std::size_t count = src.size() / 2;
  // One value more than is due, to see that it stays.
  MagPhase result{std::vector<float>(count + 1, 8.0f), std::vector<float>((form == 1 ? 2 * count : count) + 1, 8.0f)};
  EXPECT_EQ(
      kelvoAudioMagPhase(result.magnitudes.data(), result.phases.data(), src.data(), freq_n, frame_n, power, form),
      KELVO_AUDIO_STATUS_OK);
  EXPECT_EQ(result.magnitudes.back(), 8.0f);
  EXPECT_EQ(result.phases.back(), 8.0f);
  result.magnitudes.pop_back();
  result.phases.pop_back();
  return result;
}

TEST(MagPhase, HasKnownValues) {
  constexpr float kPi = 3.14159274f;
  const std::vector<float> src{0.0f, 0.0f, -0.0f, 0.0f,      -1.0f,      0.0f, -1.0f, -0.0f,
                               3.0f, 4.0f, 0.0f,  kInfinity, -kInfinity, 0.0f, kNan,  1.0f};
  const MagPhase angles = Take(src, 4, 2, 1.0f, KELVO_AUDIO_PHASE_ANGLE);
  EXPECT_TRUE(
      SameBits(angles.magnitudes, std::vector<float>{0.0f, 0.0f, 1.0f, 1.0f, 5.0f, kInfinity, kInfinity, kNan}));
  EXPECT_TRUE(
      SameBits(angles.phases, std::vector<float>{0.0f, kPi, kPi, -kPi, std::atan2(4.0f, 3.0f), kPi / 2.0f, kPi, kNan}));
  const MagPhase unit = Take(src, 4, 2, 0.0f, KELVO_AUDIO_PHASE_COMPLEX);
  EXPECT_TRUE(SameBits(unit.magnitudes, std::vector<float>(8, 1.0f)));
  EXPECT_TRUE(SameBits(std::span(unit.phases).first(2), std::vector<float>{1.0f, 0.0f}));
  for (std::size_t i = 0; i < 8; ++i) {
    const float cosine = std::cos(angles.phases[i]);
    const float sine = std::sin(angles.phases[i]);
    EXPECT_LE(UlpDistance(unit.phases[2 * i], cosine), 1) << i;
    EXPECT_LE(UlpDistance(unit.phases[2 * i + 1], sine), 1) << i;
    EXPECT_TRUE(std::isnan(sine) || std::signbit(unit.phases[2 * i + 1]) == std::signbit(sine)) << i;
  }
}

TEST(MagPhase, PutTogetherAgainGivesTheInput) {
  for (const auto& [freq_n, frame_n] : {std::pair{1, 1}, {257, 1}, {1, 100}, {33, 7}}) {
    const auto count = static_cast<std::size_t>(freq_n * frame_n);
    const auto src = Noise(2 * count, 3);
    const MagPhase angles = Take(src, freq_n, frame_n, 1.0f, KELVO_AUDIO_PHASE_ANGLE);
    const MagPhase unit = Take(src, freq_n, frame_n, 1.0f, KELVO_AUDIO_PHASE_COMPLEX);
    for (std::size_t i = 0; i < count; ++i) {
      const float magnitude = unit.magnitudes[i];
      // A float angle near pi is off by up to 1.2e-7, and magnitude and phase by half an ulp each.
      const float tolerance = magnitude * 3e-7f;
      EXPECT_NEAR(magnitude * unit.phases[2 * i], src[2 * i], tolerance);
      EXPECT_NEAR(magnitude * unit.phases[2 * i + 1], src[2 * i + 1], tolerance);
      EXPECT_NEAR(magnitude * std::cos(angles.phases[i]), src[2 * i], tolerance);
    }
  }
}

TEST(SpectralConversionChecks, ReportTheFirstFailure) {
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

}  // namespace
}  // namespace kelvo::Mel
