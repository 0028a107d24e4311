// Jobs on frames of noise.
#pragma once

#include <cstddef>

#include "jobs.h"

namespace kelvo::Bench {

Spectrogram MakeSpectrogram(std::size_t sample_n, std::size_t fft_n, std::size_t hop_n, float power);

struct MelSettings {
  int sample_rate;
  std::size_t fft_n, hop_n, mel_n;
};
MelSpectrogram MakeMelSpectrogram(std::size_t sample_n, const MelSettings& settings, bool centred);

InverseSpectrogram MakeInverseSpectrogram(std::size_t frame_n, std::size_t fft_n, std::size_t hop_n);

}  // namespace kelvo::Bench
