// Sample-rate conversion by a rational ratio, with polyphase filters that are designed once per ratio and shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/mutex.h"
#include "base/table_cache.h"
#include "filter/filter_kernels.h"
#include "simd/level.h"

namespace kelvo::Filter {

// Taps of a phase filter before its centre, and after it.
inline constexpr std::size_t kTapReach = (kTapN - 1) / 2;

// For `up` outputs per `down` inputs, in lowest terms.
struct ResampleFilter {
  int up;
  int down;
  std::vector<double> taps;  // [up x kTapN]: the filter of each phase, newest input first
  std::vector<int> phase;    // [up]: the phase of each output in a cycle
  std::vector<int> step;     // [up]: how far the input position advances after it
  double sum_error = 0.0;    // ResampleCycle::sum_error
};

// Windowed sincs [Crochiere and Rabiner 1983] under a Blackman window [Blackman and Tukey 1958], cut off at the lower
// of the two Nyquist frequencies.
ResampleFilter BuildRatio(int up, int down);

class ResampleFilterCache {
 public:
  static ResampleFilterCache& Get();

  // Only the ratio of the rates matters. Valid until the process ends.
  const ResampleFilter& GetFilterBank(int dst_sample_rate, int src_sample_rate);

 private:
  struct Ratio {
    int up;
    int down;
    bool operator==(const Ratio&) const = default;
    friend std::uint64_t HashKey(const Ratio& ratio) {
      return Base::HashFields({static_cast<std::uint32_t>(ratio.up), static_cast<std::uint32_t>(ratio.down)});
    }
  };
  static const Base::ForkGuard fork_guard_;

  Base::TableCache<Ratio, ResampleFilter> filters_;
};

// Samples that src_n samples become; saturates.
int ComputeResampleLen(int dst_sample_rate, int src_n, int src_sample_rate);

// Fills dst with src at the other rate, then with zeros. Outputs end where the input position reaches the last sample
// of src, which therefore is never a centre; src.size() 1 gives zeros only. dst and src may overlap in any way.
void Resample(std::span<float> dst, std::span<const float> src, int dst_sample_rate, int src_sample_rate,
              Simd::Level level);

}  // namespace kelvo::Filter
