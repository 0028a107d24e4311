// Rounding to integers by clearing the bits behind the point.
#include "math/bits.h"

namespace kelvo::Math {
namespace {

// Towards 0, the sign kept.
double Truncate(double value) {
  const int exponent = ExponentOf(value);
  if (exponent >= 52) return value;
  const std::uint64_t sign = BitsOf(value) & 0x8000000000000000;
  if (exponent < 0) return DoubleOf(sign);
  return DoubleOf(BitsOf(value) & ~(0x000FFFFFFFFFFFFFull >> exponent));
}

}  // namespace

double Floor(double value) {
  const double whole = Truncate(value);
  return whole > value ? whole - 1.0 : whole;
}

double Ceil(double value) {
  const double whole = Truncate(value);
  if (whole >= value || value != value) return whole;
  return IsNegative(value) ? whole : whole + 1.0;
}

}  // namespace kelvo::Math
