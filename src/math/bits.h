// Floating-point numbers seen as bits: scaling, and rounding to integers, without the C library.
#pragma once

#include <cstdint>

namespace kelvo::Math {

constexpr std::uint64_t kDoubleOne = 0x3FF0000000000000;

inline std::uint64_t BitsOf(double value) { return __builtin_bit_cast(std::uint64_t, value); }
inline std::uint32_t BitsOf(float value) { return __builtin_bit_cast(std::uint32_t, value); }
inline double DoubleOf(std::uint64_t bits) { return __builtin_bit_cast(double, bits); }
inline float FloatOf(std::uint32_t bits) { return __builtin_bit_cast(float, bits); }

inline bool IsNegative(double value) { return BitsOf(value) >> 63 != 0; }
inline bool IsNegative(float value) { return BitsOf(value) >> 31 != 0; }
inline double Abs(double value) { return DoubleOf(BitsOf(value) & 0x7FFFFFFFFFFFFFFF); }
inline float Abs(float value) { return FloatOf(BitsOf(value) & 0x7FFFFFFF); }

// The exponent of a normal double in [2^exponent, 2^(exponent + 1)).
inline int ExponentOf(double value) { return static_cast<int>(BitsOf(value) >> 52 & 0x7FF) - 1023; }
// 2^exponent, -1022 <= exponent <= 1023.
inline double PowerOfTwo(int exponent) { return DoubleOf(static_cast<std::uint64_t>(1023 + exponent) << 52); }

// Towards 0, the sign kept.
inline double Truncate(double value) {
  const int exponent = ExponentOf(value);
  if (exponent >= 52) return value;
  const std::uint64_t sign = BitsOf(value) & 0x8000000000000000;
  if (exponent < 0) return DoubleOf(sign);
  return DoubleOf(BitsOf(value) & ~(0x000FFFFFFFFFFFFFull >> exponent));
}

// The largest integer not above value; zeros, infinities and NaN as they are.
inline double Floor(double value) {
  const double whole = Truncate(value);
  return whole > value ? whole - 1.0 : whole;
}

// The smallest integer not below value.
inline double Ceil(double value) {
  const double whole = Truncate(value);
  return whole < value ? whole + 1.0 : whole;
}

// Any float is a double, and so is its floor a float.
inline float Floor(float value) { return static_cast<float>(Floor(static_cast<double>(value))); }
inline float Ceil(float value) { return static_cast<float>(Ceil(static_cast<double>(value))); }

}  // namespace kelvo::Math
