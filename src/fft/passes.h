// The passes of a complex transform, for kernel files.
//
// There is one algorithm: decimation in frequency, pass by pass as the plan lists them. A pass of radix r takes the r
// elements that lie `span` apart, applies an r-point transform to them and multiplies output s by its twiddle; after
// it, each run of `span` elements is a transform of its own. After the last pass the outputs lie digit-reversed.
//
// The passes are templates over the lane that they carry and over what the lanes are:
//   - several transforms side by side: element k of each is one vector, twiddles are broadcast (SideBySide);
//   - one transform: the lanes are neighbouring elements of it, twiddles are loaded (Neighbours).
// Both run the same operations on every element, so a transform has the same bits whichever way it is computed. For one
// transform, neighbours run out when the blocks become shorter than a vector; TransformOne then turns to whole blocks,
// which are independent transforms and lie side by side once they are transposed on the way in. Choosing for the lanes
// blocks whose outputs are neighbours undoes the digit reversal at no cost.
#pragma once

#include <cstddef>

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

// Transforms of 2, 3, 4, 5, 8 and 16 points, in place, forward.
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
    case 16: return RunPass<16, Placing, Lane>(source, to, pass, length);
    default: return RunDirectPass<Placing, Lane>(source, to, pass, length, scratch);
  }
}

// Elements side by side that stay in the first-level cache from pass to pass, at 16 lanes.
constexpr std::size_t kLongestNear = 256;

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

// Calls run.operator()<Lane>() with the widest lanes of which `available` fill at least one vector.
template <class Run>
KELVO_INLINE void AtWidth(std::size_t available, Run&& run) {
  if (available >= Floats::kSize) return run.template operator()<Floats>();
  if constexpr (Floats::kSize > 8) {
    if (available >= 8) return run.template operator()<Lanes<float, 8>>();
  }
  if constexpr (Floats::kSize > 4) {
    if (available >= 4) return run.template operator()<Lanes<float, 4>>();
  }
  if constexpr (Floats::kSize > 1) run.template operator()<Lanes<float, 1>>();
}
// How many times as long `available` neighbours take as full vectors of them.
KELVO_INLINE std::size_t CostFor(std::size_t available) {
  if (available >= Floats::kSize) return 1;
  if (Floats::kSize > 8 && available >= 8) return Floats::kSize / 8;
  return Floats::kSize > 4 && available >= 4 ? Floats::kSize / 4 : Floats::kSize;
}

// Where a single transform turns from neighbours to blocks side by side: after pass_n passes, which leave block_n blocks.
struct Turn {
  std::size_t pass_n;
  std::size_t block_n;
};

// The turn that costs least. The last pass is always one over blocks, since it leaves no neighbours.
KELVO_INLINE Turn ChooseTurn(const TransformView& plan) {
  Turn best{0, 1};
  if constexpr (Floats::kSize == 1) return best;
  std::size_t best_cost = ~std::size_t{0};
  std::size_t cost_before = 0;
  std::size_t block = plan.length;
  std::size_t block_n = 1;
  for (std::size_t i = 0; i < plan.pass_n; ++i) {
    const std::size_t cost = cost_before + (plan.pass_n - i) * CostFor(block_n);
    // Long blocks are for a single pass, which gains nothing from a near cache.
    if (cost < best_cost && (block <= kLongestNear || i == 0 || i + 1 == plan.pass_n)) {
      best = {i, block_n};
      best_cost = cost;
    }
    block = plan.passes[i].span;
    block_n *= plan.passes[i].radix;
    cost_before += CostFor(block);
  }
  return best;
}

