// The spectrogram of a signal.
#pragma once

#include <span>

#include "simd/level.h"
#include "stft/short_time_transform.h"

namespace kelvo::Stft {

// dst [fft_n / 2 + 1 x max_frame_n] complex; only the columns of frames that exist are written. A power above 0 gives
// (|bin|^power, 0) instead of the complex bins.
void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level);

}  // namespace kelvo::Stft
