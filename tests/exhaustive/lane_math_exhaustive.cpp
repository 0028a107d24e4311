// Walks through all floats and compares the functions of lanes at the best level with the runtime's. (Other tests show
// that the levels give the same bits.) Prints for each the share of equal bits, the largest distance in ulp, an input
// that has it, and the CPU time; fails above 1 ulp or where zeros, infinities or NaN differ.
// Usage: kelvo_audio_exhaustive [ROW ...]     by their numbers from 0 on, by default all
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

#include "mel/conversion_kernels.h"
#include "mel/conversions.h"
#include "simd/level.h"

namespace {

using namespace kelvo;

constexpr std::size_t kBlockN = 4096;
using Block = std::array<float, kBlockN>;

const Mel::ConversionKernels& Elementwise(Simd::Level level) {
  return Simd::KernelsFor<Mel::ConversionKernels>(level);
}
const Mel::ConversionKernels& Spectral(Simd::Level level) { return Simd::KernelsFor<Mel::ConversionKernels>(level); }

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
    // Its own reference: 0 wherever the logarithm is finite.
    {"decibels alone",
     [](Simd::Level level, Block& dst, const Block& src) {
       for (std::size_t i = 0; i < kBlockN; ++i) Mel::ConvertPowerToDb({&dst[i], 1}, {&src[i], 1}, -1.0f, level);
     },
     [](float x) {
       const float db = std::log10(x > 1e-10f ? x : 1e-10f) * 10.0f;
       return db - db;
     }},
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

Findings Walk(const Row& row, std::uint64_t first, std::uint64_t step) {
  Findings findings;
  Block src, dst;
  for (std::uint64_t start = first * kBlockN; start < std::uint64_t{1} << 32; start += step * kBlockN) {
    for (std::size_t i = 0; i < kBlockN; ++i) src[i] = std::bit_cast<float>(static_cast<std::uint32_t>(start + i));
    row.in_lanes(Simd::BestLevel(), dst, src);
    for (std::size_t i = 0; i < kBlockN; ++i) {
      findings.Compare(static_cast<std::uint32_t>(start + i), dst[i], row.runtime(src[i]));
    }
  }
  return findings;
}

// Whether all is as promised.
bool Report(const Row& row) {
  const std::clock_t begin = std::clock();
  const std::size_t thread_n = std::max(1u, std::thread::hardware_concurrency());
  std::vector<Findings> parts(thread_n);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < thread_n; ++t) {
    threads.emplace_back([&, t] { parts[t] = Walk(row, t, thread_n); });
  }
  for (std::thread& thread : threads) thread.join();
  Findings all;
  for (const Findings& part : parts) all.Merge(part);
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;  // of all threads
  std::printf("%-20s equal %10llu of 4294967296, worst %lld ulp at 0x%08x, special values missed %llu, %.0f CPU s\n",
              row.name, static_cast<unsigned long long>(all.equal), static_cast<long long>(all.worst),
              static_cast<unsigned>(all.worst_at), static_cast<unsigned long long>(all.wrong), seconds);
  std::fflush(stdout);
  return all.worst <= 1 && all.wrong == 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool failed = false;
  for (int i = 1; i < argc; ++i) failed |= !Report(kRows[std::strtoul(argv[i], nullptr, 10) % std::size(kRows)]);
  for (const Row& row : kRows) failed |= argc == 1 && !Report(row);
  return failed ? 1 : 0;
}
