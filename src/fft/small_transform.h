// Single transforms that are small, for kernel files.
//
// Of 16 and of 32 elements in registers: two passes, of radix 4 and of radix 4 or 8, with the operations that
// fft/passes.h has for them. In memory each pass would wait for the stores of the one before; of so few elements that
// is most of the time.
//
// Of a prime number of elements, as direct sums with outputs in the lanes; columns of longer transforms as well. The
// operations are those of RunDirectPass.
#pragma once

#include <cstddef>

#include "fft/butterflies.h"
#include "fft/complex.h"
#include "fft/passes.h"
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

// Elements or outputs of a direct sum that lie `span` apart.
struct Column {
  SplitElements elements;
  std::size_t span;

  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    static_assert(Lane::kSize == 1);
    return elements.template Load<Lane>(k * span);
  }
  template <class Lane>
  KELVO_INLINE auto Pairs(const Complex<Lane>& x) const {
    return Interleave(x.re, x.im);
  }
  KELVO_INLINE void Place(std::size_t k, const float* pair) const {
    elements.re[k * span] = pair[0];
    elements.im[k * span] = pair[1];
  }
};

// x[s] + x[radix - s] and -i (x[s] - x[radix - s]) at s, in natural order.
template <bool kIsReal>
struct ElementPairs {
  std::size_t radix;
  SplitElements sums, turned_differences;

  ElementPairs(float* scratch, std::size_t of_radix)
      : radix(of_radix), sums{scratch, scratch + radix}, turned_differences{scratch + 2 * radix, scratch + 3 * radix} {}

  // For s, s + 1, ...
  template <class Lane, class Source>
  KELVO_INLINE void Form(const Source& source, std::size_t s) const {
    const Complex<Lane> x = source.template Load<Lane>(s);
    const Complex<Lane> from_end = source.template Load<Lane>(radix + 1 - s - Lane::kSize);
    const Complex<Lane> y{Reverse(from_end.re), Reverse(from_end.im)};
    const Complex<Lane> sum = x + y, turned_difference = TimesMinusI(x - y);
    if constexpr (kIsReal) {
      sum.re.Store(sums.re + s);
      turned_difference.im.Store(turned_differences.im + s);
    } else {
      sums.Store(s, sum);
      turned_differences.Store(s, turned_difference);
    }
  }
};

// Outputs order[b] and radix - order[b] of a direct sum, for the b of kVectorN vectors from `b` on; with the first of
// them comes output 0.
template <bool kIsReal, std::size_t kVectorN, class Lane, class Sink>
KELVO_INLINE void SumOutputs(const Pass& pass, const Complex<Lane>& first, const ElementPairs<kIsReal>& pairs,
                             const Sink& sink, std::size_t b) {
  const std::size_t half = pass.radix / 2;
  Complex<Lane> total = first;
  DirectSum<kIsReal, Lane> sums[kVectorN];
#pragma GCC unroll 4
  for (std::size_t v = 0; v < kVectorN; ++v) sums[v] = DirectSum<kIsReal, Lane>(first);
  for (std::size_t a = 0; a < half; ++a) {
    const std::size_t s = pass.order[a];
    Complex<Lane> sum{Lane::Broadcast(pairs.sums.re[s]), first.im};
    Complex<Lane> turned_difference{first.im, Lane::Broadcast(pairs.turned_differences.im[s])};
    total.re = total.re + sum.re;
    if constexpr (!kIsReal) {
      sum.im = Lane::Broadcast(pairs.sums.im[s]);
      turned_difference.re = Lane::Broadcast(pairs.turned_differences.re[s]);
      total.im = total.im + sum.im;
    }
    const std::size_t root = pass.root_step * a + b;
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) {
      sums[v].Add(sum, turned_difference, Lane::Load(pass.root_re + root + v * Lane::kSize),
                  Lane::Load(pass.root_im + root + v * Lane::kSize));
    }
  }
  constexpr std::size_t kCount = kVectorN * Lane::kSize;
  alignas(64) float outputs[2 * kCount], mirrored[2 * kCount];
  const auto keep = [&](float* to, const Complex<Lane>& x) __attribute__((always_inline)) {
    const auto finished = sink.Pairs(x);
    finished.first.Store(to);
    finished.second.Store(to + Lane::kSize);
  };
