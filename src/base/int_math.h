// Integer arithmetic on callers' counts: every operation is defined for every value.
#pragma once

#include <cstdint>
#include <limits>

namespace kelvo::Base {

// Two's-complement results of 32-bit products and sums, without signed overflow on the way.
constexpr int WrappingMultiply(int a, int b) {
  return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
constexpr int WrappingAdd(int a, int b) {
  return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

// Truncates toward zero; what lies beyond the range of int becomes the nearest int, NaN becomes 0.
template <class Float>
constexpr int SaturateToInt(Float value) {
  constexpr Float kBeyond = static_cast<Float>(2147483648.0);  // 2^31, exact in float and double
  if (value >= kBeyond) return std::numeric_limits<int>::max();
  if (value <= -kBeyond) return std::numeric_limits<int>::min();
  return value == value ? static_cast<int>(value) : 0;
}

}  // namespace kelvo::Base
