// Mel spectrograms, from a signal or from a spectrogram.
#pragma once

#include <span>

#include "mel/mel_filter_bank.h"
#include "simd/level.h"
#include "stft/spectrogram.h"

namespace kelvo::Mel {

struct MelSettings {
  Stft::ShortTimeSettings short_time;
  float power;
  float f_min;  // Hz
  float f_max;  // Hz
  int mel_n;
  int sample_rate;  // Hz
  int mel_norm;
  int mel_formula;  // 0 Slaney, else HTK

  MelFilterBankKey BankKey() const;
};

// dst [mel_n x frames], packed: frames is the number that exist, at most max_frame_n.
void ComputeMelSpectrogram(float* dst, std::span<const float> src, const MelSettings& settings, Simd::Level level);

// dst [mel_n x frame_n] = fb_matrix [mel_n x freq_n] * src [freq_n x frame_n]
void MultiplyFilterBank(float* dst, const float* src, const float* fb_matrix, int freq_n, int frame_n, int mel_n,
                        Simd::Level level);

}  // namespace kelvo::Mel
