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
#include "fft/chirp_scale.h"
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

// Where a pass multiplies by its twiddles. After the butterflies, it splits a transform into shorter ones (decimation in
// frequency). Before them, it joins shorter ones (decimation in time): the same passes in reverse order take elements in
// the order that the others leave them in, and leave outputs in natural order.
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

// A pass of a convolution, in place: of the radices that its transforms begin with. The last pass is another step.
template <Decimation kDecimation, class Mode, class Lane, class Elements>
KELVO_INLINE void RunConvolutionPass(Elements elements, const Pass& pass, std::size_t length) {
  switch (pass.radix) {
    case 3: return RunPass<3, Mode, Lane, false, kDecimation>(elements, elements, pass, length);
    case 4: return RunPass<4, Mode, Lane, false, kDecimation>(elements, elements, pass, length);
    case 5: return RunPass<5, Mode, Lane, false, kDecimation>(elements, elements, pass, length);
    default: return RunPass<8, Mode, Lane, false, kDecimation>(elements, elements, pass, length);
  }
}

// A convolution over a block of elements that pass `first` finds whole: passes first .. last - 1 there,
// work.Multiply(begin, length) once their outputs are complete, and the same passes back. Outputs stay in the order that
// the passes leave them in, as the response is. What a pass leaves of a long block is finished part by part, each while
// it lies in a cache.
template <class Work>
static void RunConvolution(const Work& work, const TransformView& plan, std::size_t first, std::size_t last,
                           std::size_t begin, std::size_t length) {
  const std::size_t end = first < last && work.IsInParts(length, plan.passes[first]) ? first + 1 : last;
  for (std::size_t i = first; i < end; ++i) work.template Run<Decimation::frequency>(begin, plan.passes[i], length);
  if (end == last) {
    work.Multiply(begin, length);
  } else {
    const std::size_t span = plan.passes[first].span;
    for (std::size_t part = begin; part < begin + length; part += span) {
      RunConvolution(work, plan, end, last, part, span);
    }
  }
  for (std::size_t i = end; i > first; --i) work.template Run<Decimation::time>(begin, plan.passes[i - 1], length);
}

// The innermost step of a convolution: the last pass there, whose span is 1, the products with the response, whose parts
// are swapped, and the first pass back. The responses of an element are kResponseLaneN floats from those of the next;
// in mode Single each lane has its own.
template <std::size_t kRadix, class Mode, class Lane>
__attribute__((noinline)) static void MultiplySpectrum(BatchElements<Lane> elements, const float* response_re,
                                                       const float* response_im, std::size_t length) {
  for (std::size_t block = 0; block < length; block += kRadix) {
    const auto part = elements.From(block);
    Complex<Lane> x[kRadix];
#pragma GCC unroll 16
    for (std::size_t s = 0; s < kRadix; ++s) x[s] = part.template Load<Lane>(s);
    Butterfly(x);
#pragma GCC unroll 16
    for (std::size_t s = 0; s < kRadix; ++s) {
      const std::size_t at = (block + s) * kResponseLaneN;
      x[s] = Swapped(x[s] * Complex<Lane>{Mode::template LoadTwiddle<Lane>(response_re + at),
                                          Mode::template LoadTwiddle<Lane>(response_im + at)});
    }
    Butterfly(x);
#pragma GCC unroll 16
    for (std::size_t s = 0; s < kRadix; ++s) part.Store(s, x[s]);
  }
}

// The inner convolution of a chirp plan in lanes: of whole transforms or, in mode Single, of the blocks of a group.
template <class Mode, class Lane>
struct LaneConvolution {
  BatchElements<Lane> elements;
  const Chirp& chirp;
  std::size_t response;  // the place of the first one

  // Blocks are shorter than that, so parts are whole blocks.
  static constexpr bool IsInParts(std::size_t length, const Pass&) { return length > kMaxL1Length; }
  template <Decimation kDecimation>
  KELVO_INLINE void Run(std::size_t begin, const Pass& pass, std::size_t length) const {
    RunConvolutionPass<kDecimation, Batch, Lane>(elements.From(begin), pass, length);
  }
  KELVO_INLINE void Multiply(std::size_t begin, std::size_t length) const {
    const std::size_t radix = chirp.inner.passes[chirp.inner.pass_n - 1].radix;
    for (std::size_t block = begin; block < begin + length; block += chirp.block) {
      const auto part = elements.From(block);
      const std::size_t at = response + chirp.ResponseIndex(block);
      const float* const re = chirp.response_re + at;
      const float* const im = chirp.response_im + at;
      switch (radix) {
        case 4: MultiplySpectrum<4, Mode>(part, re, im, chirp.block); break;
        case 8: MultiplySpectrum<8, Mode>(part, re, im, chirp.block); break;
        default: MultiplySpectrum<16, Mode>(part, re, im, chirp.block); break;
      }
    }
  }
};

