// How jobs are made, mostly of noise, and done by the library.
#include "jobs.h"

#include <algorithm>
#include <array>

#include "kelvo_audio.h"
#include "signals.h"

namespace kelvo::Bench {
namespace {

int CenterOf(const ShortTime& job) { return job.centred ? KELVO_AUDIO_CENTER_REFLECT : KELVO_AUDIO_CENTER_NONE; }

ShortTime MakeShortTime(std::size_t sample_n, std::size_t fft_n, std::size_t hop_n, bool centred) {
  ShortTime job{Noise(sample_n), fft_n, hop_n, 0, centred};
  int frame_n = 0;
  kelvoAudioGetFrameLen(&frame_n, Int(sample_n), Int(fft_n), Int(hop_n), CenterOf(job));
  job.frame_n = static_cast<std::size_t>(frame_n);
  return job;
}

}  // namespace

ForwardFft MakeForwardFft(std::size_t fft_n) { return {Noise(fft_n), fft_n}; }

void RunOurs(const ForwardFft& job, float* dst) { kelvoAudioFFT(dst, job.src.data(), Int(job.fft_n)); }

InverseFft MakeInverseFft(std::size_t fft_n) { return {Noise(2 * fft_n), fft_n}; }

void RunOurs(const InverseFft& job, float* dst) { kelvoAudioIFFT(dst, job.src.data(), Int(job.fft_n)); }

Spectrogram MakeSpectrogram(std::size_t sample_n, std::size_t fft_n, std::size_t hop_n, float power) {
  return {MakeShortTime(sample_n, fft_n, hop_n, true), power};
}

void RunOurs(const Spectrogram& job, float* dst) {
  kelvoAudioGetSpectrogram(dst, job.src.data(), Int(job.src.size()), Int(job.fft_n), Int(job.hop_n), Int(job.fft_n),
                           KELVO_AUDIO_WINDOW_HANN, Int(job.frame_n), CenterOf(job), job.power, KELVO_AUDIO_NORM_NONE);
}

MelSpectrogram MakeMelSpectrogram(std::size_t sample_n, const MelSettings& settings, bool centred) {
  MelSpectrogram job{
      MakeShortTime(sample_n, settings.fft_n, settings.hop_n, centred), settings.sample_rate, settings.mel_n, {}};
  job.bank.resize(job.mel_n * job.BinCount());
  kelvoAudioGetFBMatrix(job.bank.data(), Int(job.BinCount()), 0.0f, static_cast<float>(job.sample_rate) / 2.0f,
                        Int(job.mel_n), job.sample_rate, KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
  return job;
}

void RunOurs(const MelSpectrogram& job, float* dst) {
  kelvoAudioGetMelSpectrogram(dst, job.src.data(), Int(job.src.size()), job.sample_rate, Int(job.fft_n), Int(job.hop_n),
                              Int(job.fft_n), KELVO_AUDIO_WINDOW_HANN, Int(job.frame_n), CenterOf(job), 2.0f,
                              KELVO_AUDIO_NORM_NONE, 0.0f, static_cast<float>(job.sample_rate) / 2.0f, Int(job.mel_n),
                              KELVO_AUDIO_MEL_NORM_SLANEY, KELVO_AUDIO_MEL_SLANEY);
}

MelProjection MakeMelProjection(std::size_t frame_n) {
  const MelSpectrogram mel = MakeMelSpectrogram(16000, {16000, 400, 160, 80}, true);
  Buffer power = Noise(mel.BinCount() * frame_n);
  for (float& value : power) value *= value;
  return {std::move(power), mel.bank, mel.BinCount(), frame_n, mel.mel_n};
}

void RunOurs(const MelProjection& job, float* dst) {
  kelvoAudioConvertToMel(dst, job.src.data(), job.bank.data(), Int(job.freq_n), Int(job.frame_n), Int(job.mel_n));
}

InverseSpectrogram MakeInverseSpectrogram(std::size_t frame_n, std::size_t fft_n, std::size_t hop_n) {
  return {Noise(2 * (fft_n / 2 + 1) * frame_n), fft_n, hop_n, frame_n};
}

void RunOurs(const InverseSpectrogram& job, float* dst) {
  kelvoAudioGetInverseSpectrogram(dst, job.src.data(), Int(job.frame_n), Int(job.fft_n / 2 + 1), Int(job.hop_n),
                                  Int(job.fft_n), KELVO_AUDIO_WINDOW_HANN, Int(job.ResultCount()),
                                  KELVO_AUDIO_CENTER_REFLECT, KELVO_AUDIO_NORM_NONE);
}

LinearFilter MakeIir(std::size_t order, std::size_t sample_n) {
  auto [numerator, denominator] = Butterworth(order, 0.4);
  return {Noise(sample_n), std::move(numerator), std::move(denominator)};
}

LinearFilter MakeFir(std::size_t tap_n, std::size_t sample_n) {
  return {Noise(sample_n), LowPassTaps(tap_n, 0.4), {1.0f}};
}

void RunOurs(const LinearFilter& job, float* dst) {
  kelvoAudioLinerFilter(dst, job.src.data(), job.numerator.data(), job.denominator.data(), nullptr, Int(job.src.size()),
                        Int(job.src.size()), Int(job.numerator.size()), Int(job.denominator.size()), 0);
}

void RunOurs(const ZeroPhaseFilter& job, float* dst) {
  kelvoAudioFilterFilter(dst, job.src.data(), job.numerator.data(), job.denominator.data(), Int(job.src.size()),
                         Int(job.src.size()), Int(job.numerator.size()), Int(job.denominator.size()),
                         KELVO_AUDIO_PAD_ODD, Int(job.pad_n));
}

// Tones in the pass band of every contestant and, where there is room for it, one to be removed: 1.5 times the highest
// frequency of the target. A poor stop band, or images, thus lower a contestant's signal-to-noise ratio.
Resampling MakeResampling(int dst_rate, int src_rate, int second_n) {
  Resampling job{{}, dst_rate, src_rate, 0};
  const double lower = std::min(dst_rate, src_rate) / static_cast<double>(src_rate);
  std::array<double, 5> fractions{0.031 * lower, 0.083 * lower, 0.147 * lower, 0.211 * lower, 0.259 * lower};
  if (dst_rate < src_rate && 0.75 * dst_rate < 0.45 * src_rate) fractions[4] = 0.75 * lower;
  job.src = Tones(static_cast<std::size_t>(second_n * src_rate), fractions);
  int dst_n = 0;
  kelvoAudioGetResampleLen(&dst_n, dst_rate, Int(job.src.size()), src_rate);
  job.dst_n = static_cast<std::size_t>(dst_n);
  return job;
}

void RunOurs(const Resampling& job, float* dst) {
  kelvoAudioResample(dst, job.src.data(), job.dst_rate, Int(job.dst_n), job.src_rate, Int(job.src.size()));
}

ElementwiseConversion MakeConversion(Conversion conversion, std::size_t value_n) {
  const bool is_real =
      conversion == Conversion::log1p || conversion == Conversion::standardise || conversion == Conversion::power_to_db;
  const std::size_t floats_out = conversion == Conversion::angle ? 2 : conversion == Conversion::unit_phase ? 3 : 1;
  ElementwiseConversion job{conversion, Noise((is_real ? 1 : 2) * value_n), value_n, floats_out * value_n};
  if (conversion == Conversion::log1p || conversion == Conversion::power_to_db) {
    for (float& value : job.src) value *= value;
  }
  return job;
}

void RunOurs(const ElementwiseConversion& job, float* dst) {
  const float* src = job.src.data();
  const int value_n = Int(job.value_n);
  switch (job.conversion) {
    case Conversion::log1p: kelvoAudioLog1p(dst, src, value_n); return;
    case Conversion::standardise: kelvoAudioStandardize(dst, src, value_n); return;
    case Conversion::power_to_db: kelvoAudioConvertPowerToDB(dst, src, value_n, kTopDb); return;
    case Conversion::magnitude: kelvoAudioComplexNorm(dst, src, value_n, 1.0f); return;
    case Conversion::power: kelvoAudioComplexNorm(dst, src, value_n, 2.0f); return;
    case Conversion::other_norm: kelvoAudioComplexNorm(dst, src, value_n, kOtherNorm); return;
    case Conversion::angle:
      kelvoAudioMagPhase(dst, dst + value_n, src, 1, value_n, 1.0f, KELVO_AUDIO_PHASE_ANGLE);
      return;
    case Conversion::unit_phase:
      kelvoAudioMagPhase(dst, dst + value_n, src, 1, value_n, 1.0f, KELVO_AUDIO_PHASE_COMPLEX);
      return;
  }
}

}  // namespace kelvo::Bench
