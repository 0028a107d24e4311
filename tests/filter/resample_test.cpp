// The resampler against a plain form of its sums, bit for bit, and its sound in decibels.
#include "filter/resample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "filter/checks.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using namespace Support;

// One output after the other, with the library's own tables.
std::vector<float> PlainResample(const std::vector<float>& src, int dst_rate, int src_rate, std::size_t dst_n) {
  const ResampleFilter& filter = ResampleFilterCache::Get().GetFilterBank(dst_rate, src_rate);
  std::vector<float> buffer(32);
  buffer.insert(buffer.end(), src.begin(), src.end());
  buffer.resize(src.size() + 64);
  std::vector<float> dst(dst_n);
  const auto length = static_cast<std::size_t>(ComputeResampleLen(dst_rate, static_cast<int>(src.size()), src_rate));
  std::size_t i = 0;
  std::size_t c = 0;
  for (std::size_t m = 0; m < std::min(length, dst_n) && i + 65 < buffer.size(); ++m) {
    double sum = 0.0;
    for (std::size_t k = 0; k < 65; ++k) {
      sum = sum +
            static_cast<double>(buffer[i + k]) * filter.taps[static_cast<std::size_t>(filter.phase[c]) * 65 + 64 - k];
    }
    dst[m] = static_cast<float>(sum);
    i += static_cast<std::size_t>(filter.step[c]);
    c = c + 1 == filter.phase.size() ? 0 : c + 1;
  }
  return dst;
}

struct Ratio {
  int dst_rate, src_rate;
};
constexpr Ratio kRatios[] = {{16000, 44100}, {16000, 48000}, {44100, 48000}, {48000, 44100}, {8000, 16000},
                             {48000, 16000}, {22050, 22050}, {3, 2},         {1, 7},         {1, 16},
                             {1, 1000},      {1009, 1013},   {5, 7919},      {7919, 5}};

TEST(Resample, HasTheBitsOfThePlainSums) {
  for (const auto [dst_rate, src_rate] : kRatios) {
    for (const std::size_t src_n : {1u, 2u, 3u, 33u, 64u, 65u, 500u, 5000u, 40000u}) {
      if (static_cast<double>(src_n) * dst_rate / src_rate > 2e5) continue;
      std::vector<float> src = Noise(src_n, static_cast<std::uint32_t>(src_n));
      if (src_n >= 5000) {
        src[10] = -0.0f;
        src[1234] = kInfinity;
        src[2500] = kNan;
        src[3000] = std::numeric_limits<float>::max();
        std::fill(src.begin() + 4000, src.begin() + 4500, -0.0f);
      }
      const auto length = static_cast<std::size_t>(ComputeResampleLen(dst_rate, static_cast<int>(src_n), src_rate));
      for (const std::size_t dst_n : {length, length + 5, (length + 1) / 2}) {
        const std::vector<float> expected = PlainResample(src, dst_rate, src_rate, dst_n);
        for (const Simd::Level level : Simd::SupportedLevels()) {
          SCOPED_TRACE(std::to_string(src_rate) + " to " + std::to_string(dst_rate) + ", " + std::to_string(src_n) +
                       " samples to " + std::to_string(dst_n) + ", " + Simd::LevelName(level));
          std::vector<float> dst(std::max(src_n, dst_n), 9.0f);
          const auto result = std::span(dst).first(dst_n);
          Resample(result, src, dst_rate, src_rate, level);
          ASSERT_TRUE(SameBits(result, expected));
          std::copy(src.begin(), src.end(), dst.begin());
          Resample(result, std::span(dst).first(src_n), dst_rate, src_rate, level);
          ASSERT_TRUE(SameBits(result, expected)) << "in place";
        }
      }
    }
  }
}

// Rates so far apart that each output is a block of its own: how many segments reach the signal's end, and need memory
// for zeros, depends on where in a segment it lies.
TEST(Resample, HasTheBitsOfThePlainSumsWhereverTheSignalEnds) {
  for (std::size_t src_n = 40000; src_n < 45000; src_n += 199) {
    const std::vector<float> src = Noise(src_n, 7);
    const std::vector<float> expected = PlainResample(src, 1, 1000, src_n / 1000);
    for (const Simd::Level level : Simd::SupportedLevels()) {
      std::vector<float> dst(src_n / 1000);
      Resample(dst, src, 1, 1000, level);
      EXPECT_TRUE(SameBits(dst, expected)) << src_n << ' ' << Simd::LevelName(level);
    }
  }
}

