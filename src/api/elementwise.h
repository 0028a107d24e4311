// Element-wise transforms of an array of samples.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Api {

// dst and src have the same length and may be the same array, in both.
void ComputeLog1p(std::span<float> dst, std::span<const float> src, Simd::Level level);
void Standardize(std::span<float> dst, std::span<const float> src, Simd::Level level);

}  // namespace kelvo::Api
