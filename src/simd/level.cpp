// Detects which of the compiled kernel levels the CPU can run.
#include "simd/level.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

namespace kelvo::Simd {
namespace {

#if defined(KELVO_HAS_AVX2) || defined(KELVO_HAS_AVX512)
// The compiler's CPU model also checks that the operating system saves the wide registers.
bool CpuRuns(Level level) {
  __builtin_cpu_init();
  switch (level) {
    case Level::avx2: return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    case Level::avx512:
      return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
             __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    default: return true;  // scalar, sse2 and neon belong to every CPU of their architecture
  }
}
// Of AMD's family 19h those with AVX-512, which is Zen 4.
bool CpuHalvesWideVectors() {
  __builtin_cpu_init();
  return __builtin_cpu_is("amdfam19h") != 0;
}
// Of Intel's CPUs those with AVX-512, above all servers: cores share a mesh, and a line is slow to come from it.
bool CpuHasSlowLastLevel() {
  __builtin_cpu_init();
  return __builtin_cpu_is("intel") != 0 && __builtin_cpu_supports("avx512f") != 0;
}
#else
bool CpuRuns(Level) { return true; }
bool CpuHalvesWideVectors() { return false; }
bool CpuHasSlowLastLevel() { return false; }
#endif

constexpr std::array kCompiledLevels{
#ifdef KELVO_HAS_SCALAR
    Level::scalar,
#endif
#ifdef KELVO_HAS_SSE2
    Level::sse2,
#endif
#ifdef KELVO_HAS_AVX2
    Level::avx2,
#endif
#ifdef KELVO_HAS_AVX512
    Level::avx512,
#endif
#ifdef KELVO_HAS_NEON
    Level::neon,
#endif
#ifdef KELVO_HAS_SIMD128
    Level::simd128,
#endif
};

}  // namespace

std::span<const Level> SupportedLevels() {
  // Not a static that is initialised once: in a forked process, waiting for the thread that began it could deadlock.
  // Threads that find the count at the same time find the same.
  constinit static std::atomic<std::size_t> known_n{0};
  std::size_t count = known_n.load(std::memory_order_relaxed);
  if (count == 0) {
    // The levels nest, so those that this CPU runs are a prefix of those that were compiled.
    const auto end = std::find_if_not(kCompiledLevels.begin(), kCompiledLevels.end(), CpuRuns);
    count = static_cast<std::size_t>(end - kCompiledLevels.begin());
    known_n.store(count, std::memory_order_relaxed);
  }
  return {kCompiledLevels.data(), count};
}

Level BestLevel() { return SupportedLevels().back(); }

Level LevelForSumsOfDoubles(Level level) {
  return level == Level::avx512 && CpuHalvesWideVectors() ? Level::avx2 : level;
}

std::size_t StreamingBytes() { return std::size_t{CpuHasSlowLastLevel() ? 4u : 32u} << 20; }

const char* LevelName(Level level) {
  switch (level) {
    case Level::sse2: return "sse2";
    case Level::avx2: return "avx2";
    case Level::avx512: return "avx512";
    case Level::neon: return "neon";
    case Level::simd128: return "simd128";
    default: return "scalar";
  }
}

}  // namespace kelvo::Simd
