// Transforms of real frames, for kernel files: a pass over real samples, and the transforms of what it leaves.
#pragma once

#include <cstddef>

#include "fft/fft_kernels.h"
#include "fft/real_pass.h"
#include "fft/real_split.h"

namespace kelvo::Fft {
inline namespace KELVO_LEVEL {

// Every step-th bin of the sink, as those of the real subsignal are; with a step of 1 the sink itself.
template <class Sink>
struct SteppedBins {
  const Sink& sink;
  std::size_t step;

  template <class Lane>
  KELVO_INLINE void SelfConjugate(std::size_t k, const Complex<Lane>& x) const {
    sink.Store(step * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Forward(std::size_t k, const Complex<Lane>& x) const {
    sink.Store(step * k, x);
  }
  template <class Lane>
  KELVO_INLINE void Mirrored(std::size_t k, const Complex<Lane>& x) const {
    sink.Store(step * k, x);
  }
};

// The subsignals of a real pass, one after the other. Two floats of the real one are an element.
template <class Lane>
struct BatchSubsignals {
  float* real;
  BatchElements<Lane> elements;
  const unsigned* sample_at;

  KELVO_INLINE void StoreSums(std::size_t j, Lane even, Lane odd) const {
    StoreReal(sample_at[2 * j], even);
    StoreReal(sample_at[2 * j + 1], odd);
  }
  KELVO_INLINE void StoreReal(std::size_t i, Lane a) const { a.Store(real + i * Lane::kSize); }
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& c) const { elements.Store(i, c); }
};

// Samples where a real pass stores its results: the q-th, if q is even, and the next one are the parts of an element.
template <class Lane>
struct SamplesInPlace {
  BatchElements<Lane> elements;
  std::size_t span;

  template <class>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load((q % 2 == 0 ? elements.re : elements.Im()) + (q / 2 * span + j) * elements.kStride);
  }
};

// Some of the samples that a pass over eight takes: `count` for each q, from sample first + q span on.
template <class Lane>
struct SampleTile {
  const float* samples;
  std::size_t first;
  std::size_t count;

  template <class>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load(samples + (q * count + j - first) * Lane::kSize);
  }
};

// Takes the outputs of a complex subsignal to the sink as bins.
template <class Sink>
struct SubsignalBins {
  // Frames short enough for a batch have no plan that ends in a radix of 16.
  static constexpr bool kTakesRadix16 = false;
  const Sink& sink;
  const unsigned* bin;
  const float* sign;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t i, const Complex<Lane>& x) const {
    sink.StoreConjugatedIf(bin[i], sign[i], x);
  }
  KELVO_INLINE SubsignalBins From(std::size_t i) const { return {sink, bin + i, sign + i}; }
};

// The bins of frames in lanes; `work` has room for plan.ElementCount() elements. source.GatherAll<Lane>(to, slot)
// gathers all samples, source.GatherTile<Lane>(to, first, span) Lane::kSize samples from each first + q span on,
// q = 0 .. 7, one run after the other.
template <class Lane, class Source, class Sink>
KELVO_INLINE void FrameBatchBins(const FrameTransformView& plan, const Source& source, BatchElements<Lane> work,
                                 float* scratch, const Sink& sink) {
  const std::size_t span = plan.sub_plan.inner.length;
  constexpr std::size_t kLongestInPlace = kMaxL1Length * 16 / Lane::kSize;
  BatchElements<Lane> real = work;
  if (!plan.HasRealPass()) {
    source.template GatherAll<Lane>(work.re, plan.slot);
    if (!plan.sub_plan.IsHalfLength()) {
      for (std::size_t i = 0; i < plan.fft_n; ++i) Lane::Broadcast(0.0f).Store(work.Im() + i * work.kStride);
    }
  } else if (plan.order == nullptr && plan.ElementCount() > kLongestInPlace) {
    // Gathered in tiles, which the pass reads while they are in L1.
    const BatchSubsignals<Lane> subsignals{work.re, work, nullptr};
    for (std::size_t j = 0; j < span; j += Lane::kSize) {
      if (j + Lane::kSize > span) j = span - Lane::kSize;
      source.template GatherTile<Lane>(scratch, j, span);
      RunRealPass<Batch, Lane>(SampleTile<Lane>{scratch, j, Lane::kSize}, subsignals, plan.real_pass, j,
                               j + Lane::kSize);
    }
  } else {
    // The order of the real subsignal differs from that of the samples, so it cannot be written in place.
    const BatchSubsignals<Lane> subsignals{scratch, work, plan.sample_at};
    const SamplesInPlace<Lane> samples{work, span};
    source.template GatherAll<Lane>(work.re, plan.slot);
    if (plan.order != nullptr) {
      RunCoprimeRealPass<Batch, Lane>(samples, subsignals, span);
    } else {
      RunRealPass<Batch, Lane>(samples, subsignals, plan.real_pass, 0, span);
    }
    real = BatchAt<Lane>(scratch);
    scratch += 2 * span * Lane::kSize;
  }
  RealBatchBins<Lane>(plan.sub_plan, real, scratch, SteppedBins<Sink>{sink, plan.BinStep()});
  for (std::size_t s = 1; s < plan.subsignal_n; ++s) {
    const std::size_t first = (s - 1) * span;
    TransformBatchTo<Lane>(plan.sub_plan.inner, work.From(s * span),
                           SubsignalBins<Sink>{sink, plan.bin + first, plan.sign + first}, scratch);
  }
}

