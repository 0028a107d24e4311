// Short-time transforms: frames side by side, or one frame with its samples in the lanes.
#include "stft/stft_kernels.h"

#include "fft/real_split.h"
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

// The windowed samples of several frames as elements of the inner transform. Samples outside the window come from a row
// of zeros: to multiply the signal by zero would turn an infinity into a NaN, to ask for each sample takes time.
template <bool kHalved>
struct WindowedFrames {
  const float* window;
  const float* columns;
  const unsigned* sample_offset;

  template <class Lane>
  KELVO_INLINE Lane Sample(std::size_t i) const {
    return Lane::Load(columns + sample_offset[i]) * Lane::Broadcast(window[i]);
  }
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    if constexpr (kHalved) {
      return {Sample<Lane>(2 * k), Sample<Lane>(2 * k + 1)};
    } else {
      return {Sample<Lane>(k), Lane::Broadcast(0.0f)};
    }
  }
};

// What is stored of a bin: its parts, or a power of its magnitude.
struct ComplexForm {
  template <class Lane>
  static KELVO_INLINE void Store(const FrameSettings&, const BinBlock& bins, std::size_t at, Lane re, Lane im) {
    re.Store(bins.re + at);
    im.Store(bins.im + at);
  }
};
template <PowerForm kForm>
struct RealForm {
  template <class Lane>
  static KELVO_INLINE void Store(const FrameSettings& settings, const BinBlock& bins, std::size_t at, Lane re,
                                 Lane im) {
    Power<kForm>(re, im, settings.power).Store(bins.re + at);
  }
};

template <bool kSideBySide, class Form, bool kScaled>
struct BinSink {
  const FrameSettings& settings;
  BinBlock bins;

  template <class Lane>
  KELVO_INLINE void StoreAt(std::size_t at, const Complex<Lane>& x) const {
    if constexpr (kScaled) {
      const Lane scale = Lane::Broadcast(settings.scale);
      Form::Store(settings, bins, at, x.re * scale, x.im * scale);
    } else {
      Form::Store(settings, bins, at, x.re, x.im);
    }
  }
  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k * bins.stride, x);
  }
  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k * bins.stride, x);
  }
  // Side by side the lanes are frames; the bins of one frame turn round to ascend.
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    if constexpr (kSideBySide) {
      StoreAt(k * bins.stride, x);
    } else {
      StoreAt(k + 1 - Lane::kSize, Complex<Lane>{Reverse(x.re), Reverse(x.im)});
    }
  }
};

// Calls run.operator()<Form, kScaled>() for the settings.
template <class Run>
KELVO_INLINE void WithForm(const FrameSettings& settings, Run&& run) {
  const auto with_scale = [&]<class Form>() __attribute__((always_inline)) {
    if (settings.is_scaled) {
      run.template operator()<Form, true>();
    } else {
      run.template operator()<Form, false>();
    }
  };
  if (settings.is_complex) return with_scale.template operator()<ComplexForm>();
  switch (PowerFormOf(settings.power)) {
    case PowerForm::squared: return with_scale.template operator()<RealForm<PowerForm::squared>>();
    case PowerForm::magnitude: return with_scale.template operator()<RealForm<PowerForm::magnitude>>();
    default: return with_scale.template operator()<RealForm<PowerForm::general>>();
  }
}

template <bool kHalved, class Form, bool kScaled>
void TransformFramesAs(const FrameSettings& settings, const FrameColumns& columns, std::size_t frame_n,
                       const BinBlock& bins, float* work) {
  const auto elements = SideBySideAt<Floats>(work);
  float* const scratch = work + 2 * settings.plan.inner.length * Floats::kSize;
  for (std::size_t t = 0; t < frame_n; t += Floats::kSize) {
    const WindowedFrames<kHalved> source{settings.window, columns.columns + t, columns.sample_offset};
    const BinSink<true, Form, kScaled> sink{settings, bins.From(t)};
    RealBinsSideBySide<Floats>(settings.plan, source, elements, scratch, sink);
  }
}

void TransformFrames(const FrameSettings& settings, const FrameColumns& columns, std::size_t frame_n,
                     const BinBlock& bins, float* work) {
  WithForm(settings, [&]<class Form, bool kScaled>() __attribute__((always_inline)) {
    if (settings.plan.IsHalved()) {
      TransformFramesAs<true, Form, kScaled>(settings, columns, frame_n, bins, work);
    } else {
      TransformFramesAs<false, Form, kScaled>(settings, columns, frame_n, bins, work);
    }
  });
}

void ApplyWindowCentered(const FrameSettings& settings, float* frame) {
  for (std::size_t i = 0; i < settings.begin; ++i) frame[i] = 0.0f;
  for (std::size_t i = settings.begin; i < settings.end; ++i) frame[i] = frame[i] * settings.window[i];
  for (std::size_t i = settings.end; i < settings.plan.fft_n; ++i) frame[i] = 0.0f;
}

void TransformFrame(const FrameSettings& settings, float* frame, const BinBlock& bins, float* work) {
  ApplyWindowCentered(settings, frame);
  // Bins lie next to each other while they are computed and are spread to their rows afterwards.
  const std::size_t bin_n = settings.plan.fft_n / 2 + 1;
  const BinBlock row{work, work + bin_n, 1};
  float* const scratch = work + 2 * bin_n;
  WithForm(settings, [&]<class Form, bool kScaled>() __attribute__((always_inline)) {
    const BinSink<false, Form, kScaled> sink{settings, row};
    if (settings.plan.IsHalved()) {
      RealBinsOfOne(settings.plan, SamplePairs{frame}, sink, scratch);
    } else {
      RealBinsOfOne(settings.plan, SingleSamples{frame}, sink, scratch);
    }
  });
  for (std::size_t k = 0; k < bin_n; ++k) bins.re[k * bins.stride] = row.re[k];
  for (std::size_t k = 0; settings.is_complex && k < bin_n; ++k) bins.im[k * bins.stride] = row.im[k];
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

void StoreComplex(float* dst, std::size_t dst_stride, const BinBlock& bins, std::size_t bin_n, std::size_t frame_n) {
  for (std::size_t k = 0; k < bin_n; ++k) {
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
