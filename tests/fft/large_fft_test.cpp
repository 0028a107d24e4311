// Long transforms, at bins sampled here and there: where indices and their products leave 16, 24 or 32 bits.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <iostream>
#include <numbers>
#include <vector>

#include "fft/fft.h"
#include "reliability/sanitizers.h"
#include "support/signals.h"

namespace kelvo::Fft {
namespace {

struct Length {
  std::size_t n;
  std::size_t largest_prime;
};

std::vector<Length> Lengths() {
  std::vector<Length> lengths{{46340, 331}, {46341, 271}, {65535, 257}, {131072, 2}, {1048575, 41}, {1048576, 2}};
  // A prime whose square leaves 31 bits, and the square of one beyond the direct sums that are usual.
  if (!Reliability::kIsSanitized) lengths.insert(lengths.end(), {{46349, 46349}, {1666681, 1291}});
  return lengths;
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

std::complex<double> At(const std::vector<float>& pairs, std::size_t k) {
  return {static_cast<double>(pairs[2 * k]), static_cast<double>(pairs[2 * k + 1])};
}

// Relative to the root-mean-square value. Roundings add up over the passes, and over the sum of a prime's terms; sampled
// bins may lie a few deviations out.
double ErrorBound(const Length& length) {
  return 4.0 * 0x1p-24 *
         (1.5 + 0.8 * std::log2(static_cast<double>(length.n)) + 0.6 * std::sqrt(static_cast<double>(length.largest_prime)));
}

TEST(LargeFftTest, AgreesWithTheDoublePrecisionTransform) {
  for (const Length& length : Lengths()) {
    const std::size_t n = length.n;
    const std::vector<float> signal = Support::Noise(n);
    std::vector<float> bins(2 * n);
    ComputeFft(bins, signal, Simd::BestLevel());
    double power = 0.0;
    for (const float sample : signal) power += static_cast<double>(sample) * static_cast<double>(sample);
    const double rms = std::sqrt(power);
    double worst = 0.0;
    for (const std::size_t k : {std::size_t{0}, std::size_t{1}, n / 5, n / 3 + 1, n / 2, n / 2 + 1, n - n / 7, n - 1}) {
      worst = std::max(worst, std::abs(At(bins, k) - ExactBin(signal, k)) / rms);
    }
    std::cout << n << ": error " << worst << "\n";
    EXPECT_LT(worst, ErrorBound(length)) << "length " << n;

    std::vector<float> back(2 * n);
    ComputeIfft(back, bins, Simd::BestLevel());
    double error = 0.0;
    for (std::size_t i = 0; i < n; ++i) error += std::norm(At(back, i) - static_cast<double>(signal[i]));
    EXPECT_LT(std::sqrt(error / power), 2.0 * ErrorBound(length)) << "length " << n;
  }
}

// A shift in time turns every bin by an angle proportional to its index.
TEST(LargeFftTest, AnImpulseTurnsEvenly) {
  for (const Length& length : Lengths()) {
    const std::size_t n = length.n;
    const std::size_t position = n - n / 3;
    std::vector<float> signal(n, 0.0f);
    signal[position] = 1.0f;
    std::vector<float> bins(2 * n);
    ComputeFft(bins, signal, Simd::BestLevel());
    double worst = 0.0;
    for (std::size_t k = 0; k < n; ++k) {
      const double turn = static_cast<double>(k * position % n) / static_cast<double>(n);
      worst = std::max(worst, std::abs(At(bins, k) - std::polar(1.0, -2.0 * std::numbers::pi * turn)));
    }
    // One product of roots a pass, each of two roundings.
    EXPECT_LT(worst, 0x1p-24 * 3.0 * std::log2(static_cast<double>(n))) << "length " << n;
  }
}

}  // namespace
}  // namespace kelvo::Fft
