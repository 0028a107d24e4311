// The passes of a complex transform, for kernel files.
//
// There is one algorithm: decimation in frequency, pass by pass as the plan lists them. A pass of radix r takes the r
// elements that lie `span` apart, applies an r-point transform to them and multiplies output s by its twiddle; after
// that, each of the r parts of a block is a transform of its own. In place, outputs therefore end digit-reversed.
//
// A pass is a template over the lanes that it works on and over what they hold:
//   - Batch: several transforms at once, element k of each in one vector; twiddles are broadcast;
//   - Single: adjacent elements of one transform; twiddles are loaded as vectors.
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

// Split-complex arrays of one transform: all real parts, then all imaginary parts.
using SplitElements = Elements<1>;
// Alternating vectors of real and of imaginary parts, for transforms in lanes. One address serves both parts: passes
// have more addresses than there are registers.
template <class BatchLane>
struct BatchElements {
  static constexpr std::size_t kStride = 2 * BatchLane::kSize;
  float* re;

  KELVO_INLINE float* Im() const { return re + BatchLane::kSize; }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return {Lane::Load(re + k * kStride), Lane::Load(Im() + k * kStride)};
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& value) const {
    value.re.Store(re + k * kStride);
    value.im.Store(Im() + k * kStride);
  }
  KELVO_INLINE BatchElements From(std::size_t k) const { return {re + k * kStride}; }
};
template <class Lane>
KELVO_INLINE BatchElements<Lane> BatchAt(float* memory) {
  return {memory};
}

// Elements out of split-complex arrays of the caller's.
struct ConstElements {
  const float* re;
  const float* im;

  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return {Lane::Load(re + k), Lane::Load(im + k)};
  }
  KELVO_INLINE ConstElements From(std::size_t k) const { return {re + k, im + k}; }
};

