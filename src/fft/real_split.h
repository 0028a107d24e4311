// Between the bins of a real signal and the half-length transform that computes them, for kernel files.
//
// With z[j] = x[2j] + i x[2j+1] and h = n / 2, the bins X of x follow from the transform Z of z:
//     E = (Z[k] + conj Z[h-k]) / 2,  O = -i (Z[k] - conj Z[h-k]) / 2,  w = exp(-2 pi i k / n)
//     X[k] = E + w O,  X[h-k] = conj(E - w O)
// and back. Bins k and h - k are made together, k = 1 .. h/2; bins 0 and h are real and come from Z[0].
#pragma once

#include <cstddef>

#include "fft/passes.h"
#include "fft/single_transform.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Gives a sink the bins 0 .. n/2 of a real signal:
//   sink.Alone(k, x)       bin 0, and bin n/2 of an even n, which have no mirror image among the bins of the signal
//   sink.Ascending(k, x)   bins k, k + 1, ... in the lanes of x
//   sink.Descending(k, x)  bins k, k - 1, ... in the lanes of x
// Side by side every call is about one bin, one signal a lane. Neighbours may be given twice, with equal values.
// Outputs of the inner transform are read through `output(k)`: side by side k is one output, else the first of several.
template <class Lane, class Output, class Sink>
KELVO_INLINE void EndBins(const RealTransformView& plan, const Output& output, const Sink& sink) {
  const Complex<Lane> first = output.template At<Lane>(0);
  const Lane zero = Lane::Broadcast(0.0f);
  if (!plan.IsHalved()) {
    sink.Alone(0, first);
    if (plan.fft_n % 2 == 0) sink.Alone(plan.fft_n / 2, output.template At<Lane>(plan.fft_n / 2));
    return;
  }
  sink.Alone(0, Complex<Lane>{first.re + first.im, zero});
  sink.Alone(plan.fft_n / 2, Complex<Lane>{first.re - first.im, zero});
}

// The others: bins `first`, `first` + `step` ... below the middle, with their mirror images where those are made from the
// same outputs. Neighbours take all, with a step of 1.
template <class Placing, class Lane, class Output, class Sink>
KELVO_INLINE void InnerBins(const RealTransformView& plan, const Output& output, const Sink& sink, std::size_t first,
                            std::size_t step) {
  constexpr std::size_t kStep = Placing::template kStep<Lane>;
  if (!plan.IsHalved()) {
    const std::size_t last = (plan.fft_n - 1) / 2;
    for (std::size_t k = first; k <= last; k += kStep * step) {
      if (kStep > 1 && k + kStep > last + 1) k = last + 1 - kStep;
      sink.Ascending(k, output.template At<Lane>(k));
    }
    return;
  }
  const std::size_t half_n = plan.fft_n / 2;
  const std::size_t last = half_n / 2;
  const Lane half = Lane::Broadcast(0.5f);
  for (std::size_t k = first; k <= last; k += kStep * step) {
    if (kStep > 1 && k + kStep > last + 1) k = last + 1 - kStep;
    // Halved before they are added, so that a bin within range never passes through an infinity.
    const Complex<Lane> a = Scale(output.template At<Lane>(k), half);
    const Complex<Lane> b = Conjugate(Scale(output.template Before<Lane>(half_n - k), half));
    const Complex<Lane> w{Placing::template LoadTwiddle<Lane>(plan.split_re + k),
                          Placing::template LoadTwiddle<Lane>(plan.split_im + k)};
    const Complex<Lane> even = a + b;
    const Complex<Lane> odd = TimesMinusI(a - b) * w;
    sink.Ascending(k, even + odd);
    sink.Descending(half_n - k, Conjugate(even - odd));
  }
}

// Outputs of transforms side by side, digit-reversed as the passes left them.
template <class Source>
struct ReversedOutput {
  Source elements;
  const unsigned* position;

  template <class Lane>
  KELVO_INLINE Complex<Lane> At(std::size_t k) const {
    return elements.template Load<Lane>(position[k]);
  }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Before(std::size_t k) const {
    return At<Lane>(k);
  }
};

// Outputs of one transform in natural order; Before(k) has outputs k, k - 1, ... in its lanes.
struct NaturalOutput {
  NeighbourElements elements;

  template <class Lane>
  KELVO_INLINE Complex<Lane> At(std::size_t k) const {
    return elements.Load<Lane>(k);
  }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Before(std::size_t k) const {
    const Complex<Lane> ascending = elements.Load<Lane>(k + 1 - Lane::kSize);
    return {Reverse(ascending.re), Reverse(ascending.im)};
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& value) const {
    elements.Store(k, value);
  }
};

// The bins of real signals side by side, whose samples `source` gives as the elements of the inner transform.
template <class Lane, class Source, class Sink>
KELVO_INLINE void RealBinsSideBySide(const RealTransformView& plan, const Source& source, SideBySideElements<Lane> work,
                                     float* scratch, const Sink& sink) {
  const ReversedOutput<SideBySideElements<Lane>> output{work, plan.inner.position};
  TransformSideBySide<Lane>(plan.inner, source, work, scratch,
                            [&](std::size_t s, std::size_t step) __attribute__((always_inline)) {
    if (s == 0) EndBins<Lane>(plan, output, sink);
    InnerBins<SideBySide, Lane>(plan, output, sink, s > 0 ? s : step, step);
    if (s > 0 && s < step - s) InnerBins<SideBySide, Lane>(plan, output, sink, step - s, step);
  });
}

// Real parts, then imaginary parts, each from a cache line on.
constexpr std::size_t OutputStride(std::size_t length) { return (length + 15) / 16 * 16; }

// Floats of scratch that RealBinsOfOne needs.
constexpr std::size_t RealBinsOfOneScratch(std::size_t n) { return 2 * OutputStride(n) + TransformOneScratch(n); }

// The bins of one real signal.
template <class Source, class Sink>
KELVO_INLINE void RealBinsOfOne(const RealTransformView& plan, const Source& source, const Sink& sink, float* scratch) {
  const std::size_t length = plan.inner.length;
  const std::size_t stride = OutputStride(length);
  const NaturalOutput output{{scratch, scratch + stride}};
  TransformOne(plan.inner, source, output, scratch + 2 * stride);
  EndBins<Lanes<float, 1>>(plan, output, sink);
  AtWidth(plan.IsHalved() ? length / 2 : (length - 1) / 2, [&]<class Lane>() __attribute__((always_inline)) {
    InnerBins<Neighbours, Lane>(plan, output, sink, 1, 1);
  });
}

// Elements of the inner transform out of a contiguous real signal: sample pairs if it is halved, else single samples
// as complex values without an imaginary part.
struct SamplePairs {
  const float* samples;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    const auto pair = Deinterleave(Lane::Load(samples + 2 * k), Lane::Load(samples + 2 * k + Lane::kSize));
    return {pair.first, pair.second};
  }
};
struct SingleSamples {
  const float* samples;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return {Lane::Load(samples + k), Lane::Broadcast(0.0f)};
  }
};

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
