// What follows from the coefficients of a rational filter alone: their normal form and its settled state.
#pragma once

#include <cstddef>
#include <span>

#include "base/buffers.h"

namespace kelvo::Filter {

// b and a divided by a[0], in double precision, the shorter list padded with zeros to the length of the longer one.
class NormalizedCoefficients {
 public:
  // In scratch memory. `slack` zeros follow each list, so that vectors may be loaded across its end. Fails with
  // KelvoInvalidArgument where a list is empty. An a[0] of zero is no error: it gives infinities and NaN.
  NormalizedCoefficients(std::span<const float> n_coef, std::span<const float> d_coef, Base::CallScratch& scratch,
                         std::size_t slack = 0);

  std::size_t Length() const { return length_; }
  const double* Numerator() const { return values_.data(); }
  const double* Denominator() const { return values_.data() + values_.size() / 2; }

 private:
  std::size_t length_;
  std::span<const double> values_;
};

inline std::size_t FilterLength(std::span<const float> n_coef, std::span<const float> d_coef) {
  return n_coef.size() > d_coef.size() ? n_coef.size() : d_coef.size();
}

// The state from which the filter, fed with ones, gives a constant output from the first sample on; scale it by the
// signal's first sample. dst receives the state, then zeros; a shorter dst receives its beginning. Result is float or
// double. Fails with KelvoInvalidArgument where a coefficient list is empty.
template <class Result>
void LinerFilterZi(std::span<Result> dst, std::span<const float> n_coef, std::span<const float> d_coef,
                   Base::CallScratch& scratch);

}  // namespace kelvo::Filter
