// Properties that define a Fourier transform, at every length that frames have: linearity, impulses and shifts.
#include <gtest/gtest.h>

#include <iostream>

#include "fft/fft.h"
#include "fft/spectra.h"
#include "reliability/sanitizers.h"
#include "support/signals.h"

namespace kelvo::Fft {
namespace {

Spectrum Transform(const std::vector<float>& x) {
  std::vector<float> bins(2 * x.size());
  ComputeFft(bins.data(), x, Simd::BestLevel());
  return FromPairs(bins);
}

// The worst error of all properties, in units of the bound of one transform.
double WorstError(std::size_t n) {
  const std::size_t step = n / 3 + 1;  // of the shifts
  const std::vector<float> x = Support::Noise(n, 1), y = Support::Noise(n, 2);
  const Spectrum roots = RootsOfUnity(n, 1.0, step), x_bins = Transform(x), y_bins = Transform(y);
  double worst = 0.0;
  const auto expect = [&](const char* property, const std::vector<float>& input, const Spectrum& expected) {
    const double error = RelativeError(Transform(input), expected) / ErrorBound(n);
    EXPECT_LT(error, 1.0) << property << ", length " << n;
    worst = std::max(worst, error);
  };

  std::vector<float> input(n, 0.0f);
  Spectrum expected(n);
  input[step % n] = 1.0f;
  for (std::size_t k = 0; k < n; ++k) expected[k] = std::conj(roots[k]);
  expect("impulse", input, expected);

  expected.assign(n, 0.0);
  expected[0] = static_cast<double>(n);
  expect("constant", std::vector<float>(n, 1.0f), expected);

  for (std::size_t j = 0; j < n; ++j) input[j] = x[j] - 3.0f * y[j];
  for (std::size_t k = 0; k < n; ++k) expected[k] = x_bins[k] - 3.0 * y_bins[k];
  expect("linearity", input, expected);

  for (std::size_t j = 0; j < n; ++j) input[(j + step) % n] = x[j];
  for (std::size_t k = 0; k < n; ++k) expected[k] = x_bins[k] * std::conj(roots[k]);
  expect("shift in time", input, expected);

  // A real modulation shifts the spectrum up and down at once.
  for (std::size_t j = 0; j < n; ++j) input[j] = x[j] * static_cast<float>(roots[j].real());
  for (std::size_t k = 0; k < n; ++k) expected[k] = 0.5 * (x_bins[(k + step) % n] + x_bins[(k + n - step % n) % n]);
  expect("shift in frequency", input, expected);
  return worst;
}

void ExpectProperties(const std::vector<std::size_t>& lengths) {
  double worst = 0.0;
  for (const std::size_t n : lengths) {
    const double error = WorstError(n);
    worst = std::max(worst, error);
    if (n > 2048) std::cout << n << ": worst error " << error << " of the bound\n";
  }
  std::cout << "worst error " << worst << " of the bound\n";
}

TEST(FftProperties, HoldAtEveryLength) {
  std::vector<std::size_t> lengths;
  for (std::size_t n = 1; n <= 2048; n += Reliability::kIsSanitized && n > 64 ? 61 : 1) lengths.push_back(n);
  // Lengths whose indices, or products of indices, exceed 16, 24 and 32 bits, and such primes.
  if (!Reliability::kIsSanitized)
    lengths.insert(lengths.end(), {46340, 46341, 46349, 65535, 131072, 1048575, 1048576, 1048577, 1666681});
  ExpectProperties(lengths);
}

}  // namespace
}  // namespace kelvo::Fft
