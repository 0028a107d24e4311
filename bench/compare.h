// The difference of a contestant's result from ours.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace kelvo::Bench {

// Signal-to-noise ratio in dB, the reference being the signal and the difference the noise. Values that are equal,
// infinities included, are no noise; a NaN or infinity on one side alone makes it minus infinity.
inline double SnrDb(std::span<const float> reference, std::span<const float> actual) {
  double signal = 0.0;
  double noise = 0.0;
  for (std::size_t i = 0; i < reference.size(); ++i) {
    if (reference[i] == actual[i] && std::isinf(reference[i])) continue;
    const double expected = static_cast<double>(reference[i]);
    const double difference = expected - static_cast<double>(actual[i]);
    if (!std::isfinite(difference)) return -std::numeric_limits<double>::infinity();
    signal += expected * expected;
    noise += difference * difference;
  }
  return 10.0 * std::log10(signal / noise);
}

}  // namespace kelvo::Bench