// The subsignals of one frame: the real one, and real and imaginary parts of the others, at s * span + j.
struct SingleSubsignals {
  float* real;
  SplitElements elements;
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
struct SingleFrameSamples {
  const float* samples;
  std::size_t span;

  template <class Lane>
  KELVO_INLINE Lane At(std::size_t j, std::size_t q) const {
    return Lane::Load(samples + q * span + j);
  }
};

// Bins of one signal in split-complex arrays.
struct SplitBins {
  SplitElements row;

  template <class Lane>
  KELVO_INLINE void SelfConjugate(std::size_t k, const Complex<Lane>& x) const {
    row.Store(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Forward(std::size_t k, const Complex<Lane>& x) const {
    row.Store(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Mirrored(std::size_t k, const Complex<Lane>& x) const {
    row.Store(k + 1 - Lane::kSize, Complex<Lane>{Reverse(x.re), Reverse(x.im)});
  }
};

// The bins of one real signal of contiguous samples, in whose memory, 2 * OutputStride(length) floats, the outputs of
// the inner transform are left. The row may be the scratch memory.
KELVO_INLINE void RealBins(const RealTransformView& plan, float* samples, SplitElements row, const FftKernels& fft,
                           float* scratch) {
  const SplitElements output{samples, samples + OutputStride(plan.inner.length)};
  fft.transform_real(output.re, output.im, samples, plan, scratch);
  RealSingleBins(plan, NaturalOutput{output}, SplitBins{row});
}

// One frame, whose samples are overwritten; its results lie in the row that is returned. `frame` holds FrameMemorySize
// floats and `scratch` FrameScratchSize.
KELVO_INLINE SplitElements SingleFrameRow(const FrameTransformView& plan, float* frame, const FftKernels& fft,
                                          float* scratch) {
  const std::size_t row_stride = RowStride(plan);
  if (!plan.HasRealPass()) {
    const SplitElements row{scratch, scratch + row_stride};
    RealBins(plan.sub_plan, frame, row, fft, scratch);
    return row;
  }
  const std::size_t span = plan.sub_plan.inner.length;
  const SplitElements row{frame, frame + row_stride};
  const SplitElements outputs = row.From(FirstOutput(plan));
  float* const real = scratch;
  const std::size_t part_stride = OutputStride(plan.ElementCount());
  float* const re = real + 2 * OutputStride(span);
  const SingleSubsignals subsignals{real, {re, re + part_stride}, span};
  scratch = re + 2 * part_stride;
  if (plan.order == nullptr) {
    AtWidth(
        span, [&]<class Lane>() __attribute__((always_inline)) {
          RunRealPass<Single, Lane>(SingleFrameSamples{frame, span}, subsignals, plan.real_pass, 0, span);
        });
    RealBins(plan.sub_plan, real, row, fft, scratch);
    for (std::size_t s = 1; s < plan.subsignal_n; ++s) {
      const SplitElements from = subsignals.elements.From(s * span);
      const SplitElements to = outputs.From((s - 1) * span);
      fft.transform_elements(to.re, to.im, from.re, from.im, plan.sub_plan.inner, scratch);
    }
    return row;
  }

  float* const ordered = scratch;
  scratch += plan.fft_n;
  for (std::size_t j = 0; j < span; ++j) {
    for (std::size_t q = 0; q < 16; ++q) ordered[q * span + j] = frame[plan.order[16 * j + q]];
  }
  AtWidth(
      span, [&]<class Lane>() __attribute__((always_inline)) {
        RunCoprimeRealPass<Single, Lane>(SingleFrameSamples{ordered, span}, subsignals, span);
      });
  for (std::size_t j = 0; j < span; ++j) {
    ordered[plan.sample_at[2 * j]] = real[j];
    ordered[plan.sample_at[2 * j + 1]] = real[span + j];
  }
  RealBins(plan.sub_plan, ordered, row, fft, scratch);
  // The complex subsignals are too short for vectors of adjacent elements and run as a batch, which holds the last one
  // twice.
  unsigned begins[kInterleavedN];
  for (std::size_t l = 0; l < kInterleavedN; ++l) {
    begins[l] = static_cast<unsigned>((l + 1 < plan.subsignal_n ? l + 1 : l) * span);
  }
  static_assert(2 * kInterleavedN == 16);  // `ordered` holds a batch of spans
  fft.transform_interleaved(outputs.re, outputs.im, subsignals.elements.re, subsignals.elements.im, begins,
                            plan.sub_plan.inner, ordered);
  return row;
}

// Calls use(bin, sign, at) for each output of the complex subsignals; `at` counts from the first one.
template <class Use>
KELVO_INLINE void ForEachOutput(const FrameTransformView& plan, const Use& use) {
  const std::size_t span = plan.sub_plan.inner.length;
  for (std::size_t s = 1; s < plan.subsignal_n; ++s) {
    const std::size_t first = (s - 1) * span;
    if (plan.order != nullptr) {
      for (std::size_t i = 0; i < span; ++i) use(plan.bin[first + i], plan.sign[first + i], kInterleavedN * i + s - 1);
      continue;
    }
    std::size_t m = 0;
    for (; 8 * m + s < 4 * span; ++m) use(8 * m + s, 1.0f, first + m);
    for (; m < span; ++m) use(8 * (span - m) - s, -1.0f, first + m);
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Fft
