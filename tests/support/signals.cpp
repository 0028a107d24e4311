// Signals for tests.
#include "support/signals.h"

#include <cmath>
#include <numbers>
#include <random>

namespace kelvo::Support {

std::vector<float> Noise(std::size_t count, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<float> signal(count);
  // Taken from the engine's integers, since the distributions of standard libraries differ.
  for (float& sample : signal) sample = static_cast<float>(static_cast<std::int32_t>(random()) >> 8) / 8388608.0f;
  return signal;
}

std::vector<float> Sine(std::size_t count, double frequency, double rate, double amplitude) {
  std::vector<float> signal(count);
  for (std::size_t i = 0; i < count; ++i) {
    signal[i] =
        static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
  }
  return signal;
}

}  // namespace kelvo::Support
