// Kernels of single transforms.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"

namespace kelvo::Fft {

// Transforms that FftKernels::transform_interleaved takes at a time.
inline constexpr std::size_t kInterleavedN = 8;

// Samples of the shortest transform whose result may be streamed.
inline constexpr std::size_t kLeastStreamedN = 8192;

struct FftKernels {
  // dst [fft_n] complex = all bins of src [fft_n]. Both may be the same array. Streaming stores are for results
  // that the caches do not hold, of kLeastStreamedN samples or more. `scratch` holds FftScratchSize(plan.inner) floats.
  void (*real_to_bins)(float* dst, const float* src, const RealTransformView& plan, bool is_streamed, float* scratch);
  // dst [length] complex = the inverse transform of src [length] complex, scaled by 1 / length. Both may be the same.
  // `scratch` holds TransformScratchSize(plan) floats, here and below.
  void (*inverse_complex)(float* dst, const float* src, const TransformView& plan, float* scratch);

  // For the kernels of short-time transforms, which have frames left over that fill no batch: outputs in natural order,
  // real and imaginary parts apart.
  //
  // Of the inner transform of contiguous samples, which may be the memory of the outputs.
  void (*transform_real)(float* re, float* im, const float* samples, const RealTransformView& plan, float* scratch);
  // Of elements in arrays, which may be those of the outputs.
  void (*transform_elements)(float* re, float* im, const float* src_re, const float* src_im, const TransformView& plan,
                             float* scratch);
  // Of kInterleavedN signals in arrays, signal l from begins[l] on; output k of signal l goes to [kInterleavedN * k +
  // l]. `scratch` holds 2 * kInterleavedN * length floats, and what a transform in lanes takes.
  void (*transform_interleaved)(float* re, float* im, const float* src_re, const float* src_im, const unsigned* begins,
                                const TransformView& plan, float* scratch);
};

// What follows holds at any level.

// Arrays begin on cache lines.
constexpr std::size_t OutputStride(std::size_t length) { return (length + 15) / 16 * 16; }
// Those of one transform lie an odd number of cache lines apart, so that those of a length that is a power of two do
// not share the sets of a cache.
constexpr std::size_t ArrayStride(std::size_t length) { return ((length + 15) / 16 | 1) * 16; }

// A pass without a butterfly of its own keeps sums and differences of a radix of elements, in vectors of 16 floats at
// most; wider than the transform is long they never are.
constexpr std::size_t DirectScratchSize(const TransformView& plan) {
  const std::size_t widest = 2 * plan.direct_n * 16;
  const std::size_t longest = 2 * ArrayStride(plan.length) + 128;
  return widest < longest ? widest : longest;
}
// Two arrays of complex elements, between which passes go, and the direct passes' sums; of a chirp plan one array of
// the inner transforms, and blocks in lanes.
constexpr std::size_t TransformScratchSize(const TransformView& plan) {
  if (plan.chirp != nullptr) {
    return 2 * ArrayStride(plan.chirp->inner.length) + 2 * kResponseLaneN * plan.chirp->block;
  }
  return 2 * ArrayStride(plan.length) + 2 * ArrayStride(plan.spare_n) + DirectScratchSize(plan);
}
// In lanes, for each of them and beyond the elements: the direct passes' sums, or the array of a chirp plan.
constexpr std::size_t BatchTransformScratchSize(const TransformView& plan) {
  return 2 * (plan.chirp != nullptr ? plan.chirp->inner.length : plan.length);
}
constexpr std::size_t FftScratchSize(const TransformView& plan) {
  return 2 * OutputStride(plan.length) + TransformScratchSize(plan);
}

// The results after a real pass over one frame lie in a row: the bins of the real subsignal, then, from FirstOutput on,
// the outputs of the complex ones, each in natural order or, after a pass over sixteen, kInterleavedN interleaved.
constexpr std::size_t FirstOutput(const FrameTransformView& plan) {
  return OutputStride(plan.sub_plan.inner.length + 1);
}
constexpr std::size_t OutputCount(const FrameTransformView& plan) {
  const std::size_t span = plan.sub_plan.inner.length;
  return FirstOutput(plan) + (plan.order != nullptr ? kInterleavedN : plan.subsignal_n - 1) * span;
}
// Without a real pass the row holds bins alone. Real parts, then imaginary parts, this far apart.
constexpr std::size_t RowStride(const FrameTransformView& plan) {
  return OutputStride(plan.HasRealPass() ? OutputCount(plan) : plan.fft_n / 2 + 1);
}

// A single frame is transformed in two memories, to take half as much of a cache, or of a small stack: that of its
// samples, which later holds outputs of a transform or, after a real pass, the row; and a scratch memory, which else
// ends with the row.
constexpr std::size_t FrameMemorySize(const FrameTransformView& plan) {
  return 2 * (plan.HasRealPass() ? RowStride(plan) : OutputStride(plan.sub_plan.inner.length));
}
constexpr std::size_t FrameScratchSize(const FrameTransformView& plan) {
  const TransformView& inner = plan.sub_plan.inner;
  const std::size_t transform_n = TransformScratchSize(inner);
  if (!plan.HasRealPass()) return transform_n < 2 * RowStride(plan) ? 2 * RowStride(plan) : transform_n;
  const std::size_t ordered_n = plan.order != nullptr ? plan.fft_n : 0;
  return 2 * OutputStride(inner.length) + 2 * OutputStride(plan.ElementCount()) + ordered_n + transform_n;
}

}  // namespace kelvo::Fft
