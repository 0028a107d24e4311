// The inverse spectrogram: against overlap-add in double precision, and which bins each sample depends on.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <ostream>
#include <span>
#include <utility>
#include <vector>

#include "fft/fft_plan.h"
#include "fft/spectra.h"
#include "kelvo_audio.h"
#include "reliability/sanitizers.h"
#include "stft/checks.h"
#include "stft/spectrogram.h"
#include "stft/stft_kernels.h"
#include "stft/window.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/messages.h"
#include "support/short_time.h"
#include "support/signals.h"

namespace kelvo::Stft {

static std::ostream& operator<<(std::ostream& out, const InverseSettings& s) {
  return out << s.frame_n << " frames of " << s.freq_n << " bins, hop " << s.hop_n << ", window " << s.win_n << " type "
             << s.win_type << ", up to " << s.max_sample_n << " samples, center " << s.center << " norm "
             << s.norm_type;
}

namespace {

using namespace Support;

// A few samples more than are written; the others stay kUntouched.
std::vector<float> Inverse(const std::vector<float>& spectrogram, const InverseSettings& settings, Simd::Level level) {
  std::vector<float> dst(static_cast<std::size_t>(settings.max_sample_n) + 5, kUntouched);
  ComputeInverseSpectrogram(dst.data(), spectrogram.data(), settings, level);
  return dst;
}

// The imaginary parts of the first and the last bin must be ignored.
std::vector<float> NoiseBins(const InverseSettings& settings) {
  const auto row_n = 2 * static_cast<std::size_t>(settings.frame_n);
  std::vector<float> bins = Noise(row_n * static_cast<std::size_t>(settings.freq_n));
  for (std::size_t i = 1; i < row_n; i += 2) bins[i] = bins[bins.size() - i] = kNan;
  return bins;
}

struct OverlapAdd {
  std::vector<double> sum;      // undivided
  std::vector<float> envelope;  // in the library's precision, since its value decides whether to divide
};

OverlapAdd ExactOverlapAdd(const std::vector<float>& spectrogram, const InverseSettings& settings) {
  const auto frame_n = static_cast<std::size_t>(settings.frame_n);
  const auto hop = static_cast<std::size_t>(settings.hop_n);
  const auto last_bin = static_cast<std::size_t>(settings.freq_n) - 1;
  const std::size_t n = 2 * last_bin;
  const std::vector<float>& window = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);
  const std::size_t margin = (n - window.size()) / 2;
  const double scale = settings.norm_type == 2 ? 0.5 : 1.0 / static_cast<double>(n);
  OverlapAdd result{std::vector<double>(n + (frame_n - 1) * hop), std::vector<float>(n + (frame_n - 1) * hop)};
  for (std::size_t t = 0; t < frame_n; ++t) {
    Fft::Spectrum bins(n);
    for (std::size_t k = 0; k <= last_bin; ++k) {
      const float* const bin = &spectrogram[2 * (k * frame_n + t)];
      bins[k] = {static_cast<double>(bin[0]), k == 0 || k == last_bin ? 0.0 : static_cast<double>(bin[1])};
      bins[(n - k) % n] = std::conj(bins[k]);
    }
    const Fft::Spectrum samples = Fft::ExactTransform(bins, 1.0);
    for (std::size_t i = 0; i < window.size(); ++i) {
      const std::size_t position = t * hop + margin + i;
      result.sum[position] += samples[margin + i].real() * scale * static_cast<double>(window[i]);
      result.envelope[position] += window[i] * window[i];
    }
  }
  return result;
}

// Frames for several blocks, or for one lane; gaps between frames, and overlaps too many for a batch; windows of 0,
// envelopes too low to divide by, large primes: frame_n, freq_n, hop_n, win_n, win_type, max_sample_n.
std::vector<InverseSettings> ManySettings() {
  return {
      {300, 9, 4, 16, 1, 2000, 0, 0},     {300, 10, 7, 15, 2, 1500, 0, 0},    {200, 9, 16, 11, 2, 4000, 0, 0},
      {50, 6, 13, 10, 1, 1000, 0, 0},     {40, 6, 1, 7, 1, 60, 0, 0},         {7, 6, 0, 10, 2, 20, 0, 0},
      {33, 2, 1, 2, 2, 50, 0, 0},         {20, 2, 5, 1, 1, 120, 0, 0},        {20, 3, 3, 1, 2, 70, 0, 0},
      {1, 3, 1, 4, 1, 4, 0, 0},           {1, 201, 160, 400, 1, 500, 0, 0},   {3, 201, 160, 300, 2, 800, 0, 0},
      {19, 201, 160, 399, 1, 3000, 0, 0}, {20, 257, 200, 441, 1, 5000, 0, 0}, {20, 151, 1, 300, 1, 400, 0, 0},
      {2, 513, 600, 1024, 1, 1700, 0, 0}, {9, 504, 251, 1006, 2, 3100, 0, 0}, {70, 33, 16, 64, 1, 1100, 0, 0},
      {70, 40, 20, 78, 2, 1400, 0, 0},    {70, 36, 37, 65, 2, 2500, 0, 0},    {40, 128, 60, 254, 1, 2600, 0, 0},
      {40, 35, 20, 68, 2, 800, 0, 0},
  };
}

TEST(InverseSpectrogram, MatchesOverlapAddInDoubleAtEveryLevel) {
  for (InverseSettings settings : ManySettings()) {
    const std::vector<float> bins = NoiseBins(settings);
    for (settings.norm_type = 0; settings.norm_type <= 2; ++settings.norm_type) {
      const OverlapAdd exact = ExactOverlapAdd(bins, settings);
      double peak = 0.0;
      for (const double value : exact.sum) peak = std::max(peak, std::fabs(value));
      // Single precision rounds in each pass of the transform, in the window, in each addition and in the division.
      const double bound = 0x1p-24 * peak * (4.0 + 2.0 * std::log2(settings.freq_n));
      for (settings.center = 0; settings.center <= 2; ++settings.center) {
        SCOPED_TRACE(testing::Message() << settings);
        const std::vector<float> scalar = Inverse(bins, settings, Simd::Level::scalar);
        const auto first = static_cast<std::size_t>(settings.center == 0 ? 0 : settings.freq_n - 1);
        const std::size_t written_n = std::min(static_cast<std::size_t>(settings.max_sample_n), exact.sum.size());
        for (std::size_t i = 0; i < scalar.size(); ++i) {
          if (i >= written_n) {
            ASSERT_EQ(scalar[i], kUntouched) << i;
          } else if (first + i >= exact.sum.size() || exact.envelope[first + i] == 0.0f) {
            ASSERT_EQ(scalar[i], 0.0f) << i;  // after the last frame, or in no window
          } else {
            const auto envelope = static_cast<double>(exact.envelope[first + i]);
            const double divisor = envelope > 1e-10 ? envelope : 1.0;
            ASSERT_NEAR(static_cast<double>(scalar[i]) * divisor, exact.sum[first + i], bound) << i;
          }
        }
        // Fewer samples need fewer frames, which other kernels compute: one by one instead of in batches.
        const int longest = settings.max_sample_n;
        for (; settings.max_sample_n > 0; settings.max_sample_n -= 1 + settings.max_sample_n / 16) {
          std::vector<float> expected(scalar.begin(), scalar.begin() + settings.max_sample_n);
          expected.resize(expected.size() + 5, kUntouched);
          for (const Simd::Level level : Simd::SupportedLevels()) {
            ASSERT_TRUE(SameBits(Inverse(bins, settings, level), expected)) << settings << Simd::LevelName(level);
          }
        }
        settings.max_sample_n = longest;
      }
    }
  }
}

// Frames with 1 in bin 0 are constant, and no pass rounds: the signal is the window times the scale, rounded together,
// over the squared window, both added up in the order of frames.
TEST(InverseSpectrogram, ConstantFramesShowEveryRounding) {
  for (const auto& [freq_n, hop_n] : {std::pair{9, 16}, {9, 4}, {201, 400}, {201, 160}, {495, 988}, {495, 250}}) {
    const int fft_n = 2 * freq_n - 2;
    const std::vector<float>& window = WindowCache::Get().GetWindow(fft_n, KELVO_AUDIO_WINDOW_HAMMING);
    for (const int frame_n : {1, 20}) {
      std::vector<float> bins(static_cast<std::size_t>(2 * frame_n * freq_n));
      for (std::size_t t = 0; t < static_cast<std::size_t>(frame_n); ++t) bins[2 * t] = 1.0f;
      for (const int norm_type : {0, 2}) {
        const double scale = norm_type == 2 ? 0.5 : 1.0 / fft_n;
        std::vector<float> expected(static_cast<std::size_t>(fft_n + (frame_n - 1) * hop_n));
        std::vector<float> envelope(expected.size());
        for (std::size_t t = 0; t < static_cast<std::size_t>(frame_n); ++t) {
          for (std::size_t i = 0; i < window.size(); ++i) {
            const std::size_t position = t * static_cast<std::size_t>(hop_n) + i;
            expected[position] += static_cast<float>(static_cast<double>(window[i]) * scale);
            envelope[position] += window[i] * window[i];
          }
        }
        for (std::size_t i = 0; i < expected.size(); ++i) expected[i] /= envelope[i];
        const auto sample_n = static_cast<int>(expected.size());
        const InverseSettings settings{frame_n, freq_n, hop_n, fft_n, 2, sample_n, 0, norm_type};
        expected.resize(expected.size() + 5, kUntouched);
        for (const Simd::Level level : Simd::SupportedLevels()) {
          EXPECT_TRUE(SameBits(Inverse(bins, settings, level), expected)) << settings << Simd::LevelName(level);
        }
      }
    }
  }
}

// The last row of bins begins beyond 2^31 floats. Only the pages that a call touches take memory.
TEST(InverseSpectrogram, FindsBinsWhoseOffsetsLeave32Bits) {
  if (Reliability::kIsSanitized) GTEST_SKIP() << "shadow memory takes as much again";
  constexpr std::size_t kFrameN = 1'047'553;
  constexpr int kFreqN = 1025, kHopN = 300, kFewN = 2;
  const std::vector<float> signal = Noise(2048 + kHopN);
  ShortTimeSettings settings{0, 2048, kHopN, 2048, 1, kFewN, 0, 0};
  const std::vector<float> few = Spectrogram(signal, settings, 0.0f);
  settings.max_frame_n = kFrameN;
  settings.sample_n = static_cast<int>(signal.size());
  GuardedBuffer memory(2 * kFreqN * kFrameN);
  ComputeSpectrogram(memory.AtStart(), signal, settings, 0.0f, Simd::BestLevel());
  for (std::size_t k = 0; k < kFreqN; ++k) {
    const float* const row = memory.AtStart() + 2 * k * kFrameN;
    ASSERT_TRUE(SameBits(std::span(row, 2 * kFewN), std::span(few).subspan(2 * k * kFewN, 2 * kFewN)));
  }
  // Only these frames reach the first hops.
  std::vector<float> rebuilt(2 * kHopN), expected(2 * kHopN);
  ComputeInverseSpectrogram(rebuilt.data(), memory.AtStart(), {kFrameN, kFreqN, kHopN, 2048, 1, 2 * kHopN, 0, 0},
                            Simd::BestLevel());
  ComputeInverseSpectrogram(expected.data(), few.data(), {kFewN, kFreqN, kHopN, 2048, 1, 2 * kHopN, 0, 0},
                            Simd::BestLevel());
  EXPECT_TRUE(SameBits(rebuilt, expected));
}

TEST(InverseSpectrogram, NanStaysInTheSpanOfItsFrame) {
  for (const InverseSettings& settings : std::vector<InverseSettings>{{40, 9, 4, 16, 2, 172, 0, 0},
                                                                      {40, 9, 20, 12, 2, 796, 0, 2},
                                                                      {40, 10, 5, 9, 2, 213, 0, 0},
                                                                      {3, 9, 4, 16, 2, 24, 0, 0}}) {
    const std::vector<float> bins = NoiseBins(settings);
    const int fft_n = 2 * settings.freq_n - 2;
    const int margin = (fft_n - settings.win_n) / 2;
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const std::vector<float> clean = Inverse(bins, settings, level);
      for (int t = 0; t < settings.frame_n; ++t) {
        std::vector<float> poisoned = bins;
        poisoned[static_cast<std::size_t>(2 * t)] = kNan;  // the constant, which every sample of the frame holds
        std::vector<float> expected = clean;
        // Where the window cannot lie in the middle, the sample after it is multiplied by 0, and a NaN stays one.
        const auto begin = expected.begin() + t * settings.hop_n + margin;
        std::fill(begin, begin + (fft_n - 2 * margin), kNan);
        ASSERT_TRUE(SameBits(Inverse(poisoned, settings, level), expected)) << settings << " frame " << t;
      }
    }
  }
}

