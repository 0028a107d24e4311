// Signals, coefficients and tables that the jobs are made of.
#pragma once

#include <cstddef>
#include <span>
#include <utility>

#include "harness.h"

namespace kelvo::Bench {

// Uniform in [-1, 1), reproducible.
Buffer Noise(std::size_t count);

// Sines at these fractions of `rate`, of equal amplitude, peak at most 1.
Buffer Tones(std::size_t count, std::span<const double> fractions);

// Butterworth low-pass, {numerator, denominator}, cut off at `cutoff` of half the sample rate.
std::pair<Buffer, Buffer> Butterworth(std::size_t order, double cutoff);

// Hann-windowed low-pass of unit gain.
Buffer LowPassTaps(std::size_t tap_n, double cutoff);

}  // namespace kelvo::Bench
