// The spectrogram of a signal.
#include "stft/spectrogram.h"

namespace kelvo::Stft {

void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level) {
  if (CountFrames(settings) == 0) return;
  // False for NaN, which leaves the bins complex.
  const bool is_power = power > 0.0f;
  using Output = ShortTimeTransform::Output;
  ShortTimeTransform transform(settings, is_power ? Output::RealParts : Output::Complex, power, level);
  transform.StoreAll(dst, 2 * static_cast<std::size_t>(settings.max_frame_n), src);
}

}  // namespace kelvo::Stft
