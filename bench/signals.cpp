// Signals, coefficients and tables that the jobs are made of.
#include "signals.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <vector>

namespace kelvo::Bench {
namespace {

using Complex = std::complex<double>;
constexpr double kPi = std::numbers::pi;

// The coefficients of scale * product of (1 - root / z).
Buffer PolynomialOf(std::span<const Complex> roots, double scale) {
  std::vector<Complex> coefficients{scale};
  for (const Complex root : roots) {
    coefficients.push_back(0.0);
    for (std::size_t i = coefficients.size() - 1; i > 0; --i) coefficients[i] -= root * coefficients[i - 1];
  }
  Buffer real(coefficients.size());
  for (std::size_t i = 0; i < real.size(); ++i) real[i] = static_cast<float>(coefficients[i].real());
  return real;
}

}  // namespace

Buffer Noise(std::size_t count) {
  Buffer noise(count);
  std::uint32_t state = 1;
  for (float& value : noise) {
    state = state * 1664525u + 1013904223u;
    value = static_cast<float>(static_cast<std::int32_t>(state)) * 0x1p-31f;
  }
  return noise;
}

Buffer Tones(std::size_t count, std::span<const double> fractions) {
  Buffer tones(count);
  for (std::size_t t = 0; t < count; ++t) {
    double sum = 0.0;
    for (const double fraction : fractions) sum += std::sin(2.0 * kPi * fraction * static_cast<double>(t));
    tones[t] = static_cast<float>(sum / static_cast<double>(fractions.size()));
  }
  return tones;
}

std::pair<Buffer, Buffer> Butterworth(std::size_t order, double cutoff) {
  const double warped = std::tan(kPi * cutoff / 2.0);
  std::vector<Complex> poles;
  Complex gain = 1.0;  // of the denominator at 0 Hz
  for (std::size_t k = 0; k < order; ++k) {
    const Complex analogue =
        std::polar(warped, kPi * (static_cast<double>(2 * k + order + 1)) / static_cast<double>(2 * order));
    poles.push_back((1.0 + analogue) / (1.0 - analogue));
    gain *= 1.0 - poles.back();
  }
  const std::vector<Complex> zeros(order, -1.0);
  return {PolynomialOf(zeros, gain.real() / std::exp2(static_cast<double>(order))), PolynomialOf(poles, 1.0)};
}

Buffer LowPassTaps(std::size_t tap_n, double cutoff) {
  std::vector<double> taps(tap_n);
  const double middle = static_cast<double>(tap_n - 1) / 2.0;
  for (std::size_t k = 0; k < tap_n; ++k) {
    const double t = static_cast<double>(k) - middle;
    const double sinc = t == 0.0 ? cutoff : std::sin(kPi * cutoff * t) / (kPi * t);
    taps[k] = sinc * (0.5 + 0.5 * std::cos(2.0 * kPi * t / static_cast<double>(tap_n + 1)));
  }
  const double sum = std::accumulate(taps.begin(), taps.end(), 0.0);
  Buffer scaled(tap_n);
  for (std::size_t k = 0; k < tap_n; ++k) scaled[k] = static_cast<float>(taps[k] / sum);
  return scaled;
}

}  // namespace kelvo::Bench
