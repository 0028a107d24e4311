// Short-time transforms: frames side by side, or one frame with its samples in the lanes.
#include "stft/stft_kernels.h"

#include "fft/frame_transform.h"
#include "simd/lane_math.h"
#include "simd/lanes.h"
#include "stft/transposition.h"

namespace kelvo::Stft {
namespace {

using namespace Fft;
using namespace Simd;

void TransposeMatrix(float* dst, std::size_t dst_stride, const float* src, std::size_t src_stride, std::size_t rows,
                     std::size_t columns) {
  Transpose({dst, dst_stride, rows, columns}, [=]<class Tile>(std::size_t r, std::size_t c)
                                                  __attribute__((always_inline)) {
    return Tile::Load(src + r * src_stride + c);
  });
}

// The windowed samples of several frames. Samples outside the window come from a row of zeros: to multiply the signal by
// zero would turn an infinity into a NaN, to ask for each sample takes time. Offsets are widened as signed numbers: GCC
// takes the others through a vector register.
struct WindowedFrames {
  const float* window;
  const float* columns;
  const unsigned* sample_offset;

  template <class Lane>
  KELVO_INLINE Lane Sample(std::size_t i) const {
    return Lane::Load(columns + static_cast<int>(sample_offset[i])) * Repeated<Lane>{window + i};
  }
};

// The same as elements of a complex transform.
template <bool kHalved>
struct WindowedElements {
  WindowedFrames frames;

  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    if constexpr (kHalved) {
      return {frames.Sample<Lane>(2 * k), frames.Sample<Lane>(2 * k + 1)};
    } else {
      return {frames.Sample<Lane>(k), Lane::Broadcast(0.0f)};
    }
  }
};

// What is stored of a bin: its parts, or a power of its magnitude.
struct ComplexForm {
  static constexpr bool kIsComplex = true;
  template <class Lane>
  static KELVO_INLINE void Store(const FrameSettings&, const BinBlock& bins, std::size_t at, Lane re, Lane im) {
    re.Store(bins.re + at);
    im.Store(bins.im + at);
  }
};
template <PowerForm kForm>
struct RealForm {
  static constexpr bool kIsComplex = false;
  template <class Lane>
  static KELVO_INLINE void Store(const FrameSettings& settings, const BinBlock& bins, std::size_t at, Lane re,
                                 Lane im) {
    Power<kForm>(re, im, settings.power).Store(bins.re + at);
  }
};

// Bins of frames side by side.
template <class Form, bool kScaled>
struct BinSink {
  const FrameSettings& settings;
  BinBlock bins;

  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    if constexpr (kScaled) {
      const Repeated<Lane> scale{&settings.scale};
      Form::Store(settings, bins, k * bins.stride, x.re * scale, x.im * scale);
    } else {
      Form::Store(settings, bins, k * bins.stride, x.re, x.im);
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
  BinBlock row;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    x.re.Store(row.re + k);
    x.im.Store(row.im + k);
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

template <class Form, bool kScaled>
void TransformFramesAs(const FrameSettings& settings, const FrameColumns& columns, std::size_t frame_n,
                       const BinBlock& bins, float* work) {
  const FrameTransformView& plan = settings.plan;
  const auto elements = SideBySideAt<Floats>(work);
  float* const scratch = work + 2 * plan.ElementCount() * Floats::kSize;
  for (std::size_t t = 0; t < frame_n; t += Floats::kSize) {
    const WindowedFrames frames{settings.window, columns.columns + t, columns.sample_offset};
    const BinSink<Form, kScaled> sink{settings, bins.From(t)};
    if (plan.HasRealPass()) {
      FrameBinsSideBySide<Floats>(plan, frames, elements, scratch, sink);
    } else if (plan.rest.IsHalved()) {
      RealBinsSideBySide<Floats>(plan.rest, WindowedElements<true>{frames}, elements, scratch, sink);
    } else {
      RealBinsSideBySide<Floats>(plan.rest, WindowedElements<false>{frames}, elements, scratch, sink);
    }
  }
}

void TransformFrames(const FrameSettings& settings, const FrameColumns& columns, std::size_t frame_n,
                     const BinBlock& bins, float* work) {
  WithForm(settings, [&]<class Form>() __attribute__((always_inline)) {
    if (settings.is_scaled) {
      TransformFramesAs<Form, true>(settings, columns, frame_n, bins, work);
    } else {
      TransformFramesAs<Form, false>(settings, columns, frame_n, bins, work);
    }
  });
}

void ApplyWindowCentered(const FrameSettings& settings, float* frame) {
  for (std::size_t i = 0; i < settings.begin; ++i) frame[i] = 0.0f;
  for (std::size_t i = settings.begin; i < settings.end; ++i) frame[i] = frame[i] * settings.window[i];
  for (std::size_t i = settings.end; i < settings.plan.fft_n; ++i) frame[i] = 0.0f;
}

// Takes `count` bins of one frame, which lie next to each other while they are computed, to the rows first,
// first + step, ...
void SpreadBins(const BinBlock& bins, std::size_t first, std::size_t step, const BinBlock& row, std::size_t count) {
  const auto spread = [=](float* to, const float* from) {
    for (std::size_t i = 0; i < count; ++i) to[(first + i * step) * bins.stride] = from[i];
  };
  spread(bins.re, row.re);
  if (bins.im != nullptr) spread(bins.im, row.im);
}

// Takes what a real pass left to the rows of their bins.
void SpreadSignals(const BinBlock& bins, const BinBlock& row, const FrameTransformView& plan) {
  SpreadBins(bins, 0, plan.signal_n, row, plan.rest.inner.length + 1);
  const BinBlock outputs = row.From(FirstOutput(plan));
  ForEachOutput(plan, [&](std::size_t k, float sign, std::size_t at) __attribute__((always_inline)) {
    bins.re[k * bins.stride] = outputs.re[at];
    if (bins.im != nullptr) bins.im[k * bins.stride] = sign * outputs.im[at];
  });
}

// Scales the bins of a row and makes of them what is to be stored, in `to`, which may be the row.
template <class Form>
void FinishRow(const FrameSettings& settings, const BinBlock& to, const BinBlock& row, std::size_t count) {
  const auto finish = [&]<class Lane>(std::size_t k) __attribute__((always_inline)) {
    for (; k + Lane::kSize <= count; k += Lane::kSize) {
      const Repeated<Lane> scale{&settings.scale};
      Form::Store(settings, to, k, Lane::Load(row.re + k) * scale, Lane::Load(row.im + k) * scale);
    }
    return k;
  };
  const std::size_t k = finish.template operator()<Floats>(0);
  if constexpr (Floats::kSize > 1) finish.template operator()<Lanes<float, 1>>(k);
}

// The least lengths with a pass over eight and over sixteen samples: longer ones leave more room.
static_assert(2 * OutputStride(264) + FrameBinsOfOneScratch(264, 33) <= OneFrameScratch(264 / 2));
static_assert(2 * OutputStride(336) + FrameBinsOfOneScratch(336, 21) <= OneFrameScratch(336 / 2));

void TransformFrame(const FrameSettings& settings, float* frame, const BinBlock& bins, float* work) {
  ApplyWindowCentered(settings, frame);
  const FrameTransformView& plan = settings.plan;
  const std::size_t bin_n = plan.fft_n / 2 + 1;
  const std::size_t row_n = OutputStride(plan.HasRealPass() ? OutputCount(plan) : bin_n);
  const BinBlock row{work, work + row_n, 1};
  float* const scratch = work + 2 * row_n;
  if (plan.HasRealPass()) {
    FrameBinsOfOne(plan, frame, RowSink{row}, scratch);
  } else if (plan.rest.IsHalved()) {
    RealBinsOfOne(plan.rest, SamplePairs{frame}, RowSink{row}, scratch);
  } else {
    RealBinsOfOne(plan.rest, SingleSamples{frame}, RowSink{row}, scratch);
  }
  const bool is_row = bins.stride == 1 && !plan.HasRealPass();
  if (is_row || !settings.is_complex || settings.is_scaled) {
    WithForm(settings, [&]<class Form>() __attribute__((always_inline)) {
      if (plan.HasRealPass()) {
        FinishRow<Form>(settings, row, row, plan.rest.inner.length + 1);
        const BinBlock outputs = row.From(FirstOutput(plan));
        FinishRow<Form>(settings, outputs, outputs, OutputCount(plan) - FirstOutput(plan));
      } else {
        FinishRow<Form>(settings, is_row ? bins : row, row, bin_n);
      }
    });
  }
  if (plan.HasRealPass()) {
    SpreadSignals(bins, row, plan);
  } else if (!is_row) {
    SpreadBins(bins, 0, 1, row, bin_n);
  }
}

template <class Lane>
KELVO_INLINE std::size_t StoreComplexFrom(std::size_t t, float* dst, const float* re, const float* im,
                                          std::size_t frame_n) {
  for (; t + Lane::kSize <= frame_n; t += Lane::kSize) {
    const auto pairs = Interleave(Lane::Load(re + t), im != nullptr ? Lane::Load(im + t) : Lane::Broadcast(0.0f));
    pairs.first.Store(dst + 2 * t);
    pairs.second.Store(dst + 2 * t + Lane::kSize);
  }
  return t;
}

// Asks for the lines of a row that is written soon: rows lie too far apart for the CPU to foresee. In a matrix that the
// caches hold it costs up to 4 %.
KELVO_INLINE void ExpectWrites(const float* row, std::size_t float_n) {
  constexpr std::size_t kLineFloats = 16;
  for (std::size_t i = 0; i < float_n; i += kLineFloats) __builtin_prefetch(row + i, 1);
}

void StoreComplex(float* dst, std::size_t dst_stride, const BinBlock& bins, std::size_t bin_n, std::size_t frame_n) {
  if (bins.stride == frame_n && dst_stride == 2 * frame_n) {  // one long row, above all the bins of a single frame
    frame_n *= bin_n;
    bin_n = 1;
  }
  constexpr std::size_t kRowsAhead = 4;
  constexpr std::size_t kFarFloats = std::size_t{1} << 20;
  const bool is_far = bin_n * dst_stride > kFarFloats;
  for (std::size_t k = 0; k < bin_n; ++k) {
    if (is_far && k + kRowsAhead < bin_n) ExpectWrites(dst + (k + kRowsAhead) * dst_stride, 2 * frame_n);
    const float* const re = bins.re + k * bins.stride;
    const float* const im = bins.im != nullptr ? bins.im + k * bins.stride : nullptr;
    const std::size_t t = StoreComplexFrom<Floats>(0, dst + k * dst_stride, re, im, frame_n);
    StoreComplexFrom<Lanes<float, 1>>(t, dst + k * dst_stride, re, im, frame_n);
  }
}

constexpr StftKernels kKernels{Floats::kSize, TransposeMatrix, TransformFrames, TransformFrame, StoreComplex};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::StftKernels& kelvo::Simd::KernelsAt<kelvo::Stft::StftKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
