// The calls of kelvo_audio that this example shows, one function for each step.
#pragma once

#include <span>
#include <vector>

#include "options.h"

namespace log_mel {

// Log-mel features as recognisers and vocoders use them.
constexpr int kSampleRate = 16000;  // Hz
constexpr int kFftN = 400;          // 25 ms
constexpr int kHopN = 160;          // 10 ms
constexpr int kMelN = 80;
constexpr int kMinFrequency = 0;  // Hz
constexpr int kMaxFrequency = 8000;
constexpr int kTopDb = 80;

// [kMelN x frame_n] dB below the loudest value, one row per mel band, the lowest band first.
struct LogMel {
  std::vector<float> db;
  int frame_n;
};

struct Stretch {
  int start, length;  // samples
};

// To kSampleRate.
std::vector<float> Resample(std::span<const float> samples, int sample_rate);

// A second-order Butterworth high-pass at band.low, then a low-pass at band.high, each run forwards and backwards: no
// phase shift, and 6 dB of attenuation at the edges.
std::vector<float> BandPass(std::span<const float> samples, Band band);

LogMel ComputeLogMel(std::span<const float> samples);

// From the first to the last frame that is less than 30 dB below the loudest; at least kFftN samples, as there must
// be in the signal.
Stretch FindNonSilentStretch(std::span<const float> samples);

// To the complex spectrogram and back.
std::vector<float> Resynthesise(std::span<const float> samples);

// The power of `signal` over that of its difference from `copy`, in dB; infinite if they are equal.
double SignalToNoiseRatio(std::span<const float> signal, std::span<const float> copy);

}  // namespace log_mel