// How a pass finds its twiddles, and how many elements one vector covers.
struct Batch {
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
struct Single {
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

// An element; its imaginary part, where that is known to be zero, is not read.
template <bool kIsReal, class Lane, class Elements>
KELVO_INLINE Complex<Lane> LoadPart(const Elements& elements, std::size_t k) {
  if constexpr (kIsReal) return {Lane::Load(elements.re + k * elements.kStride), Lane::Broadcast(0.0f)};
  return elements.template Load<Lane>(k);
}

// Where a pass multiplies by its twiddles. After the butterflies, it splits a transform into shorter ones (decimation
// in frequency). Before them, it joins shorter ones (decimation in time): the same passes in reverse order take
// elements in the order that the others leave them in, and leave outputs in natural order.
enum class Decimation { frequency, time };

// Multiplies element j of each of the blocks that a pass splits or joins by its twiddle; that of the first is 1.
template <class Mode, class Lane, std::size_t kRadix>
KELVO_INLINE void MultiplyByTwiddles(Complex<Lane> (&x)[kRadix], const Pass& pass, std::size_t span, std::size_t j) {
  if (span == 1) return;
  const typename Mode::Twiddles twiddles(pass, kRadix, span, j);
#pragma GCC unroll 16
  for (std::size_t s = 1; s < kRadix; ++s) x[s] = x[s] * twiddles.template At<Lane>(s);
}

// Runs `pass` over all blocks of a transform of `length` elements. In place, Single needs spans of whole vectors: the
// last vector of any other span overlaps the one before, whose elements must still be there.
//
// Out of line: inside a whole transform its vectors would compete for registers with the loops around them, which made
// inverse transforms up to 5 % slower.
//
// Of a last pass the span is known to be 1.
template <std::size_t kRadix, class Mode, class Lane, bool kIsLast = false,
          Decimation kDecimation = Decimation::frequency, class Source, class Target>
__attribute__((noinline)) static void RunPass(Source source, Target to, const Pass& shared, std::size_t length) {
  constexpr std::size_t kStep = Mode::template kStep<Lane>;
  const Pass pass = shared;  // which no store can change
  const std::size_t span = kIsLast ? 1 : pass.span;
  for (std::size_t block = 0; block < length; block += kRadix * span) {
    for (std::size_t j = 0; j < span; j += kStep) {
      if (kStep > 1 && j + kStep > span) j = span - kStep;
      const Source from = source.From(block + j);
      const Target target = to.From(block + j);
      Complex<Lane> x[kRadix];
#pragma GCC unroll 16
      for (std::size_t s = 0; s < kRadix; ++s) x[s] = from.template Load<Lane>(s * span);
      if constexpr (kDecimation == Decimation::time) MultiplyByTwiddles<Mode>(x, pass, span, j);
      Butterfly(x);
      if constexpr (kDecimation == Decimation::frequency) MultiplyByTwiddles<Mode>(x, pass, span, j);
#pragma GCC unroll 16
      for (std::size_t s = 0; s < kRadix; ++s) target.Store(s * span, x[s]);
    }
  }
}

// The same for any odd radix: a direct sum over the roots of unity. Elements that come in pairs have the same factors
// up to the sign of the sine, so their sums and differences are formed first. `scratch` holds 2 * radix vectors.
template <bool kIsReal, class Mode, class Lane, class Elements>
static void RunDirectPass(Elements from, Elements to, const Pass& pass, std::size_t length, float* scratch) {
  constexpr std::size_t kStep = Mode::template kStep<Lane>;
  const std::size_t radix = pass.radix;
  const std::size_t span = pass.span;
  const std::size_t half = radix / 2;
  const auto pairs = BatchAt<Lane>(scratch);  // sums at a, differences at half + a
  for (std::size_t block = 0; block < length; block += radix * span) {
    for (std::size_t j = 0; j < span; j += kStep) {
      if (kStep > 1 && j + kStep > span) j = span - kStep;
      const Complex<Lane> first = LoadPart<kIsReal, Lane>(from, block + j);
      Complex<Lane> total = first;
      for (std::size_t a = 0; a < half; ++a) {
        const std::size_t s = pass.order[a];
        const Complex<Lane> x = LoadPart<kIsReal, Lane>(from, block + j + s * span);
        const Complex<Lane> y = LoadPart<kIsReal, Lane>(from, block + j + (radix - s) * span);
        pairs.Store(a, x + y);
        pairs.Store(half + a, TimesMinusI(x - y));
        total = total + (x + y);
      }
      to.Store(block + j, total);
      const typename Mode::Twiddles twiddles(pass, radix, span, j);
      const auto store = [&](std::size_t s, const Complex<Lane>& value) __attribute__((always_inline)) {
        if (span == 1) {
          to.Store(block + s, value);
          return;
        }
        to.Store(block + j + s * span, value * twiddles.template At<Lane>(s));
      };
      // A few outputs together, whose sums do not wait for each other.
      constexpr std::size_t kTile = kIsReal ? 4 : 2;
      for (std::size_t b = 0; b < half; b += kTile) {
        if (b + kTile > half) b = half - kTile;
        DirectSum<kIsReal, Lane> sums[kTile];
#pragma GCC unroll 4
        for (std::size_t t = 0; t < kTile; ++t) sums[t] = DirectSum<kIsReal, Lane>(first);
        for (std::size_t a = 0; a < half; ++a) {
          const Complex<Lane> sum = LoadPart<kIsReal, Lane>(pairs, a);
          const Lane difference_re = Lane::Load(pairs.re + (half + a) * pairs.kStride);
          const Lane difference_im = Lane::Load(pairs.Im() + (half + a) * pairs.kStride);
          const std::size_t root = pass.root_step * a + b;
#pragma GCC unroll 4
          for (std::size_t t = 0; t < kTile; ++t) {
            sums[t].Add(sum, {difference_re, difference_im}, Lane::Broadcast(pass.root_re[root + t]),
                        Lane::Broadcast(pass.root_im[root + t]));
          }
        }
#pragma GCC unroll 4
        for (std::size_t t = 0; t < kTile; ++t) {
          store(pass.order[b + t], sums[t].Output());
          store(radix - pass.order[b + t], sums[t].MirroredOutput());
        }
      }
    }
  }
}

// A pass of any radix between arrays of elements, which may be one and the same.
template <class Mode, class Lane, class Elements>
KELVO_INLINE void RunAnyPass(Elements from, Elements to, const Pass& pass, std::size_t length, float* scratch) {
  switch (pass.radix) {
    case 2: return RunPass<2, Mode, Lane>(from, to, pass, length);
    case 3: return RunPass<3, Mode, Lane>(from, to, pass, length);
    case 4: return RunPass<4, Mode, Lane>(from, to, pass, length);
    case 5: return RunPass<5, Mode, Lane>(from, to, pass, length);
    case 7: return RunPass<7, Mode, Lane>(from, to, pass, length);
    case 8: return RunPass<8, Mode, Lane>(from, to, pass, length);
    case 10: return RunPass<10, Mode, Lane>(from, to, pass, length);
    case 16: return RunPass<16, Mode, Lane>(from, to, pass, length);
    default: break;
  }
  if (pass.is_real) {
    RunDirectPass<true, Mode, Lane>(from, to, pass, length, scratch);
  } else {
    RunDirectPass<false, Mode, Lane>(from, to, pass, length, scratch);
  }
}

// Passes first .. last - 1 in place, over a block that pass `first` finds whole. What a pass leaves are transforms of
// their own: those of a long block are finished one after the other, each while it lies in L1.
template <class Mode, class Lane, class Elements>
KELVO_INLINE void RunPasses(Elements elements, const TransformView& plan, std::size_t first, std::size_t last,
                            std::size_t length, float* scratch) {
  for (std::size_t block = length; first < last; ++first) {
    const bool is_in_l1 = block <= kMaxL1Length;
    // One pass over all blocks, or all passes over one block after the other.
    for (std::size_t begin = 0; begin < length; begin += block) {
      for (std::size_t i = first; i < (is_in_l1 ? last : first + 1); ++i) {
        RunAnyPass<Mode, Lane>(elements.From(begin), elements.From(begin), plan.passes[i], block, scratch);
      }
    }
    if (is_in_l1) return;
    block = plan.passes[first].span;
  }
}

// The last pass of transforms in lanes, which gives element i to outputs.Store. Only the radices that plans commonly
// end with are compiled for every kind of output; others take a pass in place, and a copy.
template <class Lane, class Outputs>
KELVO_INLINE void RunLastPass(BatchElements<Lane> elements, const Outputs& outputs, const Pass& pass,
                              std::size_t length, float* scratch) {
  switch (pass.radix) {
    case 3: return RunPass<3, Batch, Lane, true>(elements, outputs, pass, length);
    case 4: return RunPass<4, Batch, Lane, true>(elements, outputs, pass, length);
    case 5: return RunPass<5, Batch, Lane, true>(elements, outputs, pass, length);
    case 8: return RunPass<8, Batch, Lane, true>(elements, outputs, pass, length);
    default: break;
  }
  if constexpr (Outputs::kTakesRadix16) {
    if (pass.radix == 16) return RunPass<16, Batch, Lane, true>(elements, outputs, pass, length);
  }
  RunAnyPass<Batch, Lane>(elements, elements, pass, length, scratch);
  for (std::size_t i = 0; i < length; ++i) outputs.Store(i, elements.template Load<Lane>(i));
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

// Calls use.operator()<Lane>(k) for `count` elements: for vectors from element k on, of which the last one overlaps the
// one before, or for single elements where there is no whole vector.
template <class Run>
KELVO_INLINE void ForEachVector(std::size_t count, const Run& use) {
  if (Floats::kSize > 1 && count < Floats::kSize) {
    for (std::size_t k = 0; k < count; ++k) use.template operator()<Lanes<float, 1>>(k);
    return;
  }
  for (std::size_t k = 0; k < count; k += Floats::kSize) {
    if (Floats::kSize > 1 && k + Floats::kSize > count) k = count - Floats::kSize;
    use.template operator()<Floats>(k);
  }
}

// Which way blocks go: into lanes, or back.
enum class To { lanes, blocks };

// Transposes blocks into lanes, or back: element i of the block that begins at begins[l] is lane l of vector i. Lanes
// that go back to the same block are equal.
template <To kTo = To::lanes, class Lane, class Blocks>
static void TransposeBlocks(BatchElements<Lane> lanes, Blocks blocks, const unsigned* begins, std::size_t block) {
  std::size_t i = 0;
  AtWidth(
      block < Lane::kSize ? block : Lane::kSize, [&]<class Tile>() __attribute__((always_inline)) {
        if constexpr (Tile::kSize > 1 && Tile::kSize <= Lane::kSize) {
          while (i < block) {
            if (i + Tile::kSize > block) i = block - Tile::kSize;
            for (std::size_t l = 0; l < Lane::kSize; l += Tile::kSize) {
              const auto transpose = [&](auto* in_blocks, float* in_lanes) __attribute__((always_inline)) {
                Tile rows[Tile::kSize];
#pragma GCC unroll 16
                for (std::size_t r = 0; r < Tile::kSize; ++r) {
                  if constexpr (kTo == To::lanes) rows[r] = Tile::Load(in_blocks + begins[l + r] + i);
                  if constexpr (kTo == To::blocks) rows[r] = Tile::Load(in_lanes + (i + r) * lanes.kStride + l);
                }
                Transpose(rows);
#pragma GCC unroll 16
                for (std::size_t r = 0; r < Tile::kSize; ++r) {
                  if constexpr (kTo == To::lanes) rows[r].Store(in_lanes + (i + r) * lanes.kStride + l);
                  if constexpr (kTo == To::blocks) rows[r].Store(in_blocks + begins[l + r] + i);
                }
              };
              transpose(blocks.re, lanes.re);
              transpose(blocks.im, lanes.Im());
            }
            i += Tile::kSize;
          }
        }
      });
  for (; i < block; ++i) {
    for (std::size_t l = 0; l < Lane::kSize; ++l) {
      const std::size_t in_lanes = i * lanes.kStride + l, in_blocks = begins[l] + i;
      if constexpr (kTo == To::lanes) {
        lanes.re[in_lanes] = blocks.re[in_blocks];
        lanes.Im()[in_lanes] = blocks.im[in_blocks];
      } else {
        blocks.re[in_blocks] = lanes.re[in_lanes];
        blocks.im[in_blocks] = lanes.Im()[in_lanes];
      }
    }
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
