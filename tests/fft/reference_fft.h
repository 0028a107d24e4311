// A plain FFT in single precision: the least accuracy that the library's transforms may have.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include "fft/spectra.h"

namespace kelvo::Fft {

// Radix-4 passes for powers of two, and sums over prime factors otherwise. Twiddles come from angles that were
// themselves rounded to float.
class ReferenceFft {
 public:
  explicit ReferenceFft(std::size_t n) : n_(n), twiddle_(n) {
    const double theta = -2.0 * std::numbers::pi / static_cast<double>(n);
    for (std::size_t m = 0; m < n; ++m) {
      const auto angle = static_cast<float>(static_cast<double>(m) * theta);
      twiddle_[m] = {std::cos(angle), std::sin(angle)};
    }
  }

  Spectrum Transform(const std::vector<float>& x) const {
    const std::vector<std::complex<float>> a(x.begin(), x.end());
    const auto bins = (n_ & (n_ - 1)) == 0 ? PowerOfTwo(a) : MixedRadix(a, twiddle_);
    return {bins.begin(), bins.end()};
  }

 private:
  using Values = std::vector<std::complex<float>>;

  Values PowerOfTwo(Values a) const {
    std::size_t length = n_;
    for (std::size_t stride = 1; length >= 4; length /= 4, stride *= 4) {
      const std::size_t q = length / 4;
      for (std::size_t j = 0; j < q; ++j) {
        for (std::size_t g = j; g < n_; g += length) {
          const auto t0 = a[g] + a[g + 2 * q], t1 = a[g + q] + a[g + 3 * q];
          const auto t2 = a[g] - a[g + 2 * q], d = a[g + q] - a[g + 3 * q];
          const std::complex<float> t3(-d.imag(), d.real());
          a[g] = t0 + t1;
          a[g + q] = twiddle_[2 * j * stride] * (t0 - t1);
          a[g + 2 * q] = twiddle_[j * stride] * (t2 - t3);
          a[g + 3 * q] = twiddle_[3 * j * stride] * (t2 + t3);
        }
      }
    }
    for (std::size_t m = 0; length == 2 && m < n_; m += 2) {
      const auto sum = a[m] + a[m + 1];
      a[m + 1] = a[m] - a[m + 1];
      a[m] = sum;
    }
    Values natural(n_);
    for (std::size_t k = 0; k < n_; ++k) {
      std::size_t reversed = 0;
      for (std::size_t bit = 1, mirror = n_ / 2; bit < n_; bit *= 2, mirror /= 2) {
        if ((k & bit) != 0) reversed |= mirror;
      }
      natural[reversed] = a[k];
    }
    return natural;
  }

  std::size_t n_;
  Values twiddle_;
};

}  // namespace kelvo::Fft
