// Long transforms, at a sample of bins: lengths whose indices, or products of indices, exceed 16, 24 or 32 bits.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <iostream>
#include <numbers>
#include <vector>

#include "fft/fft.h"
#include "fft/spectra.h"
#include "support/signals.h"

namespace kelvo::Fft {
namespace {

std::vector<std::size_t> Lengths() {
  // With primes whose square exceeds 31 and 32 bits, and the square of a prime larger than those of common lengths.
  return {46340, 46341, 46349, 65535, 131072, 160001, 1048575, 1048576, 1666681};
}

// One bin of the signal's transform in double precision, the angle reduced in integers.
std::complex<double> ExactBin(const std::vector<float>& signal, std::size_t k) {
  const std::size_t n = signal.size();
  std::complex<double> sum = 0.0;
  std::size_t turn = 0;
  for (std::size_t j = 0; j < n; ++j) {
    const double angle = -2.0 * std::numbers::pi * static_cast<double>(turn) / static_cast<double>(n);
    sum += static_cast<double>(signal[j]) * std::polar(1.0, angle);
    turn = (turn + k) % n;
  }
  return sum;
}

TEST(LargeFftTest, AgreesWithTheDoublePrecisionTransform) {
  for (const std::size_t n : Lengths()) {
    const std::vector<float> signal = Support::Noise(n);
    std::vector<float> bins(2 * n);
    ComputeFft(bins.data(), signal, Simd::BestLevel());
    double power = 0.0;
    for (const float sample : signal) power += static_cast<double>(sample) * static_cast<double>(sample);
    const double rms = std::sqrt(power);
    const Spectrum actual = FromPairs(bins);
    double worst = 0.0;
    for (const std::size_t k : {std::size_t{0}, std::size_t{1}, n / 5, n / 3 + 1, n / 2, n / 2 + 1, n - n / 7, n - 1}) {
      worst = std::max(worst, std::abs(actual[k] - ExactBin(signal, k)) / rms);
    }
    std::cout << n << ": error " << worst << "\n";
    // Single bins may be a few deviations off, where the bound is a mean over all.
    EXPECT_LT(worst, 4.0 * ErrorBound(n)) << "length " << n;

    std::vector<float> back(2 * n);
    ComputeIfft(back.data(), bins, Simd::BestLevel());
    EXPECT_LT(RelativeError(FromPairs(back), FromReal(signal)), 8.0 * ErrorBound(n)) << "length " << n;
  }
}

}  // namespace
}  // namespace kelvo::Fft