// Transposes blocks into lanes: element i of the block that begins at begins[l] becomes lane l of vector i.
template <class Lane>
static void GatherBlocks(SideBySideElements<Lane> to, const NeighbourElements& from, const unsigned* begins,
                         std::size_t block) {
  std::size_t i = 0;
  AtWidth(block < Lane::kSize ? block : Lane::kSize, [&]<class Tile>() __attribute__((always_inline)) {
    if constexpr (Tile::kSize > 1 && Tile::kSize <= Lane::kSize) {
      while (i < block) {
        if (i + Tile::kSize > block) i = block - Tile::kSize;
        for (std::size_t l = 0; l < Lane::kSize; l += Tile::kSize) {
          const auto transpose = [&](const float* source, float* target) __attribute__((always_inline)) {
            Tile rows[Tile::kSize];
#pragma GCC unroll 16
            for (std::size_t r = 0; r < Tile::kSize; ++r) rows[r] = Tile::Load(source + begins[l + r] + i);
            Transpose(rows);
#pragma GCC unroll 16
            for (std::size_t r = 0; r < Tile::kSize; ++r) rows[r].Store(target + (i + r) * to.kStride + l);
          };
          transpose(from.re, to.re);
          transpose(from.im, to.im);
        }
        i += Tile::kSize;
      }
    }
  });
  for (; i < block; ++i) {
    for (std::size_t l = 0; l < Lane::kSize; ++l) {
      to.re[i * to.kStride + l] = from.re[begins[l] + i];
      to.im[i * to.kStride + l] = from.im[begins[l] + i];
    }
  }
}

// Arrays of one transform lie an odd number of cache lines apart, so that those of a length that is a power of two do not
// share the sets of a cache.
constexpr std::size_t ArrayStride(std::size_t length) { return ((length + 15) / 16 | 1) * 16; }

// Floats of scratch that TransformOne needs.
constexpr std::size_t TransformOneScratch(std::size_t length) { return 8 * ArrayStride(length) + 8 * Floats::kSize; }

// Takes the elements of blocks side by side, as the last pass computes them, to the sink of the whole transform: element
// i of the blocks from `first_block` on is an output of each, and these are neighbours.
template <class Sink>
struct OutputsOfBlocks {
  const Sink& sink;
  const unsigned* output;
  std::size_t first_block;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    sink.Store(first_block + output[i], x);
  }
};

// One transform from `source` to `sink`, which is given each output once or, with equal values, twice:
// sink.Store<Lane>(k, x) with outputs k, k + 1, ... in the lanes of x. The source has been read to its end before the
// sink is called.
template <class Source, class Sink>
static void TransformOne(const TransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  const std::size_t length = plan.length;
  const std::size_t stride = ArrayStride(length);
  NeighbourElements elements{scratch, scratch + stride};
  NeighbourElements other{scratch + 2 * stride, scratch + 3 * stride};
  float* const block_memory = scratch + 4 * stride;
  float* const pass_scratch = scratch + 6 * stride;

  const Turn turn = ChooseTurn(plan);
  if (turn.pass_n == 0) {
    using Lane = Lanes<float, 1>;
    TransformSideBySide<Lane>(plan, source, elements, pass_scratch);
    for (std::size_t k = 0; k < length; ++k) sink.Store(k, elements.Load<Lane>(plan.position[k]));
    return;
  }

  for (std::size_t i = 0; i < turn.pass_n; ++i) {
    const Pass& pass = plan.passes[i];
    AtWidth(pass.span, [&]<class Lane>() __attribute__((always_inline)) {
      if (i == 0) {
        RunAnyPass<Neighbours, Lane>(source, elements, pass, length, pass_scratch);
      } else if (pass.span % Lane::kSize == 0) {
        RunAnyPass<Neighbours, Lane>(elements, elements, pass, length, pass_scratch);
      } else {
        RunAnyPass<Neighbours, Lane>(elements, other, pass, length, pass_scratch);
        const NeighbourElements written = other;
        other = elements;
        elements = written;
      }
    });
  }

  const std::size_t block = plan.passes[turn.pass_n - 1].span;
  const std::size_t block_n = turn.block_n;
  AtWidth(block_n, [&]<class Lane>() __attribute__((always_inline)) {
    const auto lanes = SideBySideAt<Lane>(block_memory);
    for (std::size_t b = 0; b < block_n; b += Lane::kSize) {
      if (b + Lane::kSize > block_n) b = block_n - Lane::kSize;
      // Outputs b, b + 1, ... of the passes so far begin the blocks with outputs b + r * block_n, ... of the whole.
      GatherBlocks<Lane>(lanes, elements, plan.position + b, block);
      for (std::size_t i = turn.pass_n; i + 1 < plan.pass_n; ++i) {
        RunAnyPass<SideBySide, Lane>(lanes, lanes, plan.passes[i], block, pass_scratch);
      }
      RunAnyPass<SideBySide, Lane>(lanes, OutputsOfBlocks<Sink>{sink, plan.output, b}, plan.passes[plan.pass_n - 1],
                                   block, pass_scratch);
    }
  });
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
