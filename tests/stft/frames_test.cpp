// Frame counts, extraction of frames, and the exports that give lengths.
#include "stft/frames.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

#include "kelvo_audio.h"
#include "stft/checks.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Stft {
namespace {

using namespace Support;

TEST(FrameCount, EqualsClosedForms) {
  struct Row {
    int sample_n, fft_n, hop_n, plain, reflect, zero;
  };
  for (const Row& row : std::vector<Row>{
           {1000, 400, 160, 4, 7, 8},
           {960, 400, 160, 4, 7, 7},
           {399, 400, 160, 0, 0, 0},
           {400, 400, 160, 1, 3, 4},
           {1, 1, 1, 1, 2, 2},
           {1000, 400, 0, INT_MAX, INT_MAX, INT_MAX},
           {400, 400, 0, 0, INT_MAX, INT_MAX},  // 0 / 0
           {1000, 400, INT_MAX, 1, 1, 2},
           {INT_MAX, INT_MAX, INT_MAX, 1, 2, 2},
       }) {
    SCOPED_TRACE(testing::Message() << row.sample_n << " " << row.fft_n << " " << row.hop_n);
    EXPECT_EQ(ComputeFrameCount(row.sample_n, row.fft_n, row.hop_n, 0), row.plain);
    EXPECT_EQ(ComputeFrameCount(row.sample_n, row.fft_n, row.hop_n, 1), row.reflect);
    EXPECT_EQ(ComputeFrameCount(row.sample_n, row.fft_n, row.hop_n, 2), row.zero);
  }
}

TEST(FrameCount, IsExactBelowElevenMillionSamples) {
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    const int sample_n = 1 + static_cast<int>(random() % 11'000'000u);
    const int fft_n = 1 + static_cast<int>(random() % static_cast<unsigned>(sample_n));
    const int hop_n = 1 + static_cast<int>(random() % 2048u);
    SCOPED_TRACE(testing::Message() << sample_n << " " << fft_n << " " << hop_n);
    ASSERT_EQ(ComputeFrameCount(sample_n, fft_n, hop_n, 0), (sample_n - fft_n) / hop_n + 1);
    ASSERT_EQ(ComputeFrameCount(sample_n, fft_n, hop_n, 1), sample_n / hop_n + 1);
    ASSERT_EQ(ComputeFrameCount(sample_n, fft_n, hop_n, 2), (sample_n + hop_n - 1) / hop_n + 1);
  }
}

// Callers size their arrays by this count, so it must not change although the signal does not cover the last frame.
TEST(FrameCount, RoundsUpInSinglePrecision) {
  struct Row {
    int span_n, hop_n;
  };
  std::vector<Row> rows{{13107199, 200}, {13107199, 400}, {14450687, 441},
                        {16777279, 80},  {16777279, 160}, {16777279, 320}};
  for (int hop_n = 4; hop_n <= 1024; hop_n *= 2) rows.push_back({16777215, hop_n});
  for (const Row& row : rows) {
    EXPECT_EQ(ComputeFrameCount(row.span_n + 512, 512, row.hop_n, 0), row.span_n / row.hop_n + 2)
        << row.span_n << " " << row.hop_n;
  }
  // From 2^24 hops on the sum with 1 has no float of its own, and rounds to even.
  EXPECT_EQ(ComputeFrameCount(16777216 + 512, 512, 1, 0), 16777216);
  EXPECT_EQ(ComputeFrameCount(16777216, 512, 1, 1), 16777216);
  EXPECT_EQ(ComputeFrameCount(16777216, 512, 1, 2), 16777216);
  // Adding 1 before rounding up would lose the fraction that makes the last frame.
  EXPECT_EQ(ComputeFrameCount(13106801, 512, 400, 2), 32769);
}

