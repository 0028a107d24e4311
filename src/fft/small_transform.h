// Transforms of 16 and of 32 elements in registers, for kernel files.
//
// Two passes, of radix 4 and of radix 4 or 8, with the operations that fft/passes.h has for them. In memory each pass
// would wait for the stores of the one before; of so few elements that is most of the time.
#pragma once

#include <cstddef>

#include "fft/butterflies.h"
#include "fft/complex.h"
#include "fft/plan_view.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

using Four = Simd::Lanes<float, 4>;
inline constexpr bool kHasFour = Simd::Floats::kSize >= 4;

template <std::size_t kSecond>
KELVO_INLINE bool IsSmall(const TransformView& plan) {
  return kHasFour && plan.length == 4 * kSecond && plan.pass_n == 2 && plan.passes[0].radix == 4;
}

// Outputs 4 r, 4 r + 1, ... in the lanes of z[r].
template <std::size_t kSecond, class Source>
KELVO_INLINE void TransformSmall(const Pass& first, const Source& source, Complex<Four> (&z)[kSecond]) {
  constexpr std::size_t kSize = Simd::Floats::kSize < kSecond ? Simd::Floats::kSize : kSecond;
  using Lane = Simd::Lanes<float, kSize>;
#pragma GCC unroll 2
  for (std::size_t j = 0; j < kSecond; j += kSize) {
    Complex<Lane> x[4];
#pragma GCC unroll 4
    for (std::size_t s = 0; s < 4; ++s) x[s] = source.template Load<Lane>(j + s * kSecond);
    Butterfly(x);
#pragma GCC unroll 4
    for (std::size_t s = 1; s < 4; ++s) {
      const std::size_t index = (s - 1) * kSecond + j;
      x[s] = x[s] * Complex<Lane>{Lane::Load(first.twiddle_re + index), Lane::Load(first.twiddle_im + index)};
    }
    Lane re[4] = {x[0].re, x[1].re, x[2].re, x[3].re};
    Lane im[4] = {x[0].im, x[1].im, x[2].im, x[3].im};
    TransposeTiles(re);
    TransposeTiles(im);
#pragma GCC unroll 4
    for (std::size_t i = 0; i < 4; ++i) {
      if constexpr (kSize == 4) {
        z[j + i] = {re[i], im[i]};
      } else {
        const auto real = Split(re[i]), imaginary = Split(im[i]);
        z[j + i] = {real.first, imaginary.first};
        z[j + 4 + i] = {real.second, imaginary.second};
      }
    }
  }
  Butterfly(z);
}

// The same, to a sink as TransformSingle has it.
template <std::size_t kSecond, class Source, class Sink>
KELVO_INLINE void TransformSmallTo(const TransformView& plan, const Source& source, const Sink& sink) {
  Complex<Four> z[kSecond];
  TransformSmall<kSecond>(plan.passes[0], source, z);
#pragma GCC unroll 8
  for (std::size_t r = 0; r < kSecond; ++r) sink.Store(4 * r, z[r]);
}

// (a1 a2 ... b0)
template <std::size_t N>
KELVO_INLINE Complex<Simd::Lanes<float, N>> FromSecond(const Complex<Simd::Lanes<float, N>>& a,
                                                       const Complex<Simd::Lanes<float, N>>& b) {
  return {ShiftDownBy(a.re, b.re, Simd::LaneNumbersOf<N>{}), ShiftDownBy(a.im, b.im, Simd::LaneNumbersOf<N>{})};
}

// The bins of 8 * kSecond real samples, whose pairs are the elements, to a sink as in fft/real_split.h, and with the
// operations that it has.
template <std::size_t kSecond, class Source, class Sink>
KELVO_INLINE void SmallRealBins(const RealTransformView& plan, const Source& pairs, const Sink& sink) {
  using One = Simd::Lanes<float, 1>;
  constexpr std::size_t kHalf = 4 * kSecond;
  Complex<Four> z[kSecond];
  TransformSmall<kSecond>(plan.inner.passes[0], pairs, z);
  const One re{z[0].re.v[0]}, im{z[0].im.v[0]}, zero{0.0f};
  sink.SelfConjugate(0, Complex<One>{re + im, zero});
  sink.SelfConjugate(kHalf, Complex<One>{re - im, zero});
  constexpr std::size_t kSize = Simd::Floats::kSize < 8 ? 4 : 8;
  using Lane = Simd::Lanes<float, kSize>;
  constexpr std::size_t kVectorN = kHalf / kSize;
  Complex<Lane> y[kVectorN];
#pragma GCC unroll 8
  for (std::size_t r = 0; r < kVectorN; ++r) {
    if constexpr (kSize == 4) {
      y[r] = z[r];
    } else {
      y[r] = {Join(z[2 * r].re, z[2 * r + 1].re), Join(z[2 * r].im, z[2 * r + 1].im)};
    }
  }
  const Lane half = Lane::Broadcast(0.5f);
#pragma GCC unroll 4
  for (std::size_t r = 0; r < kVectorN / 2; ++r) {
    const std::size_t k = kSize * r + 1;
    const Complex<Lane>& last = y[kVectorN - 1 - r];
    const Complex<Lane> a = Scale(FromSecond(y[r], y[r + 1]), half);
    const Complex<Lane> b = Conjugate(Scale(Complex<Lane>{Reverse(last.re), Reverse(last.im)}, half));
    const Complex<Lane> w{Lane::Load(plan.split_re + k), Lane::Load(plan.split_im + k)};
    const Complex<Lane> even = a + b;
    const Complex<Lane> odd = TimesMinusI(a - b) * w;
    sink.Forward(k, even + odd);
    sink.Mirrored(kHalf - k, Conjugate(even - odd));
  }
}

// The bins of 16 real samples, as elements with imaginary parts of zero.
template <class Source, class Sink>
KELVO_INLINE void SmallFullBins(const RealTransformView& plan, const Source& samples, const Sink& sink) {
  using One = Simd::Lanes<float, 1>;
  Complex<Four> z[4];
  TransformSmall<4>(plan.inner.passes[0], samples, z);
  sink.SelfConjugate(0, Complex<One>{{z[0].re.v[0]}, {z[0].im.v[0]}});
  sink.SelfConjugate(8, Complex<One>{{z[2].re.v[0]}, {z[2].im.v[0]}});
  sink.Forward(1, FromSecond(z[0], z[1]));
  sink.Forward(4, z[1]);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