// 1e-10 lies between two floats: the signal is divided by the upper one, and not by the lower one.
TEST(InverseKernels, CompareTheEnvelopeInDoublePrecision) {
  constexpr float kUpper = 1e-10f;
  static_assert(static_cast<double>(kUpper) > 1e-10);
  std::vector<float> envelopes;
  for (const float envelope : {0.0f, std::nextafter(kUpper, 0.0f), kUpper, 1e-9f, 1.5f}) {
    envelopes.insert(envelopes.end(), 37, envelope);
  }
  const std::vector<float> signal = Noise(envelopes.size());
  std::vector<float> expected = signal;
  for (std::size_t i = 0; i < signal.size(); ++i) {
    if (static_cast<double>(envelopes[i]) > 1e-10) expected[i] /= envelopes[i];
  }
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const InverseKernels& kernels = Simd::KernelsFor<InverseKernels>(level);
    std::vector<float> divided = signal;
    kernels.normalize_by_window_envelope(divided.data(), envelopes.data(), divided.size());
    EXPECT_TRUE(SameBits(divided, expected)) << Simd::LevelName(level);
    // As the first column of silent frames, to which earlier ones have left the signal.
    constexpr std::size_t kLaneN = 16;
    const std::size_t row_n = signal.size();
    const Fft::RealTransformView& plan =
        Fft::FftPlanCache::Get().GetInverseFramePlan(static_cast<int>(2 * row_n)).real.View();
    const std::vector<float> gain(2 * row_n, 1.0f);
    const std::vector<unsigned> sample_offset(2 * row_n, 0u);
    std::vector<float> carry(row_n, 0.0f), columns(kLaneN * row_n), work(InverseScratch(plan.inner, kLaneN));
    carry.insert(carry.end(), signal.begin(), signal.end());
    const SynthesisSettings settings{plan, 0,           2 * row_n, gain.data(),         gain.size(),
                                     1.0,  gain.data(), row_n,     sample_offset.data()};
    const ColumnTarget target{columns.data(), row_n, envelopes.data()};
    kernels.add_frames(settings, {nullptr, 0}, 0, 0, carry.data(), &target, 1, work.data());
    EXPECT_TRUE(SameBits(std::span(columns).first(row_n), expected)) << Simd::LevelName(level);
  }
}

