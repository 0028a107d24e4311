// Transforms of real frames, for kernel files: a pass over real samples, and what it leaves.
#pragma once

#include <cstddef>

#include "fft/real_pass.h"
#include "fft/real_split.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Where the bins of the real signal that is left go.
template <class Sink>
struct SteppedBins {
  const Sink& sink;
  std::size_t step;

  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    sink.Alone(step * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    sink.Ascending(step * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    sink.Descending(step * k, x);
  }
};

// A real pass leaves its signals one behind the other. Two floats of the real one are an element.
template <class Lane>
struct SignalsSideBySide {
  float* real;
  SideBySideElements<Lane> elements;
  const unsigned* sample_at;

  KELVO_INLINE void StoreSums(std::size_t j, Lane even, Lane odd) const {
    StoreReal(sample_at[2 * j], even);
    StoreReal(sample_at[2 * j + 1], odd);
  }
  KELVO_INLINE void StoreReal(std::size_t i, Lane a) const { a.Store(real + i * Lane::kSize); }
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& c) const { elements.Store(i, c); }
};

// Samples where a real pass leaves what it makes of them: the q-th, if q is even, and the next one are the
// parts of an element.
template <class Lane>
struct SamplesInPlace {
  SideBySideElements<Lane> elements;
  std::size_t span;

  template <class>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load((q % 2 == 0 ? elements.re : elements.im) + (q / 2 * span + j) * elements.kStride);
  }
};

// Some of the samples that a pass over eight takes: `count` for each q, from sample first + q span on.
template <class Lane>
struct SampleRuns {
  const float* samples;
  std::size_t first;
  std::size_t count;

  template <class>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load(samples + (q * count + j - first) * Lane::kSize);
  }
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

// The bins of frames side by side; `work` has room for plan.ElementCount() elements. source.All<Lane>(to, slot) gathers
// all samples, sample i as the slot[i]-th vector, source.Runs<Lane>(to, first, span) Lane::kSize samples from each
// first + q span on, q = 0 .. 7, one run behind the other.
template <class Lane, class Source, class Sink>
KELVO_INLINE void FrameBinsSideBySide(const FrameTransformView& plan, const Source& source,
                                      SideBySideElements<Lane> work, float* scratch, const Sink& sink) {
  const std::size_t span = plan.rest.inner.length;
  const SteppedBins<Sink> stepped{sink, plan.signal_n};
  constexpr std::size_t kLongestInPlace = kLongestNear * 16 / Lane::kSize;
  if (plan.order == nullptr && plan.ElementCount() > kLongestInPlace) {
    // A few samples at a time are gathered, and used while they are in the nearest cache.
    const SignalsSideBySide<Lane> signals{work.re, work, nullptr};
    for (std::size_t j = 0; j < span; j += Lane::kSize) {
      if (j + Lane::kSize > span) j = span - Lane::kSize;
      source.template Runs<Lane>(scratch, j, span);
      RunRealPass<SideBySide, Lane>(SampleRuns<Lane>{scratch, j, Lane::kSize}, signals, plan.real_pass, j,
                                    j + Lane::kSize);
    }
    RealBinsSideBySide<Lane>(plan.rest, work, work, scratch, stepped);
  } else {
    // The real signal is written in an order of its own, which leaves it no place among the samples.
    const SignalsSideBySide<Lane> signals{scratch, work, plan.sample_at};
    const SamplesInPlace<Lane> samples{work, span};
    source.template All<Lane>(work.re, plan.slot);
    if (plan.order != nullptr) {
      RunCoprimeRealPass<SideBySide, Lane>(samples, signals, span);
    } else {
      RunRealPass<SideBySide, Lane>(samples, signals, plan.real_pass, 0, span);
    }
    RealBinsSideBySide<Lane>(plan.rest, SideBySideAt<Lane>(scratch), work, scratch + 2 * span * Lane::kSize, stepped);
  }
  for (std::size_t s = 1; s < plan.signal_n; ++s) {
    const std::size_t first = (s - 1) * span;
    TransformSideBySideTo<Lane>(plan.rest.inner, work.From(s * span),
                                BinsOfSignal<Sink>{sink, plan.bin + first, plan.sign + first}, scratch);
  }
}

// The signals of one frame: what becomes the real one, and real and imaginary parts of the others, at s * span + j.
struct SignalsOfOne {
  float* real;
  NeighbourElements elements;
  std::size_t span;

  template <class Lane>
  KELVO_INLINE void StoreReal(std::size_t i, Lane a) const {
    a.Store(real + i);
  }
  template <class Lane>
  KELVO_INLINE void StoreSums(std::size_t j, Lane even, Lane odd) const {
    even.Store(real + j);
    odd.Store(real + span + j);
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& c) const {
    elements.Store(i, c);
  }
};

// The samples of one frame. For a pass over sixteen they have been put in order.
struct SamplesOfOne {
  const float* samples;
  std::size_t span;