TEST(SampleCount, EqualsClosedFormsAndWrapsAround) {
  struct Row {
    int frame_n, freq_n, hop_n, plain, centred;
  };
  for (const Row& row : std::vector<Row>{
           {7, 201, 160, 1360, 960},
           {-5, 201, 160, 0, 0},
           {0, 201, 160, 0, 0},
           {5, 201, 0, 400, 0},
           {65537, 2, 65536, 2, 0},
           {2, 2, INT_MAX, INT_MIN + 1, INT_MAX},
           {2, INT_MAX, 0, -4, 0},
       }) {
    SCOPED_TRACE(testing::Message() << row.frame_n << " " << row.freq_n << " " << row.hop_n);
    EXPECT_EQ(ComputeSampleCount(row.frame_n, row.freq_n, row.hop_n, 0), row.plain);
    EXPECT_EQ(ComputeSampleCount(row.frame_n, row.freq_n, row.hop_n, 1), row.centred);
    EXPECT_EQ(ComputeSampleCount(row.frame_n, row.freq_n, row.hop_n, 2), row.centred);
  }
}

TEST(ExtractFrame, CutsAsTheModeSays) {
  const std::vector<float> src{1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
  const auto extract = [&](CenterMode center, std::int64_t index) {
    std::vector<float> frame(4);
    ExtractFrame(center, frame, src, index * 3, center == CenterMode::None ? 0 : 2);
    return frame;
  };
  EXPECT_EQ(extract(CenterMode::None, 1), (std::vector{4.0f, 5.0f, 0.0f, 0.0f}));
  EXPECT_EQ(extract(CenterMode::Reflect, 0), (std::vector{3.0f, 2.0f, 1.0f, 2.0f}));
  EXPECT_EQ(extract(CenterMode::Zero, 2), (std::vector{5.0f, 0.0f, 0.0f, 0.0f}));
  // Beyond 32 bits: 3 * 2^40 lies on sample 0 of a signal that repeats every 8 samples.
  EXPECT_EQ(extract(CenterMode::Reflect, std::int64_t{1} << 40), (std::vector{3.0f, 2.0f, 1.0f, 2.0f}));
}

TEST(FixFrameLen, CutsOrAppendsColumns) {
  const std::vector<float> src{1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};  // [2 x 3]
  std::vector<float> cut(2), extended(8);
  ASSERT_EQ(kelvoAudioFixFrameLen(cut.data(), src.data(), 2, 1, 3, -7.0f), KELVO_AUDIO_STATUS_OK);
  ASSERT_EQ(kelvoAudioFixFrameLen(extended.data(), src.data(), 2, 4, 3, -7.0f), KELVO_AUDIO_STATUS_OK);
  EXPECT_EQ(cut, (std::vector{1.0f, 4.0f}));
  EXPECT_EQ(extended, (std::vector{1.0f, 2.0f, 3.0f, -7.0f, 4.0f, 5.0f, 6.0f, -7.0f}));
}

TEST(FrameChecks, ReportTheFirstFailure) {
  EXPECT_EQ(MessageOf([] { CheckFrameLen(0, 0, -1, 3); }), "Invalid sample_n value.");
  EXPECT_EQ(MessageOf([] { CheckFrameLen(1, 0, -1, 3); }), "Invalid fft_n value.");
  EXPECT_EQ(MessageOf([] { CheckFrameLen(1, 1, -1, 3); }), "Invalid hop_n value.");
  EXPECT_EQ(MessageOf([] { CheckFrameLen(1, 1, 0, 3); }), "Invalid center format.");

  EXPECT_EQ(MessageOf([] { CheckSampleLen(0, 0, -1, 3); }), "Invalid frame_n value.");
  EXPECT_EQ(MessageOf([] { CheckSampleLen(1, 0, -1, 3); }), "Invalid freq_n value");
  EXPECT_EQ(MessageOf([] { CheckSampleLen(1, 1, -1, 3); }), "Invalid hop_n value.");
  EXPECT_EQ(MessageOf([] { CheckSampleLen(1, 1, 0, 3); }), "Invalid center format.");

  EXPECT_EQ(MessageOf([] { CheckFixFrameLen(0, 0, 0); }), "Invalid freq_n size.");
  EXPECT_EQ(MessageOf([] { CheckFixFrameLen(1, 0, 0); }), "Invalid dst_frame_n size.");
  EXPECT_EQ(MessageOf([] { CheckFixFrameLen(1, 1, 0); }), "Invalid src_frame_n size.");
}

}  // namespace
}  // namespace kelvo::Stft
