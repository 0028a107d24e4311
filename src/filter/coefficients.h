// The coefficients of a rational filter, as all routines that filter use them.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace kelvo::Filter {

// b and a divided by a[0], in double precision, the shorter list continued with zeros to the length of the longer one.
class NormalizedCoefficients {
 public:
  // `slack` further zeros follow each list, so that vectors may be loaded across its end. Fails with
  // KelvoInvalidArgument where a list is empty. An a[0] of zero is no error: it gives infinities and NaN.
  NormalizedCoefficients(std::span<const float> n_coef, std::span<const float> d_coef, std::size_t slack = 0);

  std::size_t Length() const { return length_; }
  const double* Numerator() const { return values_.data(); }
  const double* Denominator() const { return values_.data() + values_.size() / 2; }

 private:
  std::size_t length_;
  std::vector<double> values_;
};

inline std::size_t FilterLength(std::span<const float> n_coef, std::span<const float> d_coef) {
  return n_coef.size() > d_coef.size() ? n_coef.size() : d_coef.size();
}

}  // namespace kelvo::Filter
