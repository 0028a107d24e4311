// Kernels of the resampler.
#pragma once

#include <cstddef>

namespace kelvo::Filter {

// Taps of one phase filter.
inline constexpr std::size_t kTapN = 65;

// The polyphase filter, and where in the cycle of its phases a block of outputs begins.
struct ResampleCycle {
  const double* taps;  // [up x kTapN]
  const int* phase;    // [up]
  const int* step;     // [up]
  std::size_t up;
  std::size_t index;
  // How far two sums over the same taps, in any order and with any roundings to double, may lie apart, relative to the
  // largest input.
  double sum_error;
};

// Segments of the signal that begin at the same phase, in lanes: `segment_n` of them, one of kSegmentCounts.
struct ResampleKernels {
  // interleaved [count x segment_n] = segments [segment_n][count]; largest [segment_n]: magnitudes, NaN not counted.
  void (*interleave)(double* interleaved, double* largest, const float* const* segments, std::size_t segment_n,
                     std::size_t count);
  // output [output_n x segment_n]: each a sum over the taps in ascending order of inputs, whose largest magnitudes are
  // given by segment.
  void (*filter)(float* output, const double* interleaved, const double* largest, std::size_t segment_n,
                 std::size_t output_n, const ResampleCycle& cycle);
  // segments[s][0 .. counts[s]) = output [... x segment_n]
  void (*deinterleave)(float* const* segments, const std::size_t* counts, const float* output, std::size_t segment_n);
};

inline constexpr std::size_t kSegmentCounts[] = {32, 16, 8, 4, 1};
inline constexpr std::size_t kMaxSegmentN = kSegmentCounts[0];

}  // namespace kelvo::Filter
