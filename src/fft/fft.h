// The transforms of one signal.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Fft {

// dst [2 * fft_n] = all bins of src [fft_n], unscaled; may be the same array.
void ComputeFft(float* dst, std::span<const float> src, Simd::Level level);

// dst [2 * fft_n] = the inverse transform of src [2 * fft_n], scaled by 1 / fft_n; may be the same array.
void ComputeIfft(float* dst, std::span<const float> src, Simd::Level level);

}  // namespace kelvo::Fft
