// Transforms as a convolution with a chirp [Bluestein 1970], for kernel files.
//
// From j k = (j^2 + k^2 - (k - j)^2) / 2 follows, with f[j] = exp(-pi i j^2 / n),
//     X[k] = sum of x[j] exp(-2 pi i j k / n) = f[k] sum of (x[j] f[j]) conj f[k - j]
// The sum is a convolution. It is computed by two transforms of a length that has small prime factors only, with zeros
// behind x[j] f[j], and the transform of conj f, the response, in the plan. Nothing is put in order: the passes there
// leave the digit-reversed order that the response lies in and that the passes back take.
//
// Its transforms add up all elements where a bin may be the sum of few. So each signal is scaled by a power of two,
// which brings its largest part to between 2 and 4: nothing overflows that the sums would not, and denormals cost
// neither accuracy nor time. An infinity or a NaN among the elements leaves no output finite.
#pragma once

#include <cstddef>

#include "fft/complex.h"
#include "fft/fft_kernels.h"
#include "fft/passes.h"
#include "fft/plan_view.h"
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
// work.Multiply(begin, length) once their outputs are complete, and the same passes back. Outputs stay in the order
// that the passes leave them in, as the response is. What a pass leaves of a long block is finished part by part, each
// while it lies in a cache.
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

// The innermost step of a convolution: the last pass there, whose span is 1, the products with the response, whose
// parts are swapped, and the first pass back. The responses of an element are kResponseLaneN floats from those of the
// next; in mode Single each lane has its own.
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

// The scale of one transform.
template <class Source>
static ChirpScale<Lanes<float, 1>> FindScale(const Source& source, std::size_t length) {
  using One = Lanes<float, 1>;
  ChirpScale<Floats> wide;
  ChirpScale<One> scale;
  ForEachVector(
      length, [&]<class Lane>(std::size_t k) __attribute__((always_inline)) {
        const Complex<Lane> x = source.template Load<Lane>(k);
        if constexpr (Lane::kSize == Floats::kSize) {
          wide.Include(x);
        } else {
          scale.Include(x);
        }
      });
  float parts[Floats::kSize];
  wide.largest.Store(parts);
  for (const float& part : parts) scale.Include(Complex<One>{One::Load(&part), One::Load(&part)});
  return scale;
}

// The inner convolution of a chirp plan: passes over adjacent elements leave blocks that go on in lanes.
struct SingleConvolution {
  SplitElements elements;
  const Chirp& chirp;
  float* lanes;

  // Parts that split a group of blocks would not find their responses.
  KELVO_INLINE bool IsInParts(std::size_t length, const Pass& pass) const {
    return length > kMaxL1Elements && pass.span % (kResponseLaneN * chirp.block) == 0;
  }
  template <Decimation kDecimation>
  KELVO_INLINE void Run(std::size_t begin, const Pass& pass, std::size_t length) const {
    // In place, vectors must not overlap.
    const std::size_t whole = pass.span & -pass.span;
    AtWidth(
        whole, [&]<class Lane>() __attribute__((always_inline)) {
          RunConvolutionPass<kDecimation, Single, Lane>(elements.From(begin), pass, length);
        });
  }
  KELVO_INLINE void Multiply(std::size_t begin, std::size_t length) const {
    const auto blocks = BatchAt<Floats>(lanes);
    for (std::size_t b = begin; b < begin + length; b += Floats::kSize * chirp.block) {
      // The lanes behind the last block hold it as well.
      unsigned begins[Floats::kSize];
      for (std::size_t l = 0; l < Floats::kSize; ++l) {
        const std::size_t at = b + l * chirp.block, last = begin + length - chirp.block;
        begins[l] = static_cast<unsigned>(at < last ? at : last);
      }
      TransposeBlocks(blocks, elements, begins, chirp.block);
      RunConvolution(LaneConvolution<Single, Floats>{blocks, chirp, chirp.ResponseIndex(b)}, chirp.inner, chirp.split_n,
                     chirp.inner.pass_n - 1, 0, chirp.block);
      TransposeBlocks<To::blocks>(blocks, elements, begins, chirp.block);
    }
  }
};

// What enters a convolution and leaves it. Vectors begin at multiples of their size. `rest` has room for two: the last
// of the elements, which need not be whole, or the last whole one of the outputs and what follows it.
struct ChirpEnds {
  const Chirp& chirp;
  float largest;
  SplitElements rest;

  template <class Lane, class Source>
  KELVO_INLINE Complex<Lane> Enter(const Source& source, std::size_t k) const {
    return Scale<Lane>().Enter(source.template Load<Lane>(k), Factors().Load<Lane>(k));
  }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Leave(const Complex<Lane>& x, std::size_t k) const {
    return Scale<Lane>().Leave(Swapped(x), Factors().Load<Lane>(k));
  }

