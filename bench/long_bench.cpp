// Results that leave the caches: long recordings, and results that nothing has brought there before.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>

#include "peers/peers.h"
#include "rows.h"
#include "short_time_jobs.h"

namespace kelvo::Bench {
namespace {

constexpr std::size_t kFftN = 400, kHopN = 160;
constexpr MelSettings kSpeech{16000, kFftN, kHopN, 80};

Contest SpectrogramContest(std::size_t frame_n, std::size_t fft_n, std::size_t hop_n, float power) {
  return AgainstPeers(MakeSpectrogram(frame_n * hop_n, fft_n, hop_n, power));
}

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

}  // namespace

void AddLongRows() {
  for (const std::size_t frame_n : {1000u, 3000u, 12000u, 30000u, 180000u}) {
    const auto add = [=](const char* job, std::function<Contest()> make_contest) {
      AddRow({.section = "Long recordings, 400/160",
              .name = std::string(job) + ", " + std::to_string(frame_n) + " frames",
              .make_contest = std::move(make_contest)});
    };
    add("complex", [=] { return SpectrogramContest(frame_n, kFftN, kHopN, 0.0f); });
    add("power 2", [=] { return SpectrogramContest(frame_n, kFftN, kHopN, 2.0f); });
    add("mel, 80 bands", [=] { return AgainstPeers(MakeMelSpectrogram(frame_n * kHopN, kSpeech, true)); });
    add("inverse", [=] { return AgainstPeers(MakeInverseSpectrogram(frame_n, kFftN, kHopN)); });
  }
  for (const std::size_t frame_n : {3000u, 6000u, 12000u, 16000u, 30000u}) {
    AddRow({.section = "Complex spectrogram, 400/160, written, then read once",
            .name = std::to_string(frame_n) + " frames",
            .make_contest = [=] { return ReadOnce(SpectrogramContest(frame_n, kFftN, kHopN, 0.0f)); }});
  }
  struct Geometry {
    const char* name;
    std::size_t fft_n, hop_n;
    double goal;
  };
  for (const Geometry row :
       {Geometry{"400/160", 400, 160, 1.5}, {"512/160", 512, 160, 1.5}, {"2048/512", 2048, 512, 1.8}}) {
    AddRow({.section = "Complex spectrogram, 30 s, results not in the caches",
            .name = row.name,
            .goal = row.goal,
            .make_contest = [=] { return Cold(SpectrogramContest(480000 / row.hop_n, row.fft_n, row.hop_n, 0.0f)); }});
  }
}

}  // namespace kelvo::Bench
