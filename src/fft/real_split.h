// Between the bins of a real signal and the half-length transform that computes them, for kernel files.
//
// With z[j] = x[2j] + i x[2j+1] and h = n / 2, the bins X of x follow from the transform Z of z:
//     E = (Z[k] + conj Z[h-k]) / 2,  O = -i (Z[k] - conj Z[h-k]) / 2,  w = exp(-2 pi i k / n)
//     X[k] = E + w O,  X[h-k] = conj(E - w O)
// and back. Bins k and h - k are made together, k = 1 .. h/2; bins 0 and h are real and come from Z[0].
#pragma once

#include <cstddef>

#include "fft/batch_transform.h"
#include "fft/single_transform.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Bins go to a sink:
//   sink.SelfConjugate(k, x)  bin 0, and bin n/2 of an even n, which mirror themselves
//   sink.Forward(k, x)        bins k, k + 1, ... in the lanes of x
//   sink.Mirrored(k, x)       bins k, k - 1, ... in the lanes of x
// In a batch every call is about one bin, with one signal a lane. Of a single transform bins may come twice, with equal
// values. Outputs of the inner transform are read by output.Load<Lane>(k) and, descending from k,
// LoadReversed<Lane>(k).

template <class Lane, class Output, class Sink>
KELVO_INLINE void SelfConjugateBins(const RealTransformView& plan, const Output& output, const Sink& sink) {
  const Complex<Lane> first = output.template Load<Lane>(0);
  const Lane zero = Lane::Broadcast(0.0f);
  if (!plan.IsHalfLength()) {
    sink.SelfConjugate(0, first);
    if (plan.fft_n % 2 == 0) sink.SelfConjugate(plan.fft_n / 2, output.template Load<Lane>(plan.fft_n / 2));
    return;
  }
  sink.SelfConjugate(0, Complex<Lane>{first.re + first.im, zero});
  sink.SelfConjugate(plan.fft_n / 2, Complex<Lane>{first.re - first.im, zero});
}

// The last of the others that begin below the middle.
inline std::size_t LastInnerBin(const RealTransformView& plan) {
  return plan.IsHalfLength() ? plan.inner.length / 2 : (plan.fft_n - 1) / 2;
}

// The others: bins `first`, `first` + `step` ... up to `last`, with their mirror images where those are made from the
// same outputs. A single transform has a step of 1.
template <class Mode, class Lane, class Output, class Sink>
static void InnerBins(const RealTransformView& plan, Output output, Sink sink, std::size_t first, std::size_t last,
                      std::size_t step) {
  constexpr std::size_t kStep = Mode::template kStep<Lane>;
  if (!plan.IsHalfLength()) {
    for (std::size_t k = first; k <= last; k += kStep * step) {
      if (kStep > 1 && k + kStep > last + 1) k = last + 1 - kStep;
      sink.Forward(k, output.template Load<Lane>(k));
    }
    return;
  }
  const std::size_t half_n = plan.fft_n / 2;
  const Lane half = Lane::Broadcast(0.5f);
  for (std::size_t k = first; k <= last; k += kStep * step) {
    if (kStep > 1 && k + kStep > last + 1) k = last + 1 - kStep;
    // Halved before they are added, so that a bin within range never passes through an infinity.
    const Complex<Lane> a = Scale(output.template Load<Lane>(k), half);
    const Complex<Lane> b = Conjugate(Scale(output.template LoadReversed<Lane>(half_n - k), half));
    const Complex<Lane> w{Mode::template LoadTwiddle<Lane>(plan.split_re + k),
                          Mode::template LoadTwiddle<Lane>(plan.split_im + k)};
    const Complex<Lane> even = a + b;
    const Complex<Lane> odd = TimesMinusI(a - b) * w;
    sink.Forward(k, even + odd);
    sink.Mirrored(half_n - k, Conjugate(even - odd));
  }
}

// Outputs of transforms in lanes, digit-reversed as the passes left them.
template <class Lane>
struct BatchOutput {
  BatchElements<Lane> elements;
  const unsigned* position;

  template <class>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return elements.template Load<Lane>(position[k]);
  }
  template <class>
  KELVO_INLINE Complex<Lane> LoadReversed(std::size_t k) const {
    return Load<Lane>(k);
  }
};

// Outputs of one transform in natural order.
struct NaturalOutput {
  SplitElements elements;

  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return elements.Load<Lane>(k);
  }
  template <class Lane>
  KELVO_INLINE Complex<Lane> LoadReversed(std::size_t k) const {
    const Complex<Lane> forward = elements.Load<Lane>(k + 1 - Lane::kSize);
    return {Reverse(forward.re), Reverse(forward.im)};
  }
};

// The bins of real signals in lanes, whose samples lie in `elements` as the inner transform takes them.
template <class Lane, class Sink>
KELVO_INLINE void RealBatchBins(const RealTransformView& plan, BatchElements<Lane> elements, float* scratch,
                                const Sink& sink) {
  const BatchOutput<Lane> output{elements, plan.inner.position};
  const std::size_t last = LastInnerBin(plan);
  TransformBatch<Lane>(
      plan.inner, elements, scratch, [&](std::size_t s, std::size_t step) __attribute__((always_inline)) {
        if (s == 0) SelfConjugateBins<Lane>(plan, output, sink);
        InnerBins<Batch, Lane>(plan, output, sink, s > 0 ? s : step, last, step);
        if (s > 0 && s < step - s) InnerBins<Batch, Lane>(plan, output, sink, step - s, last, step);
      });
}

// The bins of one real signal, from the outputs of the inner transform.
template <class Sink>
KELVO_INLINE void RealSingleBins(const RealTransformView& plan, const NaturalOutput& output, const Sink& sink) {
  SelfConjugateBins<Lanes<float, 1>>(plan, output, sink);
  const std::size_t last = LastInnerBin(plan);
  AtWidth(
      last, [&]<class Lane>()
                __attribute__((always_inline)) { InnerBins<Single, Lane>(plan, output, sink, 1, last, 1); });
}

// Sample pairs of a contiguous real signal as complex elements.
struct SamplePairs {
  const float* samples;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    const auto pair = Deinterleave(Lane::Load(samples + 2 * k), Lane::Load(samples + 2 * k + Lane::kSize));
    return {pair.first, pair.second};
  }
  KELVO_INLINE SamplePairs From(std::size_t k) const { return {samples + 2 * k}; }
};

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