 private:
  template <class Lane>
  KELVO_INLINE ChirpScale<Lane> Scale() const {
    return {Lane::Broadcast(largest)};
  }
  KELVO_INLINE ConstElements Factors() const { return {chirp.factor_re, chirp.factor_im}; }
};

// Elements of the source as they enter the first pass of the convolution, and zeros behind them.
template <class Source>
struct EnteringElements {
  const Source& source;
  ChirpEnds ends;
  std::size_t length, first = 0;

  KELVO_INLINE EnteringElements From(std::size_t k) const { return {source, ends, length, first + k}; }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t i) const {
    const std::size_t k = first + i;
    if (k >= length) return {Lane::Broadcast(0.0f), Lane::Broadcast(0.0f)};
    return k + Lane::kSize > length ? ends.rest.Load<Lane>(0) : ends.Enter<Lane>(source, k);
  }
  void FillRest() const {
    const Complex<Floats> zero{Floats::Broadcast(0.0f), Floats::Broadcast(0.0f)};
    float parts[4 * Floats::kSize];
    const SplitElements last{parts, parts + 2 * Floats::kSize};
    last.Store(0, ends.Enter<Floats>(source, length - Floats::kSize));
    last.Store(Floats::kSize, zero);
    ends.rest.Store(0, last.Load<Floats>(Floats::kSize - length % Floats::kSize));
  }
};

// Takes the outputs that the sink needs to it, as they leave the last pass of the convolution.
template <class Sink>
struct LeavingOutputs {
  const Sink& sink;
  ChirpEnds ends;
  std::size_t first = 0;

  KELVO_INLINE LeavingOutputs From(std::size_t k) const { return {sink, ends, first + k}; }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    const std::size_t k = first + i;
    if (k + 2 * Lane::kSize <= OutputCount()) return sink.Store(k, ends.Leave(x, k));
    if (k >= OutputCount()) return;
    const Complex<Lane> output = ends.Leave(x, k);
    ends.rest.Store(k - RestBegin(), output);
    if (k == RestBegin()) sink.Store(k, output);
  }
  // In a vector that overlaps the one before.
  void StoreRest() const {
    const std::size_t k = OutputCount() - Floats::kSize;
    sink.Store(k, ends.rest.Load<Floats>(k - RestBegin()));
  }

 private:
  KELVO_INLINE std::size_t OutputCount() const { return ends.chirp.output_n; }
  // The last whole vector.
  KELVO_INLINE std::size_t RestBegin() const { return (OutputCount() / Floats::kSize - 1) * Floats::kSize; }
};

// The first pass of a convolution, or the last one back. Spans are whole vectors (ChooseInnerLength). Only the radices
// that inner plans begin with are compiled for every kind of source and sink.
template <Decimation kDecimation, class From, class To>
KELVO_INLINE void RunOuterPass(const From& from, const To& to, const Pass& pass, std::size_t length) {
  switch (pass.radix) {
    case 3: return RunPass<3, Single, Floats, false, kDecimation>(from, to, pass, length);
    case 5: return RunPass<5, Single, Floats, false, kDecimation>(from, to, pass, length);
    default: return RunPass<4, Single, Floats, false, kDecimation>(from, to, pass, length);
  }
}

// One transform of a chirp plan.
template <class Source, class Sink>
static void TransformByChirp(const TransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  const Chirp& chirp = *plan.chirp;
  const std::size_t inner_n = chirp.inner.length;
  const std::size_t stride = ArrayStride(inner_n);
  const SplitElements elements{scratch, scratch + stride};
  float* const lanes = scratch + 2 * stride;
  const SplitElements rest{lanes, lanes + 2 * Floats::kSize};
  const ChirpEnds ends{chirp, FindScale(source, plan.length).largest.v, rest};
  const Pass& outer = chirp.inner.passes[0];

  const EnteringElements<Source> entering{source, ends, plan.length};
  entering.FillRest();
  RunOuterPass<Decimation::frequency>(entering, elements, outer, inner_n);
  const SingleConvolution convolution{elements, chirp, lanes};
  const std::size_t part = convolution.IsInParts(inner_n, outer) ? outer.span : inner_n;
  for (std::size_t begin = 0; begin < inner_n; begin += part) {
    RunConvolution(convolution, chirp.inner, 1, chirp.split_n, begin, part);
  }
  const LeavingOutputs<Sink> leaving{sink, ends};
  RunOuterPass<Decimation::time>(elements, leaving, outer, inner_n);
  leaving.StoreRest();
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
