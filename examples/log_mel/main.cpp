// From a recording to a log-mel picture, and back from its spectrogram to sound.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <list>
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

double Seconds(std::size_t sample_n) { return static_cast<double>(sample_n) / kSampleRate; }

// Median of a few runs. The first, which builds the library's tables, is only one of them.
double MeasureSeconds(auto&& run) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> times;
  const auto begin = Clock::now();
  while (times.size() < 5 || (times.size() < 101 && Clock::now() - begin < std::chrono::milliseconds(200))) {
    const auto start = Clock::now();
    run();
    times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
  }
  std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
  return times[times.size() / 2];
}

// What can be drawn whatever the encoding of file names.
std::string Printable(std::string text) {
  std::ranges::replace_if(text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

void Run(const Options& options) {
  const Recording recording = ReadRecording(options.recording);
  std::printf("recording     %s: %zu samples at %d Hz\n", options.recording.c_str(), recording.samples.size(),
              recording.sample_rate);

  // Files appear under their names when all of them are complete.
  std::list<OutputFile> files;
  const auto new_file = [&](const std::string& suffix) -> const std::filesystem::path& {
    files.emplace_back(options.output_folder / (options.recording.stem().string() + suffix));
    return files.back().TemporaryPath();
  };
  std::filesystem::create_directories(options.output_folder);

  std::vector<float> samples = recording.samples;
  if (recording.sample_rate != kSampleRate) {
    samples = Resample(samples, recording.sample_rate);
    std::printf("resampled     to %d Hz: %zu samples\n", kSampleRate, samples.size());
  }
  if (options.band_pass) {
    samples = BandPass(samples, *options.band_pass);
    WriteWav(new_file("-band-pass.wav"), samples, kSampleRate);
    std::printf("band-pass     %g to %g Hz\n", options.band_pass->low, options.band_pass->high);
  }

  LogMel log_mel;
  const double seconds = MeasureSeconds([&] { log_mel = ComputeLogMel(samples); });
  const auto [low, high] = std::ranges::minmax(log_mel.db);
  std::printf("log-mel       %d bands x %d frames, %.1f to %.1f dB\n", kMelN, log_mel.frame_n,
              static_cast<double>(low), static_cast<double>(high));
  std::printf("time          %.3f ms, %.0f times faster than real time\n", seconds * 1e3,
              Seconds(samples.size()) / seconds);

  const Stretch stretch = FindNonSilentStretch(samples);
  const auto trimmed = std::span(samples).subspan(static_cast<std::size_t>(stretch.start),
                                                  static_cast<std::size_t>(stretch.length));
  std::printf("not silent    %.2f to %.2f s\n", Seconds(static_cast<std::size_t>(stretch.start)),
              Seconds(static_cast<std::size_t>(stretch.start) + trimmed.size()));

  const std::vector<float> resynthesised = Resynthesise(trimmed);
  WriteWav(new_file("-resynthesised.wav"), resynthesised, kSampleRate);
  std::printf("resynthesis   signal-to-noise ratio %.1f dB\n", SignalToNoiseRatio(trimmed, resynthesised));

  const std::string title = Printable(options.recording.filename().string()) + ": " + std::to_string(kMelN) +
                            " mel bands, " + std::to_string(log_mel.frame_n) + " frames";
  WritePng(new_file(".png"), {title, samples, stretch, log_mel});

  for (OutputFile& file : files) {
    file.Commit();
    std::printf("wrote         %s\n", file.Path().c_str());
  }
}

}  // namespace
}  // namespace log_mel

int main(int argument_n, char** arguments) {
  try {
    const auto options = log_mel::ParseOptions({arguments + 1, static_cast<std::size_t>(argument_n - 1)},
                                               log_mel::kSampleRate);
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
