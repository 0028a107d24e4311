// Gathers the windowed samples of a batch of frames, for kernel files.
//
// Samples of one frame are adjacent in memory; a register tile of them is transposed, so that sample i of all frames is
// one vector. Frames overlap: a hop further on, frame t has the samples that frame t + 1 had before, which takes one
// shuffle each instead of a new transpose.
#pragma once

#include <cstddef>

#include "simd/lanes.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {
inline namespace KELVO_LEVEL {

using Simd::BroadcastOperand;
using Simd::Lanes;
using Simd::PrefetchToL2;
using Simd::ShiftDown;

// Where vectors of samples go: one after the other, or sample i as the slot[i]-th.
template <class Lane>
struct InOrder {
  float* to;

  KELVO_INLINE void Store(std::size_t i, Lane samples) const { samples.Store(to + i * Lane::kSize); }
  KELVO_INLINE InOrder From(std::size_t i) const { return {to + i * Lane::kSize}; }
};
template <class Lane>
struct BySlot {
  float* to;
  const unsigned* slot;

  KELVO_INLINE void Store(std::size_t i, Lane samples) const { samples.Store(to + slot[i] * Lane::kSize); }
  KELVO_INLINE BySlot From(std::size_t i) const { return {to, slot + i}; }
};

// Prefetches the cache line of an element, which need not lie inside the array.
KELVO_INLINE void PrefetchRead(const float* array, std::size_t element) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::size_t>(array) + element * sizeof(float)));
}

// Stores Lane::kSize windowed samples of frames that begin `hop` apart, then those `step` further on while their offset
// is below `limit`, each time place_step after the ones before. A step is a hop, unless there is only one. Not inlined:
// on its own, the loop keeps its tile in registers.
template <class Lane, class Place>
[[gnu::noinline]] static void GatherRuns(Place place, std::size_t place_step, const float* samples, std::size_t hop,
                                         const float* window, std::size_t step, std::size_t limit) {
  constexpr std::size_t kSize = Lane::kSize;
  Lane rows[kSize];
  const float* last = samples;
#pragma GCC unroll 16
  for (std::size_t t = 0; t < kSize; ++t) {
    if (t > 0) last += hop;
    rows[t] = Lane::Load(last);
    PrefetchRead(last, 2 * kSize - 1);
  }
  Transpose(rows);
  for (;;) {
#pragma GCC unroll 16
    for (std::size_t i = 0; i < kSize; ++i) place.Store(i, rows[i] * BroadcastOperand<Lane>{window + i});
    if (limit <= step) return;
    limit -= step;
    last += step;
    window += step;
    place = place.From(place_step);
#pragma GCC unroll 16
    for (std::size_t i = 0; i < kSize; ++i) rows[i] = ShiftDown(rows[i], last[i]);
  }
}

struct WindowedFrames {
  const float* window;
  // Samples outside begin .. end - 1 are zeros.
  std::size_t begin;
  std::size_t end;
  std::size_t fft_n;
  FrameSource source;

  // Lane::kSize samples from each first + q * span on, q = 0 .. 7, one run after the other.
  template <class Lane>
  KELVO_INLINE void GatherTile(float* to, std::size_t first, std::size_t span) const {
    constexpr std::size_t kRunN = 8;
    const InOrder<Lane> place{to};
    // Runs share what lies a hop apart if whole spans make up the hop.
    const std::size_t spans = source.hop / span;
    const std::size_t step = spans > 0 && spans < kRunN && spans * span == source.hop ? spans : kRunN;
    for (std::size_t q = 0; q < step; ++q) {
      const std::size_t i = first + q * span;
      PrefetchNextBatch<Lane>(i);
      GatherRuns<Lane>(place.From(q * Lane::kSize), step * Lane::kSize, source.samples + i, source.hop, window + i,
                       step * span, fft_n - i);
    }
    for (std::size_t q = 0; q < kRunN; ++q) {
      ClearOutside<Lane>(place.From(q * Lane::kSize), first + q * span, Lane::kSize);
    }
  }

  // All samples, sample i as the slot[i]-th vector, or the i-th if slot is null.
  template <class Lane>
  KELVO_INLINE void GatherAll(float* to, const unsigned* slot) const {
    if (slot == nullptr) {
      GatherInto<Lane>(InOrder<Lane>{to});
    } else {
      GatherInto<Lane>(BySlot<Lane>{to, slot});
    }
  }

 private:
  // What the next batch reads first, a cache line a frame; to be called for each vector of samples.
  template <class Lane>
  KELVO_INLINE void PrefetchNextBatch(std::size_t i) const {
    constexpr std::size_t kLineN = 16;
    if (source.ahead == 0 || i >= source.hop || i % kLineN >= Lane::kSize) return;
    for (std::size_t t = 0; t < Lane::kSize; ++t) {
      const std::size_t sample = source.ahead + i + t * source.hop;
      PrefetchToL2(source.samples, sample, sample + 1);
    }
  }

  template <class Lane, class Place>
  KELVO_INLINE void GatherInto(const Place& place) const {
    constexpr std::size_t kSize = Lane::kSize;
    if (fft_n < kSize) {
      alignas(64) float samples[kSize];
      for (std::size_t i = 0; i < fft_n; ++i) {
        for (std::size_t t = 0; t < kSize; ++t) samples[t] = source.samples[t * source.hop + i] * window[i];
        place.Store(i, Lane::Load(samples));
      }
    } else {
      const auto gather = [&](std::size_t i, std::size_t step, std::size_t limit) __attribute__((always_inline)) {
        PrefetchNextBatch<Lane>(i);
        GatherRuns<Lane>(place.From(i), step, source.samples + i, source.hop, window + i, step, limit);
      };
      const std::size_t step = source.hop >= kSize && source.hop < fft_n ? source.hop : fft_n;
      for (std::size_t i = 0; i < step; i += kSize) {
        if (i + kSize > step) i = step - kSize;
        gather(i, step, fft_n - kSize + 1 - i);
      }
      // The last samples of an incomplete step that is no multiple of a vector.
      if (fft_n % step % kSize != 0) gather(fft_n - kSize, 1, 1);
    }
    ClearOutside<Lane>(place, 0, fft_n);
  }

  // Clears those of `count` samples from sample i on that lie outside the window. Multiplied by zero, an infinity would
  // become a NaN.
  template <class Lane, class Place>
  KELVO_INLINE void ClearOutside(const Place& place, std::size_t i, std::size_t count) const {
    if (i >= begin && i + count <= end) return;
    for (std::size_t l = 0; l < count; ++l) {
      if (i + l < begin || i + l >= end) place.Store(l, Lane::Broadcast(0.0f));
    }
  }
};

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Stft
