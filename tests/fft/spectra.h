// Reference spectra in double precision, and the error bound of a transform.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
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

// Decimation in time by the smallest prime factor, a direct sum where the length is prime. roots holds
// exp(-2 pi i m / N), or its conjugate, for the whole transform's N = stride * x.size().
template <class Real>
std::vector<std::complex<Real>> MixedRadix(const std::vector<std::complex<Real>>& x,
                                           const std::vector<std::complex<Real>>& roots, std::size_t stride = 1) {
  using Values = std::vector<std::complex<Real>>;
  const std::size_t n = x.size();
  std::size_t p = 2;
  while (p * p <= n && n % p != 0) ++p;
  if (p * p > n) p = n;
  std::vector<Values> parts(p, Values(n / p));
  for (std::size_t i = 0; i < n; ++i) parts[i % p][i / p] = x[i];
  for (Values& part : parts) {
    if (part.size() > 1) part = MixedRadix(part, roots, stride * p);
  }
  Values result(n);
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t u = 0; u < p; ++u) result[k] += roots[u * k % n * stride] * parts[u][k % (n / p)];
  }
  return result;
}

// exp(sign 2 pi i m step / n) for all m.
inline Spectrum RootsOfUnity(std::size_t n, double sign, std::size_t step = 1) {
  Spectrum roots(n);
  for (std::size_t m = 0; m < n; ++m) {
    const auto part = static_cast<double>(m * step % n) / static_cast<double>(n);
    roots[m] = std::polar(1.0, sign * 2.0 * std::numbers::pi * part);
  }
  return roots;
}

// Forward with sign -1; with sign 1 the inverse, unscaled.
inline Spectrum ExactTransform(const Spectrum& x, double sign) { return MixedRadix(x, RootsOfUnity(x.size(), sign)); }

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

// The error grows with the number of passes; 2^-24 is half a unit in the last place.
inline double ErrorBound(std::size_t n) { return 0x1p-24 * (1.5 + 0.8 * std::log2(static_cast<double>(n) + 1.0)); }

}  // namespace kelvo::Fft
