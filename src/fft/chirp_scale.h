// Transforms as a convolution with a chirp [Bluestein 1970], for kernel files: how elements enter and leave it.
//
// From j k = (j^2 + k^2 - (k - j)^2) / 2 follows, with f[j] = exp(-pi i j^2 / n),
//     X[k] = sum of x[j] exp(-2 pi i j k / n) = f[k] sum of (x[j] f[j]) conj f[k - j]
// The sum is a convolution. It is computed by two transforms of a length that has small prime factors only, with zeros
// behind x[j] f[j], and the transform of conj f in the plan.
//
// Its transforms add up all elements where a bin may be the sum of few. So each signal is scaled by a power of two,
// which brings its largest part to between 2 and 4: nothing overflows that the sums would not, and denormals cost
// neither accuracy nor time. An infinity or a NaN among the elements leaves no output finite.
#pragma once

#include <cstddef>

#include "fft/complex.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// One signal a lane.
template <class Lane>
struct ChirpScale {
  // At least the smallest float whose reciprocal is in range. No NaN gets in here.
  Lane largest = Lane::Broadcast(0x1p-126f);

  KELVO_INLINE void Include(const Complex<Lane>& x) {
    const Lane re = FromBits(ToBits(x.re) & kMagnitude), im = FromBits(ToBits(x.im) & kMagnitude);
    largest = SelectLess(largest, re, re, largest);
    largest = SelectLess(largest, im, im, largest);
  }
  // The exponent field e of the largest part is 1 .. 255; 255 - e is that of the scale, and e, with the plan's factor
  // of 1/2, that of the way back.
  KELVO_INLINE Complex<Lane> Enter(const Complex<Lane>& x, const Complex<Lane>& factor) const {
    const auto field = ToBits(largest) & kExponent;
    return Scale(x, FromBits(decltype(field)::Broadcast(kExponent) - field)) * factor;
  }
  KELVO_INLINE Complex<Lane> Leave(const Complex<Lane>& x, const Complex<Lane>& factor) const {
    return Scale(x * factor, FromBits(ToBits(largest) & kExponent));
  }

 private:
  static constexpr unsigned kMagnitude = 0x7fffffff;
  static constexpr unsigned kExponent = 0x7f800000;
};

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
