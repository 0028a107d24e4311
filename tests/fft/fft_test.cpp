// The transforms against a double-precision one, for every kind of length, at every kernel level.
#include "fft/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <span>
#include <vector>

#include "fft/checks.h"
#include "fft/fft_plan.h"
#include "fft/reference_fft.h"
#include "fft/spectra.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Fft {
namespace {

std::vector<std::size_t> Lengths() {
  std::vector<std::size_t> lengths{400, 480, 1000, 1200, 1009, 2018, 1021 * 4, 7 * 7 * 11 * 4, 3 * 512, 44100, 4099};
  for (std::size_t n = 1; n <= 256; ++n) lengths.push_back(n);
  for (std::size_t n = 512; n <= 65536; n *= 2) lengths.push_back(n);
  return lengths;
}

std::vector<float> Forward(const std::vector<float>& x, Simd::Level level) {
  std::vector<float> bins(2 * x.size());
  ComputeFft(bins, x, level);
  return bins;
}

using Transform = void (*)(std::span<float>, std::span<const float>, Simd::Level);

// The exact bins of the values, at every level.
void ExpectTransform(Transform transform, const std::vector<float>& values, const Spectrum& exact) {
  std::vector<float> scalar(2 * exact.size()), bins(2 * exact.size());
  transform(scalar, values, Simd::Level::scalar);
  EXPECT_LT(RelativeError(FromPairs(scalar), exact), ErrorBound(exact.size())) << exact.size();
  for (const Simd::Level level : Simd::SupportedLevels()) {
    transform(bins, values, level);
    EXPECT_TRUE(Support::SameBits(bins, scalar)) << exact.size() << " " << Simd::LevelName(level);
  }
}

TEST(FftTest, MatchesTheDoublePrecisionTransformAtEveryLevel) {
  for (const std::size_t n : Lengths()) {
    const std::vector<float> values = Support::Noise(2 * n, static_cast<std::uint32_t>(n));
    Spectrum inverse = ExactTransform(FromPairs(values), 1.0);
    for (auto& value : inverse) value /= static_cast<double>(n);
    ExpectTransform(ComputeIfft, values, inverse);
    const std::vector<float> real(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(n));
    ExpectTransform(ComputeFft, real, ExactTransform(FromReal(real), -1.0));
  }
}

TEST(FftTest, IsNoLessAccurateThanTheReferenceFft) {
  std::vector<std::size_t> lengths{4096, 16384, 65536};
  for (std::size_t n = 2; n <= 2048; n < 128 ? ++n : n += 1 + n / 40) lengths.push_back(n);
  for (std::size_t n = 256; n <= 2048; n *= 2) lengths.push_back(n);
  for (const std::size_t n : lengths) {
    const ReferenceFft reference(n);
    // Averaged over enough signals that the comparison does not depend on chance.
    double actual_square = 0.0;
    double reference_square = 0.0;
    for (std::uint32_t seed = 1; seed <= 1 + 2048 / n; ++seed) {
      const std::vector<float> x = Support::Noise(n, seed);
      const Spectrum exact = ExactTransform(FromReal(x), -1.0);
      actual_square += std::pow(RelativeError(FromPairs(Forward(x, Simd::BestLevel())), exact), 2.0);
      reference_square += std::pow(RelativeError(reference.Transform(x), exact), 2.0);
    }
    EXPECT_LE(actual_square, reference_square) << n << " " << actual_square / reference_square;
  }
}

// Two halves make a bin where a signal is split, and are halved before they are added.
TEST(FftTest, BinsWithinRangeNeverPassThroughAnInfinity) {
  for (const std::size_t n : {15u, 32u, 100u, 480u, 512u, 1000u}) {
    std::vector<float> impulse(n, 0.0f);
    impulse[0] = 3e38f;
    for (const Simd::Level level : Simd::SupportedLevels()) {
      for (const auto& bin : FromPairs(Forward(impulse, level))) ASSERT_EQ(bin, static_cast<double>(3e38f)) << n;
    }
  }
}

TEST(FftTest, SpectraAreHermitianToTheBit) {
  for (const std::size_t n : {1u, 2u, 7u, 16u, 100u, 480u, 2048u}) {
    const Spectrum bins = FromPairs(Forward(Support::Noise(n), Simd::BestLevel()));
    for (std::size_t k = 1; k < n; ++k) EXPECT_EQ(bins[k], std::conj(bins[n - k])) << n << " " << k;
  }
}

TEST(FftChecks, NameTheLength) {
  for (const int bad : {0, -1, INT32_MIN}) EXPECT_EQ(Support::MessageOf([=] { CheckFft(bad); }), "Invalid fft_n size.");
}

TEST(FftPlanCacheTest, SharesPlansAndRejectsInvalidLengths) {
  FftPlanCache& cache = FftPlanCache::Get();
  EXPECT_EQ(&cache.GetForwardPlan(96), &cache.GetForwardPlan(96));
  EXPECT_EQ(&cache.GetInversePlan(96), &cache.GetInversePlan(96));
  EXPECT_NE(&cache.GetForwardPlan(96), &cache.GetInversePlan(96));
  EXPECT_EQ(Support::MessageOf([&] { cache.GetForwardPlan(0); }), "Invalid value of fft points.");
  EXPECT_EQ(Support::MessageOf([&] { cache.GetInversePlan(-2); }), "Invalid value of fft points.");
  EXPECT_EQ(cache.GetForwardPlan(1).real.View().inner.length, 1u);
}

}  // namespace
}  // namespace kelvo::Fft
