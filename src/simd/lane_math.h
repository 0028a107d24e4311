// Functions of lanes beyond arithmetic. Each is one formula for all levels: equal arguments give equal bits in every
// lane, at every width.
#pragma once

#include "simd/lanes.h"

namespace kelvo::Simd {
inline namespace KELVO_LEVEL {

// base^exponent as the runtime's powf gives it, lane by lane.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Pow(Lanes<float, N> base, float exponent) {
  float values[N];
  base.Store(values);
  for (std::size_t i = 0; i < N; ++i) values[i] = __builtin_powf(values[i], exponent);
  return Lanes<float, N>::Load(values);
}

// How a power of a magnitude comes from the squared magnitude. The two that everybody asks for need no powf: one is the
// squared magnitude itself, the other its correctly rounded root, and both treat zeros, infinities and NaN alike.
enum class PowerForm { squared, magnitude, general };

KELVO_INLINE PowerForm PowerFormOf(float power) {
  const float half_exponent = power * 0.5f;
  if (half_exponent == 1.0f) return PowerForm::squared;
  if (half_exponent == 0.5f) return PowerForm::magnitude;
  return PowerForm::general;
}

// |re + i im|^power; kForm is PowerFormOf(power), so that a kernel chooses once and not per value. No hypot: a square
// beyond the range of float gives an infinity or 0.
template <PowerForm kForm, class Lane>
KELVO_INLINE Lane Power(Lane re, Lane im, float power) {
  const Lane squared = im * im + re * re;
  if constexpr (kForm == PowerForm::squared) {
    return squared;
  } else if constexpr (kForm == PowerForm::magnitude) {
    return Sqrt(squared);
  } else {
    return Pow(squared, power * 0.5f);
  }
}

// The same where the form is not worth hoisting.
template <class Lane>
KELVO_INLINE Lane Power(Lane re, Lane im, float power) {
  switch (PowerFormOf(power)) {
    case PowerForm::squared: return Power<PowerForm::squared>(re, im, power);
    case PowerForm::magnitude: return Power<PowerForm::magnitude>(re, im, power);
    default: return Power<PowerForm::general>(re, im, power);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Simd
