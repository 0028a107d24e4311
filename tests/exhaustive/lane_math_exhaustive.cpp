// Walks through all floats and compares the functions of lanes with the runtime's, at the best level and in one lane.
// Prints for each the share of equal bits, the largest distance in ulp and an input that has it; fails above 1 ulp or
// where zeros, infinities or NaN differ. A few minutes on two cores.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <thread>
#include <vector>

#include "api/elementwise_kernels.h"
#include "mel/spectral_kernels.h"
#include "simd/level.h"

namespace {

using namespace kelvo;

constexpr std::size_t kBlockN = 4096;
using Block = std::array<float, kBlockN>;

const Api::ElementwiseKernels& Elementwise(Simd::Level level) {
  return Simd::KernelsFor<Api::ElementwiseKernels>(level);
}
const Mel::SpectralKernels& Spectral(Simd::Level level) { return Simd::KernelsFor<Mel::SpectralKernels>(level); }

// (re, im) pairs, as the spectral kernels take them.
std::array<float, 2 * kBlockN> Complex(const Block& re, float im) {
  std::array<float, 2 * kBlockN> values;
  for (std::size_t i = 0; i < kBlockN; ++i) {
    values[2 * i] = re[i];
    values[2 * i + 1] = im;
  }
  return values;
}

struct Row {
  const char* name;
  void (*in_lanes)(Simd::Level level, Block& dst, const Block& src);
  float (*runtime)(float);
};

constexpr float kHeight = 0.37f;

// One of the two parts of the unit phases.
void TakePhases(Simd::Level level, Block& dst, const Block& src, std::size_t part) {
  std::array<float, 2 * kBlockN> phases;
  Spectral(level).take_unit_phases(phases.data(), Complex(src, kHeight).data(), kBlockN);
  for (std::size_t i = 0; i < kBlockN; ++i) dst[i] = phases[2 * i + part];
}

const Row kRows[] = {
    {"log1p",
     [](Simd::Level level, Block& dst, const Block& src) { Elementwise(level).log1p(dst.data(), src.data(), kBlockN); },
     [](float x) { return std::log1p(x); }},
    // With the reference 1, whose logarithm is 0, and no lower limit.
    {"decibels",
     [](Simd::Level level, Block& dst, const Block& src) {
       Spectral(level).convert_to_db(dst.data(), src.data(), kBlockN, 1.0f, -HUGE_VALF);
     },
     [](float x) { return std::log10(x > 1e-10f ? x : 1e-10f) * 10.0f; }},
    {"norm with power 1",
     [](Simd::Level level, Block& dst, const Block& src) {
       Spectral(level).raise_magnitudes(dst.data(), Complex(src, 0.0f).data(), kBlockN, 1.0f);
     },
     [](float x) { return std::pow(std::pow(0.0f, 2.0f) + std::pow(x, 2.0f), 0.5f); }},
    {"norm with power 2",
     [](Simd::Level level, Block& dst, const Block& src) {
       Spectral(level).raise_magnitudes(dst.data(), Complex(src, 0.0f).data(), kBlockN, 2.0f);
     },
     [](float x) { return std::pow(std::pow(0.0f, 2.0f) + std::pow(x, 2.0f), 1.0f); }},
    {"angle of x + 0.37 i",
     [](Simd::Level level, Block& dst, const Block& src) {
       Spectral(level).take_angles(dst.data(), Complex(src, kHeight).data(), kBlockN);
     },
     [](float x) { return std::atan2(kHeight, x); }},
    {"cosine of that angle", [](Simd::Level level, Block& dst, const Block& src) { TakePhases(level, dst, src, 0); },
     [](float x) { return std::cos(std::atan2(kHeight, x)); }},
    {"sine of that angle", [](Simd::Level level, Block& dst, const Block& src) { TakePhases(level, dst, src, 1); },
     [](float x) { return std::sin(std::atan2(kHeight, x)); }},
};

std::int64_t Ordered(float value) {
  const auto bits = std::bit_cast<std::int32_t>(value);
  return bits < 0 ? std::int64_t{INT32_MIN} - bits : bits;
}

struct Findings {
  std::uint64_t equal = 0;
  std::uint64_t wrong = 0;  // a special value missed
  std::int64_t worst = 0;
  std::uint32_t worst_at = 0;

  void Compare(std::uint32_t word, float actual, float runtime) {
    const bool same = std::bit_cast<std::uint32_t>(actual) == std::bit_cast<std::uint32_t>(runtime) ||
                      (std::isnan(actual) && std::isnan(runtime));
    equal += same;
    if (same) return;
    if (!std::isfinite(runtime) || !std::isfinite(actual) || runtime == 0.0f) ++wrong;
    const std::int64_t distance = std::abs(Ordered(actual) - Ordered(runtime));
    if (distance > worst) {
      worst = distance;
      worst_at = word;
    }
  }

  void Merge(const Findings& other) {
    equal += other.equal;
    wrong += other.wrong;
    if (other.worst > worst) {
      worst = other.worst;
      worst_at = other.worst_at;
    }
  }
};

// The runtime's values are the costly part, so that all levels are compared with each at once.
std::vector<Findings> Walk(const Row& row, std::span<const Simd::Level> levels, std::uint64_t first,
                           std::uint64_t step) {
  std::vector<Findings> findings(levels.size());
  Block src, runtime, dst;
  for (std::uint64_t start = first * kBlockN; start < std::uint64_t{1} << 32; start += step * kBlockN) {
    for (std::size_t i = 0; i < kBlockN; ++i) {
      src[i] = std::bit_cast<float>(static_cast<std::uint32_t>(start + i));
      runtime[i] = row.runtime(src[i]);
    }
    for (std::size_t k = 0; k < levels.size(); ++k) {
      row.in_lanes(levels[k], dst, src);
      for (std::size_t i = 0; i < kBlockN; ++i) {
        findings[k].Compare(static_cast<std::uint32_t>(start + i), dst[i], runtime[i]);
      }
    }
  }
  return findings;
}

}  // namespace

int main() {
  std::vector<Simd::Level> levels{Simd::Level::scalar};
  if (Simd::BestLevel() != Simd::Level::scalar) levels.push_back(Simd::BestLevel());
  const std::size_t thread_n = std::max(1u, std::thread::hardware_concurrency());
  bool failed = false;
  for (const Row& row : kRows) {
    std::vector<std::vector<Findings>> parts(thread_n);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < thread_n; ++t) {
      threads.emplace_back([&, t] { parts[t] = Walk(row, levels, t, thread_n); });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t k = 0; k < levels.size(); ++k) {
      Findings all;
      for (const auto& part : parts) all.Merge(part[k]);
      std::printf("%-20s %-7s equal %10llu of 4294967296, worst %lld ulp at 0x%08x, special values missed %llu\n",
                  row.name, Simd::LevelName(levels[k]), static_cast<unsigned long long>(all.equal),
                  static_cast<long long>(all.worst), static_cast<unsigned>(all.worst_at),
                  static_cast<unsigned long long>(all.wrong));
      std::fflush(stdout);
      failed |= all.worst > 1 || all.wrong > 0;
    }
  }
  return failed ? 1 : 0;
}
