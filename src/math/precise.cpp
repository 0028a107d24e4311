// Elementary functions of floats by way of wide arithmetic.
#include "math/precise.h"

#include <limits>
#include <utility>

#include "math/bits.h"
#include "math/functions.h"
#include "math/tables.h"
#include "math/wide.h"

namespace kelvo::Math {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kHalfPi = 0x1.921fb6p+0f;
constexpr float kThreeQuarterPi = 0x1.2d97c8p+1f;
// Beyond these powers of two floats are infinite or round to 0.
constexpr double kLastExponent = 129.0;
constexpr double kFirstExponent = -151.0;

float WithSignOf(float magnitude, float sign) { return IsNegative(sign) ? -magnitude : magnitude; }

// log(added + x) for a sum above 0, its terms given without rounding.
Wide LogOfSum(double x, double added) {
  const int exponent = ExponentOf(x + added);
  const double scale = PowerOfTwo(-exponent);
  return Log(ToWide(x * scale) + ToWide(added * scale)) + ToWide(static_cast<double>(exponent)) * ToWide(kWideLog2);
}

// 2^t, kFirstExponent <= t <= kLastExponent.
float RoundedPowerOfTwo(const Wide& t) {
  Wide fraction = t;
  fraction.words[7] = 0;
  return RoundToFloat(Exp(fraction * ToWide(kWideLog2)), static_cast<int>(t.words[7]));
}

// A positive number as an odd integer times a power of two.
struct OddTimesPowerOfTwo {
  std::uint64_t odd;
  int exponent;
};
OddTimesPowerOfTwo TakeApart(double value) {
  const std::uint64_t mantissa = (BitsOf(value) & 0x000FFFFFFFFFFFFF) | 0x0010000000000000;
  const int zeros = __builtin_ctzll(mantissa);
  return {mantissa >> zeros, ExponentOf(value) - 52 + zeros};
}

// base^exponent where that is a number of at most 53 bits, else 0: only such a power can lie right in the middle
// between two floats, as 289^1.5 = 4913 would, had floats 12 bits. base > 0, not 1, and the power within the range of
// double.
double FindExactPower(double base, double exponent) {
  constexpr std::uint64_t kMostBits = std::uint64_t{1} << 53;
  auto [root, root_exponent] = TakeApart(base);
  auto [factor, factor_exponent] = TakeApart(Abs(exponent));
  // The exponent is an integer over a power of two: so many times a square root must come out even.
  for (; factor_exponent < 0; ++factor_exponent) {
    const auto half = static_cast<std::uint64_t>(__builtin_sqrt(static_cast<double>(root)));
    if (half * half != root || root_exponent % 2 != 0) return 0.0;
    root = half;
    root_exponent /= 2;
  }
  // Below 2^32, or the power were out of range: a base is a float, and 2^-24 from 1 at least.
  const auto times = static_cast<std::int64_t>(factor << factor_exponent);
  const auto power_exponent = static_cast<int>(times * root_exponent);
  if (root == 1) return PowerOfTwo(exponent < 0.0 ? -power_exponent : power_exponent);
  if (exponent < 0.0) return 0.0;
  std::uint64_t power = 1;
  for (std::int64_t i = 0; i < times; ++i) {
    if (power >= kMostBits / root) return 0.0;
    power *= root;
  }
  return static_cast<double>(power) * PowerOfTwo(power_exponent);
}

// base > 0, finite and not 1; exponent finite and not 0.
float PowOfPositive(double base, double y) {
  // The powers of the powers of two on both sides decide most powers out of range.
  const double below = y * ExponentOf(base);
  const double above = y * (ExponentOf(base) + 1);
  if (below >= kLastExponent && above >= kLastExponent) return kInfinity;
  if (below < kFirstExponent && above < kFirstExponent) return 0.0f;
  // So does the logarithm as a float, which is off by 2^-24 of it at most.
  constexpr double kInverseLog2 = 0x1.71547652b82fep+0;
  const double nearly = y * static_cast<double>(Log(static_cast<float>(base))) * kInverseLog2;
  if (nearly >= kLastExponent + 0.001) return kInfinity;
  if (nearly < kFirstExponent - 0.001) return 0.0f;
  const Wide log2 = LogOfSum(base, 0.0) * ToWide(kWideInverseLog2);
  // Of floats beside 1, the power is out of range long before the exponent is out of that of Wide.
  const double rough = y * ToRoughDouble(log2);
  if (rough >= kLastExponent) return kInfinity;
  if (rough < kFirstExponent) return 0.0f;
  const double exact = FindExactPower(base, y);
  if (exact != 0.0) return static_cast<float>(exact);
  return RoundedPowerOfTwo(ToWide(y) * log2);
}

}  // namespace

