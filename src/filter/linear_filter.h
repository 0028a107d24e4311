// One rational digital filter over one signal, and over a long one that is cut into segments.
#pragma once

#include <cstddef>
#include <span>

#include "base/buffers.h"
#include "filter/filter_kernels.h"
#include "simd/level.h"

namespace kelvo::Filter {

// Direct form II transposed: with x = src[i], y = b[0] x + z[0], then z[k-1] = b[k] x + z[k] - a[k] y for ascending k.
// Products and sums in double precision, in the order written; y goes on unrounded, z is rounded to State after every
// sample. b and a are the coefficients divided by d_coef[0].
//
// min(dst.size(), src.size()) samples are filtered, last to first if `reverse`; dst may be src. zi is the initial state
// and becomes the final one; a zi too short for the filter is ignored and left as it is, the filter then starts from
// zeros. Fails with KelvoInvalidArgument where a coefficient list is empty.
//
// <Output, Input, State> is <float, float, float>, <double, float, double> or <float, double, double>.
template <class Output, class Input, class State>
void LinerFilterCore(std::span<Output> dst, std::span<const Input> src, std::span<const float> n_coef,
                     std::span<const float> d_coef, std::span<State> zi, bool reverse, Simd::Level level,
                     Base::CallScratch& scratch);

// Filters as much of the signal as pays, with the bits of the recurrence, and returns the number of samples done.
//
// A stable filter settles: runs over the same samples from different states come closer until rounding makes them
// equal, bit for bit. So a segment can be filtered before its initial state is known, from the state in which a warm-up
// over the samples before it ends. This guess is compared with the state in which the segment before ends, and where it
// is wrong the segment is filtered again. Filters that take long to settle are left alone.
template <class Output, class Input>
std::size_t FilterInSegments(const FilterSignal<Output, Input>& signal, const FilterTables& filter,
                             const FilterForms<Output, Input>& forms, Base::CallScratch& scratch);

}  // namespace kelvo::Filter
