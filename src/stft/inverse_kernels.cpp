// Inverse transforms of spectrogram columns, frames side by side or one by one.
//
// An inverse transform is the forward one with real and imaginary parts exchanged before and after. The exchange is
// made where the elements of the transform are stored and where its outputs are read.
#include "stft/inverse_kernels.h"

#include "fft/real_split.h"
#include "simd/lanes.h"

namespace kelvo::Stft {
namespace {

using namespace Fft;
using namespace Simd;

template <class Lane>
KELVO_INLINE Complex<Lane> Exchanged(const Complex<Lane>& x) {
  return {x.im, x.re};
}

// Bins side by side: bin k of neighbouring frames. Loads no column beyond the last.
template <class Lane>
struct FrameBins {
  const float* data;  // of the first frame
  std::size_t row_stride;
  std::size_t count;

  KELVO_INLINE Complex<Lane> At(std::size_t k) const {
    const float* row = data + k * row_stride;
    float completed[2 * Lane::kSize];
    if (count < Lane::kSize) {
      for (std::size_t i = 0; i < 2 * Lane::kSize; ++i) completed[i] = i < 2 * count ? row[i] : 0.0f;
      row = completed;
    }
    return SamplePairs{row}.Load<Lane>(0);
  }
  KELVO_INLINE Complex<Lane> Before(std::size_t k) const { return At(k); }
};

// Bins of one frame in natural order.
template <class Lane>
struct NeighbourBins {
  NaturalOutput bins;

  KELVO_INLINE Complex<Lane> At(std::size_t k) const { return bins.At<Lane>(k); }
  KELVO_INLINE Complex<Lane> Before(std::size_t k) const { return bins.Before<Lane>(k); }
};

// Where the elements of the inner transform go, exchanged: ascending from k, or descending.
template <class Placing, class Target>
struct ElementSink {
  Target elements;

  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    elements.Store(k, Exchanged(x));
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    if constexpr (Placing::template kStep<Lane> == 1) {
      Ascending(k, x);
    } else {
      Ascending(k + 1 - Lane::kSize, Complex<Lane>{Reverse(x.re), Reverse(x.im)});
    }
  }
};

// The imaginary parts of bins 0 and n / 2 have no part in a real signal and are not looked at.
template <class Lane, class Bins, class Sink>
KELVO_INLINE void MergeEndBins(const RealTransformView& plan, const Bins& bins, const Sink& sink) {
  const Lane zero = Lane::Broadcast(0.0f);
  const Lane first = bins.At(0).re;
  const Lane last = bins.At(plan.fft_n / 2).re;
  if (plan.IsHalved()) {
    sink.Ascending(0, Complex<Lane>{first + last, first - last});
  } else {
    sink.Ascending(0, Complex<Lane>{first, zero});
    sink.Ascending(plan.fft_n / 2, Complex<Lane>{last, zero});
  }
}

// The elements of the inner transform from pairs of bins: with h = n / 2 and w = exp(-2 pi i k / n),
//     E = X[k] + conj X[h-k],  O = (X[k] - conj X[h-k]) conj w,  Z[k] = E + i O,  Z[h-k] = conj E + i conj O.
// Without halving, the bins and their mirror images.
template <class Placing, class Lane, class Bins, class Sink>
KELVO_INLINE void MergeInnerBins(RealTransformView plan, const Bins& bins, const Sink& sink) {
  constexpr std::size_t kStep = Placing::template kStep<Lane>;
  const std::size_t half_n = plan.fft_n / 2;
  const std::size_t last = plan.IsHalved() ? half_n / 2 : half_n - 1;
  for (std::size_t k = 1; k <= last; k += kStep) {
    if (kStep > 1 && k + kStep > last + 1) k = last + 1 - kStep;
    const Complex<Lane> a = bins.At(k);
    if (!plan.IsHalved()) {
      sink.Ascending(k, a);
      sink.Descending(plan.fft_n - k, Conjugate(a));
      continue;
    }
    const Complex<Lane> b = Conjugate(bins.Before(half_n - k));
    const Complex<Lane> w{Placing::template LoadTwiddle<Lane>(plan.split_re + k),
                          Placing::template LoadTwiddle<Lane>(plan.split_im + k)};
    const Complex<Lane> even = a + b;
    const Complex<Lane> odd = (a - b) * Conjugate(w);
    sink.Ascending(k, Complex<Lane>{even.re - odd.im, even.im + odd.re});
    sink.Descending(half_n - k, Complex<Lane>{even.re + odd.im, odd.re - even.im});
  }
}

void AddFrames(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
               std::size_t count, const FrameColumns& signal, float* work) {
  using Lane = Floats;
  const RealTransformView plan = settings.plan;
  const std::size_t begin = settings.begin;
  const std::size_t end = settings.end;
  const float* const gain = settings.gain;
  float* const columns = signal.columns;
  const unsigned* const sample_offset = signal.sample_offset;
  const auto elements = SideBySideAt<Lane>(work);
  float* const scratch = work + 2 * plan.inner.length * Lane::kSize;
  for (std::size_t t = 0; t < count; t += Lane::kSize) {
    const FrameBins<Lane> bins{spectrogram.data + 2 * (first + t), 2 * spectrogram.frame_n, count - t};
    const ElementSink<SideBySide, SideBySideElements<Lane>> sink{elements};
    MergeEndBins<Lane>(plan, bins, sink);
    MergeInnerBins<SideBySide, Lane>(plan, bins, sink);
    TransformSideBySide<Lane>(plan.inner, elements, elements, scratch);

    const auto add = [&](std::size_t i, Lane sample) __attribute__((always_inline)) {
      if (i < begin || i >= end) return;
      float* const at = columns + sample_offset[i] + t;
      (Lane::Load(at) + sample * Lane::Broadcast(gain[i - begin])).Store(at);
    };
    // From the last sample to the first: two samples that fall on the same column come from different frames, and the
    // later sample from the earlier frame.
    for (std::size_t k = plan.inner.length; k-- > 0;) {
      const Complex<Lane> pair = Exchanged(elements.Load<Lane>(plan.inner.position[k]));
      if (plan.IsHalved()) {
        add(2 * k + 1, pair.im);
        add(2 * k, pair.re);
      } else {
        add(k, pair.re);
      }
    }
  }
}

// The samples of one frame out of the outputs of its transform.
struct SampleSink {
  float* samples;
  bool is_halved;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    const Complex<Lane> pair = Exchanged(x);
    if (is_halved) {
      const auto pairs = Interleave(pair.re, pair.im);
      pairs.first.Store(samples + 2 * k);
      pairs.second.Store(samples + 2 * k + Lane::kSize);
    } else {
      pair.re.Store(samples + k);
    }
  }
};

