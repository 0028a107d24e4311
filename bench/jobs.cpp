// Jobs on frames of noise, and how the library does them.
#include "short_time_jobs.h"

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

InverseSpectrogram MakeInverseSpectrogram(std::size_t frame_n, std::size_t fft_n, std::size_t hop_n) {
  return {Noise(2 * (fft_n / 2 + 1) * frame_n), fft_n, hop_n, frame_n};
}

void RunOurs(const InverseSpectrogram& job, float* dst) {
  kelvoAudioGetInverseSpectrogram(dst, job.src.data(), Int(job.frame_n), Int(job.fft_n / 2 + 1), Int(job.hop_n),
                                  Int(job.fft_n), KELVO_AUDIO_WINDOW_HANN, Int(job.ResultCount()),
                                  KELVO_AUDIO_CENTER_REFLECT, KELVO_AUDIO_NORM_NONE);
}

}  // namespace kelvo::Bench
