// Spectra in double precision, and how far from them a transform may be.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

namespace kelvo::Fft {

using Spectrum = std::vector<std::complex<double>>;

inline Spectrum FromReal(const std::vector<float>& x) { return {x.begin(), x.end()}; }

inline Spectrum FromPairs(const std::vector<float>& x) {
  Spectrum values(x.size() / 2);
  for (std::size_t k = 0; k < values.size(); ++k) {
    values[k] = {static_cast<double>(x[2 * k]), static_cast<double>(x[2 * k + 1])};
  }
  return values;
}

// Root-mean-square error over root-mean-square value.
inline double RelativeError(const Spectrum& actual, const Spectrum& exact) {
  double error = 0.0;
  double power = 0.0;
  for (std::size_t k = 0; k < exact.size(); ++k) {
    error += std::norm(actual[k] - exact[k]);
    power += std::norm(exact[k]);
  }
  return std::sqrt(error / power);
}

// Rounding errors grow with the number of passes; 2^-24 is half a unit in the last place. Direct sums over large primes
// grow with the square root of their length.
inline double ErrorBound(std::size_t n) {
  double largest_prime = 2.0;
  std::size_t rest = n;
  for (std::size_t p = 2; p <= rest; ++p) {
    for (; rest % p == 0; rest /= p) largest_prime = static_cast<double>(p);
  }
  return 0x1p-24 * (1.5 + 0.8 * std::log2(static_cast<double>(n) + 1.0) + 0.6 * std::sqrt(largest_prime));
}

}  // namespace kelvo::Fft
