// Normalised coefficients, and the settled state in closed form.
#include "filter/coefficients.h"

#include <algorithm>
#include <cstdint>

#include "filter/checks.h"

namespace kelvo::Filter {

NormalizedCoefficients::NormalizedCoefficients(std::span<const float> n_coef, std::span<const float> d_coef,
                                               Base::CallScratch& scratch, std::size_t slack)
    : length_(FilterLength(n_coef, d_coef)) {
  CheckCoefficients(n_coef.size(), d_coef.size());
  const auto values = scratch.TakeZeros<double>(2 * (std::uint64_t{length_} + slack));
  values_ = values;
  const auto divisor = static_cast<double>(d_coef[0]);
  const std::span<double> a = values.subspan(length_ + slack);
  // Quotients, not products with a reciprocal: each coefficient is rounded once.
  for (std::size_t k = 0; k < n_coef.size(); ++k) values[k] = static_cast<double>(n_coef[k]) / divisor;
  for (std::size_t k = 0; k < d_coef.size(); ++k) a[k] = static_cast<double>(d_coef[k]) / divisor;
}

// Once settled, each state value is what the recurrence makes of the next one: z[k-1] = b[k] + z[k] - a[k] y, with the
// constant output y = b[0] + z[0]. Adding these equations for all k gives z[0]; adding the first k of them gives z[k].
template <class Result>
void LinerFilterZi(std::span<Result> dst, std::span<const float> n_coef, std::span<const float> d_coef,
                   Base::CallScratch& scratch) {
  if (dst.empty()) return;
  CheckCoefficients(n_coef.size(), d_coef.size());
  const std::size_t length = FilterLength(n_coef, d_coef);
  if (length == 1) {
    std::fill(dst.begin(), dst.end(), Result{0});
    return;
  }
  const Base::CallScratch::Section section(scratch);
  const NormalizedCoefficients coefficients(n_coef, d_coef, scratch);
  const double* const b = coefficients.Numerator();
  const double* const a = coefficients.Denominator();

  double denominator_sum = 0.0;
  for (std::size_t k = 0; k < d_coef.size(); ++k) denominator_sum += a[k];
  double sum = 0.0;
  for (std::size_t k = 1; k < length; ++k) sum += b[k] - a[k] * b[0];
  // Of the whole sum, however little of the state was asked for. A pole at z = 1 makes it infinite or NaN.
  const double first = sum / denominator_sum;
  dst[0] = static_cast<Result>(first);

  const std::size_t state_n = std::min(length - 1, dst.size());
  double a_sum = a[0];
  double difference = 0.0;
  for (std::size_t k = 1; k < state_n; ++k) {
    a_sum += a[k];
    difference += b[k] - b[0] * a[k];
    dst[k] = static_cast<Result>(first * a_sum - difference);
  }
  std::fill(dst.begin() + static_cast<std::ptrdiff_t>(state_n), dst.end(), Result{0});
}

template void LinerFilterZi(std::span<float>, std::span<const float>, std::span<const float>, Base::CallScratch&);
template void LinerFilterZi(std::span<double>, std::span<const float>, std::span<const float>, Base::CallScratch&);

}  // namespace kelvo::Filter