TEST(InverseChecks, ReportTheFirstFailure) {
  using Arguments = InverseSettings;
  const float bins[4]{};
  float dst = 0.0f;
  ExpectChecksInOrder<Arguments>(
      [&](const Arguments& arguments) {
        CheckInverseSpectrogram(arguments);
        ComputeInverseSpectrogram(&dst, bins, arguments, Simd::BestLevel());
      },
      {
          {&Arguments::frame_n, {0, -1, INT_MIN}, 1, "Invalid frame_n size."},
          {&Arguments::freq_n, {0, -1, INT_MIN}, 1, "Invalid freq_n value."},
          {&Arguments::hop_n, {-1, INT_MIN}, 0, "Invalid hop_n value."},
          {&Arguments::win_n, {0, -1, INT_MIN}, 3, "Invalid win_n value."},
          {&Arguments::win_type, {0, 3, -1}, 2, "Invalid win_type format."},
          {&Arguments::max_sample_n, {0, -1, INT_MIN}, 1, "Invalid max_sample_n size."},
          {&Arguments::center, {3, -1}, 2, "Invalid center format."},
          {&Arguments::norm_type, {3, -1}, 2, "Invalid norm_type format."},
          // One bin gives a transform of length 0, and from 2^30 + 1 bins on the length wraps around.
          {&Arguments::freq_n, {1, 1073741825, INT_MAX}, 2, "Invalid value of fft points."},
          {&Arguments::win_n, {3, INT_MAX}, 2, "Invalid win_n value."},
      });
}

// The time depends on the samples asked for, even of the longest possible signal.
TEST(InverseExport, WritesWhatIsAskedFor) {
  const std::vector<float> src(8, 1.0f);  // bins of 1 are an impulse at sample 0
  std::vector<float> dst(4, kUntouched);
  EXPECT_EQ(kelvoAudioGetInverseSpectrogram(dst.data(), src.data(), 2, 2, INT_MAX - 2, 2, 2, 4, 0, 0),
            KELVO_AUDIO_STATUS_OK);
  EXPECT_FLOAT_EQ(dst[0], 1.0f / WindowCache::Get().GetWindow(2, 2)[0]);
  EXPECT_TRUE(SameBits(std::span(dst.begin() + 1, dst.end()), std::vector<float>(3, 0.0f)));
}

}  // namespace
}  // namespace kelvo::Stft