#pragma GCC unroll 4
  for (std::size_t v = 0; v < kVectorN; ++v) {
    keep(outputs + 2 * v * Lane::kSize, sums[v].Output());
    keep(mirrored + 2 * v * Lane::kSize, sums[v].MirroredOutput());
  }
  for (std::size_t i = 0; i < kCount && b + i < half; ++i) {
    const std::size_t s = pass.order[b + i];
    sink.Place(s, outputs + 2 * i);
    sink.Place(pass.radix - s, mirrored + 2 * i);
  }
  if (b > 0) return;
  keep(outputs, total);
  sink.Place(0, outputs);
}

// Out of line, since it is the same for all sources.
template <bool kIsReal, class Lane, class Sink>
__attribute__((noinline)) static void SumAllOutputs(const Pass& pass, const Complex<Lanes<float, 1>>& first_element,
                                                    const ElementPairs<kIsReal>& pairs, const Sink& sink) {
  const Complex<Lane> first{Lane::Broadcast(first_element.re.v), Lane::Broadcast(first_element.im.v)};
  const std::size_t half = pass.radix / 2;
  constexpr std::size_t kMost = kIsReal ? 4 : 2;
  for (std::size_t b = 0; b < half;) {
    const std::size_t left = (half - b + Lane::kSize - 1) / Lane::kSize;
    // In even parts: sums of one vector wait for each other.
    const std::size_t vector_n = left <= kMost ? left : left < 2 * kMost ? (left + 1) / 2 : kMost;
    if constexpr (kIsReal) {
      if (vector_n == 4) SumOutputs<true, 4>(pass, first, pairs, sink, b);
      if (vector_n == 3) SumOutputs<true, 3>(pass, first, pairs, sink, b);
    }
    if (vector_n == 2) SumOutputs<kIsReal, 2>(pass, first, pairs, sink, b);
    if (vector_n == 1) SumOutputs<kIsReal, 1>(pass, first, pairs, sink, b);
    b += vector_n * Lane::kSize;
  }
}

// All pairs in vectors, though a sum reads one of s and radix - s.
template <bool kIsReal, class Source>
KELVO_INLINE void FormPairs(const ElementPairs<kIsReal>& pairs, const Pass& pass, const Source& source) {
  AtWidth(
      pass.radix - 1, [&]<class Lane>() __attribute__((always_inline)) {
        for (std::size_t s = 1; s < pass.radix; s += Lane::kSize) {
          if (s + Lane::kSize > pass.radix) s = pass.radix - Lane::kSize;
          pairs.template Form<Lane>(source, s);
        }
      });
}
// One by one, those that it reads.
template <bool kIsReal>
KELVO_INLINE void FormPairs(const ElementPairs<kIsReal>& pairs, const Pass& pass, const Column& column) {
  for (std::size_t a = 0; a < pass.radix / 2; ++a) pairs.template Form<Lanes<float, 1>>(column, pass.order[a]);
}

// A direct sum with outputs in the lanes, without twiddles, from source.Load<Lane>(k), which a Column has for single
// lanes alone. Outputs go one by one, out of order, to sink.Place(k, pair), where the pair is one of those that
// sink.Pairs(x) makes of the outputs in the lanes of x. The source has been read to its end before the sink is called.
// `scratch` holds 4 * radix floats.
template <bool kIsReal, class Source, class Sink>
static void SumColumn(const Pass& pass, const Source& source, const Sink& sink, float* scratch) {
  using One = Lanes<float, 1>;
  const ElementPairs<kIsReal> pairs(scratch, pass.radix);
  FormPairs(pairs, pass, source);
  Complex<One> first = source.template Load<One>(0);
  if constexpr (kIsReal) first.im = One::Broadcast(0.0f);
  if constexpr (Floats::kSize > 8) {
    // Half a vector holds the outputs.
    if (pass.radix <= 17) return SumAllOutputs<kIsReal, Lanes<float, 8>>(pass, first, pairs, sink);
  }
  SumAllOutputs<kIsReal, Floats>(pass, first, pairs, sink);
}

// A transform that is one direct sum.
KELVO_INLINE bool IsSum(const TransformView& plan) { return plan.pass_n == 1 && plan.passes[0].order != nullptr; }
template <class Source, class Sink>
KELVO_INLINE void TransformBySum(const TransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  SumColumn<false>(plan.passes[0], source, sink, scratch);
}
// To elements, which the bins of a real signal go through as well.
template <class Source>
KELVO_INLINE void TransformBySum(const TransformView& plan, const Source& source, const SplitElements& to,
                                 float* scratch) {
  const Column outputs{to, 1};
  if (plan.passes[0].is_real) return SumColumn<true>(plan.passes[0], source, outputs, scratch);
  SumColumn<false>(plan.passes[0], source, outputs, scratch);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
