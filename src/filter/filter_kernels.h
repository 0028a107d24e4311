// Kernels of the linear filter and of the resampler.
#pragma once

#include <cstddef>

namespace kelvo::Filter {

// `count` samples, each `step` (1 or -1) elements after the one before. dst may be src.
template <class Output, class Input>
struct FilterSignal {
  Output* dst;
  const Input* src;
  std::ptrdiff_t step;
  std::size_t count;
};

// A filter of at least one state value.
struct FilterTables {
  std::size_t length;  // coefficients per list
  const double* b;     // [length + kFilterSlack]
  const double* a;     // [length + kFilterSlack]
  // [length - 1 + kFilterSlack]: the state, whatever type it is rounded to. The slack is -0.0, which as an addend
  // changes nothing: the last state value has no successor.
  double* state;
};

// What vectors may touch beyond the end of each table.
inline constexpr std::size_t kFilterSlack = 32;

// Scratch of a filter without feedback: inputs and outputs of one block.
struct FirScratch {
  double* input;        // [length - 1 + block_n + kFilterSlack]
  double* output;       // [block_n + kFilterSlack]
  double* state;        // [length - 1 + kFilterSlack]
  std::size_t block_n;  // length - 1 or more
};

// Segments that are filtered in lanes, and the samples that each goes through at a time.
inline constexpr std::size_t kSegmentN = 32;
inline constexpr std::size_t kSegmentBlock = 16;

// Segment s begins at src[s * apart] and has `count` samples, a multiple of kSegmentBlock, each `step` (1 or -1)
// elements after the one before; likewise the outputs, which are left out if dst is null.
template <class Output, class Input>
struct SegmentedSignal {
  Output* dst;
  const Input* src;
  std::ptrdiff_t step;
  std::ptrdiff_t apart;
  std::size_t count;
};

template <class Output, class Input>
struct FilterForms {
  // The recurrence. Every other form must give its bits.
  void (*recursive)(const FilterSignal<Output, Input>& signal, const FilterTables& filter);
  // The same for a[k] = +0 for all k >= 1 and a signal of length - 1 samples or more.
  void (*feed_forward)(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                       const FirScratch& scratch);
  // Through segments from states [(length - 1) x kSegmentN]; the state in `filter` is not used.
  void (*segments)(const SegmentedSignal<Output, Input>& signal, const FilterTables& filter, double* states);
};

struct FilterKernels {
  FilterForms<float, float> single_state;  // the state rounded to float after every sample
  FilterForms<double, float> forward;
  FilterForms<float, double> backward;
};

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
