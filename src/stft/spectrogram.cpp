// The spectrogram of a signal.
#include "stft/spectrogram.h"

namespace kelvo::Stft {

void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level) {
  if (CountFrames(settings) == 0) return;
  // False for NaN, which leaves the bins complex.
  const bool is_power = power > 0.0f;
  ShortTimeTransform transform(
      settings, is_power ? ShortTimeTransform::Output::Power : ShortTimeTransform::Output::Complex, power, level);
  const StftKernels& kernels = Simd::KernelsFor<StftKernels>(level);
  const std::size_t dst_stride = 2 * static_cast<std::size_t>(settings.max_frame_n);
  transform.ForEachBlock(src, [&](std::size_t first, std::size_t count, const BinBlock& bins) {
    kernels.store_complex(dst + 2 * first, dst_stride, bins, transform.BinCount(), count);
  });
}

}  // namespace kelvo::Stft
