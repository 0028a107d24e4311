// Magnitudes of complex values, in lanes, and the powers that come without an exponential.
#pragma once

#include "simd/lanes.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// How a power of a magnitude comes from the squared magnitude. The two that everybody asks for need no exponential: one
// is the squared magnitude itself, the other its root, and both treat zeros, infinities and NaN as a power does.
enum class PowerForm { squared, magnitude, general };

KELVO_INLINE PowerForm PowerFormOf(float power) {
  const float half_exponent = power * 0.5f;
  if (half_exponent == 1.0f) return PowerForm::squared;
  if (half_exponent == 0.5f) return PowerForm::magnitude;
  return PowerForm::general;
}

// |re + i im| or its square. No hypot: a square beyond the range of float gives an infinity or 0.
template <PowerForm kForm, class Lane>
KELVO_INLINE Lane ApplyPower(Lane re, Lane im) {
  const Lane squared = im * im + re * re;
  if constexpr (kForm == PowerForm::magnitude) {
    return Sqrt(squared);
  } else {
    return squared;
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
