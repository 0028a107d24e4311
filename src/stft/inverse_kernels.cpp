// Inverse transforms of spectrogram columns and their overlap-add, in batches of frames or one by one.
//
// An inverse transform is the forward one with real and imaginary parts swapped before and after: here while elements
// are stored and while outputs are read, so the swap costs nothing.
#include "fft/fft_kernels.h"
#include "fft/real_split.h"
#include "simd/lanes.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {
namespace {

using namespace Fft;
using namespace Simd;

// Bin k of consecutive frames. Loads no column beyond the last.
template <class Lane>
struct FrameBins {
  const float* data;  // of the first frame
  std::size_t row_stride;
  std::size_t count;
  std::size_t left_n;  // of a long spectrogram, frames from the first on, those behind `count` included; else 0

  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    const float* row = data + k * row_stride;
    float completed[2 * Lane::kSize];
    if (count < Lane::kSize) {
      for (std::size_t i = 0; i < 2 * Lane::kSize; ++i) completed[i] = i < 2 * count ? row[i] : 0.0f;
      row = completed;
    }
    return SamplePairs{row}.Load<Lane>(0);
  }
  KELVO_INLINE Complex<Lane> LoadReversed(std::size_t k) const { return Load(k); }
  // Rows lie too far apart for the hardware prefetcher. What follows batch_n batches in the row is sent to L2: the rows
  // of a long spectrogram come from memory, which takes longer than some rows ahead.
  KELVO_INLINE void Prefetch(std::size_t k, std::size_t batch_n) const {
    constexpr std::size_t kLineFrames = 8;  // complex values of a cache line
    const float* const row = data + k * row_stride;
    const std::size_t frame_n = batch_n * Lane::kSize;
    for (std::size_t t = 0; t < (count < frame_n ? count : frame_n); t += kLineFrames) __builtin_prefetch(row + 2 * t);
    if (left_n < 2 * frame_n) return;
    for (std::size_t t = frame_n; t < 2 * frame_n; t += kLineFrames) __builtin_prefetch(row + 2 * t, 0, 2);
  }
  KELVO_INLINE FrameBins From(std::size_t frame) const {
    return {data + 2 * frame, row_stride, count - frame, left_n > frame ? left_n - frame : 0};
  }
};

// Bins of one frame in natural order.
template <class Lane>
struct SingleFrameBins {
  NaturalOutput bins;

  KELVO_INLINE Complex<Lane> Load(std::size_t k) const { return bins.Load<Lane>(k); }
  KELVO_INLINE Complex<Lane> LoadReversed(std::size_t k) const { return bins.LoadReversed<Lane>(k); }
};

// Stores the elements of the inner transform, swapped: in order from k, or mirrored.
template <class Mode, class Target>
struct ElementSink {
  Target elements;

  template <class Lane>
  KELVO_INLINE void Forward(std::size_t k, const Complex<Lane>& x) const {
    elements.Store(k, Swapped(x));
  }
  template <class Lane>
  KELVO_INLINE void Mirrored(std::size_t k, const Complex<Lane>& x) const {
    if constexpr (Mode::template kStep<Lane> == 1) {
      Forward(k, x);
    } else {
      Forward(k + 1 - Lane::kSize, Complex<Lane>{Reverse(x.re), Reverse(x.im)});
    }
  }
};

// The imaginary parts of bins 0 and n / 2 are 0 for a real signal and are ignored.
template <class Lane, bool kHalfLength, class Bins, class Sink>
KELVO_INLINE void MergeEndBins(const RealTransformView& plan, const Bins& bins, const Sink& sink) {
  const Lane zero = Lane::Broadcast(0.0f);
  const Lane first = bins.Load(0).re;
  const Lane last = bins.Load(plan.fft_n / 2).re;
  if constexpr (kHalfLength) {
    sink.Forward(0, Complex<Lane>{first + last, first - last});
  } else {
    sink.Forward(0, Complex<Lane>{first, zero});
    sink.Forward(plan.fft_n / 2, Complex<Lane>{last, zero});
  }
}

// Bins 1 .. LastMergedBin(...) are merged with their counterparts.
KELVO_INLINE std::size_t LastMergedBin(const RealTransformView& plan) {
  return plan.IsHalfLength() ? plan.fft_n / 4 : plan.fft_n / 2 - 1;
}

