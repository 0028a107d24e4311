// Kernels of the transforms of one signal.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"

namespace kelvo::Fft {

struct FftKernels {
  // dst [fft_n] complex = all bins of src [fft_n]. Both may be the same array.
  void (*real_to_bins)(float* dst, const float* src, const RealTransformView& plan, float* scratch);
  // dst [length] complex = the inverse transform of src [length] complex, scaled by 1 / length. Both may be the same.
  void (*inverse_complex)(float* dst, const float* src, const TransformView& plan, float* scratch);
};

// Floats of scratch for either kernel at any level, `length` being that of the complex transform inside.
constexpr std::size_t FftScratchSize(std::size_t length) { return 10 * length + 448; }

}  // namespace kelvo::Fft