  template <class Lane>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load(samples + q * span + j);
  }
};

// A sink that begins further on.
template <class Sink>
struct OutputsFrom {
  const Sink& sink;
  std::size_t first;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    sink.Store(first + k, x);
  }
};

// The outputs of one frame lie one behind the other: first the bins of the real signal, then, from FirstOutput on, those
// of the complex ones, each in natural order or, behind a pass over sixteen, kSignalLanes of them side by side.
constexpr std::size_t FirstOutput(const FrameTransformView& plan) { return OutputStride(plan.rest.inner.length + 1); }
inline constexpr std::size_t kSignalLanes = 8;

constexpr std::size_t OutputCount(const FrameTransformView& plan) {
  const std::size_t span = plan.rest.inner.length;
  return FirstOutput(plan) + (plan.order != nullptr ? kSignalLanes : plan.signal_n - 1) * span;
}

// Floats of scratch that FrameBinsOfOne needs at most.
constexpr std::size_t FrameBinsOfOneScratch(std::size_t fft_n, std::size_t span) {
  return OutputStride(2 * span) + 2 * OutputStride(fft_n / 2) + OutputStride(fft_n) + RealBinsOfOneScratch(span);
}

// One frame. The sink of a real transform receives the bins of the real signal that is left, its sink.Store(k, x) the
// outputs of the others.
template <class Sink>
KELVO_INLINE void FrameBinsOfOne(const FrameTransformView& plan, const float* frame, const Sink& sink, float* scratch) {
  const std::size_t span = plan.rest.inner.length;
  const auto take = [&scratch](std::size_t count) {
    float* const taken = scratch;
    scratch += OutputStride(count);
    return taken;
  };
  float* const real = take(2 * span);
  float* const re = take(plan.signal_n * span);
  const SignalsOfOne signals{real, {re, take(plan.signal_n * span)}, span};
  if (plan.order == nullptr) {
    AtWidth(span, [&]<class Lane>() __attribute__((always_inline)) {
      RunRealPass<Neighbours, Lane>(SamplesOfOne{frame, span}, signals, plan.real_pass, 0, span);
    });
    RealBinsOfOne(plan.rest, SamplePairs{real}, sink, scratch);
    for (std::size_t s = 1; s < plan.signal_n; ++s) {
      TransformOne(plan.rest.inner, signals.elements.From(s * span),
                   OutputsFrom<Sink>{sink, FirstOutput(plan) + (s - 1) * span}, scratch);
    }
    return;
  }

  float* const ordered = take(plan.fft_n);
  for (std::size_t j = 0; j < span; ++j) {
    for (std::size_t q = 0; q < 16; ++q) ordered[q * span + j] = frame[plan.order[16 * j + q]];
  }
  AtWidth(span, [&]<class Lane>() __attribute__((always_inline)) {
    RunCoprimeRealPass<Neighbours, Lane>(SamplesOfOne{ordered, span}, signals, span);
  });
  for (std::size_t j = 0; j < span; ++j) {
    ordered[plan.sample_at[2 * j]] = real[j];
    ordered[plan.sample_at[2 * j + 1]] = real[span + j];
  }
  RealBinsOfOne(plan.rest, SamplePairs{ordered}, sink, scratch);
  // The signals are too short for neighbours and lie side by side themselves, the last one twice.
  unsigned begins[kSignalLanes];
  for (std::size_t l = 0; l < kSignalLanes; ++l) {
    begins[l] = static_cast<unsigned>((l + 1 < plan.signal_n ? l + 1 : l) * span);
  }
  AtWidth(kSignalLanes, [&]<class Lane>() __attribute__((always_inline)) {
    const auto lanes = SideBySideAt<Lane>(ordered);
    for (std::size_t l = 0; l < kSignalLanes; l += Lane::kSize) {
      GatherBlocks<Lane>(lanes, signals.elements, begins + l, span);
      TransformSideBySide<Lane>(plan.rest.inner, lanes, lanes, scratch);
      for (std::size_t i = 0; i < span; ++i) {
        sink.Store(FirstOutput(plan) + kSignalLanes * i + l, lanes.template Load<Lane>(i));
      }
    }
  });
}

// Calls use(bin, sign, at) for each output of the complex signals, which lies at `at` from the first one on.
template <class Use>
KELVO_INLINE void ForEachOutput(const FrameTransformView& plan, const Use& use) {
  const std::size_t span = plan.rest.inner.length;
  for (std::size_t s = 1; s < plan.signal_n; ++s) {
    const std::size_t first = (s - 1) * span;
    if (plan.order != nullptr) {
      for (std::size_t i = 0; i < span; ++i) use(plan.bin[first + i], plan.sign[first + i], kSignalLanes * i + s - 1);
      continue;
    }
    std::size_t m = 0;
    for (; 8 * m + s < 4 * span; ++m) use(8 * m + s, 1.0f, first + m);
    for (; m < span; ++m) use(8 * (span - m) - s, -1.0f, first + m);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
