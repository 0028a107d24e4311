// Filter banks: special values among their weights, the order of their keys, and the checks.
#include "mel/mel_filter_bank.h"

#include <gtest/gtest.h>

#include <cmath>
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

// A key with a NaN must find its own entry, and never another one.
TEST(MelFilterBankKey, OrderIsTotalAndEveryFieldCounts) {
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
    for (const auto& b : keys) ASSERT_EQ(a < b, fields(a) < fields(b)) << a.f_min << a.f_max << b.f_min << b.f_max;
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

}  // namespace
}  // namespace kelvo::Mel
