// The instruction sets that the kernels are compiled for, and the way to a subsystem's kernels of one of them.
#pragma once

namespace kelvo::Simd {

// In ascending order of width; a level's kernels need no instruction beyond the one it is named for.
enum class Level { scalar, sse2, avx2, avx512, neon, simd128 };

// A subsystem's table of kernels as compiled for one level. Each *_kernels.cpp, compiled once per level, defines the
// specialisation of its table for that level.
template <class Table, Level>
const Table& KernelsAt();

}  // namespace kelvo::Simd
