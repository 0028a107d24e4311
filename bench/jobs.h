// The contestants' jobs, how they are made and how the library does them. Layouts and settings are those of
// include/kelvo_audio.h.
#pragma once

#include <cstddef>

#include "harness.h"

namespace kelvo::Bench {

struct ForwardFft {
  Buffer src;  // [fft_n] real
  std::size_t fft_n;
  std::size_t ResultCount() const { return 2 * fft_n; }
};

struct InverseFft {
  Buffer src;  // [fft_n] complex
  std::size_t fft_n;
  std::size_t ResultCount() const { return 2 * fft_n; }
};

// Frames centred on every hop_n-th sample with reflected edges, or uncentred, under a Hann window as long as the frame.
struct ShortTime {
  Buffer src;
  std::size_t fft_n, hop_n, frame_n;
  bool centred;
  std::size_t BinCount() const { return fft_n / 2 + 1; }
};

struct Spectrogram : ShortTime {
  float power;  // 0: complex bins
  std::size_t ResultCount() const { return 2 * BinCount() * frame_n; }
};

// |bin|^2 times a filter bank.
struct MelSpectrogram : ShortTime {
  int sample_rate;
  std::size_t mel_n;
  Buffer bank;  // [mel_n x bins]
  std::size_t ResultCount() const { return mel_n * frame_n; }
};

struct InverseSpectrogram {
  Buffer src;  // [bins x frame_n] complex, of a centred analysis
  std::size_t fft_n, hop_n, frame_n;
  std::size_t ResultCount() const { return (frame_n - 1) * hop_n; }
};

struct MelProjection {
  Buffer src;   // [freq_n x frame_n]
  Buffer bank;  // [mel_n x freq_n]
  std::size_t freq_n, frame_n, mel_n;
  std::size_t ResultCount() const { return mel_n * frame_n; }
};

struct LinearFilter {
  Buffer src;
  Buffer numerator, denominator;  // denominator[0] is 1
  std::size_t ResultCount() const { return src.size(); }
};

// Forward and backward, padded by odd reflection, starting in the steady state.
struct ZeroPhaseFilter : LinearFilter {
  std::size_t pad_n;
};

struct Resampling {
  Buffer src;
  int dst_rate, src_rate;
  std::size_t dst_n;
  std::size_t ResultCount() const { return dst_n; }
};

constexpr float kOtherNorm = 0.7f;     // of Conversion::other_norm
constexpr float kLeastPower = 1e-10f;  // of Conversion::power_to_db
constexpr float kTopDb = 80.0f;

enum class Conversion { log1p, standardise, power_to_db, magnitude, power, other_norm, angle, unit_phase };

struct ElementwiseConversion {
  Conversion conversion;
  Buffer src;  // [value_n] real or complex
  std::size_t value_n;
  std::size_t result_n;  // angle and unit_phase: [value_n] magnitudes and then the phases
  std::size_t ResultCount() const { return result_n; }
};

ForwardFft MakeForwardFft(std::size_t fft_n);
InverseFft MakeInverseFft(std::size_t fft_n);

Spectrogram MakeSpectrogram(std::size_t sample_n, std::size_t fft_n, std::size_t hop_n, float power);

struct MelSettings {
  int sample_rate;
  std::size_t fft_n, hop_n, mel_n;
};
MelSpectrogram MakeMelSpectrogram(std::size_t sample_n, const MelSettings& settings, bool centred);
MelProjection MakeMelProjection(std::size_t frame_n);

InverseSpectrogram MakeInverseSpectrogram(std::size_t frame_n, std::size_t fft_n, std::size_t hop_n);

// A Butterworth low-pass, or FIR taps.
LinearFilter MakeIir(std::size_t order, std::size_t sample_n);
LinearFilter MakeFir(std::size_t tap_n, std::size_t sample_n);

Resampling MakeResampling(int dst_rate, int src_rate, int second_n);

ElementwiseConversion MakeConversion(Conversion conversion, std::size_t value_n);

// Does a job with the library.
void RunOurs(const ForwardFft& job, float* dst);
void RunOurs(const InverseFft& job, float* dst);
void RunOurs(const Spectrogram& job, float* dst);
void RunOurs(const MelSpectrogram& job, float* dst);
void RunOurs(const InverseSpectrogram& job, float* dst);
void RunOurs(const MelProjection& job, float* dst);
void RunOurs(const LinearFilter& job, float* dst);
void RunOurs(const ZeroPhaseFilter& job, float* dst);
void RunOurs(const Resampling& job, float* dst);
void RunOurs(const ElementwiseConversion& job, float* dst);

// A count as the exports take it.
inline int Int(std::size_t count) { return static_cast<int>(count); }

}  // namespace kelvo::Bench
