// One rational digital filter over one signal.
#pragma once

#include <span>

#include "base/buffers.h"
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

}  // namespace kelvo::Filter