// Outputs far below the inputs, whose last bits show in what order and with which roundings they are summed up: tones
// above the new rate, clicks in silence, denormals, and a signal whose loud half a segment shares with a quiet one.
TEST(Resample, HasTheBitsOfThePlainSumsWhereOutputsAreSmall) {
  constexpr std::size_t kSrcN = 60000;
  std::vector<float> tone(kSrcN), clicks(kSrcN), denormal = Noise(kSrcN, 5), decaying = Noise(kSrcN, 6);
  for (std::size_t i = 0; i < kSrcN; ++i) {
    tone[i] = static_cast<float>(std::sin(2.9 * static_cast<double>(i)));
    if (i % 97 == 0) clicks[i] = denormal[i];
    denormal[i] *= 1e-44f;
    decaying[i] *= static_cast<float>(std::exp(-0.01 * static_cast<double>(i % 5000)));
  }
  for (const std::vector<float>& src : {tone, clicks, denormal, decaying}) {
    for (const auto [dst_rate, src_rate] :
         {Ratio{16000, 48000}, Ratio{16000, 44100}, Ratio{48000, 44100}, Ratio{48000, 16000}, Ratio{1, 1}}) {
      const auto dst_n = static_cast<std::size_t>(ComputeResampleLen(dst_rate, static_cast<int>(kSrcN), src_rate));
      const std::vector<float> expected = PlainResample(src, dst_rate, src_rate, dst_n);
      for (const Simd::Level level : Simd::SupportedLevels()) {
        std::vector<float> dst(dst_n);
        Resample(dst, src, dst_rate, src_rate, level);
        EXPECT_TRUE(SameBits(dst, expected)) << src_rate << " to " << dst_rate << ", " << Simd::LevelName(level);
      }
    }
  }
}

// The array of outputs may begin or end anywhere in the signal, which is long enough for several blocks a segment.
TEST(Resample, MayOverwriteTheSignal) {
  constexpr std::size_t kSrcN = 40000;
  const std::vector<float> src = Noise(kSrcN, 9);
  for (const auto [dst_rate, src_rate] : {Ratio{16000, 44100}, Ratio{44100, 48000}, Ratio{48000, 16000}}) {
    const auto dst_n = static_cast<std::size_t>(ComputeResampleLen(dst_rate, static_cast<int>(kSrcN), src_rate));
    const std::vector<float> expected = PlainResample(src, dst_rate, src_rate, dst_n);
    struct Row {
      std::size_t dst_begin, src_begin;
    };
    for (const auto [dst_begin, src_begin] :
         {Row{1, 0}, {kSrcN / 2, 0}, {kSrcN - 1, 0}, {0, 1}, {0, dst_n / 2}, {0, dst_n - 1}}) {
      std::vector<float> both(kSrcN + dst_n);
      std::copy(src.begin(), src.end(), both.begin() + static_cast<std::ptrdiff_t>(src_begin));
      const std::span<float> dst = std::span(both).subspan(dst_begin, dst_n);
      Resample(dst, std::span(both).subspan(src_begin, kSrcN), dst_rate, src_rate, Simd::BestLevel());
      EXPECT_TRUE(SameBits(dst, expected)) << dst_rate << ": " << dst_begin << ' ' << src_begin;
    }
  }
}

TEST(Resample, SharesOneFilterPerReducedRatio) {
  auto& cache = ResampleFilterCache::Get();
  EXPECT_EQ(&cache.GetFilterBank(16000, 44100), &cache.GetFilterBank(32000, 88200));
  EXPECT_NE(&cache.GetFilterBank(16000, 44100), &cache.GetFilterBank(44100, 16000));
}

// Taps are rounded to double, so a fault in their last bits would seldom reach an output, which is a float.
TEST(Resample, KeepsTheBitsOfItsTaps) {
  struct Row {
    int up, down;
    std::uint64_t hash;
  };
  for (const Row& row :
       {Row{160, 441, 0x34945797021694cf}, Row{160, 147, 0x59dc029861c2bcd}, Row{1, 3, 0x2c1bf74cfbb1649b},
        Row{3, 1, 0xf4f1c37d64b5faa4}, Row{1009, 1013, 0x836e33300ce9caa7}}) {
    EXPECT_EQ(Hash(BuildRatio(row.up, row.down).taps), row.hash) << row.up << " / " << row.down;
  }
}

