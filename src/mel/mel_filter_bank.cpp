// Mel scales and filter banks.
#include "mel/mel_filter_bank.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "base/buffers.h"
#include "math/functions.h"

namespace kelvo::Mel {
namespace {

constexpr float kBreakHz = 1000.0f;
constexpr float kMelPerHz = 0x1.eb851ep-7f;  // 0.015: 15 mel at 1000 Hz
constexpr float kHzPerMel = 0x1.0aaaaap+6f;  // 200 / 3
// The inverse uses 1000 / (200 / 3) in single precision, not the 15 of the forward conversion. This is meant: it moves
// the edges of the filters in their last bit.
constexpr float kBreakMel = 15.0f;
constexpr float kBreakMelBack = 0x1.e00002p+3f;

// Above the break 27 mel make a factor of 6.4.
float LogStep() { return Math::Log(6.4f) / 27.0f; }

constexpr float kHtkHz = 700.0f;
constexpr float kHtkMel = 2595.0f;
constexpr float kPerHtkMel = 0x1.941356p-12f;  // 1 / 2595, multiplied by and not divided: the rounding differs

// The bits of a frequency, equal where frequencies are one key.
std::uint32_t FrequencyBits(float hz) {
  if (hz != hz) return 0x7FC00000;
  return hz == 0.0f ? 0 : __builtin_bit_cast(std::uint32_t, hz);
}

// The mel_n + 2 points at which the triangles start, peak and end: equal steps of mel.
std::vector<float> ComputeEdges(const MelFilterBankKey& key) {
  const auto hz_to_mel = key.htk ? HzToMelHtk : HzToMelSlaney;
  const auto mel_to_hz = key.htk ? MelToHzHtk : MelToHzSlaney;
  const float mel_lo = hz_to_mel(key.f_min);
  const float mel_hi = hz_to_mel(key.f_max);
  const float step = (mel_hi - mel_lo) / ((static_cast<float>(key.mel_n) + 2.0f) - 1.0f);
  std::vector<float> edge_hz = Base::MakeZeroBuffer(static_cast<std::uint64_t>(key.mel_n) + 2);
  for (std::size_t i = 0; i < edge_hz.size(); ++i) edge_hz[i] = mel_to_hz(static_cast<float>(i) * step + mel_lo);
  return edge_hz;
}

// One filter, from 0 at edge_hz[0] over its peak at edge_hz[1] to 0 at edge_hz[2].
void FillTriangle(std::span<float> row, const float* edge_hz, float bin_hz) {
  // Reciprocals, since the weights are products and not quotients; the bits differ.
  const float rise = 1.0f / (edge_hz[1] - edge_hz[0]);
  const float fall = 1.0f / (edge_hz[2] - edge_hz[1]);
  for (std::size_t k = 0; k < row.size(); ++k) {
    const float hz = static_cast<float>(k) * bin_hz;
    const float lower = rise * ((edge_hz[0] - hz) * -1.0f);
    const float upper = fall * (edge_hz[2] - hz);
    // In this form a NaN passes both tests, and a bin on the first edge gets -0 as its weight. Both are meant.
    row[k] = lower < 0.0f || upper < 0.0f ? 0.0f : (upper < lower ? upper : lower);
  }
}

// How many zeros a row begins with. Whole groups are tested at once, in a form that compilers vectorise.
std::size_t SkipZeros(std::span<const float> row) {
  constexpr std::size_t kGroup = 16;
  std::size_t k = 0;
  const auto is_group_zero = [&] {
    // All bits but the signs: -0 is a zero, a NaN is none.
    std::uint64_t bits[kGroup / 2];
    std::memcpy(bits, &row[k], sizeof(bits));
    std::uint64_t any = 0;
    for (const std::uint64_t pair : bits) any |= pair;
    return (any & 0x7FFFFFFF7FFFFFFF) == 0;
  };
  while (k + kGroup <= row.size() && is_group_zero()) k += kGroup;
  while (k < row.size() && row[k] == 0.0f) ++k;
  return k;
}

// The end of a row without the zeros that close it. Not all of it may be zeros.
std::size_t SkipZerosBackward(std::span<const float> row) {
  constexpr std::size_t kGroup = 16;
  std::size_t end = row.size();
  while (end >= kGroup && SkipZeros(row.subspan(end - kGroup, kGroup)) == kGroup) end -= kGroup;
  while (row[end - 1] == 0.0f) --end;
  return end;
}

}  // namespace

float HzToMelSlaney(float hz) {
  if (hz < kBreakHz) return hz * kMelPerHz;
  return kBreakMel + Math::Log(hz / kBreakHz) / LogStep();
}

float MelToHzSlaney(float mel) {
  if (mel < kBreakMelBack) return mel * kHzPerMel + 0.0f;  // the zero makes -0 mel +0 Hz
  return kBreakHz * Math::Exp(LogStep() * (mel - kBreakMelBack));
}

float HzToMelHtk(float hz) { return kHtkMel * Math::Log10(hz / kHtkHz + 1.0f); }

float MelToHzHtk(float mel) { return kHtkHz * (Math::Pow(10.0f, mel * kPerHtkMel) - 1.0f); }

bool operator==(const MelFilterBankKey& a, const MelFilterBankKey& b) {
  return a.freq_n == b.freq_n && FrequencyBits(a.f_min) == FrequencyBits(b.f_min) &&
         FrequencyBits(a.f_max) == FrequencyBits(b.f_max) && a.mel_n == b.mel_n && a.sample_rate == b.sample_rate &&
         a.mel_norm == b.mel_norm && a.htk == b.htk;
}

std::uint64_t HashKey(const MelFilterBankKey& key) {
  const auto bits = [](int value) { return static_cast<std::uint32_t>(value); };
  return Base::HashFields({bits(key.freq_n), FrequencyBits(key.f_min), FrequencyBits(key.f_max), bits(key.mel_n),
                           bits(key.sample_rate), bits(key.mel_norm), key.htk ? 1u : 0u});
}

void BuildMelFilterBank(MelFilterBank& bank, const MelFilterBankKey& key) {
  const std::uint64_t weight_n = static_cast<std::uint64_t>(key.mel_n) * static_cast<std::uint64_t>(key.freq_n);
  // Too many weights are a lack of memory like any other, not the length error of MakeZeroBuffer. C++ libraries differ
  // in what their vectors take at most.
  if (weight_n > std::numeric_limits<std::int64_t>::max() / sizeof(float)) throw std::bad_alloc();
  bank.weights = Base::MakeZeroBuffer(weight_n);

  const std::vector<float> edge_hz = ComputeEdges(key);
  const float bin_hz = (static_cast<float>(key.sample_rate) * 0.5f) / (static_cast<float>(key.freq_n) - 1.0f);
  const auto columns = static_cast<std::size_t>(key.freq_n);
  for (std::size_t m = 0; m < static_cast<std::size_t>(key.mel_n); ++m) {
    const std::span row(bank.weights.data() + m * columns, columns);
    FillTriangle(row, &edge_hz[m], bin_hz);
    if (key.mel_norm == static_cast<int>(MelNorm::Slaney)) {
      const float equal_area = 2.0f / (edge_hz[m + 2] - edge_hz[m]);
      for (float& weight : row) weight *= equal_area;
    }
  }
  bank.bands.resize(static_cast<std::size_t>(key.mel_n));
  FindBands(bank.bands, bank.weights);
  bank.overlap_by_pairs = OverlapByPairs(bank.bands);
}

void FindBands(std::span<Band> bands, std::span<const float> weights) {
  const std::size_t freq_n = weights.size() / bands.size();
  for (std::size_t m = 0; m < bands.size(); ++m) {
    const std::span row = weights.subspan(m * freq_n, freq_n);
    const std::size_t first = SkipZeros(row);
    bands[m] = first < freq_n ? Band{first, SkipZerosBackward(row)} : Band{0, 0};
  }
}

bool OverlapByPairs(std::span<const Band> bands) {
  std::size_t reach = 0;
  for (std::size_t m = 2; m < bands.size(); ++m) {
    reach = std::max(reach, bands[m - 2].last);
    if (bands[m].last > 0 && bands[m].first < reach) return false;
  }
  return true;
}

const Base::ForkGuard MelFilterBankCache::fork_guard_([]() -> Base::Mutex& { return Get().banks_.GetMutex(); });

MelFilterBankCache& MelFilterBankCache::Get() {
  static MelFilterBankCache cache;
  return cache;
}

const MelFilterBank& MelFilterBankCache::GetFilterBank(const MelFilterBankKey& key) {
  return banks_.GetTable(0, key, [](const MelFilterBankKey& settings) {
    MelFilterBank bank;
    BuildMelFilterBank(bank, settings);
    return bank;
  });
}

}  // namespace kelvo::Mel