float PreciseLog(float x) {
  if (!(x > 0.0f)) return x == 0.0f ? -kInfinity : kNan;
  if (x == kInfinity) return x;
  if (x == 1.0f) return 0.0f;
  return RoundToFloat(LogOfSum(static_cast<double>(x), 0.0));
}

float PreciseLog1p(float x) {
  if (!(x > -1.0f)) return x == -1.0f ? -kInfinity : kNan;
  // What x^2 / 2 takes away is less than half of a last place.
  if (x == kInfinity || Abs(x) < 0x1p-25f) return x;
  return RoundToFloat(LogOfSum(static_cast<double>(x), 1.0));
}

float PreciseLog10(float x) {
  if (!(x > 0.0f)) return x == 0.0f ? -kInfinity : kNan;
  if (x == kInfinity) return x;
  if (x == 1.0f) return 0.0f;
  return RoundToFloat(LogOfSum(static_cast<double>(x), 0.0) * ToWide(kWideInverseLog10));
}

float PreciseExp(float x) {
  if (x != x) return x;
  if (x > 90.0f) return kInfinity;
  if (x < -105.0f) return 0.0f;
  if (Abs(x) < 0x1p-25f) return 1.0f;
  return RoundedPowerOfTwo(ToWide(static_cast<double>(x)) * ToWide(kWideInverseLog2));
}

float PrecisePow(float base, float exponent) {
  if (exponent == 0.0f || base == 1.0f) return 1.0f;
  if (base != base || exponent != exponent) return kNan;
  const bool is_integer = Floor(exponent) == exponent;
  const bool is_odd = is_integer && Floor(exponent * 0.5f) != exponent * 0.5f;
  const float sign = is_odd && IsNegative(base) ? -1.0f : 1.0f;
  const float size = Abs(base);
  if (size == 1.0f) return is_integer ? sign : kNan;
  if (size == 0.0f || size == kInfinity || Abs(exponent) == kInfinity) {
    return (size > 1.0f) == (exponent > 0.0f) ? sign * kInfinity : sign * 0.0f;
  }
  if (base < 0.0f && !is_integer) return kNan;
  return sign * PowOfPositive(static_cast<double>(size), static_cast<double>(exponent));
}

float PreciseAtan2(float y, float x) {
  if (x != x || y != y) return kNan;
  double height = static_cast<double>(Abs(y));
  double width = static_cast<double>(Abs(x));
  if (width == 0.0 && height == 0.0) width = 1.0;
  if (width == static_cast<double>(kInfinity)) {
    height = height == width ? 1.0 : 0.0;
    width = 1.0;
  } else if (height == static_cast<double>(kInfinity)) {
    height = 1.0;
    width = 0.0;
  }
  // So far right of the origin the angle is the quotient but for less than any rounding shows, yet it lies below.
  if (!IsNegative(x) && height < width * 0x1p-40) {
    return height == 0.0 ? y * 0.0f : WithSignOf(static_cast<float>(DoubleOf(BitsOf(height / width) - 1)), y);
  }
  // All angles of infinities are among these.
  if (width == 0.0) return WithSignOf(kHalfPi, y);
  if (height == 0.0) return WithSignOf(2.0f * kHalfPi, y);
  if (height == width) return WithSignOf(IsNegative(x) ? kThreeQuarterPi : 0.5f * kHalfPi, y);
  const bool is_steep = height > width;
  if (is_steep) std::swap(height, width);
  const double scale = PowerOfTwo(-ExponentOf(width));
  const Wide half_pi = ToWide(kWideHalfPi);
  Wide angle = Atan(height * scale, width * scale);
  if (is_steep) angle = half_pi - angle;
  if (IsNegative(x)) angle = half_pi + half_pi - angle;
  return WithSignOf(RoundToFloat(angle), y);
}

float PreciseCosOfAngle(float y, float x) { return Cos(PreciseAtan2(y, x)); }
float PreciseSinOfAngle(float y, float x) { return Sin(PreciseAtan2(y, x)); }

void Recompute(float* results, const float* arguments, unsigned long long lanes, float (*function)(float)) {
  for (; lanes != 0; lanes &= lanes - 1) {
    const int i = __builtin_ctzll(lanes);
    results[i] = function(arguments[i]);
  }
}

void Recompute(float* results, const float* first, const float* second, unsigned long long lanes,
               float (*function)(float, float)) {
  for (; lanes != 0; lanes &= lanes - 1) {
    const int i = __builtin_ctzll(lanes);
    results[i] = function(first[i], second[i]);
  }
}

}  // namespace kelvo::Math
