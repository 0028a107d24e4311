// The transforms against a double-precision one, for every kind of length, at every kernel level.
#include "fft/fft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <span>
#include <vector>

#include "fft/checks.h"
#include "fft/fft_kernels.h"
#include "fft/fft_plan.h"
#include "fft/reference_fft.h"
#include "fft/spectra.h"
#include "simd/level.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Fft {
namespace {

std::vector<std::size_t> Lengths() {
  std::vector<std::size_t> lengths{400, 480, 1000, 1200, 1009, 2018, 1021 * 4, 7 * 7 * 11 * 4, 3 * 512, 44100, 4099};
  // Direct sums after and before other passes, convolutions whose inner transforms have factors of three and five.
  lengths.insert(lengths.end(), {17 * 48, 61 * 61, 3 * 127, 277, 311, 331, 401, 503, 769, 127 * 129, 3 * 4093});
  // Direct sums with outputs in the lanes, of spans that differ by level and of several blocks.
  lengths.insert(lengths.end(), {5 * 59, 5 * 101, 7 * 67, 8 * 89 * 3});
  for (std::size_t n = 1; n <= 256; ++n) lengths.push_back(n);
  for (std::size_t n = 512; n <= 65536; n *= 2) lengths.push_back(n);
  return lengths;
}

std::vector<float> Forward(const std::vector<float>& x, Simd::Level level) {
  std::vector<float> bins(2 * x.size());
  ComputeFft(bins.data(), x, level);
  return bins;
}

using Transform = void (*)(float*, std::span<const float>, Simd::Level);

// The exact bins of the values, at every level.
void ExpectTransform(Transform transform, const std::vector<float>& values, const Spectrum& exact) {
  std::vector<float> scalar(2 * exact.size()), bins(2 * exact.size());
  transform(scalar.data(), values, Simd::Level::scalar);
  EXPECT_LT(RelativeError(FromPairs(scalar), exact), ErrorBound(exact.size())) << exact.size();
  for (const Simd::Level level : Simd::SupportedLevels()) {
    transform(bins.data(), values, level);
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

// On cache lines and between them, of lengths that are whole pieces of bins and others, with passes and convolutions,
// and of an odd one, whose bins are stored as always.
TEST(FftTest, StreamedResultsHaveTheSameBits) {
  constexpr std::size_t kMargin = 16;
  constexpr float kUntouched = 12345.0f;
  for (const std::size_t n : {kLeastStreamedN, 2 * kLeastStreamedN, std::size_t{8202}, std::size_t{10000},
                              std::size_t{10125}, std::size_t{20014}}) {
    const std::vector<float> signal = Support::Noise(n);
    const RealTransformView& plan = FftPlanCache::Get().GetForwardPlan(static_cast<int>(n)).real.View();
    std::vector<float> scratch(FftScratchSize(plan.inner));
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const auto transform = Simd::KernelsFor<FftKernels>(level).real_to_bins;
      std::vector<float> stored(2 * n);
      transform(stored.data(), signal.data(), plan, false, scratch.data());
      for (const std::size_t offset : {0u, 1u, 7u}) {
        std::vector<float> streamed(2 * n + 2 * kMargin, kUntouched), expected = streamed;
        const std::size_t begin = kMargin - offset;
        std::copy(stored.begin(), stored.end(), expected.begin() + static_cast<std::ptrdiff_t>(begin));
        transform(streamed.data() + begin, signal.data(), plan, true, scratch.data());
        EXPECT_TRUE(Support::SameBits(streamed, expected)) << n << " " << Simd::LevelName(level) << " " << offset;
      }
    }
  }
}

TEST(FftTest, ResultsThatTheCachesDoNotHoldHaveTheSameBits) {
  const std::size_t n = Simd::StreamingBytes() / (2 * sizeof(float));
  const std::vector<float> signal = Support::Noise(n);
  const RealTransformView& plan = FftPlanCache::Get().GetForwardPlan(static_cast<int>(n)).real.View();
  std::vector<float> scratch(FftScratchSize(plan.inner)), stored(2 * n), streamed(2 * n);
  const Simd::Level level = Simd::BestLevel();
  Simd::KernelsFor<FftKernels>(level).real_to_bins(stored.data(), signal.data(), plan, false, scratch.data());
  ComputeFft(streamed.data(), signal, level);
  EXPECT_TRUE(Support::SameBits(streamed, stored));
}

TEST(FftTest, IsNoLessAccurateThanTheReferenceFft) {
  // Among them convolutions with primes as short as they get, whose sums are accurate.
  std::vector<std::size_t> lengths{4096, 16384, 65536, 776, 1147, 2227};
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

// Lengths with large primes, which a convolution transforms. It may add up more than any bin does.
TEST(FftTest, ConvolutionsScaleBitsWithTheSignal) {
  for (const std::size_t n : {254u, 331u, 1009u}) {
    std::vector<float> signal = Support::Noise(n);
    for (float& sample : signal) sample *= 0x1p-8f;
    signal[n / 3] = 1.0f;
    const std::vector<float> bins = Forward(signal, Simd::BestLevel());
    for (const float scale : {0x1p127f, 0x1p100f, 0x1p-100f}) {
      std::vector<float> scaled = signal, expected = bins;
      for (float& sample : scaled) sample *= scale;
      for (float& part : expected) part *= scale;
      for (const Simd::Level level : Simd::SupportedLevels()) {
        EXPECT_TRUE(Support::SameBits(Forward(scaled, level), expected)) << n << " " << scale;
      }
    }
    // Samples that are denormals, 23 bits of the largest: what is left is the rounding of the bins.
    for (float& sample : signal) sample = static_cast<float>(static_cast<double>(sample) * 0x1p-127);
    const Spectrum exact = ExactTransform(FromReal(signal), -1.0);
    EXPECT_LT(RelativeError(FromPairs(Forward(signal, Simd::BestLevel())), exact), ErrorBound(n)) << n;
  }
}

// Wherever it is: an infinity may not turn into numbers, which a scale of zero would make of the others.
TEST(FftTest, ASampleThatIsNoNumberLeavesNoFiniteBin) {
  for (const std::size_t n : {17u, 61u, 51u, 254u, 331u, 769u, 1009u}) {
    for (const float value : {HUGE_VALF, -HUGE_VALF, NAN}) {
      for (const std::size_t place : {std::size_t{0}, n / 2, n - 1}) {
        std::vector<float> signal = Support::Noise(n), values = Support::Noise(2 * n);
        signal[place] = values[2 * place] = value;
        const std::vector<float> bins = Forward(signal, Simd::BestLevel());
        std::vector<float> inverse(2 * n);
        ComputeIfft(inverse.data(), values, Simd::BestLevel());
        for (std::size_t k = 0; k < n; ++k) {
          ASSERT_FALSE(std::isfinite(bins[2 * k]) && std::isfinite(bins[2 * k + 1])) << n << " " << place << " " << k;
          ASSERT_FALSE(std::isfinite(inverse[2 * k]) && std::isfinite(inverse[2 * k + 1])) << n << " " << place;
        }
      }
    }
  }
}

TEST(FftTest, SpectraAreHermitianToTheBit) {
  for (const std::size_t n : {1u, 2u, 7u, 16u, 61u, 100u, 254u, 331u, 480u, 2048u}) {
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

// Plans that are kept for their lengths: what all their tables hold, in bytes for each sample.
TEST(FftPlanCacheTest, TablesStaySmall) {
  const auto bytes_of = [](const TransformView& plan) {
    const TransformView& passes = plan.chirp != nullptr ? plan.chirp->inner : plan;
    std::size_t float_n = 0, index_n = plan.length;
    for (std::size_t i = 0; i < passes.pass_n; ++i) {
      const Pass& pass = passes.passes[i];
      const std::size_t count = pass.span > 1 ? (pass.radix - 1) * pass.span : 0;
      float_n += (pass.twiddle_pairs != nullptr ? 4 : 2) * count + (pass.order != nullptr ? 4 * pass.radix : 0);
    }
    if (plan.chirp != nullptr) {
      const std::size_t group = kResponseLaneN * plan.chirp->block;
      float_n += 2 * plan.length + 2 * ((passes.length + group - 1) / group * group);
    }
    return 4 * (float_n + index_n);
  };
  FftPlanCache& cache = FftPlanCache::Get();
  for (int n = 500; n < 1600; ++n) {
    const auto most = static_cast<std::size_t>(64 * n);
    EXPECT_LE(bytes_of(cache.GetForwardPlan(n).real.View().inner), most) << n;
    EXPECT_LE(bytes_of(cache.GetInversePlan(n).complex.View()), most) << n;
    EXPECT_LE(bytes_of(cache.GetFramePlan(n).frames.View().sub_plan.inner), most) << n;
    if (n % 2 == 0) {
      EXPECT_LE(bytes_of(cache.GetInverseFramePlan(n).real.View().inner), most) << n;
    }
  }
}

}  // namespace
}  // namespace kelvo::Fft
