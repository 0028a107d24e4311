// Mel scales, and mel filter banks: triangular filters over the bins of a one-sided spectrum, and the cache that keeps
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/mutex.h"
#include "base/table_cache.h"
#include "mel/mel_kernels.h"

namespace kelvo::Mel {

// The two mel scales, on which equal steps sound equally wide. Single precision throughout.
enum class MelFormula { Slaney = 0, Htk = 1 };

// Linear below 1000 Hz, logarithmic from there on [Slaney 1998]. A NaN goes through the logarithm.
float HzToMelSlaney(float hz);
float MelToHzSlaney(float mel);

// 2595 log10(1 + hz / 700) [O'Shaughnessy 1987]
float HzToMelHtk(float hz);
float MelToHzHtk(float mel);

enum class MelNorm {
  None = 0,    // peak 1
  Slaney = 1,  // 2 / (width of the band in Hz): all filters have the same area
};

// Everything that a bank depends on. A NaN equals itself here, so that it has one bank and is never the key of another.
// The two zeros are one key; they give the same bank.
struct MelFilterBankKey {
  int freq_n;
  float f_min;  // Hz
  float f_max;  // Hz
  int mel_n;
  int sample_rate;  // Hz
  int mel_norm;
  bool htk;

  friend bool operator==(const MelFilterBankKey& a, const MelFilterBankKey& b);
};

std::uint64_t HashKey(const MelFilterBankKey& key);

struct MelFilterBank {
  std::vector<float> weights;  // [mel_n x freq_n]
  std::vector<Band> bands;     // [mel_n]
  bool overlap_by_pairs = false;
};

// Fills a bank, whatever it held before. The key is valid: 1 <= mel_n < freq_n.
void BuildMelFilterBank(MelFilterBank& bank, const MelFilterBankKey& key);

// The bands [mel_n] of weights [mel_n x freq_n].
void FindBands(std::span<Band> bands, std::span<const float> weights);
// Whether no bin is in more than two bands, which then are adjacent.
bool OverlapByPairs(std::span<const Band> bands);

// Each bank is built once per process, and found and read without a lock from then on.
class MelFilterBankCache {
 public:
  static MelFilterBankCache& Get();

  const MelFilterBank& GetFilterBank(const MelFilterBankKey& key);

 private:
  static const Base::ForkGuard fork_guard_;

  Base::TableCache<MelFilterBankKey, MelFilterBank> banks_;
};

}  // namespace kelvo::Mel
