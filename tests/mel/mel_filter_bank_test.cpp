// Filter banks: their bits, special values among their weights, their keys, and the checks.
#include "mel/mel_filter_bank.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "mel/checks.h"
#include "support/bits.h"
#include "support/messages.h"

namespace kelvo::Mel {
namespace {

using namespace Support;

MelFilterBank Build(const MelFilterBankKey& key) {
  MelFilterBank bank;
  BuildMelFilterBank(bank, key);
  return bank;
}

// The bits of banks that people use are the contract: features must match those that a network was trained on. Round
// frequencies hide many a changed rounding, so some rows have others.
TEST(MelFilterBank, HasTheStoredBits) {
  struct Row {
    int freq_n;
    float f_min, f_max;
    int mel_n, sample_rate;
    std::uint64_t hash;  // of the bank in both scales, without and with norm
  };
  for (const Row& row : std::vector<Row>{
           {201, 0.0f, 8000.0f, 80, 16000, 0xab9ae87f5c124287},
           {201, 0.0f, 8000.0f, 40, 16000, 0xf233c49af9a65aa1},
           {201, 20.0f, 7600.0f, 80, 16000, 0xfff1a9d7d7c83305},
           {257, 20.0f, 8000.0f, 23, 16000, 0xbdea0f0f3795b728},
           {257, 60.0f, 7800.0f, 64, 16000, 0xfbe3eb4c3675e805},
           {513, 55.0f, 5512.5f, 30, 11025, 0xdba3a74377e0a178},
           {513, 0.0f, 11025.0f, 80, 22050, 0xb7f2f5727cc7afa0},
           {1025, 0.0f, 11025.0f, 128, 22050, 0xd3d6bdb523f6f8a0},
           {2049, 27.5f, 16000.0f, 229, 44100, 0xdafa7cf5c68e095c},
       }) {
    std::uint64_t hash = 0;
    for (const bool htk : {false, true}) {
      for (const int mel_norm : {0, 1}) {
        hash = Hash(Build({row.freq_n, row.f_min, row.f_max, row.mel_n, row.sample_rate, mel_norm, htk}).weights, hash);
      }
    }
    EXPECT_EQ(hash, row.hash) << row.mel_n << " bands up to " << row.f_max << " Hz: 0x" << std::hex << hash;
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
      // The first edge too, f_min + 0 * step, is NaN where the step is NaN.
      EXPECT_TRUE(SameBits(Build({11, f_min, f_max, 5, 16000, 0, htk}).weights, std::vector(55, kNan)));
    }
  }
  // Two edges coincide with the bin at 200 Hz: its rising weight is infinity times zero, a NaN, which the comparison
  // with the falling weight of 1 keeps, since a NaN is not greater than anything.
  EXPECT_TRUE(SameBits(Build({2, 200.0f, 0x1.900002p+7f, 1, 400, 0, false}).weights, std::vector{0.0f, kNan}));
}

// However small a weight is, and wherever it lies in the groups that are searched at once.
TEST(MelFilterBank, HasBandsFromTheFirstWeightToTheLast) {
  constexpr std::size_t kFreqN = 53;
  for (const float weight : {1.0f, std::numeric_limits<float>::denorm_min(), -kInfinity, kNan}) {
    for (std::size_t first = 0; first < kFreqN; ++first) {
      for (std::size_t last = first; last < kFreqN; ++last) {
        std::vector<float> weights(2 * kFreqN, -0.0f);
        weights[kFreqN + first] = weights[kFreqN + last] = weight;
        std::vector<Band> bands(2);
        FindBands(bands, weights);
        ASSERT_EQ(std::pair(bands[0].first, bands[0].last), std::pair(std::size_t{0}, std::size_t{0}));
        ASSERT_EQ(std::pair(bands[1].first, bands[1].last), std::pair(first, last + 1)) << weight;
      }
    }
  }
}

// Otherwise banks take the slower form, or weights of a third band at a bin are lost.
TEST(MelFilterBank, KnowsWhereOnlyNeighboursOverlap) {
  struct Row {
    std::vector<Band> bands;
    bool by_pairs;
  };
  const std::vector<Row> rows{
      {{{0, 5}}, true},
      {{{0, 5}, {3, 9}}, true},
      {{{0, 5}, {3, 9}, {5, 12}}, true},
      {{{0, 5}, {3, 9}, {4, 12}}, false},
      {{{0, 20}, {2, 5}, {20, 22}, {6, 10}}, false},
      {{{0, 5}, {3, 9}, {0, 0}}, true},  // an empty band
      {{{0, 5}, {3, 9}, {0, 0}, {8, 12}}, false},
      {{{0, 5}, {3, 9}, {0, 1}}, false},
      {{{0, 0}, {0, 0}, {0, 3}}, true},
  };
  for (const Row& row : rows) EXPECT_EQ(OverlapByPairs(row.bands), row.by_pairs) << &row - rows.data();
}

// A key with a NaN must find its own entry, and never another one.
TEST(MelFilterBankKey, EveryFieldCountsAndANanEqualsItself) {
  const std::vector<float> frequencies{-0.0f, 0.0f, 1e-45f, 440.0f, kInfinity, kNan, -kNan};
  std::vector<MelFilterBankKey> keys{{202, 0.0f, 1.0f, 1, 1, 0, false},       {201, 20.0f, 8e3f, 80, 16000, 1, false},
                                     {201, 20.0f, 8e3f, 80, 16000, 0, true},  {201, 20.0f, 8e3f, 81, 16000, 0, false},
                                     {201, 20.0f, 8e3f, 80, 16001, 0, false}, {201, 20.0f, 8e3f, 80, 16000, 0, false}};
  for (const float f_min : frequencies) {
    for (const float f_max : frequencies) keys.push_back({201, f_min, f_max, 80, 16000, 1, false});
  }
  const auto fields = [](const MelFilterBankKey& key) {
    const auto rank = [](float value) { return std::pair(std::isnan(value), std::isnan(value) ? 0.0f : value); };
    return std::tuple(key.freq_n, rank(key.f_min), rank(key.f_max), key.mel_n, key.sample_rate, key.mel_norm, key.htk);
  };
  for (const auto& a : keys) {
    for (const auto& b : keys) {
      ASSERT_EQ(a == b, fields(a) == fields(b)) << a.f_min << a.f_max << b.f_min << b.f_max;
      ASSERT_TRUE(a != b || HashKey(a) == HashKey(b)) << a.f_min << a.f_max << b.f_min << b.f_max;
    }
  }
  MelFilterBankCache& cache = MelFilterBankCache::Get();
  for (const auto& key : keys) EXPECT_TRUE(SameBits(cache.GetFilterBank(key).weights, Build(key).weights));
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

TEST(MelScale, HasKnownBits) {
  struct Row {
    float (*convert)(float);
    float from, to;
  };
  for (const Row& row : std::vector<Row>{
           {HzToMelSlaney, 0.0f, 0.0f},
           {HzToMelSlaney, 30.0f, 0x1.ccccccp-2f},
           {HzToMelSlaney, 999.5f, 0x1.dfc28ep+3f},  // here the branches differ by 237 ulp
           {HzToMelSlaney, 1000.0f, 15.0f},
           {HzToMelSlaney, 1000.5f, 0x1.e03b8ep+3f},
           // A reciprocal in place of the first division moves one, in place of the second the other.
           {HzToMelSlaney, 1300.0f, 0x1.2d0ec8p+4f},
           {HzToMelSlaney, 1600.0f, 0x1.5d613cp+4f},
           {HzToMelSlaney, 6400.0f, 42.0f},
           {HzToMelSlaney, kInfinity, kInfinity},
           {HzToMelSlaney, kNan, kNan},
           {MelToHzSlaney, -0.0f, 0.0f},
           {MelToHzSlaney, 1.0f, 0x1.0aaaaap+6f},
           {MelToHzSlaney, 15.0f, 15.0f * 0x1.0aaaaap+6f},
           {MelToHzSlaney, 0x1.e00002p+3f, 1000.0f},
           {HzToMelHtk, 0.0f, 0.0f},
           {HzToMelHtk, 100.0f, 0x1.2cfa72p+7f},  // a quotient, no product with 1 / 700
           {HzToMelHtk, 6300.0f, 2595.0f},
           {MelToHzHtk, 0.0f, 0.0f},
           {MelToHzHtk, 2710.0f, 0x1.b8c018p+12f},  // a product with the rounded 1 / 2595; a quotient lies 4 ulp off
       }) {
    EXPECT_EQ(Bits(row.convert(row.from)), Bits(row.to)) << row.from << " gives " << row.convert(row.from);
  }
}

TEST(MelScale, EqualsTheFormulasInDouble) {
  for (double hz = 1000.0; hz < 50000.0; hz *= 1.013) {
    const auto rounded = static_cast<float>(hz);
    const auto exact = static_cast<double>(rounded);
    const double slaney = 15.0 + 27.0 * std::log(exact / 1000.0) / std::log(6.4);
    const double htk = 2595.0 * std::log10(1.0 + exact / 700.0);
    ASSERT_NEAR(static_cast<double>(HzToMelSlaney(rounded)), slaney, 4e-7 * slaney);
    ASSERT_NEAR(static_cast<double>(HzToMelHtk(rounded)), htk, 4e-7 * htk);
    // The exponential amplifies the rounding error of mel.
    ASSERT_NEAR(static_cast<double>(MelToHzSlaney(static_cast<float>(slaney))), exact, 3e-6 * exact);
    ASSERT_NEAR(static_cast<double>(MelToHzHtk(static_cast<float>(htk))), exact, 3e-6 * exact);
  }
}

}  // namespace
}  // namespace kelvo::Mel