void AddFrame(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame, float* signal,
              float* work) {
  const RealTransformView& plan = settings.plan;
  const std::size_t length = plan.inner.length;
  const std::size_t bin_n = plan.fft_n / 2 + 1;
  const NeighbourElements bins{work, work + bin_n};
  // Merged elements and, once they are transformed, the samples.
  float* const merged = work + 2 * bin_n;
  for (std::size_t k = 0; k < bin_n; ++k) {
    const float* const bin = spectrogram.data + 2 * (k * spectrogram.frame_n + frame);
    bins.re[k] = bin[0];
    bins.im[k] = bin[1];
  }
  const NeighbourElements elements{merged, merged + length};
  const ElementSink<Neighbours, NeighbourElements> sink{elements};
  MergeEndBins<Lanes<float, 1>>(plan, NeighbourBins<Lanes<float, 1>>{{bins}}, sink);
  AtWidth(plan.IsHalved() ? length / 2 : length / 2 - 1, [&]<class Lane>() __attribute__((always_inline)) {
    MergeInnerBins<Neighbours, Lane>(plan, NeighbourBins<Lane>{{bins}}, sink);
  });
  TransformOne(plan.inner, elements, SampleSink{merged, plan.IsHalved()}, merged + 2 * length);
  for (std::size_t i = settings.begin; i < settings.end; ++i) {
    signal[i] = signal[i] + merged[i] * settings.gain[i - settings.begin];
  }
}

// The lowest envelope that is divided by. Between two floats lies 1e-10, above which an envelope counts; this is the
// upper one.
constexpr float kLowestEnvelope = 0x1.b7cdfep-34f;

template <class Lane, class Envelope>
KELVO_INLINE std::size_t DivideFrom(std::size_t i, float* signal, const Envelope& envelope_at, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    const Lane value = Lane::Load(signal + i);
    const Lane envelope = envelope_at.template operator()<Lane>(i);
    SelectLess(envelope, Lane::Broadcast(kLowestEnvelope), value, value / envelope).Store(signal + i);
  }
  return i;
}

void DivideByConstant(float* signal, float envelope, std::size_t count) {
  const auto at = [&]<class Lane>(std::size_t) __attribute__((always_inline)) { return Lane::Broadcast(envelope); };
  DivideFrom<Lanes<float, 1>>(DivideFrom<Floats>(0, signal, at, count), signal, at, count);
}

void Divide(float* signal, const float* envelope, std::size_t count) {
  const auto at = [&]<class Lane>(std::size_t i) __attribute__((always_inline)) { return Lane::Load(envelope + i); };
  DivideFrom<Lanes<float, 1>>(DivideFrom<Floats>(0, signal, at, count), signal, at, count);
}

constexpr InverseKernels kKernels{AddFrames, AddFrame, DivideByConstant, Divide};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::InverseKernels&
kelvo::Simd::KernelsAt<kelvo::Stft::InverseKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
