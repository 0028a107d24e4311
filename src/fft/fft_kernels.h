// Kernels of single transforms.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"

namespace kelvo::Fft {

// Transforms that FftKernels::transform_interleaved takes at a time.
inline constexpr std::size_t kInterleavedN = 8;

struct FftKernels {
  // For the next two, `scratch` holds FftScratchSize(length) floats, where `length` is that of the complex transform.
  //
  // dst [fft_n] complex = all bins of src [fft_n]. Both may be the same array.
  void (*real_to_bins)(float* dst, const float* src, const RealTransformView& plan, float* scratch);
  // dst [length] complex = the inverse transform of src [length] complex, scaled by 1 / length. Both may be the same.
  void (*inverse_complex)(float* dst, const float* src, const TransformView& plan, float* scratch);

  // For the kernels of short-time transforms, which have frames left over that fill no batch: outputs in natural order,
  // real and imaginary parts apart. `scratch` holds TransformScratchSize(length) floats.
  //
  // Of the inner transform of contiguous samples.
  void (*transform_real)(float* re, float* im, const float* samples, const RealTransformView& plan, float* scratch);
  // Of elements in arrays, which may be those of the outputs.
  void (*transform_elements)(float* re, float* im, const float* src_re, const float* src_im, const TransformView& plan,
                             float* scratch);
  // Of kInterleavedN signals in arrays, signal l from begins[l] on; output k of signal l goes to [kInterleavedN * k +
  // l]. No radix is above 13, and `scratch` holds 2 * kInterleavedN * length floats more.
  void (*transform_interleaved)(float* re, float* im, const float* src_re, const float* src_im, const unsigned* begins,
                                const TransformView& plan, float* scratch);
};

// At any level.
constexpr std::size_t TransformScratchSize(std::size_t length) { return 8 * length + 376; }
constexpr std::size_t FftScratchSize(std::size_t length) { return 10 * length + 448; }

}  // namespace kelvo::Fft