TEST(Resample, CountsTheOutputs) {
  EXPECT_EQ(ComputeResampleLen(16000, 1000, 44100), 363);
  EXPECT_EQ(ComputeResampleLen(8000, 1001, 16000), 501);
  EXPECT_EQ(ComputeResampleLen(7, 25, 25), 8);  // the quotient is rounded up, and so one more than is exact
  EXPECT_EQ(ComputeResampleLen(2147483647, 2, 1), 2147483647);
}

TEST(Resample, SurvivesExtremeRatios) {
  constexpr int kMax = 2147483647;
  const std::vector<float> src = Noise(100, 4);
  for (const auto [dst_rate, src_rate] : {Ratio{3, kMax}, Ratio{1, kMax}, Ratio{2, kMax}, Ratio{kMax - 1, kMax - 1}}) {
    for (const std::size_t dst_n : {1u, 2u, 200u}) {
      std::vector<float> dst(dst_n, 9.0f);
      ASSERT_EQ(kelvoAudioResample(dst.data(), src.data(), dst_rate, static_cast<int>(dst_n), src_rate, 100), 0);
      EXPECT_TRUE(SameBits(dst, PlainResample(src, dst_rate, src_rate, dst_n))) << dst_rate << ' ' << src_rate;
    }
  }
}

// As docs/resampler.md says: the conversion ends in zeros, which two more samples of input replace.
TEST(Resample, EndsInFewZeros) {
  for (const Ratio& rates : kRatios) {
    const int dst_rate = rates.dst_rate;
    const int src_rate = rates.src_rate;
    const double ratio = static_cast<double>(dst_rate) / src_rate;
    if (ratio > 10.0) continue;
    const double most = std::max(std::ceil(1.5 * ratio), ratio < 1.0 ? 2.0 : 0.0);
    for (std::size_t src_n = 100; src_n < 400; src_n += 7) {
      const int dst_n = ComputeResampleLen(dst_rate, static_cast<int>(src_n), src_rate);
      const auto count_zeros = [&](const std::vector<float>& src) {
        std::vector<float> dst(static_cast<std::size_t>(dst_n));
        Resample(dst, src, dst_rate, src_rate, Simd::BestLevel());
        return std::find_if(dst.rbegin(), dst.rend(), [](float value) { return value != 0.0f; }) - dst.rbegin();
      };
      std::vector<float> src = Noise(src_n, 5);
      EXPECT_LE(static_cast<double>(count_zeros(src)), most) << src_rate << " to " << dst_rate << ", " << src_n;
      src.resize(src_n + 2);
      EXPECT_EQ(count_zeros(src), 0) << src_rate << " to " << dst_rate << ", " << src_n;
    }
  }
}

struct Tone {
  double gain_db;   // of the tone itself
  double other_db;  // of everything else: images, aliases, rounding
};

// Resamples a tone, its frequency a fraction of the source rate, and fits it to the outputs' places in the input.
Tone MeasureTone(int dst_rate, int src_rate, double frequency) {
  constexpr int kSrcN = 6000;
  const std::vector<float> src = Sine(kSrcN, frequency, 1.0);
  const int dst_n = ComputeResampleLen(dst_rate, kSrcN, src_rate);
  std::vector<float> dst(static_cast<std::size_t>(dst_n));
  EXPECT_EQ(kelvoAudioResample(dst.data(), src.data(), dst_rate, dst_n, src_rate, kSrcN), 0);
  const ResampleFilter& filter = ResampleFilterCache::Get().GetFilterBank(dst_rate, src_rate);
  const double half_phase = filter.up % 2 == 0 ? 0.5 / filter.up : 0.0;
  // A Hann window keeps the ends out and the tone's mirror image apart.
  const auto window_at = [](double place) {
    const double inside = (place - 100.0) / (kSrcN - 200.0);
    return inside < 0.0 || inside > 1.0 ? 0.0 : 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * inside);
  };
  const auto place_of = [&](int m) { return static_cast<double>(m) * filter.down / filter.up - half_phase; };
  const auto phasor_at = [&](double place) { return std::polar(1.0, 2.0 * std::numbers::pi * frequency * place); };
  std::complex<double> fit = 0.0;
  double weight = 0.0;
  for (int m = 0; m < dst_n; ++m) {
    const double window = window_at(place_of(m));
    fit += window * static_cast<double>(dst[static_cast<std::size_t>(m)]) * std::conj(phasor_at(place_of(m)));
    weight += window;
  }
  const std::complex<double> amplitude = 2.0 * fit / weight;
  double other = 1e-20;
  for (int m = 0; m < dst_n; ++m) {
    const double tone = (amplitude * phasor_at(place_of(m))).real();
    const double rest = static_cast<double>(dst[static_cast<std::size_t>(m)]) - tone;
    other += 2.0 * window_at(place_of(m)) * rest * rest / weight;
  }
  return {20.0 * std::log10(std::abs(amplitude)), 10.0 * std::log10(other)};
}

