// Design of the resampling filters, and their cache.
#include <cstdint>
#include <limits>
#include <numeric>

#include "base/buffers.h"
#include "filter/resample.h"
#include "math/bits.h"
#include "math/functions.h"

namespace kelvo::Filter {
namespace {

constexpr double kPi = 3.141592653589793;

// Blackman's window over kTapN points, centred on t = 0.
double WindowAt(double t) {
  constexpr double kWidth = static_cast<double>(kTapN);
  return (Math::Cos(t * (2.0 * kPi) / kWidth) * 0.5 + 0.42) + Math::Cos(t * (4.0 * kPi) / kWidth) * 0.08;
}

double SincAt(double t, double cutoff) {
  if (Math::Abs(t) <= std::numeric_limits<double>::epsilon()) return cutoff;
  return Math::Sin(t * kPi * cutoff) / (t * kPi);
}

}  // namespace

ResampleFilter BuildRatio(int up, int down) {
  const auto phase_n = static_cast<std::size_t>(up);
  ResampleFilter filter{up, down, {}, {}, {}};
  // The largest table first: an impossible ratio fails before anything is computed.
  filter.taps = Base::MakeZeroBuffer<double>(std::uint64_t{phase_n} * kTapN);
  filter.phase.resize(phase_n);
  filter.step.resize(phase_n);

  const double cutoff = up <= down ? static_cast<double>(up) / static_cast<double>(down) : 1.0;
  const double middle = (static_cast<double>(up) - 1.0) * 0.5;
  for (std::size_t p = 0; p < phase_n; ++p) {
    const double offset = (static_cast<double>(p) - middle) / static_cast<double>(up);
    for (std::size_t k = 0; k < kTapN; ++k) {
      const double t = (static_cast<double>(k) - static_cast<double>(kTapReach)) + offset;
      filter.taps[p * kTapN + k] = SincAt(t, cutoff) * WindowAt(t);
    }
  }
  // For even `up` the first phase lies half a step below the offsets' middle; this is meant.
  std::int64_t phase = (up - 1) / 2;
  for (std::size_t i = 0; i < phase_n; ++i) {
    filter.phase[i] = static_cast<int>(phase);
    phase += down;
    filter.step[i] = static_cast<int>(phase / up);
    phase %= up;
  }
  return filter;
}

const Base::ForkGuard ResampleFilterCache::fork_guard_([]() -> Base::Mutex& { return Get().filters_.GetMutex(); });

ResampleFilterCache& ResampleFilterCache::Get() {
  static ResampleFilterCache cache;
  return cache;
}

const ResampleFilter& ResampleFilterCache::GetFilterBank(int dst_sample_rate, int src_sample_rate) {
  const int divisor = std::gcd(dst_sample_rate, src_sample_rate);
  return filters_.GetTable(0, {dst_sample_rate / divisor, src_sample_rate / divisor},
                           [](const Ratio& ratio) { return BuildRatio(ratio.up, ratio.down); });
}

}  // namespace kelvo::Filter
