// Special values, and comparison of floats by their bits.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace kelvo::Support {

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();
inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// The bits of a number, all NaNs made equal: their payloads differ between CPUs for no reason that matters.
inline std::uint32_t Bits(float value) { return value != value ? 0x7FC00000u : std::bit_cast<std::uint32_t>(value); }
inline std::uint32_t Bits(std::uint32_t bits) { return bits; }
inline std::uint64_t Bits(double value) {
  return value != value ? 0x7FF8000000000000u : std::bit_cast<std::uint64_t>(value);
}

template <class Actual, class Expected>
testing::AssertionResult SameBits(const Actual& actual_values, const Expected& expected_values) {
  const std::span actual(actual_values);
  const std::span expected(expected_values);
  if (actual.size() != expected.size()) {
    return testing::AssertionFailure() << actual.size() << " values instead of " << expected.size();
  }
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (Bits(actual[i]) != Bits(expected[i])) {
      return testing::AssertionFailure() << "value " << i << " is " << actual[i] << " (0x" << std::hex
                                         << Bits(actual[i]) << ") instead of " << expected[i] << " (0x"
                                         << Bits(expected[i]) << ")";
    }
  }
  return testing::AssertionSuccess();
}

// FNV-1a, word by word, of floats or of bits.
template <class Values>
std::uint64_t Hash(const Values& values, std::uint64_t seed = 0) {
  std::uint64_t hash = seed ^ 14695981039346656037u;
  for (const auto value : values) hash = (hash ^ Bits(value)) * 1099511628211u;
  return hash;
}

// The distance of two floats in units in the last place; 0 for two NaNs or equal values, huge for a NaN and a number.
inline std::int64_t UlpDistance(float a, float b) {
  if (a != a || b != b) return (a != a) == (b != b) ? 0 : INT64_MAX;
  const auto ordered = [](float value) -> std::int64_t {
    const auto bits = std::bit_cast<std::int32_t>(value);
    return bits < 0 ? std::int64_t{INT32_MIN} - bits : bits;
  };
  const std::int64_t distance = ordered(a) - ordered(b);
  return distance < 0 ? -distance : distance;
}

}  // namespace kelvo::Support
