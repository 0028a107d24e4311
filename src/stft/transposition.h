// Transposes matrices in register tiles, for kernel files.
#pragma once

#include <cstddef>

#include "simd/lanes.h"

namespace kelvo::Stft {
inline namespace KELVO_LEVEL {

using Simd::Floats;
using Simd::Lanes;

// dst[c * dst_stride + r] = element(r, c)
struct Transposition {
  float* dst;
  std::size_t dst_stride;
  std::size_t rows, columns;
};

// From row r on, in tiles of Tile::kSize rows and columns, as many as fit; the last tile of a row overlaps the one
// before. read.operator()<Tile>(r, c) gives elements (r, c), (r, c + 1), ... Returns the first row that is left.
template <class Tile, class Read>
KELVO_INLINE std::size_t TransposeRows(std::size_t r, const Transposition& t, const Read& read) {
  constexpr std::size_t kSize = Tile::kSize;
  if (t.columns < kSize) return r;
  for (; r + kSize <= t.rows; r += kSize) {
    for (std::size_t c = 0; c < t.columns; c += kSize) {
      if (c + kSize > t.columns) c = t.columns - kSize;
      Tile tile[kSize];
#pragma GCC unroll 16
      for (std::size_t i = 0; i < kSize; ++i) tile[i] = read.template operator()<Tile>(r + i, c);
      Transpose(tile);
#pragma GCC unroll 16
      for (std::size_t i = 0; i < kSize; ++i) tile[i].Store(t.dst + (c + i) * t.dst_stride + r);
    }
  }
  return r;
}

template <class Read>
KELVO_INLINE void Transpose(const Transposition& t, const Read& read) {
  std::size_t r = TransposeRows<Floats>(0, t, read);
  if constexpr (Floats::kSize > 4) r = TransposeRows<Lanes<float, 4>>(r, t, read);
  if constexpr (Floats::kSize > 1) TransposeRows<Lanes<float, 1>>(r, t, read);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Stft
