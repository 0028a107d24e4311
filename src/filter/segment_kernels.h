// Kernels that run one recursive filter through several segments of a signal side by side.
#pragma once

#include <cstddef>

namespace kelvo::Filter {

// Segments side by side, and the samples that each goes through at a time.
inline constexpr std::size_t kSegmentN = 32;
inline constexpr std::size_t kSegmentBlock = 16;

// Segment s begins at src[s * apart] and goes through `count` samples, a multiple of kSegmentBlock, each `step` (1 or
// -1) elements behind the one before; so do the outputs, which are left out if dst is null.
template <class Output, class Input>
struct SegmentedSignal {
  Output* dst;
  const Input* src;
  std::ptrdiff_t step;
  std::ptrdiff_t apart;
  std::size_t count;
};

struct SegmentFilter {
  std::size_t length;  // coefficients per list, 2 or more
  const double* b;     // [length]
  const double* a;     // [length]
  double* state;       // [(length - 1) x kSegmentN]
};

template <class Output, class Input>
using FilterSegments = void (*)(const SegmentedSignal<Output, Input>& signal, const SegmentFilter& filter);

// The recurrence of FilterKernels, for each combination of types.
struct SegmentKernels {
  FilterSegments<float, float> single_state;
  FilterSegments<double, float> forward;
  FilterSegments<float, double> backward;
};

}  // namespace kelvo::Filter
