// The calls of kelvo_audio that this example shows, one function for each step.
#include "analysis.h"

#include <kelvo_audio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>

#include "failure.h"

namespace log_mel {
namespace {

void Check(int status, const char* step) {
  switch (status) {
    case KELVO_AUDIO_STATUS_OK: return;
    case KELVO_AUDIO_STATUS_OUT_OF_MEMORY: throw Failure(std::string(step) + ": out of memory");
    default: throw Failure(std::string(step) + ": failed with status " + std::to_string(status));
  }
}

int Count(std::span<const float> samples) { return static_cast<int>(samples.size()); }

int CountFrames(std::span<const float> samples) {
  int frame_n = 0;
  Check(kelvoAudioGetFrameLen(&frame_n, Count(samples), kFftN, kHopN, KELVO_AUDIO_CENTER_REFLECT), "frame count");
  if (frame_n == 0) {
    throw Failure("the recording is shorter than one frame of " + std::to_string(1000 * kFftN / kSampleRate) + " ms");
  }
  return frame_n;
}

// A filter of order 2: numerator and denominator.
struct Biquad {
  std::array<float, 3> b, a;
};

enum class Pass { low, high };

// The bilinear transform of the second-order Butterworth filter [Oppenheim and Schafer 2010].
Biquad Butterworth(Pass pass, double frequency) {
  const double c = std::tan(std::numbers::pi * frequency / kSampleRate);
  const double a0 = 1 + std::numbers::sqrt2 * c + c * c;
  const double a1 = 2 * (c * c - 1);
  const double a2 = 1 - std::numbers::sqrt2 * c + c * c;
  const double gain = pass == Pass::low ? c * c : 1;
  const double middle = pass == Pass::low ? 2 : -2;
  return {{static_cast<float>(gain), static_cast<float>(middle * gain), static_cast<float>(gain)},
          {static_cast<float>(a0), static_cast<float>(a1), static_cast<float>(a2)}};
}

std::vector<float> FilterZeroPhase(std::span<const float> samples, const Biquad& filter) {
  // Three times the filter's length, as is common; the mirrored ends must fit into the signal.
  const int pad_len = std::min(9, Count(samples) - 1);
  std::vector<float> filtered(samples.size());
  Check(kelvoAudioFilterFilter(filtered.data(), samples.data(), filter.b.data(), filter.a.data(), Count(filtered),
                               Count(samples), 3, 3, KELVO_AUDIO_PAD_ODD, pad_len),
        "band-pass");
  return filtered;
}

}  // namespace

std::vector<float> Resample(std::span<const float> samples, int sample_rate) {
  int resampled_n = 0;
  Check(kelvoAudioGetResampleLen(&resampled_n, kSampleRate, Count(samples), sample_rate), "resampling");
  std::vector<float> resampled(static_cast<std::size_t>(resampled_n));
  Check(kelvoAudioResample(resampled.data(), samples.data(), kSampleRate, resampled_n, sample_rate, Count(samples)),
        "resampling");
  return resampled;
}

std::vector<float> BandPass(std::span<const float> samples, Band band) {
  const std::vector<float> above = FilterZeroPhase(samples, Butterworth(Pass::high, band.low));
  return FilterZeroPhase(above, Butterworth(Pass::low, band.high));
}

LogMel ComputeLogMel(std::span<const float> samples) {
  const int frame_n = CountFrames(samples);
  LogMel log_mel{std::vector<float>(static_cast<std::size_t>(kMelN) * static_cast<std::size_t>(frame_n)), frame_n};
  float* const mel = log_mel.db.data();
  Check(kelvoAudioGetMelSpectrogram(mel, samples.data(), Count(samples), kSampleRate, kFftN, kHopN, kFftN,
                                    KELVO_AUDIO_WINDOW_HANN, frame_n, KELVO_AUDIO_CENTER_REFLECT, 2.0f,
                                    KELVO_AUDIO_NORM_NONE, kMinFrequency, kMaxFrequency, kMelN,
                                    KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY),
        "mel spectrogram");
  Check(kelvoAudioConvertPowerToDB(mel, mel, Count(log_mel.db), kTopDb), "decibels");
  return log_mel;
}

Stretch FindNonSilentStretch(std::span<const float> samples) {
  constexpr float kThresholdDb = 30.0f;

  Stretch stretch{};
  Check(kelvoAudioGetNonSilentPos(&stretch.start, &stretch.length, samples.data(), Count(samples), kFftN, kHopN,
                                  kThresholdDb),
        "silence detection");
  // A click may be shorter than the frame that a spectrogram needs.
  stretch.length = std::max(stretch.length, kFftN);
  stretch.start = std::clamp(stretch.start, 0, Count(samples) - stretch.length);
  return stretch;
}

std::vector<float> Resynthesise(std::span<const float> samples) {
  const int frame_n = CountFrames(samples);
  const int freq_n = kFftN / 2 + 1;
  std::vector<float> spectrogram(static_cast<std::size_t>(freq_n) * static_cast<std::size_t>(frame_n) * 2);
  Check(kelvoAudioGetSpectrogram(spectrogram.data(), samples.data(), Count(samples), kFftN, kHopN, kFftN,
                                 KELVO_AUDIO_WINDOW_HANN, frame_n, KELVO_AUDIO_CENTER_REFLECT, 0.0f,
                                 KELVO_AUDIO_NORM_NONE),
        "spectrogram");
  std::vector<float> signal(samples.size());
  Check(kelvoAudioGetInverseSpectrogram(signal.data(), spectrogram.data(), frame_n, freq_n, kHopN, kFftN,
                                        KELVO_AUDIO_WINDOW_HANN, Count(signal), KELVO_AUDIO_CENTER_REFLECT,
                                        KELVO_AUDIO_NORM_NONE),
        "inverse spectrogram");
  return signal;
}

double SignalToNoiseRatio(std::span<const float> signal, std::span<const float> copy) {
  double signal_power = 0;
  double noise_power = 0;
  for (std::size_t i = 0; i < signal.size(); ++i) {
    const double noise = static_cast<double>(signal[i]) - static_cast<double>(copy[i]);
    signal_power += static_cast<double>(signal[i]) * static_cast<double>(signal[i]);
    noise_power += noise * noise;
  }
  return noise_power == 0 ? HUGE_VAL : 10 * std::log10(signal_power / noise_power);
}

}  // namespace log_mel
