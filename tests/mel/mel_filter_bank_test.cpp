// Filter banks: their weights to the bit, the order of their keys, the cache, and the export.
#include "mel/mel_filter_bank.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "kelvo_audio.h"
#include "mel/mel_bank_checks.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Mel {
namespace {

using Support::Bits;
using Support::MessageOf;
using Support::SameBits;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

MelFilterBank Build(const MelFilterBankKey& key) {
  MelFilterBank bank;
  BuildMelFilterBank(bank, key);
  return bank;
}

// Below 1000 Hz the Slaney scale is plain arithmetic, so these bits hold with every C library. They come from the
// formulas in exact arithmetic, rounded to single precision after each step; weights formed by dividing differ in
// some places.
TEST(MelFilterBank, HasTheBitsOfTheFormulas) {
  const std::vector<float> expected{
      0.0f, 0x1.6fc43cp-10f, 0x1.1d04e2p-8f, 0x1.f4299ap-9f, 0x1.c807d8p-11f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
      0.0f, 0.0f, 0.0f, 0x1.c807d8p-10f, 0x1.3315c8p-8f, 0x1.c807d8p-9f, 0x1.178092p-11f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
      0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0x1.1025acp-9f, 0x1.4926bp-8f, 0x1.9be606p-9f, 0x1.9be636p-13f, 0.0f, 0.0f, 0.0f,
      0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0x1.3c4782p-9f, 0x1.5f3794p-8f, 0x1.6fc44p-9f, 0.0f, 0.0f};
  EXPECT_TRUE(SameBits(Build({12, 50.0f, 950.0f, 4, 2100, 1, false}).weights, expected));
}

TEST(MelFilterBank, TrianglesAddUpToOneOrHaveEqualAreas) {
  const double bin_hz = 22050.0 / 2.0 / 1024.0;
  for (const bool htk : {false, true}) {
    const MelFilterBank peak_one = Build({1025, 20.0f, 8000.0f, 40, 22050, 0, htk});
    const MelFilterBank equal_area = Build({1025, 20.0f, 8000.0f, 40, 22050, 1, htk});
    // Between the first and the last peak each bin's frequency is shared by two triangles.
    for (std::size_t k = peak_one.bands[1].first; k < peak_one.bands[38].last; ++k) {
      float sum = 0.0f;
      for (int m = 0; m < 40; ++m) sum += peak_one.Row(m)[k];
      ASSERT_NEAR(sum, 1.0f, 1e-4f) << htk << " " << k;
    }
    for (int m = 0; m < 40; ++m) {
      double area = 0.0;
      for (const float weight : equal_area.Row(m)) area += static_cast<double>(weight) * bin_hz;
      // The sum over bins misses the triangle's area of 1 where few bins fall into it.
      const Band band = equal_area.bands[static_cast<std::size_t>(m)];
      ASSERT_NEAR(area, 1.0, 2.0 / static_cast<double>(band.last - band.first)) << htk << " " << m;
    }
  }
}

TEST(MelFilterBank, BandsHoldExactlyTheNonzeroWeights) {
  for (const MelFilterBankKey& key : std::vector<MelFilterBankKey>{{2, 0.0f, 8000.0f, 1, 16000, 1, false},
                                                                   {201, 0.0f, 8000.0f, 80, 16000, 1, false},
                                                                   {201, 0.0f, 8000.0f, 200, 16000, 0, true},
                                                                   {65, 3000.0f, 30000.0f, 30, 16000, 1, true},
                                                                   {33, 0.0f, kInfinity, 8, 16000, 0, false},
                                                                   {33, kNan, 8000.0f, 8, 16000, 1, false}}) {
    const MelFilterBank bank = Build(key);
    for (int m = 0; m < key.mel_n; ++m) {
      const auto row = bank.Row(m);
      const Band band = bank.bands[static_cast<std::size_t>(m)];
      std::size_t first = 0;
      std::size_t last = row.size();
      while (last > 0 && row[last - 1] == 0.0f) --last;
      while (first < last && row[first] == 0.0f) ++first;
      ASSERT_EQ(band.first, first) << m;
      ASSERT_EQ(band.last, last) << m;
    }
  }
}

TEST(MelFilterBank, KeepsTheSignOfZeroAndEveryNan) {
  for (const bool htk : {false, true}) {
    for (const float f_min : {0.0f, -0.0f}) {
      const MelFilterBank bank = Build({201, f_min, 8000.0f, 40, 16000, 1, htk});
      EXPECT_EQ(Bits(bank.weights[0]), Bits(-0.0f));
      EXPECT_EQ(Bits(bank.weights[200]), Bits(0.0f));
    }
    for (const auto& [f_min, f_max] : {std::pair{kNan, 8000.0f}, std::pair{0.0f, kNan}}) {
      const MelFilterBank bank = Build({11, f_min, f_max, 5, 16000, 0, htk});
      // The first edge is f_min itself only while the step is a number: 0 * NaN is NaN.
      EXPECT_TRUE(std::ranges::all_of(bank.weights, [](float weight) { return weight != weight; }));
      EXPECT_EQ(bank.bands[4].first, 0u);
      EXPECT_EQ(bank.bands[4].last, 11u);
    }
  }
}

// Two edges fall together on the bin at 200 Hz: its rise is infinity times zero, and the smaller of that and the fall's
// 1 is the rise, since a NaN is not greater than anything.
TEST(MelFilterBank, RiseWithoutWidthGivesNanOnItsBin) {
  const MelFilterBank bank = Build({2, 200.0f, 0x1.900002p+7f, 1, 400, 0, false});
  EXPECT_TRUE(SameBits(bank.weights, std::vector{0.0f, kNan}));
}

TEST(MelFilterBankKey, OrderIsTotal) {
  const std::vector<float> frequencies{-0.0f, 0.0f, 1e-45f, 440.0f, kInfinity, kNan, -kNan};
  std::vector<MelFilterBankKey> keys;
  for (const float f_min : frequencies) {
    for (const float f_max : frequencies) keys.push_back({201, f_min, f_max, 80, 16000, 1, false});
  }
  for (const auto& a : keys) {
    for (const auto& b : keys) {
      ASSERT_EQ(a < b, b > a);
      const bool same = Bits(a.f_min + 0.0f) == Bits(b.f_min + 0.0f) && Bits(a.f_max + 0.0f) == Bits(b.f_max + 0.0f);
      ASSERT_EQ(!(a < b) && !(b < a), same) << a.f_min << " " << a.f_max << " / " << b.f_min << " " << b.f_max;
      for (const auto& c : keys) ASSERT_TRUE(!(a < b && b < c) || a < c);
    }
  }
  EXPECT_LT(keys[4 * frequencies.size()], keys[5 * frequencies.size()]) << "NaN stands after infinity";
}

TEST(MelFilterBankKey, EveryFieldCountsInItsOrder) {
  const MelFilterBankKey base{201, 20.0f, 8000.0f, 80, 16000, 0, false};
  // Each raises one field and lowers all those after it.
  const std::vector<MelFilterBankKey> raised{
      {202, 0.0f, 1.0f, 1, 1, -1, false}, {201, 21.0f, 1.0f, 1, 1, -1, false},
      {201, 20.0f, 8001.0f, 1, 1, -1, false}, {201, 20.0f, 8000.0f, 81, 1, -1, false},
      {201, 20.0f, 8000.0f, 80, 16001, -1, false}, {201, 20.0f, 8000.0f, 80, 16000, 1, false},
      {201, 20.0f, 8000.0f, 80, 16000, 0, true}};
  for (const auto& key : raised) EXPECT_LT(base, key) << &key - raised.data();
}

TEST(MelFilterBankCache, KeepsNanApart) {
  MelFilterBankCache& cache = MelFilterBankCache::Get();
  const MelFilterBankKey plain{65, 60.0f, 7000.0f, 10, 16000, 1, false};
  const MelFilterBankKey nan_low{65, kNan, 7000.0f, 10, 16000, 1, false};
  const MelFilterBank* low = &cache.GetFilterBank(nan_low);
  const MelFilterBank* bank = &cache.GetFilterBank(plain);
  EXPECT_TRUE(SameBits(bank->weights, Build(plain).weights));
  EXPECT_EQ(&cache.GetFilterBank(nan_low), low);
  EXPECT_EQ(&cache.GetFilterBank(plain), bank);
  EXPECT_EQ(&cache.GetFilterBank({65, 0.0f, 7000.0f, 10, 16000, 1, false}),
            &cache.GetFilterBank({65, -0.0f, 7000.0f, 10, 16000, 1, false}));
}

TEST(MelBankChecks, ReportTheFirstFailure) {
  const auto message = [](int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int norm, int formula) {
    return MessageOf([&] { CheckMelBank({freq_n, f_min, f_max, mel_n, sample_rate, norm, formula == 1}, formula); });
  };
  EXPECT_EQ(message(0, -1.0f, -1.0f, 0, 0, -1, 2), "Invalid freq_n value.");
  EXPECT_EQ(message(1, -1.0f, -1.0f, 0, 0, -1, 2), "Invalid f_min value.");
  EXPECT_EQ(message(1, 0.0f, -1.0f, 0, 0, -1, 2), "Invalid f_max value.");
  EXPECT_EQ(message(1, 0.0f, 0.0f, 0, 0, -1, 2), "f_max must be greater than f_min.");
  EXPECT_EQ(message(1, 0.0f, 1.0f, 0, 0, -1, 2), "Invalid mel_n size.");
  EXPECT_EQ(message(1, 0.0f, 1.0f, 1, 0, -1, 2), "mel_n must be lesser than freq_n.");
  EXPECT_EQ(message(2, 0.0f, 1.0f, 1, 0, -1, 2), "Invalid sample_rate value.");
  EXPECT_EQ(message(2, 0.0f, 1.0f, 1, 1, -1, 2), "Invalid mel_norm format.");
  EXPECT_EQ(message(2, 0.0f, 1.0f, 1, 1, 1, 2), "Invalid mel_formula format.");
  EXPECT_EQ(message(2, kNan, 1.0f, 1, 1, 1, 1), "");
}

TEST(MelBankExport, CopiesTheBank) {
  std::vector<float> dst(45);
  EXPECT_EQ(kelvoAudioGetFBMatrix(dst.data(), 9, 0.0f, 8000.0f, 5, 16000, 1, 1), KELVO_AUDIO_STATUS_OK);
  EXPECT_TRUE(SameBits(dst, Build({9, 0.0f, 8000.0f, 5, 16000, 1, true}).weights));
}

}  // namespace
}  // namespace kelvo::Mel
