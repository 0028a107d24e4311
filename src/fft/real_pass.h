// Transforms of real frames, for kernel files: a pass over real samples in front of complex ones.
//
// With x[0 .. 7] the samples that lie span = n / 8 apart from the j-th one on, and w = exp(-2 pi i / n), the pass leaves
//     a[j] = x0 + x4 + x2 + x6,  a[j + span] = x1 + x5 + x3 + x7    a real signal, whose bins are every fourth bin
//     c_s[j] = w^(s j) (sum of x_q exp(-2 pi i s q / 8))            s = 1 .. 3: three complex signals of `span` elements
// Output m of the transform of c_s is bin 8 m + s, or beyond the middle the conjugate of bin n - 8 m - s. The half of the
// bins that mirrors the other is never computed, and only a quarter of the signal is left to pack as pairs and to split,
// which takes an eighth less additions than to pack all of it.
#pragma once

#include <cstddef>

#include "fft/passes.h"
#include "fft/real_split.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Runs the real pass. source.Sample<Lane>(i) gives samples i, i + 1, ... of a frame, or sample i of several;
// target.StoreReal(i, a) takes the real signal, target.Store(s * span + j, c) the complex ones.
template <class Placing, class Lane, class Source, class Target>
static void RunRealPass(Source source, Target target, Pass pass) {
  constexpr std::size_t kStep = Placing::template kStep<Lane>;
  const std::size_t span = pass.span;
  const Lane root_half = Lane::Broadcast(0x1.6a09e6p-1f);  // cos(pi / 4)
  for (std::size_t j = 0; j < span; j += kStep) {
    if (kStep > 1 && j + kStep > span) j = span - kStep;
    Lane sum[4];
    Lane difference[4];
#pragma GCC unroll 4
    for (std::size_t q = 0; q < 4; ++q) {
      const Lane a = source.template Sample<Lane>(j + q * span);
      const Lane b = source.template Sample<Lane>(j + (q + 4) * span);
      sum[q] = a + b;
      difference[q] = a - b;
    }
    target.StoreReal(j, sum[0] + sum[2]);
    target.StoreReal(j + span, sum[1] + sum[3]);
    const Lane re = (difference[1] - difference[3]) * root_half;
    const Lane im = (difference[1] + difference[3]) * root_half;
    const typename Placing::Twiddles twiddles(pass, 4, span, j);
    const Complex<Lane> first_conjugate{difference[0] + re, difference[2] + im};
    const Complex<Lane> second{sum[0] - sum[2], sum[3] - sum[1]};
    const Complex<Lane> third{difference[0] - re, difference[2] - im};
    target.Store(span + j, ConjugateTimes(first_conjugate, twiddles.template At<Lane>(1)));
    target.Store(2 * span + j, second * twiddles.template At<Lane>(2));
    target.Store(3 * span + j, third * twiddles.template At<Lane>(3));
  }
}

// Where the bins of the real signal of a quarter of the length go.
template <class Sink>
struct EveryFourthBin {
  const Sink& sink;

  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    sink.Alone(4 * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    sink.Ascending(4 * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    sink.Descending(4 * k, x);
  }
};

// A real pass leaves its signals one behind the other. Two floats of the real one are an element.
template <class Lane>
struct SignalsSideBySide {
  SideBySideElements<Lane> elements;

  KELVO_INLINE void StoreReal(std::size_t i, Lane a) const { a.Store(elements.re + i * Lane::kSize); }
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& c) const { elements.Store(i, c); }
};

// Takes the outputs of a complex signal to the sink as bins.
template <class Sink>
struct BinsOfSignal {
  const Sink& sink;
  const unsigned* bin;
  const float* sign;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    sink.Signed(bin[i], sign[i], x);
  }
  KELVO_INLINE BinsOfSignal From(std::size_t i) const { return {sink, bin + i, sign + i}; }
};

// The bins of frames side by side; `work` has room for plan.ElementCount() elements.
template <class Lane, class Source, class Sink>
KELVO_INLINE void FrameBinsSideBySide(const FrameTransformView& plan, const Source& source,
                                      SideBySideElements<Lane> work, float* scratch, const Sink& sink) {
  const std::size_t span = plan.real_pass.span;
  RunRealPass<SideBySide, Lane>(source, SignalsSideBySide<Lane>{work}, plan.real_pass);
  RealBinsSideBySide<Lane>(plan.rest, work, work, scratch, EveryFourthBin<Sink>{sink});
  for (std::size_t s = 1; s < 4; ++s) {
    const std::size_t first = (s - 1) * span;
    TransformSideBySideTo<Lane>(plan.rest.inner, work.From(s * span),
                                BinsOfSignal<Sink>{sink, plan.bin + first, plan.sign + first}, scratch);
  }
}

// The signals of one frame: the real one, then real and imaginary parts of the others, at s * span + j.
struct SignalsOfOne {
  float* real;
  NeighbourElements elements;

  template <class Lane>
  KELVO_INLINE void StoreReal(std::size_t i, Lane a) const {
    a.Store(real + i);
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& c) const {
    elements.Store(i, c);
  }
};

// Where the outputs of signal s lie when those of a frame lie one behind the other: from s times this on.
constexpr std::size_t OutputsOfSignalStride(std::size_t span) { return OutputStride(span + 1); }

template <class Sink>
struct OutputsFrom {
  const Sink& sink;
  std::size_t first;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    sink.Store(first + k, x);
  }
};

// Floats of scratch that FrameBinsOfOne needs.
constexpr std::size_t FrameBinsOfOneScratch(std::size_t span) {
  return OutputStride(2 * span) + 2 * OutputStride(4 * span) + RealBinsOfOneScratch(span);
}

// One frame. The sink of a real transform receives the bins of the real signal that is left, its sink.Store(k, x) the
// outputs of the others, which are still to be numbered as bins.
template <class Source, class Sink>
KELVO_INLINE void FrameBinsOfOne(const FrameTransformView& plan, const Source& source, const Sink& sink,
                                 float* scratch) {
  const std::size_t span = plan.real_pass.span;
  float* const parts = scratch + OutputStride(2 * span);
  const SignalsOfOne signals{scratch, {parts, parts + OutputStride(4 * span)}};
  float* const inner_scratch = parts + 2 * OutputStride(4 * span);
  AtWidth(span, [&]<class Lane>() __attribute__((always_inline)) {
    RunRealPass<Neighbours, Lane>(source, signals, plan.real_pass);
  });
  RealBinsOfOne(plan.rest, SamplePairs{signals.real}, sink, inner_scratch);
  for (std::size_t s = 1; s < 4; ++s) {
    TransformOne(plan.rest.inner, signals.elements.From(s * span),
                 OutputsFrom<Sink>{sink, s * OutputsOfSignalStride(span)}, inner_scratch);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
