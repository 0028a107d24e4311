// Mel spectrograms: the bits of the plain ordered sum although zeros are skipped, and all steps from the signal on.
#include "mel/mel_spectrogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <iterator>
#include <span>
#include <vector>

#include "kelvo_audio.h"
#include "mel/checks.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/short_time.h"
#include "support/signals.h"

namespace kelvo::Mel {
namespace {

using namespace Support;

// Every term of every sum, in ascending order: skipping zeros must not change the result.
std::vector<float> PlainProduct(const std::vector<float>& src, const std::vector<float>& bank, std::size_t mel_n) {
  const std::size_t freq_n = bank.size() / mel_n;
  const std::size_t frame_n = src.size() / freq_n;
  std::vector<float> dst(mel_n * frame_n, 0.0f);
  for (std::size_t m = 0; m < mel_n; ++m) {
    for (std::size_t k = 0; k < freq_n; ++k) {
      for (std::size_t t = 0; t < frame_n; ++t) {
        dst[m * frame_n + t] = src[k * frame_n + t] * bank[m * freq_n + k] + dst[m * frame_n + t];
      }
    }
  }
  return dst;
}

// Bands that overlap several others, the next one only, or the one after that in one bin. With zeros of both signs
// around them, one band of zeros, negative weights, and, if asked, weights that are NaN or infinite.
std::vector<float> AwkwardBank(std::size_t reach, bool is_finite, std::size_t mel_n, std::size_t freq_n) {
  std::vector<float> bank = Noise(mel_n * freq_n, 5);
  for (std::size_t i = 0; i < bank.size(); ++i) {
    const std::size_t m = i / freq_n, k = i % freq_n;
    const bool is_full = reach == 8 && m >= 6;
    const bool is_zero = k < 2 * m || k > 2 * m + reach || m == 4 || (reach == 8 && k == 2 * m + 3);
    if (is_zero && !is_full) bank[i] = k % 2 == 0 ? 0.0f : -0.0f;
  }
  if (!is_finite) {
    bank[6 * freq_n + 13] = kNan;
    bank[7 * freq_n + 14] = kInfinity;
  }
  return bank;
}

// A long band, one inside it, one behind it, and again one inside the first: two at a bin, but not neighbours.
std::vector<float> NestedBank(std::size_t mel_n, std::size_t freq_n) {
  std::vector<float> bank(mel_n * freq_n, 0.0f);
  const std::size_t bands[][2] = {{0, 20}, {2, 5}, {20, freq_n}, {6, 10}};
  for (std::size_t m = 0; m < std::size(bands); ++m) {
    for (std::size_t k = bands[m][0]; k < bands[m][1]; ++k) bank[m * freq_n + k] = 0.3f;
  }
  return bank;
}

TEST(MultiplyFilterBank, EqualsThePlainOrderedSumToTheBit) {
  constexpr std::size_t kMelN = 9, kFreqN = 23;
  // Values of one frame, at any bin: infinities that cancel in a sum, numbers whose sum overflows, products that
  // underflow.
  const std::vector<float> specials[] = {{},
                                         {kNan},
                                         {kInfinity},
                                         {-kInfinity},
                                         {kInfinity, -kInfinity},
                                         {3e38f, 3e38f},
                                         {-3e38f, -3e38f},
                                         {-1e-45f, -1e-42f}};
  const std::vector<float> banks[] = {AwkwardBank(8, false, kMelN, kFreqN), AwkwardBank(3, false, kMelN, kFreqN),
                                      AwkwardBank(3, true, kMelN, kFreqN), AwkwardBank(4, true, kMelN, kFreqN),
                                      NestedBank(kMelN, kFreqN)};
  for (const std::vector<float>& bank : banks) {
    for (std::size_t frame_n = 1; frame_n <= 70; ++frame_n) {
      for (const std::vector<float>& special : specials) {
        std::vector<float> src = Noise(kFreqN * frame_n, 6);
        const std::size_t at = frame_n * 5 / 7;
        for (std::size_t i = 0; i < special.size(); ++i) src[(frame_n + 20 * i) % kFreqN * frame_n + at] = special[i];
        const std::vector<float> expected = PlainProduct(src, bank, kMelN);
        for (const Simd::Level level : Simd::SupportedLevels()) {
          std::vector<float> dst(expected.size());
          MultiplyFilterBank(dst.data(), src.data(), bank.data(), kFreqN, static_cast<int>(frame_n), kMelN, level);
          ASSERT_TRUE(SameBits(dst, expected)) << "bank " << &bank - banks << ", " << frame_n << " frames, "
                                               << testing::PrintToString(special) << ", " << Simd::LevelName(level);
        }
      }
    }
  }
}

std::vector<float> MelSpectrogram(const std::vector<float>& signal, MelSettings settings, Simd::Level level) {
  settings.short_time.sample_n = static_cast<int>(signal.size());
  std::vector<float> dst(static_cast<std::size_t>(settings.mel_n) * Stft::CountFrames(settings.short_time));
  ComputeMelSpectrogram(dst.data(), signal, settings, level);
  return dst;
}

// The real parts of the columns that exist, packed, times the bank.
std::vector<float> MelOfSpectrogram(const std::vector<float>& signal, MelSettings settings) {
  Stft::ShortTimeSettings& short_time = settings.short_time;
  short_time.sample_n = static_cast<int>(signal.size());
  short_time.max_frame_n = static_cast<int>(Stft::CountFrames(short_time));
  const std::vector<float> bins = Spectrogram(signal, short_time, settings.power, Simd::Level::scalar);
  std::vector<float> powers(bins.size() / 2);
  for (std::size_t i = 0; i < powers.size(); ++i) powers[i] = bins[2 * i];
  const std::vector<float>& bank = MelFilterBankCache::Get().GetFilterBank(settings.BankKey()).weights;
  return PlainProduct(powers, bank, static_cast<std::size_t>(settings.mel_n));
}

TEST(MelSpectrogram, EqualsTheBankTimesTheSpectrogramToTheBit) {
  for (const MelSettings& settings : std::vector<MelSettings>{
           // sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, norm_type; power, f_min, f_max, mel_n, ...
           {{0, 400, 160, 400, 1, 999, 1, 0}, 2.0f, 0.0f, 8000.0f, 80, 16000, 1, 0},
           {{0, 400, 160, 399, 2, 999, 2, 2}, 1.0f, 50.0f, 7600.0f, 40, 16000, 0, 1},
           {{0, 512, 200, 441, 1, 999, 0, 1}, 2.0f, 0.0f, 4000.0f, 23, 8000, 1, 1},
           {{0, 45, 7, 45, 2, 999, 1, 0}, 0.7f, 0.0f, 4000.0f, 10, 8000, 1, 0},
           {{0, 16, 3, 16, 1, 999, 0, 0}, 3.0f, 0.0f, 9000.0f, 8, 16000, 0, 0},  // as many bands as are accepted
           {{0, 16, 16, 16, 2, 30, 0, 0}, 2.0f, 100.0f, kInfinity, 4, 16000, 0, 0},
           {{0, 2, 50, 2, 2, 999, 2, 0}, 2.0f, 0.0f, 8000.0f, 1, 16000, 1, 0},
           {{0, 20, 0, 20, 2, 5, 1, 0}, 2.0f, 0.0f, 8000.0f, 4, 16000, 1, 0},
       }) {
    const std::vector<float> clean = Noise(6000);
    for (const float poison : {0.0f, kNan, -kInfinity, 1e38f, 3e18f}) {  // 3e18 squared overflows in a sum
      std::vector<float> signal = clean;
      std::fill(signal.begin() + 3000, signal.begin() + 3010, poison);
      const std::vector<float> expected = MelOfSpectrogram(signal, settings);
      for (const Simd::Level level : Simd::SupportedLevels()) {
        ASSERT_TRUE(SameBits(MelSpectrogram(signal, settings, level), expected))
            << settings.short_time << " " << poison << " " << Simd::LevelName(level);
      }
    }
  }
}

TEST(MelSpectrogram, ColumnsAreThoseOfShorterOnesInStreamedResults) {
  const MelSettings settings{{0, 64, 2, 64, 1, INT_MAX, 0, 0}, 2.0f, 0.0f, 8000.0f, 32, 16000, 1, 0};
  constexpr std::size_t kShort = 5000;
  const std::size_t frame_n = Stft::kStreamedRowBytes / (32 * sizeof(float)) + kShort;
  const std::vector<float> signal = Noise(2 * (frame_n - 1) + 64);
  const std::vector<float> all = MelSpectrogram(signal, settings, Simd::BestLevel());
  for (std::size_t t = 0; t + kShort <= frame_n; t += kShort) {
    const auto begin = signal.begin() + static_cast<std::ptrdiff_t>(2 * t);
    const std::vector<float> part = MelSpectrogram({begin, begin + 2 * (kShort - 1) + 64}, settings, Simd::BestLevel());
    for (std::size_t m = 0; m < 32; ++m) {
      ASSERT_TRUE(
          SameBits(std::span(all).subspan(m * frame_n + t, kShort), std::span(part).subspan(m * kShort, kShort)))
          << m << ' ' << t;
    }
  }
}

TEST(MelSpectrogram, PowerOfZeroSumsTheWeightsAndNanIsPassedOn) {
  MelSettings settings{{0, 64, 16, 64, 1, 7, 1, 0}, 0.0f, 0.0f, 8000.0f, 12, 16000, 1, 0};
  std::vector<float> signal = Noise(400);
  signal[9] = kNan;  // even NaN to the power of 0 is 1
  std::fill(signal.begin() + 150, signal.end(), 0.0f);
  const std::vector<float>& bank = MelFilterBankCache::Get().GetFilterBank(settings.BankKey()).weights;
  const std::vector<float> expected = PlainProduct(std::vector<float>(33 * 7, 1.0f), bank, 12);
  for (const Simd::Level level : Simd::SupportedLevels()) {
    settings.power = 0.0f;
    EXPECT_TRUE(SameBits(MelSpectrogram(signal, settings, level), expected)) << Simd::LevelName(level);
    settings.power = kNan;
    EXPECT_TRUE(SameBits(MelSpectrogram(signal, settings, level), std::vector(expected.size(), kNan)));
  }
}

struct MelArguments : Stft::ShortTimeSettings, MelSettings {};

TEST(MelChecks, ReportTheFirstFailure) {
  using Arguments = MelArguments;
  ExpectChecksInOrder<Arguments>(
      [](Arguments arguments) {
        arguments.short_time = arguments;
        CheckMelSpectrogram(arguments);
      },
      {
          {&Arguments::sample_n, {0, -1, INT_MIN}, 1, "Invalid sample_n size."},
          {&Arguments::sample_rate, {0, -1, INT_MIN}, 1, "Invalid sample_rate value."},
          {&Arguments::fft_n, {0, -1, INT_MIN}, 1, "Invalid fft_n value."},
          {&Arguments::hop_n, {-1, INT_MIN}, 0, "Invalid hop_n value."},
          {&Arguments::win_n, {0, -1, INT_MIN}, 7, "Invalid win_n value."},
          {&Arguments::win_type, {0, 3, -1}, 2, "Invalid win_type format."},
          {&Arguments::max_frame_n, {0, -1, INT_MIN}, 1, "Invalid max_frame_n size."},
          {&Arguments::center, {3, -1}, 2, "Invalid center format."},
          {&Arguments::power, {-1e-45, -HUGE_VAL}, static_cast<double>(kNan), "Invalid power value."},
          {&Arguments::norm_type, {3, -1}, 2, "Invalid fft_norm_type format."},
          {&Arguments::f_min, {-1e-45, -HUGE_VAL}, 10, "Invalid f_min value."},
          {&Arguments::f_max, {-1e-45, -HUGE_VAL}, 10, "Invalid f_max value."},
          {&Arguments::f_max, {0, 9, 10}, 11, "f_max must be greater than f_min."},
          {&Arguments::mel_n, {0, -1, INT_MIN}, 1, "Invalid mel_n size."},
          // fft_n 1 has one bin, which accepts no number of bands.
          {&Arguments::fft_n, {1}, 6, "mel_n must be lesser than freq_n( fft_n / 2 + 1)."},
          {&Arguments::mel_n, {4, INT_MAX}, 3, "mel_n must be lesser than freq_n( fft_n / 2 + 1)."},
          {&Arguments::mel_norm, {2, -1}, 1, "Invalid mel_norm format."},
          {&Arguments::mel_formula, {2, -1}, 1, "Invalid mel_formula format."},
          {&Arguments::win_n, {7, INT_MAX}, 6, "Invalid win_n value."},  // longer than the frame
      });
}

struct ConvertArguments {
  int freq_n, frame_n, mel_n;
};

TEST(ConvertToMelChecks, ReportTheFirstFailure) {
  using Arguments = ConvertArguments;
  ExpectChecksInOrder<Arguments>(
      [](const Arguments& arguments) { CheckConvertToMel(arguments.freq_n, arguments.frame_n, arguments.mel_n); },
      {
          {&Arguments::freq_n, {0, -1, INT_MIN}, 4, "Invalid freq_n value."},
          {&Arguments::mel_n, {0, -1, INT_MIN}, 4, "Invalid mel_n size."},
          {&Arguments::mel_n, {4, 5, INT_MAX}, 3, "mel_n must be lesser than freq_n."},
          {&Arguments::frame_n, {0, -1, INT_MIN}, 1, "Invalid frame_n value."},
      });
}

TEST(MelExport, PassesItsArgumentsOn) {
  const std::vector<float> src = Noise(40);
  std::vector<float> dst(2 * 3);
  ASSERT_EQ(kelvoAudioGetMelSpectrogram(dst.data(), src.data(), 40, 16000, 16, 8, 11, 2, 3, 1, 1.5f, 2, 50.0f, 8000.0f,
                                        2, 1, 1),
            KELVO_AUDIO_STATUS_OK);
  const MelSettings settings{{40, 16, 8, 11, 2, 3, 1, 2}, 1.5f, 50.0f, 8000.0f, 2, 16000, 1, 1};
  EXPECT_TRUE(SameBits(dst, MelSpectrogram(src, settings, Simd::BestLevel())));
}

}  // namespace
}  // namespace kelvo::Mel
