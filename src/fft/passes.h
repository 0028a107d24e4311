// The passes of a complex transform, for kernel files.
//
// There is one algorithm: decimation in frequency, pass by pass as the plan lists them. A pass of radix r takes the r
// elements that lie `span` apart, applies an r-point transform to them and multiplies output s by its twiddle; after
// it, each run of `span` elements is a transform of its own. After the last pass the outputs lie digit-reversed.
//
// The passes are templates over the lane that they carry and over what the lanes are:
//   - several transforms side by side: element k of each is one vector, twiddles are broadcast (SideBySide);
//   - one transform: the lanes are neighbouring elements of it, twiddles are loaded (Neighbours).
// Both run the same operations on every element, so a transform has the same bits whichever way it is computed.
#pragma once

#include <cstddef>

#include "fft/butterflies.h"
#include "fft/complex.h"
#include "fft/plan_view.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

using Simd::Floats;
using Simd::Lanes;

// Complex elements in memory: element k has its parts at re[k * kStride] and im[k * kStride].
template <std::size_t kElementStride>
struct Elements {
  static constexpr std::size_t kStride = kElementStride;
  float* re;
  float* im;

  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return {Lane::Load(re + k * kStride), Lane::Load(im + k * kStride)};
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& value) const {
    value.re.Store(re + k * kStride);
    value.im.Store(im + k * kStride);
  }
  KELVO_INLINE Elements From(std::size_t k) const { return {re + k * kStride, im + k * kStride}; }
};

// All real parts, then all imaginary parts, as the elements of one transform lie.
using NeighbourElements = Elements<1>;
// A vector of real parts and one of imaginary parts in turn, as transforms side by side lie.
template <class Lane>
using SideBySideElements = Elements<2 * Lane::kSize>;
template <class Lane>
KELVO_INLINE SideBySideElements<Lane> SideBySideAt(float* memory) {
  return {memory, memory + Lane::kSize};
}

// How a pass finds its twiddles, and how many elements one vector covers.
struct SideBySide {
  template <class Lane>
  static constexpr std::size_t kStep = 1;
  // The twiddles of element j for outputs s = 1 .. radix - 1.
  struct Twiddles {
    const float* pairs;
    KELVO_INLINE Twiddles(const Pass& pass, std::size_t radix, std::size_t, std::size_t j)
        : pairs(pass.twiddle_pairs + 2 * (radix - 1) * j) {}
    template <class Lane>
    KELVO_INLINE Complex<Lane> At(std::size_t s) const {
      return {Lane::Broadcast(pairs[2 * s - 2]), Lane::Broadcast(pairs[2 * s - 1])};
    }
  };
  template <class Lane>
  static KELVO_INLINE Lane LoadTwiddle(const float* twiddle) {
    return Lane::Broadcast(*twiddle);
  }
};
struct Neighbours {
  template <class Lane>
  static constexpr std::size_t kStep = Lane::kSize;
  struct Twiddles {
    const Pass& pass;
    std::size_t span, j;
    KELVO_INLINE Twiddles(const Pass& of, std::size_t, std::size_t of_span, std::size_t of_j)
        : pass(of), span(of_span), j(of_j) {}
    template <class Lane>
    KELVO_INLINE Complex<Lane> At(std::size_t s) const {
      const std::size_t index = (s - 1) * span + j;
      return {Lane::Load(pass.twiddle_re + index), Lane::Load(pass.twiddle_im + index)};
    }
  };
  template <class Lane>
  static KELVO_INLINE Lane LoadTwiddle(const float* twiddle) {
    return Lane::Load(twiddle);
  }
};

// Runs `pass` over all blocks of a transform of `length` elements. In place neighbours must fill whole vectors: the
// last vector of a block that they do not fill overlaps the one before, whose elements must still be there.
template <std::size_t kRadix, class Placing, class Lane, class Source, class Target>
static void RunPass(const Source& source, Target to, const Pass& pass, std::size_t length) {
  constexpr std::size_t kStep = Placing::template kStep<Lane>;
  const std::size_t span = pass.span;
  for (std::size_t block = 0; block < length; block += kRadix * span) {
    for (std::size_t j = 0; j < span; j += kStep) {
      if (kStep > 1 && j + kStep > span) j = span - kStep;
      Complex<Lane> x[kRadix];
#pragma GCC unroll 16
      for (std::size_t s = 0; s < kRadix; ++s) x[s] = source.template Load<Lane>(block + j + s * span);
      Butterfly(x);
      if (span > 1) {
        const typename Placing::Twiddles twiddles(pass, kRadix, span, j);
#pragma GCC unroll 16
        for (std::size_t s = 1; s < kRadix; ++s) x[s] = x[s] * twiddles.template At<Lane>(s);
      }
#pragma GCC unroll 16
      for (std::size_t s = 0; s < kRadix; ++s) to.Store(block + j + s * span, x[s]);
    }
  }
}

