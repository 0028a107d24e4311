// The spectrogram: each frame against a double-precision transform, and the same bits wherever a frame lies.
#include "stft/spectrogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <climits>
#include <cmath>
#include <vector>

#include "fft/fft.h"
#include "fft/reference_fft.h"
#include "fft/spectra.h"
#include "kelvo_audio.h"
#include "stft/checks.h"
#include "stft/frames.h"
#include "stft/window.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/short_time.h"
#include "support/signals.h"

namespace kelvo::Stft {
namespace {

using namespace Support;

// A frame in double precision.
Fft::Spectrum ExactBins(const std::vector<float>& signal, const ShortTimeSettings& settings, std::size_t index) {
  const auto n = static_cast<std::size_t>(settings.fft_n);
  std::vector<float> frame(n);
  const auto center = static_cast<CenterMode>(settings.center);
  ExtractFrame(center, frame, signal, static_cast<std::int64_t>(index) * settings.hop_n,
               center == CenterMode::None ? 0 : settings.fft_n / 2);
  const std::vector<float>& window = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);
  const std::size_t margin = (n - window.size()) / 2;
  Fft::Spectrum windowed(n);
  float window_square = 0.0f;  // summed in order and in single precision, as the library promises
  for (std::size_t i = 0; i < window.size(); ++i) {
    windowed[margin + i] = static_cast<double>(frame[margin + i]) * static_cast<double>(window[i]);
    window_square += window[i] * window[i];
  }
  Fft::Spectrum bins = Fft::ExactTransform(windowed, -1.0);
  bins.resize(n / 2 + 1);
  for (auto& bin : bins) {
    if (settings.norm_type == 1) bin /= std::sqrt(static_cast<double>(window_square));
    if (settings.norm_type == 2) bin *= 2.0 / static_cast<double>(n);
  }
  return bins;
}

void ExpectExactColumns(const std::vector<float>& spectrogram, const std::vector<float>& signal,
                        const ShortTimeSettings& settings) {
  const auto columns = static_cast<std::size_t>(settings.max_frame_n);
  // The window and the scale round once each.
  const double bound = Fft::ErrorBound(static_cast<std::size_t>(settings.fft_n)) + 2.0 * 0x1p-24;
  for (std::size_t t = 0; t < columns; ++t) {
    const std::vector<float> column = Columns(spectrogram, columns, t, 1);
    if (t >= CountFrames(settings)) {
      ASSERT_EQ(column, std::vector(column.size(), kUntouched)) << t;
    } else {
      // No number where both are 0.
      ASSERT_FALSE(Fft::RelativeError(Fft::FromPairs(column), ExactBins(signal, settings, t)) > bound) << t;
    }
  }
}

// Windows shorter by an odd number, windows of 0, large and small primes, hops of 0 and beyond the frame, very short
// signals, and frames too long for a batch: sample_n, fft_n, hop_n, win_n, win_type, max_frame_n.
std::vector<ShortTimeSettings> AwkwardSettings() {
  return {
      {1000, 400, 160, 400, 1, 8, 0, 0},
      {1700, 400, 160, 300, 2, 9, 0, 0},
      {399, 400, 160, 400, 1, 2, 0, 0},
      {3000, 512, 200, 441, 1, 12, 0, 0},
      {100, 16, 5, 15, 2, 23, 0, 0},
      {60, 15, 4, 12, 1, 17, 0, 0},
      {100, 16, 5, 16, 1, 30, 0, 0},
      {100, 16, 1, 11, 1, 90, 0, 0},
      {60, 15, 4, 15, 2, 17, 0, 0},
      {40, 1, 1, 1, 2, 41, 0, 0},
      {40, 1, 3, 1, 1, 20, 0, 0},
      {40, 2, 1, 2, 1, 41, 0, 0},
      {40, 2, 3, 1, 2, 20, 0, 0},
      {40, 3, 2, 2, 2, 20, 0, 0},
      {100, 8, 3, 8, 1, 40, 0, 0},
      {100, 18, 5, 18, 1, 30, 0, 0},
      {1500, 503, 100, 503, 1, 17, 0, 0},
      {1500, 1006, 250, 1000, 1, 8, 0, 0},
      {100, 20, 0, 20, 1, 7, 0, 0},
      {20, 20, 0, 20, 1, 2, 0, 0},
      {400, 20, 20, 20, 1, 30, 0, 0},
      {400, 20, 33, 19, 2, 30, 0, 0},
      {100, 20, 200, 20, 2, 3, 0, 0},
      {100, 20, INT_MAX, 20, 2, 3, 0, 0},
      {100, 20, 1431655766, 20, 2, 3, 0, 0},  // three hops wrap round to 2 in 32 bits
      {5, 5, 1, 5, 1, 7, 0, 0},
      {1, 1, 1, 1, 2, 3, 0, 0},
      {2, 2, 1, 2, 2, 4, 0, 0},
      {17000, 16384, 300, 16384, 1, 3, 0, 0},
      {40000, 32768, 1000, 30000, 2, 4, 0, 0},
      {900, 264, 50, 264, 1, 9, 0, 0},
      {900, 296, 50, 296, 2, 9, 0, 0},
      {1200, 520, 60, 519, 2, 9, 0, 0},
      {7000, 4096, 300, 4096, 1, 8, 0, 0},
      {900, 336, 50, 336, 1, 9, 0, 0},
      {2500, 880, 160, 880, 2, 9, 0, 0},
      {900, 101, 40, 101, 1, 20, 0, 0},
      {900, 51, 20, 51, 2, 20, 0, 0},
      {1500, 254, 60, 250, 2, 20, 0, 0},
  };
}

TEST(Spectrogram, MatchesTheDoublePrecisionTransform) {
  for (ShortTimeSettings settings : AwkwardSettings()) {
    const std::vector<float> signal = Noise(static_cast<std::size_t>(settings.sample_n));
    for (settings.center = 0; settings.center <= 2; ++settings.center) {
      for (settings.norm_type = 0; settings.norm_type <= 2; ++settings.norm_type) {
        // Half a window of 0 over the square root of 0 is no number.
        if (settings.win_n == 1 && settings.win_type == 1 && settings.norm_type == 1) continue;
        SCOPED_TRACE(testing::Message() << settings);
        std::vector<float> dst = Spectrogram(signal, settings, 0.0f, Simd::Level::scalar);
        ASSERT_NO_FATAL_FAILURE(ExpectExactColumns(dst, signal, settings));
        for (const Simd::Level level : Simd::SupportedLevels()) {
          ASSERT_TRUE(SameBits(Spectrogram(signal, settings, 0.0f, level), dst)) << Simd::LevelName(level);
        }
      }
    }
  }
}

// Lengths that people use, and with them the passes over eight and over sixteen real samples. An error bound would not
// see a constant that is one bit off.
TEST(Spectrogram, KeepsItsBits) {
  struct Row {
    int fft_n;
    std::uint64_t hash;
  };
  for (const Row& row : {Row{400, 0x6307f7e8b149fd04}, Row{480, 0xb22e2be1076c73bc}, Row{512, 0x3a384975ef3a95f9},
                         Row{1024, 0x9acde6afd9449e78}, Row{2048, 0x1fbe9fa5fc35af9c}}) {
    const ShortTimeSettings settings{6000, row.fft_n, 160, row.fft_n, 1, 20, 1, 0};
    EXPECT_EQ(Hash(Spectrogram(Noise(6000), settings, 0.0f, Simd::Level::scalar)), row.hash) << row.fft_n;
  }
}

// Half-length transforms, passes over eight and over sixteen real samples followed by every prime radix, and lengths
// with a prime of 17, which take no such pass.
TEST(Spectrogram, FramesAreNoLessAccurateThanTheReferenceOrASingleTransform) {
  for (const std::size_t n : {100u, 256u, 264u, 272u, 280u, 296u, 312u, 336u, 400u, 408u, 480u, 512u, 680u, 880u, 1024u,
                              1200u, 2048u, 4096u}) {
    const Fft::ReferenceFft reference(n);
    const int length = static_cast<int>(n);
    const std::vector<float>& window = WindowCache::Get().GetWindow(length, KELVO_AUDIO_WINDOW_HANN);
    double actual_square = 0.0;
    double reference_square = 0.0;
    double single_square = 0.0;
    for (std::uint32_t seed = 1; seed <= 2 + 4096 / n; ++seed) {
      const std::vector<float> frame = Noise(n, seed);
      std::vector<float> windowed(n), single(2 * n);
      for (std::size_t i = 0; i < n; ++i) windowed[i] = frame[i] * window[i];
      Fft::ComputeFft(single.data(), windowed, Simd::BestLevel());
      const auto lower_half = [&](Fft::Spectrum bins) {
        bins.resize(n / 2 + 1);
        return bins;
      };
      const Fft::Spectrum exact = lower_half(Fft::ExactTransform(Fft::FromReal(windowed), -1.0));
      const Fft::Spectrum actual = Fft::FromPairs(Spectrogram(frame, {0, length, length, length, 1, 1, 0, 0}, 0.0f));
      actual_square += std::pow(Fft::RelativeError(actual, exact), 2.0);
      reference_square += std::pow(Fft::RelativeError(lower_half(reference.Transform(windowed)), exact), 2.0);
      single_square += std::pow(Fft::RelativeError(lower_half(Fft::FromPairs(single)), exact), 2.0);
    }
    EXPECT_LE(actual_square, reference_square) << n << " " << actual_square / reference_square;
    // Longer ones may take a pass over real samples, where that costs no accuracy.
    if (n > 256) {
      EXPECT_LE(actual_square, 1.01 * single_square) << n << " " << actual_square / single_square;
    }
  }
}

// An impulse is in each place of a frame once. Its bin 0 is its sample of the window, scaled: no addition rounds.
TEST(Spectrogram, BinZeroOfAnImpulseIsTheWindowScaledOnce) {
  for (const auto& [fft_n, win_n, win_type] :
       {std::tuple{15, 15, 2}, {16, 11, 1}, {100, 100, 1}, {400, 400, 1}, {512, 441, 2}, {520, 520, 2}}) {
    const auto n = static_cast<std::size_t>(fft_n);
    std::vector<float> signal(2 * n - 1);
    signal[n - 1] = 1.0f;
    const std::vector<float>& window = WindowCache::Get().GetWindow(win_n, win_type);
    float window_square = 0.0f;  // the order and precision of this sum are part of the result
    for (const float value : window) window_square += value * value;
    const float scales[] = {1.0f, 1.0f / std::sqrt(window_square), 2.0f / static_cast<float>(fft_n)};
    for (int norm_type = 0; norm_type <= 2; ++norm_type) {
      std::vector<float> expected(n);
      const std::size_t last = n - 1 - (n - window.size()) / 2;
      for (std::size_t i = 0; i < window.size(); ++i) expected[last - i] = window[i] * scales[norm_type];
      const ShortTimeSettings settings{0, fft_n, 1, win_n, win_type, fft_n, 0, norm_type};
      for (const Simd::Level level : Simd::SupportedLevels()) {
        const std::vector<float> bins = Spectrogram(signal, settings, 0.0f, level);
        std::vector<float> bin_zero(n);
        for (std::size_t t = 0; t < n; ++t) bin_zero[t] = bins[2 * t];
        EXPECT_TRUE(SameBits(bin_zero, expected)) << settings << " " << Simd::LevelName(level);
      }
    }
  }
}

// Results beyond the size that is streamed, in rows that begin anywhere in a cache line, in columns of any number at a
// time. Nothing is written behind the last column.
TEST(ResultColumns, ReachTheirPlacesInStreamedResults) {
  for (const Simd::Level level : Simd::SupportedLevels()) {
    const StftKernels& kernels = Simd::KernelsFor<StftKernels>(level);
    for (const std::size_t width : {1u, 2u}) {
      constexpr std::size_t kRows = 1100;
      const std::size_t column_n = kStreamedRowBytes / (kRows * sizeof(float) * width) + 3;
      const std::size_t stride = column_n * width + 7;
      const auto value = [&](std::size_t row, std::size_t i) { return static_cast<float>((row * 31 + i) % 65536); };
      std::vector<float> dst(kRows * stride + 1, kUntouched);
      Base::CallScratch scratch;
      ResultColumns columns({dst.data() + 1, stride}, kRows, column_n, width, kernels, scratch);
      for (std::size_t t = 0, count = 1; t < column_n; t += count) {
        count = std::min(count % (64 / width) + 1, column_n - t);
        const BinBlock place = columns.Next(count);
        for (std::size_t k = 0; k < kRows; ++k) {
          for (std::size_t i = 0; i < count * width; ++i) place.data[k * place.stride + i] = value(k, t * width + i);
        }
      }
      columns.Finish();
      for (std::size_t k = 0; k < kRows; ++k) {
        for (std::size_t i = 0; i < stride; ++i) {
          const float expected = i < column_n * width ? value(k, i) : kUntouched;
          ASSERT_EQ(dst[1 + k * stride + i], expected)
              << Simd::LevelName(level) << ' ' << width << ' ' << k << ' ' << i;
        }
      }
    }
  }
}

// Those of frame_n frames at once, and of short_n at a time.
void ExpectColumnsOfShorterOnes(int fft_n, int hop_n, int frame_n, int short_n, Simd::Level level) {
  ShortTimeSettings settings{0, fft_n, hop_n, fft_n, 1, frame_n, 0, 0};
  const auto samples_of = [=](int frames) { return static_cast<std::size_t>(hop_n * (frames - 1) + fft_n); };
  const std::vector<float> signal = Noise(samples_of(frame_n));
  const std::vector<float> all = Spectrogram(signal, settings, 0.0f, level);
  settings.max_frame_n = short_n;
  for (int t = 0; t + short_n <= frame_n; t += short_n) {
    const auto begin = signal.begin() + std::ptrdiff_t{t} * hop_n;
    const auto end = begin + static_cast<std::ptrdiff_t>(samples_of(short_n));
    ASSERT_TRUE(SameBits(
        Columns(all, static_cast<std::size_t>(frame_n), static_cast<std::size_t>(t), static_cast<std::size_t>(short_n)),
        Spectrogram({begin, end}, settings, 0.0f, level)))
        << fft_n << " " << t << " " << Simd::LevelName(level);
  }
}

// Results beyond kStreamedRowBytes: of many frames, and of a few so long that their columns are not collected.
TEST(Spectrogram, ColumnsAreThoseOfShorterOnesInLargeResults) {
  struct Row {
    int fft_n, hop_n, short_n;
  };
  for (const Row& row : {Row{400, 7, 500}, Row{1 << 18, 1000, 8}}) {
    const std::size_t column_bytes = (static_cast<std::size_t>(row.fft_n) + 2) * sizeof(float);
    const int frame_n = static_cast<int>(kStreamedRowBytes / column_bytes) + row.short_n;
    ExpectColumnsOfShorterOnes(row.fft_n, row.hop_n, frame_n, row.short_n, Simd::BestLevel());
  }
}

// A recording of 300,000 samples is prefetched, one of 30,000 is not.
TEST(Spectrogram, ColumnsAreThoseOfShorterOnesInLongRecordings) {
  for (const Simd::Level level : Simd::SupportedLevels()) ExpectColumnsOfShorterOnes(90, 300, 1000, 100, level);
}

// Frames that use every kernel: several blocks, or one without a spare column; hops whose frames share samples, and
// hops whose frames do not; half-length transforms and full-length ones; large primes.
std::vector<ShortTimeSettings> ManyFrames() {
  return {
      {3000, 16, 10, 16, 1, 299, 0, 0},     {3000, 15, 10, 13, 2, 299, 0, 1},     {6000, 24, 24, 19, 1, 250, 0, 2},
      {6000, 24, 24, 19, 1, 48, 0, 2},      {6000, 11, 40, 11, 2, 150, 0, 0},     {9000, 400, 160, 400, 1, 54, 0, 0},
      {9000, 500, 7, 441, 1, 100, 0, 0},    {9000, 264, 99, 260, 2, 81, 0, 1},    {9000, 2560, 640, 2560, 1, 10, 0, 0},
      {9000, 512, 100, 500, 1, 70, 0, 0},   {9000, 1024, 128, 1000, 2, 60, 0, 0}, {9000, 1000, 90, 999, 1, 80, 0, 1},
      {9000, 2048, 441, 2048, 1, 16, 0, 0}, {9000, 1024, 160, 1024, 1, 50, 0, 0}, {9000, 331, 100, 331, 1, 60, 0, 0},
      {9000, 422, 100, 422, 1, 60, 0, 0},   {9000, 61, 20, 61, 2, 90, 0, 2},      {9000, 302, 90, 300, 1, 80, 0, 0}};
}

TEST(Spectrogram, FramesDependOnTheirSamplesOnly) {
  for (ShortTimeSettings settings : ManyFrames()) {
    const auto columns = static_cast<std::size_t>(settings.max_frame_n);
    for (const float loud : {0.0f, 1e38f, kInfinity, kNan}) {  // in some frames; must not affect the others
      std::vector<float> signal = Noise(static_cast<std::size_t>(settings.sample_n));
      for (std::size_t i = 500; i < signal.size(); i += 1000) std::fill_n(&signal[i], 5, loud);
      for (const Simd::Level level : Simd::SupportedLevels()) {
        settings.max_frame_n = static_cast<int>(columns);
        const std::vector<float> all = Spectrogram(signal, settings, 0.0f, level);
        settings.max_frame_n = 1;
        for (std::size_t t = 0; t < columns; ++t) {
          const auto start = signal.begin() + static_cast<std::ptrdiff_t>(t) * settings.hop_n;
          const std::vector<float> alone = Spectrogram({start, start + settings.fft_n}, settings, 0.0f, level);
          ASSERT_TRUE(SameBits(alone, Columns(all, columns, t, 1)))
              << settings << " " << Simd::LevelName(level) << " frame " << t;
        }
      }
    }
  }
}

TEST(Spectrogram, SamplesOutsideTheWindowAreReplacedNotMultiplied) {
  for (const int max_frame_n : {1, 20, 60}) {
    const ShortTimeSettings settings{0, 20, 20, 10, 2, max_frame_n, 0, 0};  // samples 5 to 14 of each frame count
    std::vector<float> quiet = Noise(1200);
    std::vector<float> loud = quiet;
    for (std::size_t i = 0; i < loud.size(); ++i) {
      if (i % 20 >= 5 && i % 20 < 15) continue;
      quiet[i] = 0.0f;
      loud[i] = i % 2 == 0 ? kInfinity : kNan;
    }
    for (const Simd::Level level : Simd::SupportedLevels()) {
      EXPECT_TRUE(SameBits(Spectrogram(loud, settings, 0.0f, level), Spectrogram(quiet, settings, 0.0f, level)));
    }
  }
}

// Lanes of an incomplete batch compute as well; what lies behind the last frame must not reach them.
TEST(Spectrogram, SamplesOfNoFrameRaiseNoException) {
  for (const int hop_n : {20, 10}) {  // longer than a frame, and shorter
    for (int frame_n = 1; frame_n <= 40; ++frame_n) {
      std::vector<float> signal = Noise(static_cast<std::size_t>((frame_n - 1) * hop_n + 16));
      signal.resize(signal.size() + static_cast<std::size_t>(std::min(hop_n, 16) - 1), 3e38f);
      const ShortTimeSettings settings{0, 16, hop_n, 16, 2, frame_n, 0, 0};
      for (const Simd::Level level : Simd::SupportedLevels()) {
        std::feclearexcept(FE_ALL_EXCEPT);
        Spectrogram(signal, settings, 2.0f, level);
        ASSERT_FALSE(std::fetestexcept(FE_OVERFLOW)) << hop_n << " " << frame_n << " " << Simd::LevelName(level);
      }
    }
  }
}

TEST(Spectrogram, PowerIsThatOfTheScaledComplexBins) {
  const ShortTimeSettings settings{0, 100, 30, 99, 1, 33, 1, 2};
  for (const float loudness : {1.0f, 1e-30f, 1e30f}) {  // squares underflow, squares overflow
    std::vector<float> signal = Noise(960);
    for (float& sample : signal) sample *= loudness;
    const std::vector<float> bins = Spectrogram(signal, settings, 0.0f);
    for (const float none : {-0.0f, kNan}) EXPECT_TRUE(SameBits(Spectrogram(signal, settings, none), bins)) << none;
    std::vector<float> norms(bins.size() / 2), powers(bins.size());
    for (const float power : {2.0f, 1.0f, 0.7f, 3.0f, 1e-30f, kInfinity}) {
      ASSERT_EQ(kelvoAudioComplexNorm(norms.data(), bins.data(), static_cast<int>(norms.size()), power), 0);
      for (std::size_t i = 0; i < norms.size(); ++i) powers[2 * i] = norms[i];
      EXPECT_TRUE(SameBits(Spectrogram(signal, settings, power), powers)) << power << " " << loudness;
    }
  }
}

// From 11 million samples on the count, formed in single precision, may be one frame more than the signal covers.
TEST(Spectrogram, FrameTooManyFindsZerosBeyondTheSignal) {
  for (const int fft_n : {8, 512}) {  // the hop is longer than a frame, or shorter
    const std::vector<float> signal(static_cast<std::size_t>(13107199 + fft_n), 1.0f);
    const int frame_n = 32769;
    const ShortTimeSettings settings{static_cast<int>(signal.size()), fft_n, 400, fft_n, 2, frame_n, 0, 0};
    ASSERT_EQ(CountFrames(settings), static_cast<std::size_t>(frame_n));
    std::vector<float> last(static_cast<std::size_t>(fft_n), 1.0f);
    last.back() = 0.0f;
    ShortTimeSettings alone = settings;
    alone.max_frame_n = 1;
    EXPECT_TRUE(SameBits(Columns(Spectrogram(signal, settings, 0.0f), frame_n, frame_n - 1, 1),
                         Spectrogram(last, alone, 0.0f)));
  }
}

struct SpectrogramArguments : ShortTimeSettings {
  float power;
};

TEST(SpectrogramChecks, ReportTheFirstFailure) {
  using Arguments = SpectrogramArguments;
  ExpectChecksInOrder<Arguments>(
      [](const Arguments& arguments) { CheckSpectrogram(arguments, arguments.power); },
      {
          {&Arguments::sample_n, {0, -1, INT_MIN}, 1, "Invalid sample_n size."},
          {&Arguments::fft_n, {0, -1, INT_MIN}, 4, "Invalid fft_n value."},
          {&Arguments::hop_n, {-1, INT_MIN}, 0, "Invalid hop_n value."},
          {&Arguments::win_n, {0, -1, INT_MIN}, 5, "Invalid win_n value."},
          {&Arguments::win_type, {0, 3, -1}, 2, "Invalid win_type format."},
          {&Arguments::max_frame_n, {0, -1, INT_MIN}, 1, "Invalid max_frame_n size."},
          {&Arguments::center, {3, -1}, 2, "Invalid center format."},
          {&Arguments::power, {-1e-45, -HUGE_VAL}, static_cast<double>(kNan), "Invalid power value."},
          {&Arguments::norm_type, {3, -1}, 2, "Invalid norm_type format."},
          {&Arguments::win_n, {5, INT_MAX}, 4, "Invalid win_n value."},  // longer than the frame
      });
}

TEST(SpectrogramExport, PassesItsArgumentsOn) {
  const std::vector<float> src = Noise(60);
  std::vector<float> dst(2 * 9 * 4, kUntouched);
  ASSERT_EQ(kelvoAudioGetSpectrogram(dst.data(), src.data(), 60, 16, 20, 11, 2, 4, 1, 1.5f, 2), KELVO_AUDIO_STATUS_OK);
  EXPECT_TRUE(SameBits(dst, Spectrogram(src, {60, 16, 20, 11, 2, 4, 1, 2}, 1.5f)));
}

}  // namespace
}  // namespace kelvo::Stft
