// The CPU levels against each other: the best one against those below it.
#include <span>
#include <string>
#include <utility>

#include "fft/fft.h"
#include "filter/linear_filter.h"
#include "filter/resample.h"
#include "jobs.h"
#include "kelvo_audio.h"
#include "mel/conversions.h"
#include "mel/mel_spectrogram.h"
#include "rows.h"
#include "signals.h"
#include "simd/level.h"
#include "stft/spectrogram.h"

namespace kelvo::Bench {
namespace {

// Adds a row that runs a job made by make() at each level: run(dst, job, level).
template <class Make, class RunAtLevel>
void AddRowOfLevels(const std::string& name, std::size_t result_n, Make make, RunAtLevel run) {
  AddRow({.section = "CPU levels: the best against the others",
          .name = name,
          .least_snr_db = 200.0,  // the bits are the same
          .make_contest = [=] {
            const auto job = std::make_shared<const decltype(make())>(make());
            Contest contest{job, result_n, {}};
            const std::span<const Simd::Level> levels = Simd::SupportedLevels();
            for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
              contest.contestants.push_back({Simd::LevelName(*level), [=, &job = *job, level = *level](float* dst) {
                                               run(std::span(dst, result_n), job, level);
                                             }});
            }
            return contest;
          }});
}

void AddTransformLevels() {
  for (const std::size_t fft_n : {512u, 4096u}) {
    AddRowOfLevels(
        "FFT " + std::to_string(fft_n), 2 * fft_n, [=] { return Noise(fft_n); },
        [](std::span<float> dst, const Buffer& src, Simd::Level level) { Fft::ComputeFft(dst.data(), src, level); });
  }
  AddRowOfLevels(
      "mel spectrogram 400/160/80, 1 s", 80 * 101,
      [] {
        return MakeMelSpectrogram(16000, {16000, 400, 160, 80}, true);
      },
      [](std::span<float> dst, const MelSpectrogram& job, Simd::Level level) {
        Mel::MelSettings settings{};
        settings.short_time = {.sample_n = Int(job.src.size()),
                               .fft_n = Int(job.fft_n),
                               .hop_n = Int(job.hop_n),
                               .win_n = Int(job.fft_n),
                               .win_type = KELVO_AUDIO_WINDOW_HANN,
                               .max_frame_n = Int(job.frame_n),
                               .center = KELVO_AUDIO_CENTER_REFLECT,
                               .norm_type = KELVO_AUDIO_NORM_NONE};
        settings.power = 2.0f;
        settings.f_max = static_cast<float>(job.sample_rate) / 2.0f;
        settings.mel_n = Int(job.mel_n);
        settings.sample_rate = job.sample_rate;
        settings.mel_norm = KELVO_AUDIO_MEL_NORM_SLANEY;
        settings.mel_formula = KELVO_AUDIO_MEL_SLANEY;
        Mel::ComputeMelSpectrogram(dst.data(), job.src, settings, level);
      });
  AddRowOfLevels(
      "inverse spectrogram 512/128, 100 frames", 99 * 128, [] { return MakeInverseSpectrogram(100, 512, 128); },
      [](std::span<float> dst, const InverseSpectrogram& job, Simd::Level level) {
        const Stft::InverseSettings settings{.frame_n = Int(job.frame_n),
                                             .freq_n = Int(job.fft_n / 2 + 1),
                                             .hop_n = Int(job.hop_n),
                                             .win_n = Int(job.fft_n),
                                             .win_type = KELVO_AUDIO_WINDOW_HANN,
                                             .max_sample_n = Int(dst.size()),
                                             .center = KELVO_AUDIO_CENTER_REFLECT,
                                             .norm_type = KELVO_AUDIO_NORM_NONE};
        Stft::ComputeInverseSpectrogram(dst.data(), job.src.data(), settings, level);
      });
}

void AddFilterLevels() {
  constexpr std::size_t kSamples = 16000;
  struct Coefficients {
    const char* name;
    std::pair<Buffer, Buffer> (*make)();
  };
  for (const Coefficients coefficients :
       {Coefficients{"filter of order 4", [] { return Butterworth(4, 0.4); }},
        {"filter of order 16", [] { return Butterworth(16, 0.4); }},
        {"FIR filter, 255 taps", [] { return std::pair(LowPassTaps(255, 0.4), Buffer{1.0f}); }}}) {
    AddRowOfLevels(
        coefficients.name, kSamples, [=] { return std::pair(Noise(kSamples), coefficients.make()); },
        [](std::span<float> dst, const auto& job, Simd::Level level) {
          const auto& [src, filter] = job;
          Base::CallScratch scratch;
          Filter::LinerFilterCore<float, float, float>(dst, src, filter.first, filter.second, {}, false, level,
                                                       scratch);
        });
  }
  AddRowOfLevels(
      "resampling 44.1 to 16 kHz, 1 s", 16000, [] { return Noise(44100); },
      [](std::span<float> dst, const Buffer& src, Simd::Level level) {
        Filter::Resample(dst, src, 16000, 44100, level);
      });
}

void AddConversionLevels() {
  constexpr std::size_t kValues = 16000;
  const auto squares = [] {
    Buffer values = Noise(kValues);
    for (float& value : values) value *= value;
    return values;
  };
  AddRowOfLevels("power to dB", kValues, squares, [](std::span<float> dst, const Buffer& src, Simd::Level level) {
    Mel::ConvertPowerToDb(dst.data(), src, kTopDb, level);
  });
  AddRowOfLevels(
      "complex norm, power 1", kValues, [] { return Noise(2 * kValues); },
      [](std::span<float> dst, const Buffer& src, Simd::Level level) {
        Mel::ComputePowerSpectrum(dst.data(), src, 1.0f, level);
      });
}

}  // namespace

void AddLevelRows() {
  AddTransformLevels();
  AddFilterLevels();
  AddConversionLevels();
}

}  // namespace kelvo::Bench
