// Passes over real samples in front of complex transforms, for kernel files.
//
// A pass takes `radix` samples that lie a span = n / radix apart and leaves
//     a real signal of 2 span samples, the sums over even and over odd ones, whose bins are every radix / 2-th bin
//     radix / 2 - 1 complex signals of `span` elements, whose outputs are bins without a further step
// where half-length transforms would pack all samples as pairs and split all outputs. The bins that mirror others are
// never computed, which takes an eighth less additions.
//
// Eight samples x_q, j + q span apart, and w = exp(-2 pi i / n):
//     a[j] = x0 + x2 + x4 + x6,  a[j + span] = x1 + x3 + x5 + x7,  c_s[j] = w^(s j) sum of x_q exp(-2 pi i s q / 8)
// Output m of the transform of c_s is bin k = 8 m + s, or beyond the middle the conjugate of bin n - k.
//
// Sixteen samples, if their span is odd, need no twiddles when they are numbered (16 j + span q) mod n [Good 1958]:
//     a[(16 j + span q) mod 2 span] for q = 0, 1 as above,  c_s[j] = sum of x_q exp(-2 pi i s q / 16)
// Output m of the transform of c_s is the bin k with k mod 16 = s and k mod span = m.
#pragma once

#include <cstddef>

#include "fft/butterflies.h"
#include "fft/passes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// The transform of eight real samples, given the sums and the differences of those that lie four apart. Outputs 0 and 4
// are left as the sums over even and over odd samples; 5 to 7 are the conjugates of 3 to 1.
template <class Lane>
struct RealButterfly8 {
  Lane even_sum, odd_sum;
  Complex<Lane> first_conjugate, second, third;

  KELVO_INLINE RealButterfly8(const Lane (&sum)[4], const Lane (&difference)[4]) {
    const Lane root_half = Lane::Broadcast(0x1.6a09e6p-1f);  // cos(pi / 4)
    even_sum = sum[0] + sum[2];
    odd_sum = sum[1] + sum[3];
    const Lane re = (difference[1] - difference[3]) * root_half;
    const Lane im = (difference[1] + difference[3]) * root_half;
    first_conjugate = {difference[0] + re, difference[2] + im};
    second = {sum[0] - sum[2], sum[3] - sum[1]};
    third = {difference[0] - re, difference[2] - im};
  }
};

// The pass over eight samples, for first <= j < last. source.At<Lane>(j, q) gives sample j + q span;
// target.StoreReal(i, a) takes the real signal, target.Store(s * span + j, c) the complex ones.
template <class Mode, class Lane, class Source, class Target>
static void RunRealPass(Source source, Target target, Pass pass, std::size_t first, std::size_t last) {
  constexpr std::size_t kStep = Mode::template kStep<Lane>;
  const std::size_t span = pass.span;
  for (std::size_t j = first; j < last; j += kStep) {
    if (kStep > 1 && j + kStep > last) j = last - kStep;
    Lane sum[4];
    Lane difference[4];
#pragma GCC unroll 4
    for (std::size_t q = 0; q < 4; ++q) {
      const Lane a = source.template At<Lane>(j, q);
      const Lane b = source.template At<Lane>(j, q + 4);
      sum[q] = a + b;
      difference[q] = a - b;
    }
    const RealButterfly8<Lane> butterfly(sum, difference);
    target.StoreReal(j, butterfly.even_sum);
    target.StoreReal(j + span, butterfly.odd_sum);
    const typename Mode::Twiddles twiddles(pass, 4, span, j);
    target.Store(span + j, ConjugateTimes(butterfly.first_conjugate, twiddles.template At<Lane>(1)));
    target.Store(2 * span + j, butterfly.second * twiddles.template At<Lane>(2));
    target.Store(3 * span + j, butterfly.third * twiddles.template At<Lane>(3));
  }
}

// The pass over sixteen samples, whose number and span have no common divisor. source.At<Lane>(j, q) gives sample q of
// them; target.StoreSums(j, even, odd) takes the two sums of the real signal.
template <class Mode, class Lane, class Source, class Target>
static void RunCoprimeRealPass(Source source, Target target, std::size_t span) {
  constexpr std::size_t kStep = Mode::template kStep<Lane>;
  const Lane cosine = Lane::Broadcast(0x1.d906bcp-1f);  // cos(pi / 8)
  const Lane sine = Lane::Broadcast(0x1.87de2ap-2f);    // sin(pi / 8)
  for (std::size_t j = 0; j < span; j += kStep) {
    if (kStep > 1 && j + kStep > span) j = span - kStep;
    Lane sum[4], difference[4];
    Complex<Lane> odd[4];
#pragma GCC unroll 4
    for (std::size_t q = 0; q < 4; ++q) {
      const Lane a = source.template At<Lane>(j, q), b = source.template At<Lane>(j, q + 8);
      const Lane c = source.template At<Lane>(j, q + 4), d = source.template At<Lane>(j, q + 12);
      odd[q] = {a - b, d - c};
      sum[q] = (a + b) + (c + d);
      difference[q] = (a + b) - (c + d);
    }
    const RealButterfly8<Lane> butterfly(sum, difference);
    target.StoreSums(j, butterfly.even_sum, butterfly.odd_sum);
    target.Store(2 * span + j, Conjugate(butterfly.first_conjugate));
    target.Store(4 * span + j, butterfly.second);
    target.Store(6 * span + j, butterfly.third);
    odd[1] = odd[1] * Complex<Lane>{cosine, -sine};
    odd[2] = TimesEighthRoot(odd[2]);
    odd[3] = odd[3] * Complex<Lane>{sine, -cosine};
    Butterfly(odd);
    target.Store(span + j, odd[0]);
    target.Store(5 * span + j, odd[1]);
    target.Store(7 * span + j, Conjugate(odd[2]));
    target.Store(3 * span + j, Conjugate(odd[3]));
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
