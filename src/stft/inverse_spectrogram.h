// The signal of a spectrogram, by weighted overlap-add [Griffin and Lim 1984].
#pragma once

#include "simd/level.h"

namespace kelvo::Stft {

struct InverseSettings {
  int frame_n;
  int freq_n;
  int hop_n;
  int win_n;
  int win_type;
  int max_sample_n;
  int center;
  int norm_type;
};

// dst [min(L, max_sample_n)], L = fft_n + (frame_n - 1) * hop_n; src [freq_n x frame_n] complex. Fails with
// KelvoInvalidArgument where freq_n makes no transform or the window is longer than it, with std::length_error where a
// length is beyond 32 bits.
void ComputeInverseSpectrogram(float* dst, const float* src, const InverseSettings& settings, Simd::Level level);

}  // namespace kelvo::Stft
