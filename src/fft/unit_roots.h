// Roots of unity, for tables.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <vector>

#include "fft/complex.h"
#include "math/functions.h"

namespace kelvo::Fft {

// exp(-2 pi i index / length), each part rounded once from double precision. The angle is reduced to an octant in
// integers, so symmetric roots have equal bits, the trivial ones are exact, and each pair of parts is computed once.
template <class T>
class UnitRoots {
 public:
  explicit UnitRoots(std::size_t length) : length_(length), step_(std::gcd(2 * length, std::size_t{8})) {
    parts_.resize(length / step_ + 1);
    const auto root = [&](std::size_t i) {
      const double angle = std::numbers::pi / 4.0 * static_cast<double>(i * step_) / static_cast<double>(length);
      return Complex<double>{Math::Cos(angle), Math::Sin(angle)};
    };
    // Those of a long table are products of two, so that building it takes little longer than a transform.
    constexpr std::size_t kLong = std::size_t{1} << 15;
    const std::size_t run_n = parts_.size() > kLong ? 256 : 1;
    std::vector<Complex<double>> first_run(run_n);
    for (std::size_t i = 0; i < run_n; ++i) first_run[i] = root(i);
    for (std::size_t begin = 0; begin < parts_.size(); begin += run_n) {
      const Complex<double> first = root(begin);
      for (std::size_t i = 0; i < std::min(run_n, parts_.size() - begin); ++i) {
        const Complex<double> product = first * first_run[i];
        parts_[begin + i] = {static_cast<T>(product.re), static_cast<T>(product.im)};
      }
    }
  }

  // For index < length.
  Complex<T> operator()(std::size_t index) const {
    std::uint64_t rest = std::uint64_t{8} * index;
    unsigned octant = 0;
    for (const unsigned step : {4u, 2u, 1u}) {
      const bool is_beyond = rest >= std::uint64_t{step} * length_;
      octant += is_beyond ? step : 0;
      rest -= is_beyond ? std::uint64_t{step} * length_ : 0;
    }
    // The distance from the nearest multiple of pi / 2 is this many units of pi / (4 length): 8 index less an even
    // multiple of the length.
    const std::uint64_t distance = octant % 2 == 0 ? rest : length_ - rest;
    const auto [near, far] = parts_[static_cast<std::size_t>(distance) / step_];
    const bool is_swapped = (octant + 1) % 4 >= 2;
    const T re = is_swapped ? far : near, im = is_swapped ? near : far;
    return {octant >= 2 && octant < 6 ? -re : re, octant < 4 ? -im : im};
  }

 private:
  std::size_t length_;
  std::size_t step_;  // of the distances that occur
  std::vector<Complex<T>> parts_;
};

}  // namespace kelvo::Fft
