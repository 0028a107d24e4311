// The step that all forms of the linear filter share, for kernel files.
#pragma once

#include <cstddef>

#include "simd/lanes.h"

namespace kelvo::Filter {
inline namespace KELVO_LEVEL {

using Simd::Lanes;

// An empty statement through which the optimiser cannot see a vector of floats. GCC 12 vectorises neighbouring scalars
// and then takes their conversion to float and back for none.
#if defined(__clang__)
#define KELVO_HIDE(vector)
#elif defined(__x86_64__)
#define KELVO_HIDE(vector) asm("" : "+v"(vector))
#elif defined(__aarch64__)
#define KELVO_HIDE(vector) asm("" : "+w"(vector))
#else
#define KELVO_HIDE(vector) asm("" : "+m"(vector))
#endif

template <class State, std::size_t N>
KELVO_INLINE Lanes<double, N> RoundTo(Lanes<double, N> value) {
  if constexpr (sizeof(State) == sizeof(float)) {
    Lanes<float, N> rounded = ToFloat(value);
    KELVO_HIDE(rounded.v);
    return ToDouble(rounded);
  } else {
    return value;
  }
}

// One state value's step through one sample.
template <class State, class Lane>
KELVO_INLINE Lane AdvanceState(Lane state, Lane b, Lane x, Lane a, Lane y) {
  return RoundTo<State>((b * x + state) - a * y);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Filter
