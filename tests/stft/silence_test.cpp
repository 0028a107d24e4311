// The non-silent range: closed-form answers, rounded frame counts, and the order of sums at every level.
#include "stft/silence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "stft/checks.h"
#include "stft/stft_kernels.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Stft {
namespace {

using namespace Support;

// Zeros, with `level` from first to last - 1.
std::vector<float> Burst(std::size_t sample_n, std::ptrdiff_t first, std::ptrdiff_t last, float level) {
  std::vector<float> signal(sample_n);
  std::fill(signal.begin() + first, signal.begin() + last, level);
  return signal;
}

TEST(Silence, HasItsClosedFormAnswers) {
  struct Row {
    const char* name;
    std::vector<float> signal;
    int win_n, hop_n;
    float thr_db;
    int start_pos, nonsilent_n;
  };
  // A burst of ones fills a share of each frame that touches it; 400 samples every 160, centred, hold at least 1 / 400
  // of it (-26 dB) from 4960 to 9120, and more than half (-3 dB) from 5120 to 8960.
  for (const Row& row : std::vector<Row>{
           {"all zeros", Burst(1000, 0, 0, 0.0f), 400, 160, 0.5f, 0, 1000},
           {"no threshold", Burst(1000, 0, 1000, 1.0f), 400, 160, 0.0f, -1, 0},
           {"threshold NaN", Burst(1000, 0, 1000, 1.0f), 400, 160, kNan, -1, 0},
           {"shorter than a frame", Burst(399, 0, 399, 1.0f), 400, 160, 60.0f, -1, 0},
           {"shorter than a frame, no hop", Burst(399, 0, 399, 1.0f), 400, 0, 60.0f, -1, 0},
           {"burst", Burst(16000, 5000, 9000, 1.0f), 400, 160, 60.0f, 4960, 4320},
           {"burst, half frames", Burst(16000, 5000, 9000, 1.0f), 400, 160, 3.0f, 5120, 4000},
           {"burst, all above the floor", Burst(16000, 5000, 9000, 1.0f), 400, 160, 101.0f, 0, 16000},
           {"burst, none at the floor", Burst(16000, 5000, 9000, 1.0f), 400, 160, 99.0f, 4960, 4320},
           // -96 dB: above the floor, and not taken for it.
           {"burst, hiss", {0x1p-16f, 0x1p-16f, 1.0f, 0x1p-16f}, 1, 1, 97.0f, 0, 4},
           {"burst at the end", Burst(16000, 8000, 16000, 1.0f), 400, 160, 60.0f, 7840, 8160},
           {"two bursts as one", {1, 0, 0, 0, 0, 0, 0, 1, 0, 0}, 1, 1, 60.0f, 0, 8},
           {"single sample", {1.0f}, 1, 1, 60.0f, 0, 1},
           {"hop beyond the signal", Burst(10, 0, 10, 1.0f), 4, 100, 60.0f, 0, 10},
           {"largest hop", Burst(10, 0, 10, 1.0f), 4, INT_MAX, 60.0f, 0, 10},
           // The squares of 1e38 overflow single precision; a sum in double holds them.
           {"huge", Burst(16000, 5000, 9000, 1e38f), 400, 160, 60.0f, 4960, 4320},
           // No level is within any distance of infinity, not even infinity.
           {"infinity", Burst(1000, 500, 501, kInfinity), 400, 160, 60.0f, -1, 0},
           {"NaN, in two frames", {kNan, 1, 1, 1, 1, 1, 1, 1, 1, 1}, 4, 2, 200.0f, 4, 6},
           // The second of two frames is centred one sample past the end; mirrored, that is the sound. The length is
           // not negative.
           {"past the end", Burst(11184811, 11184808, 11184809, 1.0f), 1, 11184812, 60.0f, 11184811, 0},
       }) {
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const NonSilentSpan span = FindNonSilentSpan(row.signal, row.win_n, row.hop_n, row.thr_db, level);
      EXPECT_EQ(span.start_pos, row.start_pos) << row.name << " " << Simd::LevelName(level);
      EXPECT_EQ(span.nonsilent_n, row.nonsilent_n) << row.name << " " << Simd::LevelName(level);
    }
  }
}

// Frames of 3 samples every 3 cover each sample once, so each frame of each block is the only loud one in some row.
TEST(Silence, FindsASingleSampleAnywhere) {
  const int sample_n = 900;
  for (const Simd::Level level : Simd::SupportedLevels()) {
    for (int position = 0; position < sample_n; ++position) {
      const std::vector<float> signal = Burst(sample_n, position, position + 1, 1.0f);
      const NonSilentSpan span = FindNonSilentSpan(signal, 3, 3, 60.0f, level);
      const int start = (position + 1) / 3 * 3;
      ASSERT_EQ(span.start_pos, start) << Simd::LevelName(level);
      // The last sample's frame is centred past the end, and clipped to no samples there.
      ASSERT_EQ(span.nonsilent_n, std::min(3, sample_n - start)) << Simd::LevelName(level) << " " << position;
    }
  }
}

TEST(SilenceKernels, SumInSampleOrderWhateverTheLane) {
  // 2^54 absorbs each 1 added after it, but not the sum of those before it: the result tells how many those were.
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const auto sum_squares = Simd::KernelsFor<SilenceKernels>(level).sum_squares;
    for (std::size_t win_n = 1; win_n <= 40; ++win_n) {
      const std::size_t frame_n = 19;
      std::vector<float> frames(frame_n * win_n, 1.0f);
      for (std::size_t t = 0; t < frame_n; ++t) frames[t * win_n + 5 * t % win_n] = 0x1p27f;
      std::vector<double> sums(frame_n);
      sum_squares(sums.data(), frames.data(), frame_n, win_n, win_n);
      for (std::size_t t = 0; t < frame_n; ++t) {
        ASSERT_EQ(sums[t], 0x1p54 + static_cast<double>(5 * t % win_n)) << Simd::LevelName(level) << " " << win_n;
      }
    }
  }
}

TEST(SilenceChecks, ReportTheFirstFailure) {
  EXPECT_EQ(MessageOf([] { CheckNonSilentPos(0, 0, -1, -1.0f); }), "Invalid sample_n size.");
  EXPECT_EQ(MessageOf([] { CheckNonSilentPos(1, 0, -1, -1.0f); }), "Invalid win_n value.");
  EXPECT_EQ(MessageOf([] { CheckNonSilentPos(1, 1, -1, -1.0f); }), "Invalid hop_n value.");
  EXPECT_EQ(MessageOf([] { CheckNonSilentPos(1, 1, 0, -1.0f); }), "Invalid thr_db value.");
  EXPECT_EQ(MessageOf([] { CheckNonSilentPos(1, 1, 0, 0.0f); }), "");
  EXPECT_EQ(MessageOf([] { FindNonSilentSpan({}, 10, 10, -1.0f, Simd::BestLevel()); }), "Invalid thr_db.");
}

}  // namespace
}  // namespace kelvo::Stft
