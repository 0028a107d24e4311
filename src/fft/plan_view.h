// What a kernel sees of an FFT plan: plain pointers into the plan's tables.
#pragma once

#include <cstddef>

namespace kelvo::Fft {

// One pass of a decimation-in-frequency transform. It splits each block of radix * span elements into `radix` blocks of
// `span` elements, which are from then on transforms of their own.
struct Pass {
  std::size_t radix;
  std::size_t span;
  // Twiddles exp(-2 pi i s j / (radix * span)) at [(s - 1) * span + j] for s = 1 .. radix - 1; none when span is 1.
  const float* twiddle_re;
  const float* twiddle_im;
  // The same interleaved, real part first, at [2 * ((radix - 1) * j + s - 1)].
  const float* twiddle_pairs;
  // For radices without a butterfly of their own, direct sums: exp(-2 pi i order[a] order[b] / radix) is at
  // [root_step * a + b] for a, b < radix / 2, and what a vector reads behind the last b is finite. Elements and outputs
  // order[a] and radix - order[a], which have conjugate factors, are taken together.
  const float* root_re;
  const float* root_im;
  std::size_t root_step;
  const unsigned* order;
  // Whether the imaginary parts of all elements are zeros, which a direct sum need not look at.
  bool is_real;
};

// The radices that plans of single transforms commonly begin with, whose pass reads the source of the transform.
constexpr bool CanReadSource(std::size_t radix) { return radix == 3 || radix == 4 || radix == 5 || radix == 8; }

// Elements of a batch of 16 lanes that stay in L1 from pass to pass: 32 KiB. With half of that, spectrograms of 2048
// samples were 2 to 9 % slower.
inline constexpr std::size_t kMaxL1Length = 256;

// Elements of a single transform that stay in L1 from pass to pass, with the twiddles of a pass.
inline constexpr std::size_t kMaxL1Elements = 4096;

// Where the data of a single transform is transposed, from vectors of adjacent elements to a batch of blocks: after
// pass_n passes, which leave block_n blocks.
struct TransposeStep {
  std::size_t pass_n;
  std::size_t block_n;
};

// Vectors are of 1, 4, 8 or 16 floats.
inline constexpr std::size_t kLaneCountN = 4;
constexpr std::size_t LaneCountIndex(std::size_t lane_n) {
  return lane_n == 1 ? 0 : lane_n == 4 ? 1 : lane_n == 8 ? 2 : 3;
}

struct Chirp;

// A forward complex transform. In place it leaves output k at element position[k]; element i is output[i] then.
struct TransformView {
  std::size_t length;
  std::size_t pass_n;
  const Pass* passes;
  const unsigned* position;              // of a chirp plan in a batch only, and of the outputs that it computes
  const unsigned* output;                // as far as a single transform uses it
  const TransposeStep* transpose_steps;  // [kLaneCountN]
  std::size_t direct_n;                  // the largest radix without a butterfly of its own, or 0
  // Elements of the second array of a single transform, for passes that cannot work in place and blocks in lanes.
  std::size_t spare_n;
  const Chirp* chirp;  // instead of passes, or null

  // Of the complex elements that the caches have to hold while a transform runs.
  constexpr std::size_t WorkLength() const;
};

// The widest vectors, so that the response of a convolution is in the same order for all.
inline constexpr std::size_t kResponseLaneN = 16;

// A transform as a convolution with a chirp (fft/convolution.h).
struct Chirp {
  TransformView inner;   // by passes, of output_n + length - 1 elements or more
  std::size_t output_n;  // only outputs 0 .. output_n - 1 are computed
  // exp(-pi i j^2 / length), j = 0 .. length - 1.
  const float* factor_re;
  const float* factor_im;
  // The transform of the conjugate factors, over 2 * inner.length.
  const float* response_re;
  const float* response_im;
  // Of a single transform, passes from pass split_n on run in lanes, over blocks of `block` elements. The response lies
  // in their order: kResponseLaneN blocks are a group, whose elements alternate.
  std::size_t split_n;
  std::size_t block;

  // The place of an element in the order that the passes leave.
  constexpr std::size_t ResponseIndex(std::size_t element) const {
    const std::size_t at = element / block;
    return (at / kResponseLaneN * block + element % block) * kResponseLaneN + at % kResponseLaneN;
  }
};

constexpr std::size_t TransformView::WorkLength() const { return chirp != nullptr ? chirp->inner.length : length; }

// The transform of fft_n real samples. At half length, sample pairs are the elements of a complex transform, and a last
// step splits its output into the bins of the signal. Odd lengths, and very short ones, run at full length with
// imaginary parts of zero.
struct RealTransformView {
  std::size_t fft_n;
  TransformView inner;
  // exp(-2 pi i k / fft_n), k = 0 .. fft_n / 4; none at full length.
  const float* split_re;
  const float* split_im;

  constexpr bool IsHalfLength() const { return inner.length < fft_n; }
};

// The transform of real frames of fft_n samples: a pass over real samples (fft/real_pass.h) that leaves subsignals to
// transform, or none.
struct FrameTransformView {
  std::size_t fft_n;
  // Half the samples that a real pass takes at a time, or 0. It leaves as many subsignals, the first of them real.
  std::size_t subsignal_n;
  // Of the real subsignal, or without a real pass of the frame. Complex subsignals are as long as its inner transform.
  RealTransformView sub_plan;
  // The twiddles of a pass over eight samples: exp(-2 pi i s j / fft_n), s = 1 .. 3.
  Pass real_pass;
  // A pass over sixteen takes sample order[16 * j + q] as the q-th and puts its sums at sample_at[2 * j] and
  // sample_at[2 * j + 1] of the real subsignal. Null for one over eight.
  const unsigned* order;
  const unsigned* sample_at;
  // In a batch, sample i is gathered into the slot[i]-th of the vectors that become its elements; null: into the i-th.
  const unsigned* slot;
  // Element i of complex subsignal s, transformed in place, is bin[(s - 1) * span + i] once its imaginary part is
  // multiplied by sign[(s - 1) * span + i].
  const unsigned* bin;
  const float* sign;

  constexpr bool HasRealPass() const { return subsignal_n > 0; }
  // From a bin of the real subsignal, or without a real pass of the frame, to the next, in bins of the frame.
  constexpr std::size_t BinStep() const { return HasRealPass() ? subsignal_n : 1; }
  // Of the complex elements that a frame becomes.
  constexpr std::size_t ElementCount() const { return BinStep() * sub_plan.inner.length; }
  constexpr std::size_t WorkLength() const { return BinStep() * sub_plan.inner.WorkLength(); }
};

}  // namespace kelvo::Fft