// The transforms of a chirp plan in lanes, in place and in natural order.
template <class Lane>
static void TransformBatchByChirp(const TransformView& plan, BatchElements<Lane> elements, float* scratch) {
  const Chirp& chirp = *plan.chirp;
  const std::size_t inner_n = chirp.inner.length;
  const auto convolved = BatchAt<Lane>(scratch);
  const auto factor = [&](std::size_t k) __attribute__((always_inline)) {
    return Complex<Lane>{Lane::Broadcast(chirp.factor_re[k]), Lane::Broadcast(chirp.factor_im[k])};
  };
  ChirpScale<Lane> scale;
  for (std::size_t k = 0; k < plan.length; ++k) scale.Include(elements.template Load<Lane>(k));
  for (std::size_t k = 0; k < plan.length; ++k) {
    convolved.Store(k, scale.Enter(elements.template Load<Lane>(k), factor(k)));
  }
  const Lane zero = Lane::Broadcast(0.0f);
  for (std::size_t k = plan.length; k < inner_n; ++k) convolved.Store(k, Complex<Lane>{zero, zero});
  RunConvolution(LaneConvolution<Batch, Lane>{convolved, chirp, 0}, chirp.inner, 0, chirp.inner.pass_n - 1, 0, inner_n);
  for (std::size_t k = 0; k < chirp.output_n; ++k) {
    elements.Store(k, scale.Leave(Swapped(convolved.template Load<Lane>(k)), factor(k)));
  }
}

// Transforms in lanes, in place; output k ends at element plan.position[k]. `scratch` holds BatchTransformScratch(plan)
// floats for each lane.
//
// The outputs of a long transform are used while they lie in L1: use(s, step) is called when outputs s, s + step, ...
// and step - s, 2 * step - s, ... are complete, for s = 0 .. step / 2.
template <class Lane, class Use>
KELVO_INLINE void TransformBatch(const TransformView& plan, BatchElements<Lane> elements, float* scratch,
                                 const Use& use) {
  if (plan.chirp != nullptr) {
    TransformBatchByChirp<Lane>(plan, elements, scratch);
    return use(0, 1);
  }
  if (plan.length <= kMaxL1Length) {
    RunPasses<Batch, Lane>(elements, plan, 0, plan.pass_n, plan.length, scratch);
    return use(0, 1);
  }
  RunPasses<Batch, Lane>(elements, plan, 0, 1, plan.length, scratch);
  const std::size_t radix = plan.passes[0].radix;
  const std::size_t span = plan.passes[0].span;
  for (std::size_t s = 0; s <= radix / 2; ++s) {
    RunPasses<Batch, Lane>(elements.From(s * span), plan, 1, plan.pass_n, span, scratch);
    if (s > 0 && s < radix - s) {
      RunPasses<Batch, Lane>(elements.From((radix - s) * span), plan, 1, plan.pass_n, span, scratch);
    }
    use(s, radix);
  }
}
template <class Lane>
KELVO_INLINE void TransformBatch(const TransformView& plan, BatchElements<Lane> elements, float* scratch) {
  if (plan.chirp != nullptr) return TransformBatchByChirp<Lane>(plan, elements, scratch);
  RunPasses<Batch, Lane>(elements, plan, 0, plan.pass_n, plan.length, scratch);
}

// The same for plans of two passes or more, but for the last pass, which gives element i to outputs.Store: it is output
// plan.output[i].
template <class Lane, class Outputs>
KELVO_INLINE void TransformBatchTo(const TransformView& plan, BatchElements<Lane> elements, const Outputs& outputs,
                                   float* scratch) {
  const std::size_t last = plan.pass_n - 1;
  if (plan.length <= kMaxL1Length) {
    for (std::size_t i = 0; i < last; ++i) {
      RunAnyPass<Batch, Lane>(elements, elements, plan.passes[i], plan.length, scratch);
    }
    return RunLastPass<Lane>(elements, outputs, plan.passes[last], plan.length, scratch);
  }
  RunPasses<Batch, Lane>(elements, plan, 0, 1, plan.length, scratch);
  const std::size_t block = plan.passes[0].span;
  for (std::size_t begin = 0; begin < plan.length; begin += block) {
    RunPasses<Batch, Lane>(elements.From(begin), plan, 1, last, block, scratch);
    RunLastPass<Lane>(elements.From(begin), outputs.From(begin), plan.passes[last], block, scratch);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
