// The steps around a complex or half-spectrum FFT that the library's jobs need.
#pragma once

#include <cstddef>

namespace kelvo::Bench {

inline void RealToComplex(float* __restrict dst, const float* __restrict src, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    dst[2 * i] = src[i];
    dst[2 * i + 1] = 0.0f;
  }
}

// Fills the bins above fft_n / 2 with the conjugates of those below.
inline void MirrorBins(float* bins, std::size_t fft_n) {
  for (std::size_t k = fft_n / 2 + 1; k < fft_n; ++k) {
    bins[2 * k] = bins[2 * (fft_n - k)];
    bins[2 * k + 1] = -bins[2 * (fft_n - k) + 1];
  }
}

inline void Scale(float* values, std::size_t count, float factor) {
  for (std::size_t i = 0; i < count; ++i) values[i] *= factor;
}

}  // namespace kelvo::Bench
