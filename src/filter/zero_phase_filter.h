// Zero-phase filtering: once forwards, once backwards.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Filter {

// How the signal goes on beyond its ends while it is filtered.
enum class FilterPadType {
  None = 0,
  Odd = 1,       // point reflection about the end sample
  Even = 2,      // mirrored, the end sample not repeated
  Constant = 3,  // the end sample repeated
};

// dst = src filtered forwards and backwards, each time from the settled state of its first sample; all in double
// precision in between. pad_len samples are added at each end before, and cut off after. dst may be src.
//
// dst longer than src also receives the filtered padding after it, as far as there is any; the rest stays as it is.
// pad_len must be below src.size() for the mirrored kinds. An extended signal of 2^31 samples or more is a
// std::length_error.
void FilterFilterCore(std::span<float> dst, std::span<const float> src, std::span<const float> n_coef,
                      std::span<const float> d_coef, int pad_type, int pad_len, Simd::Level level);

}  // namespace kelvo::Filter