// The elements of the inner transform from a pair of bins: with h = n / 2 and w = exp(-2 pi i k / n),
//     E = X[k] + conj X[h-k],  O = (X[k] - conj X[h-k]) conj w,  Z[k] = E + i O,  Z[h-k] = conj E + i conj O.
// Without halving, the bin and its mirror image.
template <class Mode, class Lane, bool kHalfLength, class Bins, class Sink>
KELVO_INLINE void MergeBins(const RealTransformView& plan, std::size_t k, const Bins& bins, const Sink& sink) {
  const Complex<Lane> a = bins.Load(k);
  if constexpr (kHalfLength) {
    const std::size_t half_n = plan.fft_n / 2;
    const Complex<Lane> b = Conjugate(bins.LoadReversed(half_n - k));
    const Complex<Lane> w{Mode::template LoadTwiddle<Lane>(plan.split_re + k),
                          Mode::template LoadTwiddle<Lane>(plan.split_im + k)};
    const Complex<Lane> even = a + b;
    const Complex<Lane> odd = (a - b) * Conjugate(w);
    sink.Forward(k, Complex<Lane>{even.re - odd.im, even.im + odd.re});
    sink.Mirrored(half_n - k, Complex<Lane>{even.re + odd.im, odd.re - even.im});
  } else {
    sink.Forward(k, a);
    sink.Mirrored(plan.fft_n - k, Conjugate(a));
  }
}

// The elements of kBatchN batches of frames, one batch after the other in `work`. Two together read a row of the
// spectrogram in longer pieces. Not inlined: on its own, the step keeps its values in registers.
template <std::size_t kBatchN, bool kHalfLength>
[[gnu::noinline]] void MergeBatches(const RealTransformView& plan, const FrameBins<Floats>& bins, float* work) {
  using Sink = ElementSink<Batch, BatchElements<Floats>>;
  const std::size_t elements_n = 2 * plan.inner.length * Floats::kSize;
  constexpr std::size_t kRowsAhead = 4;  // two and eight are within 2 %
  const std::size_t last_merged = LastMergedBin(plan);
  for (std::size_t v = 0; v < kBatchN; ++v) {
    MergeEndBins<Floats, kHalfLength>(plan, bins.From(v * Floats::kSize), Sink{BatchAt<Floats>(work + v * elements_n)});
  }
  for (std::size_t k = 1; k <= last_merged; ++k) {
    if (k + kRowsAhead <= last_merged) {
      bins.Prefetch(k + kRowsAhead, kBatchN);
      bins.Prefetch(plan.fft_n / 2 - k - kRowsAhead, kBatchN);
    }
#pragma GCC unroll 2
    for (std::size_t v = 0; v < kBatchN; ++v) {
      MergeBins<Batch, Floats, kHalfLength>(plan, k, bins.From(v * Floats::kSize),
                                            Sink{BatchAt<Floats>(work + v * elements_n)});
    }
  }
}

