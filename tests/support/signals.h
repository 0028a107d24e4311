// Signals for tests: reproducible, and of several kinds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvo::Support {

// Uniform in [-1, 1), the same on every platform.
std::vector<float> Noise(std::size_t count, std::uint32_t seed = 1);

// amplitude * sin(2 pi frequency t / rate)
std::vector<float> Sine(std::size_t count, double frequency, double rate, double amplitude = 1.0);

// value_at(0), value_at(1) ...
template <class ValueAt>
std::vector<float> SignalOf(std::size_t count, const ValueAt& value_at) {
  std::vector<float> signal(count);
  for (std::size_t i = 0; i < count; ++i) signal[i] = value_at(i);
  return signal;
}

}  // namespace kelvo::Support
