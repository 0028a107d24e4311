// Sample-rate conversion by a rational ratio.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Filter {

// Samples that src_n samples become; saturates.
int ComputeResampleLen(int dst_sample_rate, int src_n, int src_sample_rate);

// Fills dst with src at the other rate, then with zeros. Outputs end where the input position reaches the last sample
// of src, which therefore is never a centre; src.size() 1 gives zeros only. dst and src may overlap in any way.
void Resample(std::span<float> dst, std::span<const float> src, int dst_sample_rate, int src_sample_rate,
              Simd::Level level);

}  // namespace kelvo::Filter
