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
  // The same once more, real and imaginary parts in turn, at [2 * ((radix - 1) * j + s - 1)].
  const float* twiddle_pairs;
  // exp(-2 pi i k / radix), k = 0 .. radix - 1, for radices without a butterfly of their own.
  const float* root_re;
  const float* root_im;
};

// Elements side by side that stay in the first-level cache from pass to pass, at 16 lanes.
inline constexpr std::size_t kLongestNear = 256;

// Where a single transform turns from neighbours to blocks side by side: after pass_n passes, which leave block_n blocks.
struct Turn {
  std::size_t pass_n;
  std::size_t block_n;
};

// Vectors are of 1, 4, 8 or 16 floats.
inline constexpr std::size_t kTurnN = 4;
constexpr std::size_t TurnIndex(std::size_t lane_n) { return lane_n == 1 ? 0 : lane_n == 4 ? 1 : lane_n == 8 ? 2 : 3; }

// A forward complex transform. In-place passes leave output k at element position[k]; element i is output[i] then.
struct TransformView {
  std::size_t length;
  std::size_t pass_n;
  const Pass* passes;
  const unsigned* position;
  const unsigned* output;
  const Turn* turns;  // [kTurnN]
};

// The transform of fft_n real samples. Halved, sample pairs are the elements of a transform of half the length, and a
// last step splits its output into the bins of the signal. Odd lengths, and very short ones, run at full length with
// imaginary parts of zero.
struct RealTransformView {
  std::size_t fft_n;
  TransformView inner;
  // exp(-2 pi i k / fft_n), k = 0 .. fft_n / 4; none unless halved.
  const float* split_re;
  const float* split_im;

  bool IsHalved() const { return inner.length < fft_n; }
};

// The transform of real frames of fft_n samples: a pass over real samples (fft/real_pass.h), or none.
struct FrameTransformView {
  std::size_t fft_n;
  // Half the samples that a pass takes at a time, or 0. It leaves as many signals, the first of them real.
  std::size_t signal_n;
  // Of the real signal, or without a pass of the whole frame. The complex signals are as long as its inner transform.
  RealTransformView rest;
  // The twiddles of a pass over eight samples: exp(-2 pi i s j / fft_n), s = 1 .. 3.
  Pass real_pass;
  // A pass over sixteen takes sample order[16 * j + q] as the q-th and puts its sums at sample_at[2 * j] and
  // sample_at[2 * j + 1] of the real signal. Null for one over eight.
  const unsigned* order;
  const unsigned* sample_at;
  // Side by side it works in place, on sample i as the slot[i]-th of the vectors that become its elements.
  const unsigned* slot;
  // Element i of complex signal s, transformed in place, is bin[(s - 1) * span + i] once its imaginary part is multiplied
  // by sign[(s - 1) * span + i].
  const unsigned* bin;
  const float* sign;

  bool HasRealPass() const { return signal_n > 0; }
  // Of the complex elements that a frame becomes.
  std::size_t ElementCount() const { return HasRealPass() ? signal_n * rest.inner.length : rest.inner.length; }
};

}  // namespace kelvo::Fft
