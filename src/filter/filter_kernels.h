// Kernels of the linear filter.
#pragma once

#include <cstddef>

namespace kelvo::Filter {

// `count` samples, each `step` (1 or -1) elements behind the one before. dst may be src.
template <class Output, class Input>
struct FilterSignal {
  Output* dst;
  const Input* src;
  std::ptrdiff_t step;
  std::size_t count;
};

// A filter of at least one state value, laid out for vectors.
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
  double* input;   // [length - 1 + block_n + kFilterSlack]
  double* output;  // [block_n + kFilterSlack]
  double* state;   // [length - 1 + kFilterSlack]
  std::size_t block_n;
};

template <class Output, class Input>
struct FilterPair {
  // The recurrence. Every other form must give its bits.
  void (*recursive)(const FilterSignal<Output, Input>& signal, const FilterTables& filter);
  // The same for a[k] = +0 for all k >= 1.
  void (*feed_forward)(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                       const FirScratch& scratch);
};

struct FilterKernels {
  FilterPair<float, float> single_state;  // the state rounded to float after every sample
  FilterPair<double, float> forward;
  FilterPair<float, double> backward;
};

}  // namespace kelvo::Filter
