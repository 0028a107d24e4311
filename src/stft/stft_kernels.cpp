// Short-time transforms: frames side by side, or one frame with its samples in the lanes.
#include "stft/stft_kernels.h"

#include "fft/frame_transform.h"
#include "simd/lane_math.h"
#include "simd/lanes.h"
#include "stft/frame_gathering.h"

namespace kelvo::Stft {
namespace {

using namespace Fft;
using namespace Simd;

// Samples as elements of a complex transform, without imaginary parts.
template <class Lane>
struct AsElements {
  SideBySideElements<Lane> elements;

  KELVO_INLINE void Store(std::size_t i, Lane samples) const {
    elements.Store(i, Complex<Lane>{samples, Lane::Broadcast(0.0f)});
  }
  KELVO_INLINE AsElements From(std::size_t i) const { return {elements.From(i)}; }
};

// What becomes of a bin: it stays a complex value, or becomes a power of its magnitude.
struct ComplexForm {
  static constexpr bool kIsComplex = true;
  template <class Lane>
  static KELVO_INLINE Complex<Lane> Of(const FrameSettings&, const Complex<Lane>& bin) {
    return bin;
  }
};
template <PowerForm kForm>
struct RealForm {
  static constexpr bool kIsComplex = false;
  template <class Lane>
  static KELVO_INLINE Complex<Lane> Of(const FrameSettings& settings, const Complex<Lane>& bin) {
    return {Power<kForm>(bin.re, bin.im, settings.power), Lane::Broadcast(0.0f)};
  }
};

// A value of the form, of the bin scaled.
template <class Form, class Lane>
KELVO_INLINE Complex<Lane> Finished(const FrameSettings& settings, const Complex<Lane>& bin) {
  if (!settings.is_scaled) return Form::Of(settings, bin);
  const Repeated<Lane> scale{&settings.scale};
  return Form::Of(settings, Complex<Lane>{bin.re * scale, bin.im * scale});
}

template <class Lane>
KELVO_INLINE void StorePairs(float* to, const Complex<Lane>& x) {
  const auto pairs = Interleave(x.re, x.im);
  pairs.first.Store(to);
  pairs.second.Store(to + Lane::kSize);
}

// Bins of frames side by side.
template <class Form, bool kInPairs>
struct BinSink {
  const FrameSettings& settings;
  BinBlock bins;

  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    float* const to = bins.data + k * bins.stride;
    const Complex<Lane> finished = Finished<Form>(settings, x);
    if constexpr (kInPairs) {
      StorePairs(to, finished);
    } else {
      finished.re.Store(to);
    }
  }
  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    Ascending(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    Ascending(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Signed(std::size_t k, float sign, const Complex<Lane>& x) const {
    if constexpr (Form::kIsComplex) {
      Ascending(k, Complex<Lane>{x.re, x.im * Lane::Broadcast(sign)});
    } else {
      Ascending(k, x);
    }
  }
};

// Bins of one frame, next to each other.
struct RowSink {
  NeighbourElements row;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    row.Store(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    Store(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    Store(k, x);
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    Store(k + 1 - Lane::kSize, Complex<Lane>{Reverse(x.re), Reverse(x.im)});
  }
};

// Calls run.operator()<Form>() for the settings.
template <class Run>
KELVO_INLINE void WithForm(const FrameSettings& settings, Run&& run) {
  if (settings.is_complex) return run.template operator()<ComplexForm>();
  switch (PowerFormOf(settings.power)) {
    case PowerForm::squared: return run.template operator()<RealForm<PowerForm::squared>>();
    case PowerForm::magnitude: return run.template operator()<RealForm<PowerForm::magnitude>>();
    default: return run.template operator()<RealForm<PowerForm::general>>();
  }
}

template <class Form, bool kInPairs>
void TransformFramesAs(const FrameSettings& settings, const FrameSource& source, const BinBlock& bins, float* work) {
  const FrameTransformView& plan = *settings.plan;
  const auto elements = SideBySideAt<Floats>(work);
  float* const scratch = work + 2 * plan.ElementCount() * Floats::kSize;
  const WindowedFrames frames{settings.window, settings.begin, settings.end, plan.fft_n, source};
  const BinSink<Form, kInPairs> sink{settings, bins};
  if (plan.HasRealPass()) {
    FrameBinsSideBySide<Floats>(plan, frames, elements, scratch, sink);
    return;
  }
  if (plan.rest.IsHalved()) {
    frames.Gather<Floats>(InOrder<Floats>{work});
  } else {
    frames.Gather<Floats>(AsElements<Floats>{elements});
  }
  RealBinsSideBySide<Floats>(plan.rest, elements, elements, scratch, sink);
}

void TransformFrames(const FrameSettings& settings, const FrameSource& source, const BinBlock& bins, float* work) {
  WithForm(settings, [&]<class Form>() __attribute__((always_inline)) {
    if constexpr (!Form::kIsComplex) {
      if (!settings.in_pairs) return TransformFramesAs<Form, false>(settings, source, bins, work);
    }
    TransformFramesAs<Form, true>(settings, source, bins, work);
  });
}

void ApplyWindowCentered(const FrameSettings& settings, float* frame) {
  for (std::size_t i = 0; i < settings.begin; ++i) frame[i] = 0.0f;
  for (std::size_t i = settings.begin; i < settings.end; ++i) frame[i] = frame[i] * settings.window[i];
  for (std::size_t i = settings.end; i < settings.plan->fft_n; ++i) frame[i] = 0.0f;
}

// Finishes bins of one frame: real parts go to `re`, which may be those of the row, imaginary parts of complex values stay.
template <class Form>
void FinishRow(const FrameSettings& settings, float* re, const NeighbourElements& row, std::size_t count) {
  const auto finish = [&]<class Lane>(std::size_t k) __attribute__((always_inline)) {
    for (; k + Lane::kSize <= count; k += Lane::kSize) {
      const Complex<Lane> finished = Finished<Form>(settings, row.Load<Lane>(k));
      finished.re.Store(re + k);
      if constexpr (Form::kIsComplex) finished.im.Store(row.im + k);
    }
    return k;
  };
  const std::size_t k = finish.template operator()<Floats>(0);
  if constexpr (Floats::kSize > 1) finish.template operator()<Lanes<float, 1>>(k);
}

// Takes the finished bins of one frame, which lie next to each other while they are computed, to their rows.
template <bool kInPairs, bool kIsComplex>
void SpreadBins(const FrameTransformView& plan, const NeighbourElements& row, const BinBlock& bins) {
  const auto put = [=](std::size_t k, float re, float im) __attribute__((always_inline)) {
    float* const to = bins.data + k * bins.stride;
    to[0] = re;
    if constexpr (kInPairs) to[1] = kIsComplex ? im : 0.0f;
  };
  const auto put_all = [=](std::size_t step, std::size_t count) __attribute__((always_inline)) {
    std::size_t i = 0;
    if (kInPairs && step == 1 && bins.stride == 2) {  // all the bins of a single frame
      for (; i + Floats::kSize <= count; i += Floats::kSize) {
        const Floats im = kIsComplex ? Floats::Load(row.im + i) : Floats::Broadcast(0.0f);
        StorePairs(bins.data + 2 * i, Complex<Floats>{Floats::Load(row.re + i), im});
      }
    }
    for (; i < count; ++i) put(i * step, row.re[i], row.im[i]);
  };
  if (!plan.HasRealPass()) return put_all(1, plan.fft_n / 2 + 1);
  put_all(plan.signal_n, plan.rest.inner.length + 1);
  const NeighbourElements outputs = row.From(FirstOutput(plan));
  ForEachOutput(plan, [=](std::size_t k, float sign, std::size_t at) __attribute__((always_inline)) {
    put(k, outputs.re[at], sign * outputs.im[at]);
  });
}

// The least lengths with a pass over eight and over sixteen samples: longer ones leave more room.
static_assert(2 * OutputStride(264) + FrameBinsOfOneScratch(264, 33) <= OneFrameScratch(264 / 2));
static_assert(2 * OutputStride(336) + FrameBinsOfOneScratch(336, 21) <= OneFrameScratch(336 / 2));

void TransformFrame(const FrameSettings& settings, float* frame, const BinBlock& bins, float* work) {
  ApplyWindowCentered(settings, frame);
  const FrameTransformView& plan = *settings.plan;
  const std::size_t bin_n = plan.fft_n / 2 + 1;
  const std::size_t row_n = OutputStride(plan.HasRealPass() ? OutputCount(plan) : bin_n);
  const NeighbourElements row{work, work + row_n};
  float* const scratch = work + 2 * row_n;
  if (plan.HasRealPass()) {
    FrameBinsOfOne(plan, frame, RowSink{row}, scratch);
  } else if (plan.rest.IsHalved()) {
    RealBinsOfOne(plan.rest, SamplePairs{frame}, RowSink{row}, scratch);
  } else {
    RealBinsOfOne(plan.rest, SingleSamples{frame}, RowSink{row}, scratch);
  }
  const bool is_row = bins.stride == 1 && !plan.HasRealPass();
  if (!settings.is_complex || settings.is_scaled) {
    WithForm(settings, [&]<class Form>() __attribute__((always_inline)) {
      if (plan.HasRealPass()) {
        const NeighbourElements outputs = row.From(FirstOutput(plan));
        FinishRow<Form>(settings, row.re, row, plan.rest.inner.length + 1);
        FinishRow<Form>(settings, outputs.re, outputs, OutputCount(plan) - FirstOutput(plan));
      } else {
        FinishRow<Form>(settings, is_row ? bins.data : row.re, row, bin_n);
      }
    });
  }
  if (is_row) return;
  if (settings.is_complex) {
    SpreadBins<true, true>(plan, row, bins);
  } else if (settings.in_pairs) {
    SpreadBins<true, false>(plan, row, bins);
  } else {
    SpreadBins<false, false>(plan, row, bins);
  }
}

constexpr StftKernels kKernels{Floats::kSize, TransformFrames, TransformFrame};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::StftKernels& kelvo::Simd::KernelsAt<kelvo::Stft::StftKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
