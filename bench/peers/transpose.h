// Transposition in square tiles of vector registers.
#pragma once

#include <cstddef>
#include <utility>

namespace kelvo::Bench {

// Interleaves the two halves of the tile's rows; log2(kSize) such steps transpose the tile.
template <class Vector, std::size_t kSize, std::size_t... kI>
[[gnu::always_inline]] inline void ZipHalves(Vector (&rows)[kSize], std::index_sequence<kI...>) {
  Vector zipped[kSize];
  for (std::size_t i = 0; i < kSize / 2; ++i) {
    const Vector low = rows[i];
    const Vector high = rows[i + kSize / 2];
    zipped[2 * i] = __builtin_shufflevector(low, high, (kI / 2 + kI % 2 * kSize)...);
    zipped[2 * i + 1] = __builtin_shufflevector(low, high, (kSize / 2 + kI / 2 + kI % 2 * kSize)...);
  }
  for (std::size_t i = 0; i < kSize; ++i) rows[i] = zipped[i];
}

template <class T, std::size_t kSize>
[[gnu::always_inline]] inline void TransposeTile(T* dst, std::size_t dst_stride, const T* src, std::size_t src_stride) {
  using Vector [[gnu::vector_size(kSize * sizeof(T))]] = T;
  Vector rows[kSize];
  for (std::size_t i = 0; i < kSize; ++i) __builtin_memcpy(&rows[i], src + i * src_stride, sizeof(Vector));
  for (std::size_t step = 1; step < kSize; step *= 2) ZipHalves(rows, std::make_index_sequence<kSize>{});
  for (std::size_t i = 0; i < kSize; ++i) __builtin_memcpy(dst + i * dst_stride, &rows[i], sizeof(Vector));
}

// dst[c][r] = src[r][c] for r < row_n, c < column_n. T is float, or double for the 8 bytes of a complex value.
template <class T>
void Transpose(T* dst, std::size_t dst_stride, const T* src, std::size_t src_stride, std::size_t row_n,
               std::size_t column_n) {
  constexpr std::size_t kSize = 64 / sizeof(T);
  const std::size_t tiled_row_n = row_n / kSize * kSize;
  const std::size_t tiled_column_n = column_n / kSize * kSize;
  for (std::size_t c = 0; c < tiled_column_n; c += kSize) {
    for (std::size_t r = 0; r < tiled_row_n; r += kSize) {
      TransposeTile<T, kSize>(dst + c * dst_stride + r, dst_stride, src + r * src_stride + c, src_stride);
    }
  }
  for (std::size_t c = 0; c < column_n; ++c) {
    for (std::size_t r = c < tiled_column_n ? tiled_row_n : 0; r < row_n; ++r) {
      dst[c * dst_stride + r] = src[r * src_stride + c];
    }
  }
}

}  // namespace kelvo::Bench
