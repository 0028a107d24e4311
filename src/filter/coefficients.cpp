// Normalisation of filter coefficients.
#include "filter/coefficients.h"

#include <cstdint>

#include "base/buffers.h"
#include "filter/checks.h"

namespace kelvo::Filter {

NormalizedCoefficients::NormalizedCoefficients(std::span<const float> n_coef, std::span<const float> d_coef,
                                               std::size_t slack)
    : length_(FilterLength(n_coef, d_coef)) {
  CheckCoefficients(n_coef.size(), d_coef.size());
  values_ = Base::MakeZeroBuffer<double>(2 * (std::uint64_t{length_} + slack));
  const auto divisor = static_cast<double>(d_coef[0]);
  const auto a = values_.begin() + static_cast<std::ptrdiff_t>(length_ + slack);
  // Quotients, not products with a reciprocal: each coefficient is rounded once.
  for (std::size_t k = 0; k < n_coef.size(); ++k) values_[k] = static_cast<double>(n_coef[k]) / divisor;
  for (std::size_t k = 0; k < d_coef.size(); ++k)
    a[static_cast<std::ptrdiff_t>(k)] = static_cast<double>(d_coef[k]) / divisor;
}

}  // namespace kelvo::Filter