// The table of docs/resampler.md, row by row.
TEST(Resample, SoundsAsDocumented) {
  struct Row {
    int src_rate, dst_rate;
    double pass_edge, ripple_db, other_db;  // edges are fractions of the lower of the two Nyquist frequencies
    double cutoff_db;                       // at 0.995
    double stop_edge, stop_db;              // none where the rate goes up, or down by little
  };
  for (const Row row : {Row{44100, 16000, 0.76, 0.0015, -120.0, -5.6, 1.24, -76.0},
                        {48000, 16000, 0.73, 0.0015, -120.0, -5.6, 1.26, -76.0},
                        {16000, 8000, 0.82, 0.0015, -141.0, -5.4, 1.17, -74.0},
                        {48000, 44100, 0.90, 0.0014, -93.0, -5.0, 0.0, 0.0},
                        {44100, 48000, 0.91, 0.0013, -76.0, -4.9, 0.0, 0.0},
                        {16000, 48000, 0.91, 0.0013, -76.0, -4.9, 0.0, 0.0}}) {
    SCOPED_TRACE(std::to_string(row.src_rate) + " to " + std::to_string(row.dst_rate));
    const double nyquist = 0.5 * std::min(1.0, static_cast<double>(row.dst_rate) / row.src_rate);
    double ripple_db = 0.0;
    double other_db = -300.0;
    for (int i = 1; i <= 24; ++i) {
      const Tone tone = MeasureTone(row.dst_rate, row.src_rate, row.pass_edge * nyquist * i / 24.0);
      ripple_db = std::max(ripple_db, std::abs(tone.gain_db));
      other_db = std::max(other_db, tone.other_db);
    }
    EXPECT_LT(ripple_db, row.ripple_db + 0.00005);
    EXPECT_LT(other_db, row.other_db);
    const double cutoff_db = MeasureTone(row.dst_rate, row.src_rate, 0.995 * nyquist).gain_db;
    EXPECT_NEAR(cutoff_db, row.cutoff_db, 0.05);
    double stop_db = -300.0;
    for (int i = 0; i <= 24 && row.stop_edge > 0.0; ++i) {
      const double from = row.stop_edge * nyquist;
      const Tone tone = MeasureTone(row.dst_rate, row.src_rate, from + (0.499 - from) * i / 24.0);
      stop_db = std::max({stop_db, tone.gain_db, tone.other_db});
    }
    EXPECT_LT(stop_db, row.stop_edge > 0.0 ? row.stop_db : 0.0);
    std::printf("%5d to %5d: within %.4f dB, other tones below %.1f dB; %.1f dB at 0.995; stop band below %.1f dB\n",
                row.src_rate, row.dst_rate, ripple_db, other_db, cutoff_db, stop_db);
  }
}

TEST(Resample, ChecksArgumentsInOrder) {
  EXPECT_EQ(MessageOf([] { CheckResample(0, 0, 0, 0); }), "Invalid dst_sample_rate value.");
  EXPECT_EQ(MessageOf([] { CheckResample(1, 0, 0, 0); }), "Invalid dst_n size.");
  EXPECT_EQ(MessageOf([] { CheckResample(1, 1, 0, 0); }), "Invalid src_sample_rate value.");
  EXPECT_EQ(MessageOf([] { CheckResample(1, 1, 1, 0); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckResampleLen(0, 0, 0); }), "Invalid dst_sample_rate value.");
  EXPECT_EQ(MessageOf([] { CheckResampleLen(1, 0, 0); }), "Invalid src_sample_rate value.");
  EXPECT_EQ(MessageOf([] { CheckResampleLen(1, 0, 1); }), "Invalid src_sample_n value.");
}

}  // namespace
}  // namespace kelvo::Filter
