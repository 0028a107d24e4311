// Short-time transforms: a batch of frames in lanes, or one frame with its samples in the lanes.
#include "stft/stft_kernels.h"

#include "fft/frame_transform.h"
#include "math/groups.h"
#include "math/pow.h"
#include "simd/lanes.h"
#include "stft/frame_gathering.h"

namespace kelvo::Stft {
namespace {

using namespace Fft;
using namespace Math;
using namespace Simd;

// The form of a bin: a complex value, or a power of its magnitude. Powers other than 1 and 2 are computed from the
// square in a separate step: inside the transform, the last passes would be compiled once more for them.
struct ComplexForm {
  static constexpr bool kIsComplex = true;
  template <class Lane>
  static KELVO_INLINE Complex<Lane> Of(const Complex<Lane>& bin) {
    return bin;
  }
};
template <PowerForm kForm>
struct PowerOfMagnitude {
  static constexpr bool kIsComplex = false;
  template <class Lane>
  static KELVO_INLINE Complex<Lane> Of(const Complex<Lane>& bin) {
    return {ApplyPower<kForm>(bin.re, bin.im), Lane::Broadcast(0.0f)};
  }
};

// Calls run.operator()<Form>() for the settings.
template <class Run>
KELVO_INLINE void WithForm(const FrameSettings& settings, Run&& run) {
  if (settings.is_complex) return run.template operator()<ComplexForm>();
  if (PowerFormOf(settings.power) == PowerForm::magnitude) {
    return run.template operator()<PowerOfMagnitude<PowerForm::magnitude>>();
  }
  run.template operator()<PowerOfMagnitude<PowerForm::squared>>();
}

KELVO_INLINE bool IsRaised(const FrameSettings& settings) {
  return !settings.is_complex && PowerFormOf(settings.power) == PowerForm::general;
}

// The form's value of a bin, scaled before if the settings say so.
template <class Form, class Lane>
KELVO_INLINE Complex<Lane> ScaleAndForm(const FrameSettings& settings, const Complex<Lane>& bin) {
  if (!settings.is_scaled) return Form::Of(bin);
  const BroadcastOperand<Lane> scale{&settings.scale};
  return Form::Of(Complex<Lane>{bin.re * scale, bin.im * scale});
}

template <class Lane>
KELVO_INLINE void StorePairs(float* to, const Complex<Lane>& x) {
  const auto pairs = Interleave(x.re, x.im);
  pairs.first.Store(to);
  pairs.second.Store(to + Lane::kSize);
}

// Bins of a batch of frames.
template <class Form, bool kInPairs>
struct BinSink {
  const FrameSettings& settings;
  BinBlock bins;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    float* const to = bins.data + k * bins.stride;
    const Complex<Lane> value = ScaleAndForm<Form>(settings, x);
    if constexpr (kInPairs) {
      StorePairs(to, value);
      PrefetchToL2(to, 2 * Lane::kSize, 4 * Lane::kSize);  // of the next batch
    } else {
      value.re.Store(to);
    }
  }
  template <class Lane>
  KELVO_INLINE void StoreConjugatedIf(std::size_t k, float sign, const Complex<Lane>& x) const {
    if constexpr (Form::kIsComplex) {
      Store(k, Complex<Lane>{x.re, x.im * Lane::Broadcast(sign)});
    } else {
      Store(k, x);
    }
  }
};

template <class Form, bool kInPairs>
void ComputeSpectraAs(const FrameSettings& settings, const FrameSource& source, const BinBlock& bins, float* work) {
  const FrameTransformView& plan = *settings.plan;
  float* const scratch = work + 2 * plan.ElementCount() * Floats::kSize;
  const WindowedFrames frames{settings.frame_window, settings.begin, settings.end, plan.fft_n, source};
  FrameBatchBins<Floats>(plan, frames, BatchAt<Floats>(work), scratch, BinSink<Form, kInPairs>{settings, bins});
}

// Raises squared magnitudes to half the power, a vector of frames at a time.
void RaiseBins(const FrameSettings& settings, const BinBlock& bins) {
  const Exponent half_power = MakeExponent(settings.power * 0.5f);
  const std::size_t bin_n = settings.plan->fft_n / 2 + 1;
  for (std::size_t k = 0; k < bin_n; ++k) {
    float* const row = bins.data + k * bins.stride;
    if (settings.in_pairs) {
      const Floats squared = Deinterleave(Floats::Load(row), Floats::Load(row + Floats::kSize)).first;
      StorePow(row, squared, half_power);
      StorePairs(row, Complex<Floats>{Floats::Load(row), Floats::Broadcast(0.0f)});
    } else {
      StorePow(row, Floats::Load(row), half_power);
    }
  }
}

void ComputeFrameSpectra(const FrameSettings& settings, const FrameSource& source, const BinBlock& bins, float* work) {
  WithForm(
      settings, [&]<class Form>() __attribute__((always_inline)) {
        if constexpr (!Form::kIsComplex) {
          if (!settings.in_pairs) return ComputeSpectraAs<Form, false>(settings, source, bins, work);
        }
        ComputeSpectraAs<Form, true>(settings, source, bins, work);
      });
  if (IsRaised(settings)) RaiseBins(settings, bins);
}

void ApplyWindowCentered(const FrameSettings& settings, const float* samples, float* frame) {
  const std::size_t window_end = settings.begin + settings.window_n;
  for (std::size_t i = 0; i < settings.begin; ++i) frame[i] = 0.0f;
  const float* const windowed = samples + settings.begin;
  float* const to = frame + settings.begin;
  for (std::size_t i = 0; i < settings.window_n; ++i) to[i] = windowed[i] * settings.window[i];
  for (std::size_t i = window_end; i < settings.end; ++i) frame[i] = samples[i] * 0.0f;
  for (std::size_t i = settings.end; i < settings.plan->fft_n; ++i) frame[i] = 0.0f;
}

// The same of one frame.
void RaiseRow(float* row, std::size_t count, float power) {
  const Exponent half_power = MakeExponent(power * 0.5f);
  ForEachGroup<1, 1, LargeGroup>(
      row, row, count, [&](float* to, const float* from) __attribute__((always_inline)) {
        StorePow(to, LargeGroup::Load(from), half_power);
      });
}

// Scales and forms the bins of one frame: real parts are stored at `re`, which may be the row itself, imaginary parts
// of complex values in place.
template <class Form>
void FormRow(const FrameSettings& settings, float* re, const SplitElements& row, std::size_t count) {
  const auto form = [&]<class Lane>(std::size_t k) __attribute__((always_inline)) {
    for (; k + Lane::kSize <= count; k += Lane::kSize) {
      const Complex<Lane> value = ScaleAndForm<Form>(settings, row.Load<Lane>(k));
      value.re.Store(re + k);
      if constexpr (Form::kIsComplex) value.im.Store(row.im + k);
    }
    return k;
  };
  const std::size_t k = form.template operator()<Floats>(0);
  if constexpr (Floats::kSize > 1) form.template operator()<Lanes<float, 1>>(k);
  if (IsRaised(settings)) RaiseRow(re, count, settings.power);
}

// Stores the bins of one frame, which are computed in one contiguous row, in their rows of the output.
template <bool kInPairs, bool kIsComplex>
void ScatterBins(const FrameTransformView& plan, const SplitElements& row, const BinBlock& bins) {
  const auto put = [=](std::size_t k, float re, float im) __attribute__((always_inline)) {
    float* const to = bins.data + k * bins.stride;
    to[0] = re;
    if constexpr (kInPairs) to[1] = kIsComplex ? im : 0.0f;
  };
  const std::size_t step = plan.BinStep();
  const std::size_t count = plan.fft_n / (2 * step) + 1;
  std::size_t i = 0;
  if (kInPairs && step == 1 && bins.stride == 2) {  // all the bins of a single frame
    for (; i + Floats::kSize <= count; i += Floats::kSize) {
      const Floats im = kIsComplex ? Floats::Load(row.im + i) : Floats::Broadcast(0.0f);
      StorePairs(bins.data + 2 * i, Complex<Floats>{Floats::Load(row.re + i), im});
    }
  }
  for (; i < count; ++i) put(i * step, row.re[i], row.im[i]);
  if (!plan.HasRealPass()) return;
  const SplitElements outputs = row.From(FirstOutput(plan));
  ForEachOutput(
      plan, [=](std::size_t k, float sign, std::size_t at)
                __attribute__((always_inline)) { put(k, outputs.re[at], sign * outputs.im[at]); });
}

void ComputeFrameSpectrum(const FrameSettings& settings, const float* samples, const BinBlock& bins, float* memory,
                          float* scratch) {
  ApplyWindowCentered(settings, samples, memory);
  const FrameTransformView& plan = *settings.plan;
  const FftKernels& fft = KernelsAt<FftKernels, Level::KELVO_LEVEL>();
  const std::size_t bin_n = plan.fft_n / 2 + 1;
  const SplitElements row = SingleFrameRow(plan, memory, fft, scratch);
  const bool is_row = bins.stride == 1 && !plan.HasRealPass();
  if (!settings.is_complex || settings.is_scaled) {
    WithForm(
        settings, [&]<class Form>() __attribute__((always_inline)) {
          if (plan.HasRealPass()) {
            const SplitElements outputs = row.From(FirstOutput(plan));
            FormRow<Form>(settings, row.re, row, plan.sub_plan.inner.length + 1);
            FormRow<Form>(settings, outputs.re, outputs, OutputCount(plan) - FirstOutput(plan));
          } else {
            FormRow<Form>(settings, is_row ? bins.data : row.re, row, bin_n);
          }
        });
  }
  if (is_row) return;
  if (settings.is_complex) {
    ScatterBins<true, true>(plan, row, bins);
  } else if (settings.in_pairs) {
    ScatterBins<true, false>(plan, row, bins);
  } else {
    ScatterBins<false, false>(plan, row, bins);
  }
}

void StreamRows(const BinBlock& dst, const BinBlock& src, std::size_t row_n, std::size_t count) {
  for (std::size_t k = 0; k < row_n; ++k) StreamRow(dst.data + k * dst.stride, src.data + k * src.stride, count);
  FinishStreaming();
}

constexpr StftKernels kKernels{Floats::kSize, ComputeFrameSpectra, ComputeFrameSpectrum, StreamRows};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::StftKernels& kelvo::Simd::KernelsAt<kelvo::Stft::StftKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
