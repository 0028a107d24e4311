// The memory's bandwidth.
#include "bandwidth.h"

#include <algorithm>
#include <array>
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace kelvo::Bench {
namespace {

constexpr std::size_t kLine = 16;  // floats in a cache line

void WriteLine(float* dst, float value) {
#if defined(__SSE2__)
  const __m128 values = _mm_set1_ps(value);
  for (std::size_t i = 0; i < kLine; i += 4) _mm_stream_ps(dst + i, values);
#else
  std::fill_n(dst, kLine, value);
#endif
}

}  // namespace

void MoveBytes(float* dst, std::size_t dst_n, const Buffer& src) {
  // Sums in lanes of their own, which the compiler may put in vectors.
  std::array<float, kLine> sums{};
  const std::size_t line_n = dst_n / kLine;
  std::size_t read_n = 0;
  for (std::size_t line = 0; line < line_n; ++line) {
    for (const std::size_t end = src.size() * (line + 1) / line_n; read_n + kLine <= end; read_n += kLine) {
      for (std::size_t k = 0; k < kLine; ++k) sums[k] += src[read_n + k];
    }
    WriteLine(dst + line * kLine, sums[line % kLine]);
  }
}

}  // namespace kelvo::Bench