// (a0 a1 ...) -> (carry a0 a1 ...); the last lane becomes the carry.
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE Lanes<T, N> RotateInBy(Lanes<T, N> a, T& carry, LaneNumbers<kIndex...>) {
  constexpr int n = static_cast<int>(N);
  const typename Lanes<T, N>::Vector turned = __builtin_shufflevector(a.v, a.v, (kIndex > 0 ? kIndex - 1 : n - 1)...);
  const Lanes<T, N> entering = Lanes<T, N>::Broadcast(carry);
  carry = turned[0];
  return {__builtin_shufflevector(turned, entering.v, (kIndex > 0 ? kIndex : n)...)};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> RotateIn(Lanes<T, N> a, T& carry) {
  if constexpr (N == 1) {
    const Lanes<T, N> entering = {carry};
    carry = a.v;
    return entering;
  } else {
    return RotateInBy(a, carry, LaneNumbersOf<N>{});
  }
}

// The lowest envelope that is divided by: the smallest float above 1e-10.
constexpr float kLowestEnvelope = 0x1.b7cdfep-34f;

template <class Lane>
KELVO_INLINE Lane Divided(Lane value, Lane envelope) {
  return SelectLess(envelope, Lane::Broadcast(kLowestEnvelope), value, value / envelope);
}

// Overlap-adds rows r, r + 1, ... of a batch of frames, in the order in which their transforms left them, and stores
// them. The lanes of a sum first belong to frames; a lane rotation moves each sum to the next frame's sample, until
// lanes are columns. With kWhole all rows of the tile exist, and all of their samples lie inside the window. Not
// inlined: on its own, the loop keeps its sums in registers.
template <bool kWhole>
[[gnu::noinline]] void AddTile(const SynthesisSettings& settings, std::size_t r, const float* elements, float* carry,
                               const ColumnTarget& target) {
  constexpr std::size_t kSize = Floats::kSize;
  const std::size_t row_n = settings.row_n;
  const std::size_t begin = settings.begin;
  const std::size_t end = settings.end;
  const std::size_t count = kWhole || row_n - r > kSize ? kSize : row_n - r;
  std::size_t i = (settings.plan.fft_n - 1 - r) / row_n * row_n + r;
  const unsigned* offset = settings.sample_offset + i;
  Floats sums[kSize];
#pragma GCC unroll 16
  for (std::size_t l = 0; l < kSize; ++l) sums[l] = Floats::Broadcast(0.0f);
  for (;;) {
#pragma GCC unroll 16
    for (std::size_t l = 0; l < kSize; ++l) {
      if (kWhole || (l < count && i + l >= begin && i + l < end)) {
        sums[l] = sums[l] + Floats::Load(elements + static_cast<int>(offset[l])) *
                                BroadcastOperand<Floats>{settings.gain + (i + l - begin)};
      }
    }
    if (i == r) break;
#pragma GCC unroll 16
    for (std::size_t l = 0; l < kSize; ++l) {
      if (kWhole || l < count) sums[l] = RotateIn(sums[l], carry[i + l]);
    }
    i -= row_n;
    offset -= row_n;
  }
  Transpose(sums);

  float* const to = target.columns + r;
  if (target.envelope != nullptr) {
    float envelopes[kSize];
    for (std::size_t l = 0; l < kSize; ++l) envelopes[l] = l < count ? target.envelope[r + l] : 1.0f;
    const Floats envelope = Floats::Load(kWhole ? target.envelope + r : envelopes);
#pragma GCC unroll 16
    for (std::size_t c = 0; c < kSize; ++c) sums[c] = Divided(sums[c], envelope);
  }
#pragma GCC unroll 16
  for (std::size_t c = 0; c < kSize; ++c) {
    if constexpr (kWhole) {
      sums[c].Store(to + c * target.step);
    } else {
      float rows[kSize];
      sums[c].Store(rows);
      for (std::size_t l = 0; l < count; ++l) to[c * target.step + l] = rows[l];
    }
  }
}

void AddSamples(const SynthesisSettings& settings, const float* elements, float* carry, const ColumnTarget& target) {
  const std::size_t row_n = settings.row_n;
  for (std::size_t r = 0; r < row_n; r += Floats::kSize) {
    const std::size_t last = (settings.plan.fft_n - 1 - r) / row_n * row_n + r;
    if (r + Floats::kSize <= row_n && r >= settings.begin && last + Floats::kSize <= settings.end) {
      AddTile<true>(settings, r, elements, carry, target);
    } else {
      AddTile<false>(settings, r, elements, carry, target);
    }
  }
}

template <bool kHalfLength>
void AddFramesAs(const SynthesisSettings& settings, const FrameBins<Floats>& bins, float* carry,
                 const ColumnTarget* targets, std::size_t target_n, float* work) {
  const RealTransformView plan = settings.plan;
  const std::size_t elements_n = 2 * plan.inner.length * Floats::kSize;
  float* const scratch = work + 2 * elements_n;
  if (bins.count > Floats::kSize) {
    MergeBatches<2, kHalfLength>(plan, bins, work);
  } else if (bins.count > 0) {
    MergeBatches<1, kHalfLength>(plan, bins, work);
  }
  for (std::size_t v = 0; v < target_n; ++v) {
    float* const samples = work + v * elements_n;
    if (v * Floats::kSize < bins.count) {
      const auto elements = BatchAt<Floats>(samples);
      TransformBatch<Floats>(plan.inner, elements, scratch);
    } else {
      for (std::size_t i = 0; i < elements_n; ++i) samples[i] = 0.0f;
    }
    AddSamples(settings, samples, carry, targets[v]);
  }
}

void AddFrames(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
               std::size_t count, float* carry, const ColumnTarget* targets, std::size_t target_n, float* work) {
  // Bytes of a spectrogram that L2 does not hold. Where it lies in the next cache the second prefetch costs up to 4 %,
  // where it comes from memory it gains 12 to 20.
  constexpr std::size_t kLong = std::size_t{3} << 19;
  const bool is_long = (settings.plan.fft_n / 2 + 1) * spectrogram.frame_n >= kLong / (2 * sizeof(float));
  const FrameBins<Floats> bins{spectrogram.data + 2 * first, 2 * spectrogram.frame_n, count,
                               is_long ? spectrogram.frame_n - first : 0};
  if (settings.plan.IsHalfLength()) {
    AddFramesAs<true>(settings, bins, carry, targets, target_n, work);
  } else {
    AddFramesAs<false>(settings, bins, carry, targets, target_n, work);
  }
}

// Elements of the inner transform out of the bins of one frame.
template <bool kHalfLength>
void MergeFrame(const RealTransformView& plan, const SplitElements& bins, const SplitElements& elements) {
  const std::size_t last_merged = LastMergedBin(plan);
  const ElementSink<Single, SplitElements> sink{elements};
  MergeEndBins<Lanes<float, 1>, kHalfLength>(plan, SingleFrameBins<Lanes<float, 1>>{{bins}}, sink);
  AtWidth(
      last_merged, [&]<class Lane>() __attribute__((always_inline)) {
        for (std::size_t k = 1; k <= last_merged; k += Lane::kSize) {
          if (k + Lane::kSize > last_merged + 1) k = last_merged + 1 - Lane::kSize;
          MergeBins<Single, Lane, kHalfLength>(plan, k, SingleFrameBins<Lane>{{bins}}, sink);
        }
      });
}

// to[2 i] = first[i], to[2 i + 1] = second[i]
void PairUp(float* to, const float* first, const float* second, std::size_t count) {
  std::size_t i = 0;
  for (; i + Floats::kSize <= count; i += Floats::kSize) {
    const auto pairs = Interleave(Floats::Load(first + i), Floats::Load(second + i));
    pairs.first.Store(to + 2 * i);
    pairs.second.Store(to + 2 * i + Floats::kSize);
  }
  for (; i < count; ++i) {
    to[2 * i] = first[i];
    to[2 * i + 1] = second[i];
  }
}

void AddFrame(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame, float* signal,
              float* work) {
  const RealTransformView& plan = settings.plan;
  const std::size_t bin_n = plan.fft_n / 2 + 1;
  const std::size_t stride = OutputStride(plan.inner.length);
  const SplitElements elements{work, work + stride};
  float* const scratch = work + 2 * stride;
  const SplitElements bins{scratch, scratch + OutputStride(bin_n)};
  for (std::size_t k = 0; k < bin_n; ++k) {
    const float* const bin = spectrogram.data + 2 * (k * spectrogram.frame_n + frame);
    bins.re[k] = bin[0];
    bins.im[k] = bin[1];
  }
  const bool is_half_length = plan.IsHalfLength();
  if (is_half_length) {
    MergeFrame<true>(plan, bins, elements);
  } else {
    MergeFrame<false>(plan, bins, elements);
  }
  KernelsAt<FftKernels, Level::KELVO_LEVEL>().transform_elements(elements.re, elements.im, elements.re, elements.im,
                                                                 plan.inner, scratch);
  const float* samples = elements.im;
  if (is_half_length) {
    // Sample pairs are the parts of an element, swapped.
    PairUp(scratch, elements.im, elements.re, plan.inner.length);
    samples = scratch;
  }
  samples += settings.begin;
  signal += settings.begin;
  for (std::size_t i = 0; i < settings.window_n; ++i) {
    signal[i] = signal[i] + samples[i] * static_cast<float>(static_cast<double>(settings.window[i]) * settings.factor);
  }
  for (std::size_t i = settings.window_n; i < settings.end - settings.begin; ++i) {
    signal[i] = signal[i] + samples[i] * 0.0f;
  }
}

template <class Lane>
KELVO_INLINE std::size_t NormalizeFrom(std::size_t i, float* signal, const float* envelope, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    Divided(Lane::Load(signal + i), Lane::Load(envelope + i)).Store(signal + i);
  }
  return i;
}

void NormalizeByWindowEnvelope(float* signal, const float* envelope, std::size_t count) {
  NormalizeFrom<Lanes<float, 1>>(NormalizeFrom<Floats>(0, signal, envelope, count), signal, envelope, count);
}

constexpr InverseKernels kKernels{AddFrames, AddFrame, NormalizeByWindowEnvelope};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::InverseKernels&
kelvo::Simd::KernelsAt<kelvo::Stft::InverseKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
