// The smallest transforms, written out, for kernel files: of 2, 3, 4, 5, 7, 8, 10 and 16 points, in place, forward.
#pragma once

#include <cstddef>

#include "fft/complex.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[2]) {
  const Complex<Lane> sum = x[0] + x[1];
  x[1] = x[0] - x[1];
  x[0] = sum;
}
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[3]) {
  const Lane half = Lane::Broadcast(0.5f);
  const Lane sine = Lane::Broadcast(0x1.bb67aep-1f);  // sin(2 pi / 3)
  const Complex<Lane> sum = x[1] + x[2];
  const Complex<Lane> turned = Scale(TimesMinusI(x[1] - x[2]), sine);
  const Complex<Lane> middle = x[0] - Scale(sum, half);
  x[0] = x[0] + sum;
  x[1] = middle + turned;
  x[2] = middle - turned;
}
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[4]) {
  const Complex<Lane> t0 = x[0] + x[2];
  const Complex<Lane> t1 = x[1] + x[3];
  const Complex<Lane> t2 = x[0] - x[2];
  const Complex<Lane> t3 = TimesMinusI(x[1] - x[3]);
  x[0] = t0 + t1;
  x[1] = t2 + t3;
  x[2] = t0 - t1;
  x[3] = t2 - t3;
}
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[5]) {
  const Lane cosine1 = Lane::Broadcast(0x1.3c6ef4p-2f);   // cos(2 pi / 5)
  const Lane cosine2 = Lane::Broadcast(-0x1.9e377ap-1f);  // cos(4 pi / 5)
  const Lane sine1 = Lane::Broadcast(0x1.e6f0e2p-1f);     // sin(2 pi / 5)
  const Lane sine2 = Lane::Broadcast(0x1.2cf23p-1f);      // sin(4 pi / 5)
  const Complex<Lane> sum1 = x[1] + x[4];
  const Complex<Lane> sum2 = x[2] + x[3];
  const Complex<Lane> difference1 = TimesMinusI(x[1] - x[4]);
  const Complex<Lane> difference2 = TimesMinusI(x[2] - x[3]);
  const Complex<Lane> middle1 = x[0] + Scale(sum1, cosine1) + Scale(sum2, cosine2);
  const Complex<Lane> middle2 = x[0] + Scale(sum1, cosine2) + Scale(sum2, cosine1);
  const Complex<Lane> turned1 = Scale(difference1, sine1) + Scale(difference2, sine2);
  const Complex<Lane> turned2 = Scale(difference1, sine2) - Scale(difference2, sine1);
  x[0] = x[0] + sum1 + sum2;
  x[1] = middle1 + turned1;
  x[2] = middle2 + turned2;
  x[3] = middle2 - turned2;
  x[4] = middle1 - turned1;
}

// A pair of outputs of a direct sum: with those elements that come in pairs, x and y, and their factors c + i s,
// outputs are the sum of c (x + y) plus or minus i times that of s (x - y).
template <bool kIsReal, class Lane>
struct DirectSum {
  Complex<Lane> even, odd;

  DirectSum() = default;
  explicit KELVO_INLINE DirectSum(const Complex<Lane>& first)
      : even(first), odd{Lane::Broadcast(0.0f), Lane::Broadcast(0.0f)} {}
  // -i (x - y)
  KELVO_INLINE void Add(const Complex<Lane>& sum, const Complex<Lane>& turned_difference, Lane cosine, Lane sine) {
    even.re = even.re + sum.re * cosine;
    odd.im = odd.im - turned_difference.im * sine;
    if constexpr (!kIsReal) {
      even.im = even.im + sum.im * cosine;
      odd.re = odd.re - turned_difference.re * sine;
    }
  }
  KELVO_INLINE Complex<Lane> Output() const {
    if constexpr (kIsReal) return {even.re, odd.im};
    return even + odd;
  }
  KELVO_INLINE Complex<Lane> MirroredOutput() const {
    if constexpr (kIsReal) return {even.re, -odd.im};
    return even - odd;
  }
};

