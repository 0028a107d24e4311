// The choice of a kernel level: which levels this build and this CPU have, and the one switch over them.
#pragma once

#include <cstddef>
#include <span>

#include "simd/kernel_level.h"

namespace kelvo::Simd {

// The levels that were compiled in and that this CPU can run, scalar first, the best last.
std::span<const Level> SupportedLevels();

// The last of SupportedLevels(), found once per process.
Level BestLevel();

// The level to use in place of `level` for sums of doubles with a broadcast factor per vector: CPUs that run a 512-bit
// instruction in two halves pay for each broadcast, which is free with narrower vectors.
Level LevelForSumsOfDoubles(Level level);

// Bytes of a contiguous result from which on streaming stores pay: one that stays in the caches until it is read gains
// nothing from them.
std::size_t StreamingBytes();

const char* LevelName(Level level);

// The table of a level: the library's only switch over levels.
template <class Table>
const Table& KernelsFor(Level level) {
  switch (level) {
#ifdef KELVO_HAS_SSE2
    case Level::sse2: return KernelsAt<Table, Level::sse2>();
#endif
#ifdef KELVO_HAS_AVX2
    case Level::avx2: return KernelsAt<Table, Level::avx2>();
#endif
#ifdef KELVO_HAS_AVX512
    case Level::avx512: return KernelsAt<Table, Level::avx512>();
#endif
#ifdef KELVO_HAS_NEON
    case Level::neon: return KernelsAt<Table, Level::neon>();
#endif
#ifdef KELVO_HAS_SIMD128
    default: return KernelsAt<Table, Level::simd128>();
#else
    default: return KernelsAt<Table, Level::scalar>();
#endif
  }
}

}  // namespace kelvo::Simd
