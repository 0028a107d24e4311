// From a recording to a log-mel picture, and back from its spectrogram to sound.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <list>
#include <span>
#include <string>
#include <vector>

#include "analysis.h"
#include "failure.h"
#include "options.h"
#include "output_file.h"
#include "picture.h"
#include "recording.h"

namespace log_mel {
namespace {

constexpr float kFaintest = 1e-5f;  // amplitude, -100 dB: fainter frames count as that

double Seconds(std::size_t sample_n) { return static_cast<double>(sample_n) / kSampleRate; }

// The output files, named after the recording. They appear under their names when all of them are complete.
class Outputs {
 public:
  explicit Outputs(const Options& options) : base_(options.output_folder / options.recording.stem()) {}

  const std::filesystem::path& Add(const std::string& suffix) {
    if (base_.has_parent_path()) std::filesystem::create_directories(base_.parent_path());
    return files_.emplace_back(base_.string() + suffix).TemporaryPath();
  }
  void Commit() {
    for (OutputFile& file : files_) {
      file.Commit();
      std::printf("wrote         %s\n", file.Path().c_str());
    }
  }

 private:
  std::filesystem::path base_;
  std::list<OutputFile> files_;
};

// The recording at kSampleRate, filtered if the options ask for it.
std::vector<float> LoadSamples(const Options& options, Outputs& outputs) {
  auto [samples, sample_rate] = ReadRecording(options.recording);
  std::printf("recording     %s: %zu samples at %d Hz\n", options.recording.c_str(), samples.size(), sample_rate);
  if (sample_rate != kSampleRate) {
    samples = Resample(samples, sample_rate);
    std::printf("resampled     to %d Hz: %zu samples\n", kSampleRate, samples.size());
  }
  if (options.band_pass) {
    samples = BandPass(samples, *options.band_pass);
    WriteWav(outputs.Add("-band-pass.wav"), samples, kSampleRate);
    std::printf("band-pass     %g to %g Hz\n", options.band_pass->low, options.band_pass->high);
  }
  return samples;
}

// The features, and the median time of a few runs, so that the first one, which builds the tables, has little weight.
LogMel MeasureLogMel(std::span<const float> samples) {
  using Clock = std::chrono::steady_clock;
  LogMel log_mel;
  std::vector<double> times;
  const auto begin = Clock::now();
  while (times.size() < 5 || (times.size() < 101 && Clock::now() - begin < std::chrono::milliseconds(200))) {
    const auto start = Clock::now();
    log_mel = ComputeLogMel(samples);
    times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
  }
  const auto median = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::ranges::nth_element(times, median);

  const auto [low, high] = std::ranges::minmax(log_mel.db);
  std::printf("log-mel       %d bands x %d frames, %.1f to %.1f dB\n", kMelN, log_mel.frame_n, static_cast<double>(low),
              static_cast<double>(high));
  std::printf("time          %.3f ms, %.0f times faster than real time (one thread, warm caches, without reading)\n",
              *median * 1e3, Seconds(samples.size()) / *median);
  return log_mel;
}

// Text that can be drawn in any encoding of file names.
std::string Printable(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

void Run(const Options& options) {
  Outputs outputs(options);
  const std::vector<float> samples = LoadSamples(options, outputs);
  const LogMel log_mel = MeasureLogMel(samples);

  const Stretch stretch = FindNonSilentStretch(samples);
  const auto start = static_cast<std::size_t>(stretch.start);
  const auto trimmed = std::span(samples).subspan(start, static_cast<std::size_t>(stretch.length));
  // To the search for silence, a recording that is nothing else is one stretch of even loudness.
  if (std::ranges::all_of(samples, [](float sample) { return std::abs(sample) < kFaintest; })) {
    std::printf("silent        no sample above -100 dB\n");
  } else {
    std::printf("not silent    %.2f to %.2f s\n", Seconds(start), Seconds(start + trimmed.size()));
  }

  const std::vector<float> resynthesised = Resynthesise(trimmed);
  WriteWav(outputs.Add("-resynthesised.wav"), resynthesised, kSampleRate);
  std::printf("resynthesis   signal-to-noise ratio %.1f dB\n", SignalToNoiseRatio(trimmed, resynthesised));

  const std::string title = Printable(options.recording.filename().string()) + ": " + std::to_string(kMelN) +
                            " mel bands, " + std::to_string(log_mel.frame_n) + " frames";
  WritePng(outputs.Add(".png"), {title, samples, stretch, log_mel});
  outputs.Commit();
}

}  // namespace
}  // namespace log_mel

int main(int argument_n, char** arguments) {
  try {
    const auto options =
        log_mel::ParseOptions({arguments + 1, static_cast<std::size_t>(argument_n - 1)}, log_mel::kSampleRate);
    if (options.help) {
      std::fputs(log_mel::kUsage, stdout);
    } else {
      log_mel::Run(options);
    }
    return 0;
  } catch (const log_mel::WrongUsage& error) {
    std::fprintf(stderr, "log_mel: %s\n%s", error.what(), log_mel::kUsage);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "log_mel: %s\n", error.what());
    return 1;
  }
}