// The direct sum over seven elements. exp(-2 pi i k / 7) has its parts at k = 1 .. 6.
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[7]) {
  constexpr float kCosine[] = {
      1.0f, 0x1.3f3a0ep-1f, -0x1.c7b90ep-3f, -0x1.cd4bcap-1f, -0x1.cd4bcap-1f, -0x1.c7b90ep-3f, 0x1.3f3a0ep-1f};
  constexpr float kSine[] = {0.0f,           -0x1.904c38p-1f, -0x1.f329cp-1f, -0x1.bc4c04p-2f,
                             0x1.bc4c04p-2f, 0x1.f329cp-1f,   0x1.904c38p-1f};
  DirectSum<false, Lane> sums[4];
#pragma GCC unroll 3
  for (std::size_t b = 1; b <= 3; ++b) sums[b] = DirectSum<false, Lane>(x[0]);
#pragma GCC unroll 3
  for (std::size_t a = 1; a <= 3; ++a) {
    const Complex<Lane> sum = x[a] + x[7 - a];
    const Complex<Lane> turned_difference = TimesMinusI(x[a] - x[7 - a]);
    x[0] = x[0] + sum;
#pragma GCC unroll 3
    for (std::size_t b = 1; b <= 3; ++b) {
      const std::size_t k = a * b % 7;
      sums[b].Add(sum, turned_difference, Lane::Broadcast(kCosine[k]), Lane::Broadcast(kSine[k]));
    }
  }
#pragma GCC unroll 3
  for (std::size_t b = 1; b <= 3; ++b) {
    x[b] = sums[b].Output();
    x[7 - b] = sums[b].MirroredOutput();
  }
}

// By exp(-pi i / 4).
template <class Lane>
KELVO_INLINE Complex<Lane> TimesEighthRoot(const Complex<Lane>& x) {
  const Lane root_half = Lane::Broadcast(0x1.6a09e6p-1f);  // cos(pi / 4)
  return Scale(Complex<Lane>{x.re + x.im, x.im - x.re}, root_half);
}
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[8]) {
  Complex<Lane> even[4];
  Complex<Lane> odd[4];
#pragma GCC unroll 4
  for (std::size_t s = 0; s < 4; ++s) {
    even[s] = x[s] + x[s + 4];
    odd[s] = x[s] - x[s + 4];
  }
  odd[1] = TimesEighthRoot(odd[1]);
  odd[2] = TimesMinusI(odd[2]);
  odd[3] = TimesEighthRoot(TimesMinusI(odd[3]));
  Butterfly(even);
  Butterfly(odd);
#pragma GCC unroll 4
  for (std::size_t s = 0; s < 4; ++s) {
    x[2 * s] = even[s];
    x[2 * s + 1] = odd[s];
  }
}

// Two and five have no common divisor, so that inputs and outputs can be numbered to need no twiddles [Good 1958].
template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[10]) {
  Complex<Lane> even[5];
  Complex<Lane> odd[5];
#pragma GCC unroll 5
  for (std::size_t s = 0; s < 5; ++s) {
    const Complex<Lane> a = x[2 * s];
    const Complex<Lane> b = x[(2 * s + 5) % 10];
    even[s] = a + b;
    odd[s] = a - b;
  }
  Butterfly(even);
  Butterfly(odd);
#pragma GCC unroll 5
  for (std::size_t s = 0; s < 5; ++s) {
    x[6 * s % 10] = even[s];
    x[(6 * s + 5) % 10] = odd[s];
  }
}

template <class Lane>
KELVO_INLINE void Butterfly(Complex<Lane> (&x)[16]) {
  const Lane cosine = Lane::Broadcast(0x1.d906bcp-1f);  // cos(pi / 8)
  const Lane sine = Lane::Broadcast(0x1.87de2ap-2f);    // sin(pi / 8)
  Complex<Lane> rows[4][4];
#pragma GCC unroll 4
  for (std::size_t c = 0; c < 4; ++c) {
    Complex<Lane> column[4] = {x[c], x[c + 4], x[c + 8], x[c + 12]};
    Butterfly(column);
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r) rows[r][c] = column[r];
  }
  // By exp(-2 pi i r c / 16).
  rows[1][1] = rows[1][1] * Complex<Lane>{cosine, -sine};
  rows[1][2] = TimesEighthRoot(rows[1][2]);
  rows[1][3] = rows[1][3] * Complex<Lane>{sine, -cosine};
  rows[2][1] = TimesEighthRoot(rows[2][1]);
  rows[2][2] = TimesMinusI(rows[2][2]);
  rows[2][3] = TimesEighthRoot(TimesMinusI(rows[2][3]));
  rows[3][1] = rows[3][1] * Complex<Lane>{sine, -cosine};
  rows[3][2] = TimesEighthRoot(TimesMinusI(rows[3][2]));
  rows[3][3] = rows[3][3] * Complex<Lane>{-cosine, sine};
#pragma GCC unroll 4
  for (std::size_t r = 0; r < 4; ++r) {
    Butterfly(rows[r]);
#pragma GCC unroll 4
    for (std::size_t c = 0; c < 4; ++c) x[r + 4 * c] = rows[r][c];
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
