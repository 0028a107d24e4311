// Results that leave the caches: long recordings, and results that nothing has brought there before.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "jobs.h"
#include "peers/bandwidth.h"
#include "rows.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kFftN = 400, kHopN = 160;
constexpr MelSettings kSpeech{16000, kFftN, kHopN, 80};

// Every contestant's result is read once when it is written.
Contest ReadOnce(Contest contest) {
  for (Contestant& contestant : contest.contestants) {
    contestant.run = [write = std::move(contestant.run), count = contest.result_n](float* dst) {
      write(dst);
      // Sums in lanes of their own, which the compiler may put in vectors.
      std::array<float, 64> sums{};
      for (std::size_t i = 0; i + sums.size() <= count; i += sums.size()) {
        for (std::size_t k = 0; k < sums.size(); ++k) sums[k] += dst[i + k];
      }
      benchmark::DoNotOptimize(sums);
    };
  }
  return contest;
}

// Contestants write to arrays in turn that together exceed the caches, as a program does that works through many
// recordings; all use the same arrays. The first call, whose results are compared, goes to dst.
Contest Cold(Contest contest) {
  constexpr std::size_t kBytes = std::size_t{1} << 29;
  struct Arrays {
    Buffer memory;
    std::size_t next = 0;
  };
  const std::size_t stride = (contest.result_n + 15) / 16 * 16;
  const std::size_t array_n = kBytes / sizeof(float) / stride + 1;
  auto arrays = std::make_shared<Arrays>();
  for (Contestant& contestant : contest.contestants) {
    contestant.run = [=, write = std::move(contestant.run), is_first = true](float* dst) mutable {
      if (is_first) {
        write(dst);
        is_first = false;
        return;
      }
      if (arrays->memory.empty()) arrays->memory.resize(array_n * stride);
      write(arrays->memory.data() + arrays->next * stride);
      arrays->next = (arrays->next + 1) % array_n;
    };
  }
  return contest;
}

void AddLongRecordingRows() {
  for (const std::size_t frame_n : {1000u, 3000u, 12000u, 30000u, 180000u}) {
    const auto add = [=](const char* job, auto make) {
      AddRow(
          {.section = "Long recordings, 400/160",
           .name = std::string(job) + ", " + std::to_string(frame_n) + " frames",
           // Moving bytes past the caches would take from them what shorter results leave there.
           .make_contest = [=] { return frame_n < 12000 ? AgainstPeers(make()) : AgainstPeersAndBandwidth(make()); }});
    };
    add("complex", [=] { return MakeSpectrogram(frame_n * kHopN, kFftN, kHopN, 0.0f); });
    add("power 2", [=] { return MakeSpectrogram(frame_n * kHopN, kFftN, kHopN, 2.0f); });
    add("mel, 80 bands", [=] { return MakeMelSpectrogram(frame_n * kHopN, kSpeech, true); });
    add("inverse", [=] { return MakeInverseSpectrogram(frame_n, kFftN, kHopN); });
  }
}

void AddReadOnceRows() {
  for (const std::size_t frame_n : {3000u, 6000u, 12000u, 16000u, 30000u}) {
    AddRow(
        {.section = "Complex spectrogram, 400/160, written, then read once",
         .name = std::to_string(frame_n) + " frames",
         .make_contest = [=] { return ReadOnce(AgainstPeers(MakeSpectrogram(frame_n * kHopN, kFftN, kHopN, 0.0f))); }});
  }
}

void AddColdRows() {
  constexpr std::size_t kSeconds = 30;
  const auto add = [](const std::string& name, double goal, double avx2_goal, auto make) {
    AddRow({.section = "30 s, results not in the caches",
            .name = name,
            .goal = goal,
            .avx2_goal = avx2_goal,
            .make_contest = [=] { return Cold(AgainstPeersAndBandwidth(make())); }});
  };
  struct Geometry {
    const char* name;
    std::size_t fft_n, hop_n;
    double goal;
  };
  constexpr Geometry kGeometries[] = {
      {"400/160", 400, 160, 1.5}, {"512/160", 512, 160, 1.5}, {"2048/512", 2048, 512, 1.8}};
  for (const auto& [power_name, power] : {std::pair("complex", 0.0f), {"power 2", 2.0f}}) {
    for (const Geometry geometry : kGeometries) {
      add(std::string(power_name) + ", " + geometry.name, geometry.goal, 1.4,
          [=, power = power] { return MakeSpectrogram(kSeconds * 16000, geometry.fft_n, geometry.hop_n, power); });
    }
  }
  for (const MelSettings mel : {kSpeech, MelSettings{22050, 1024, 256, 80}, {44100, 2048, 512, 128}}) {
    add("mel, " + std::to_string(mel.fft_n) + "/" + std::to_string(mel.hop_n) + "/" + std::to_string(mel.mel_n), 0.0,
        0.0, [=] { return MakeMelSpectrogram(kSeconds * static_cast<std::size_t>(mel.sample_rate), mel, true); });
  }
  for (const Geometry geometry : kGeometries) {
    add(std::string("inverse, ") + geometry.name, 0.0, 1.6,
        [=] { return MakeInverseSpectrogram(kSeconds * 16000 / geometry.hop_n, geometry.fft_n, geometry.hop_n); });
  }
}

// Jobs of other kinds on arrays that no cache holds.
void AddLargeRows() {
  constexpr std::size_t kValues = 1 << 24;
  const auto add = [](const std::string& name, auto make, double least_snr_db = 90.0) {
    AddRow({.section = "Large",
            .name = name,
            .least_snr_db = least_snr_db,
            .round_n = 11,
            .edge_n = least_snr_db < 90.0 ? 1000u : 0u,
            .make_contest = [=] { return AgainstPeersAndBandwidth(make()); }});
  };
  for (const int log2 : {18, 20, 22, 24}) {
    add("FFT, 2^" + std::to_string(log2) + " samples", [=] { return MakeForwardFft(std::size_t{1} << log2); });
  }
  for (const int log2 : {18, 20, 22}) {
    add("inverse FFT, 2^" + std::to_string(log2) + " values", [=] { return MakeInverseFft(std::size_t{1} << log2); });
  }
  add("power to dB, 2^24 values", [=] { return MakeConversion(Conversion::power_to_db, kValues); });
  add("mel projection, 201 bins, 80 bands, 60000 frames", [] { return MakeMelProjection(60000); });
  add("biquad, 2^24 samples", [=] { return MakeIir(2, kValues); });
  add("FIR, 31 taps, 2^24 samples", [=] { return MakeFir(31, kValues); });
  add(
      "resampling, 44.1 to 16 kHz, 300 s", [] { return MakeResampling(16000, 44100, 300); }, 40.0);
}

}  // namespace

void AddLongRows() {
  AddLongRecordingRows();
  AddReadOnceRows();
  AddColdRows();
  AddLargeRows();
}

}  // namespace kelvo::Bench