// The same for any odd radix: a direct sum over the roots of unity. Elements s and radix - s meet the same roots up to
// the sign of the sine, so their sums and differences are formed first. `scratch` holds 2 * radix vectors.
template <class Placing, class Lane, class Source, class Target>
static void RunDirectPass(const Source& source, Target to, const Pass& pass, std::size_t length, float* scratch) {
  constexpr std::size_t kStep = Placing::template kStep<Lane>;
  const std::size_t radix = pass.radix;
  const std::size_t span = pass.span;
  const std::size_t half = radix / 2;
  const auto pairs = SideBySideAt<Lane>(scratch);  // sums at s - 1, differences at half + s - 1
  for (std::size_t block = 0; block < length; block += radix * span) {
    for (std::size_t j = 0; j < span; j += kStep) {
      if (kStep > 1 && j + kStep > span) j = span - kStep;
      const Complex<Lane> first = source.template Load<Lane>(block + j);
      Complex<Lane> total = first;
      for (std::size_t s = 1; s <= half; ++s) {
        const Complex<Lane> a = source.template Load<Lane>(block + j + s * span);
        const Complex<Lane> b = source.template Load<Lane>(block + j + (radix - s) * span);
        pairs.Store(s - 1, a + b);
        pairs.Store(half + s - 1, TimesMinusI(a - b));
        total = total + (a + b);
      }
      to.Store(block + j, total);
      const typename Placing::Twiddles twiddles(pass, radix, span, j);
      const auto store = [&](std::size_t s, const Complex<Lane>& value) __attribute__((always_inline)) {
        if (span == 1) {
          to.Store(block + s, value);
          return;
        }
        to.Store(block + j + s * span, value * twiddles.template At<Lane>(s));
      };
      for (std::size_t k = 1; k <= half; ++k) {
        Complex<Lane> middle = first;
        Complex<Lane> turned{Lane::Broadcast(0.0f), Lane::Broadcast(0.0f)};
        std::size_t root = 0;
        for (std::size_t s = 1; s <= half; ++s) {
          root = root + k < radix ? root + k : root + k - radix;
          middle = middle + Scale(pairs.template Load<Lane>(s - 1), Lane::Broadcast(pass.root_re[root]));
          turned = turned - Scale(pairs.template Load<Lane>(half + s - 1), Lane::Broadcast(pass.root_im[root]));
        }
        store(k, middle + turned);
        store(radix - k, middle - turned);
      }
    }
  }
}

template <class Placing, class Lane, class Source, class Target>
KELVO_INLINE void RunAnyPass(const Source& source, Target to, const Pass& pass, std::size_t length, float* scratch) {
  switch (pass.radix) {
    case 2: return RunPass<2, Placing, Lane>(source, to, pass, length);
    case 3: return RunPass<3, Placing, Lane>(source, to, pass, length);
    case 4: return RunPass<4, Placing, Lane>(source, to, pass, length);
    case 5: return RunPass<5, Placing, Lane>(source, to, pass, length);
    case 8: return RunPass<8, Placing, Lane>(source, to, pass, length);
    case 10: return RunPass<10, Placing, Lane>(source, to, pass, length);
    case 16: return RunPass<16, Placing, Lane>(source, to, pass, length);
    default: return RunDirectPass<Placing, Lane>(source, to, pass, length, scratch);
  }
}

// Transforms side by side, from `source` into `to`; output k ends at element plan.position[k]. `scratch` holds
// 2 * (largest radix) vectors.
//
// The first pass leaves blocks that are transforms of their own. Of a long transform all passes of one block are run
// before the next, while it lies in a near cache, and its outputs are used at once: use(s, step) is called when outputs
// s, s + step, ... and step - s, 2 * step - s, ... are complete, for s = 0 .. step / 2.
template <class Lane, class Source, class Target, class Use>
KELVO_INLINE void TransformSideBySide(const TransformView& plan, const Source& source, Target to, float* scratch,
                                      const Use& use) {
  if (plan.pass_n == 0) {
    to.Store(0, source.template Load<Lane>(0));
    return use(0, 1);
  }
  RunAnyPass<SideBySide, Lane>(source, to, plan.passes[0], plan.length, scratch);
  const auto run_later_passes = [&](std::size_t begin, std::size_t length) __attribute__((always_inline)) {
    for (std::size_t i = 1; i < plan.pass_n; ++i) {
      RunAnyPass<SideBySide, Lane>(to.From(begin), to.From(begin), plan.passes[i], length, scratch);
    }
  };
  if (plan.length <= kLongestNear) {
    run_later_passes(0, plan.length);
    return use(0, 1);
  }
  const std::size_t radix = plan.passes[0].radix;
  const std::size_t span = plan.passes[0].span;
  for (std::size_t s = 0; s <= radix / 2; ++s) {
    run_later_passes(s * span, span);
    if (s > 0 && s < radix - s) run_later_passes((radix - s) * span, span);
    use(s, radix);
  }
}
template <class Lane, class Source, class Target>
KELVO_INLINE void TransformSideBySide(const TransformView& plan, const Source& source, Target to, float* scratch) {
  TransformSideBySide<Lane>(plan, source, to, scratch, [](std::size_t, std::size_t) {});
}

// The same in place for plans of two passes or more, but for the last pass, which gives element i to outputs.Store: it is
// output plan.output[i].
template <class Lane, class Outputs>
KELVO_INLINE void TransformSideBySideTo(const TransformView& plan, SideBySideElements<Lane> elements,
                                        const Outputs& outputs, float* scratch) {
  const std::size_t last = plan.pass_n - 1;
  const auto run = [&](std::size_t first, std::size_t begin, std::size_t length) __attribute__((always_inline)) {
    const SideBySideElements<Lane> block = elements.From(begin);
    for (std::size_t i = first; i < last; ++i) {
      RunAnyPass<SideBySide, Lane>(block, block, plan.passes[i], length, scratch);
    }
    RunAnyPass<SideBySide, Lane>(block, outputs.From(begin), plan.passes[last], length, scratch);
  };
  if (plan.length <= kLongestNear) return run(0, 0, plan.length);
  RunAnyPass<SideBySide, Lane>(elements, elements, plan.passes[0], plan.length, scratch);
  const std::size_t span = plan.passes[0].span;
  for (std::size_t begin = 0; begin < plan.length; begin += span) run(1, begin, span);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
