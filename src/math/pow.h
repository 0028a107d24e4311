// Exponentials and powers in lanes, correctly rounded for all floats.
//
// x^y = 2^(y log2(x)) in double precision. 2^t is 2^(k / 16) from a table, k the integer nearest to 16 t, times a
// polynomial in what remains. Powers that lie right between two floats, as some of exponent 1.5 do, are among those
// that the rounding test sends to the precise function.
#pragma once

#include "math/groups.h"
#include "math/log.h"
#include "math/tables.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// 2^(z / 16), for |z| < 16 * 1000; within 2^-46.5, besides what an error of z makes.
template <class Long>
KELVO_INLINE Long PowerOfRoot(Long z) {
  const auto c = [](int i) __attribute__((always_inline)) { return Long::Broadcast(kExpPolynomial[i]); };
  // Adding this rounds to an integer, which then stands in the last bits.
  const Long shift = Long::Broadcast(0x1.8p+52);
  const Long shifted = z + shift;
  const Long f = z - (shifted - shift);
  const auto k = ToWords(shifted);
  const Long root = FromWords(LookUp(kRootBits, k) + ShiftUp(k, 48));
  const Long f2 = f * f;
  const Long sum = (c(0) + c(1) * f) + ((c(2) + c(3) * f) + c(4) * f2) * f2;
  return root + root * (f * sum);
}

constexpr double kSixteenthsPerLog = 0x1.71547652b82fep+4;  // 16 / log(2)
constexpr unsigned long long kExpReach = 1 << 10;           // 2^-43 at least

// exp(x) where that is a normal float; the precise function handles the rest.
template <class Lane>
KELVO_INLINE Lane Exp(Lane x) {
  const auto z = ToDoubles(x) * decltype(ToDoubles(x))::Broadcast(kSixteenthsPerLog);
  const auto exp = PowerOfRoot(z);
  const Lane most = Lane::Broadcast(87.0f);
  const LaneBits out_of_range = LanesNotLess(x, most) | LanesNotLess(-most, x);
  return Settle(ToFloats(exp), x, LanesNearMiddle(exp, kExpReach) | out_of_range, PreciseExp);
}

// An exponent and what follows from it for all bases.
struct Exponent {
  float value;
  double factor;             // turns the logarithm of the base into sixteenths of the binary logarithm of the power
  float least, most;         // between them the power is a normal float, and the error covered by `reach`
  unsigned long long reach;  // of the rounding test
  float at_zero;             // the power of +0
};

KELVO_INLINE Exponent MakeExponent(float value) {
  constexpr float kInfinity = __builtin_inff();
  const double size = value < 0.0f ? -static_cast<double>(value) : static_cast<double>(value);
  // Larger ones make too much of the error that logarithms near 0 have, and of infinities there is no product.
  constexpr double kLargest = 64.0;
  const float at_zero = value > 0.0f ? 0.0f : kInfinity;
  if (!(size > 0.0 && size <= kLargest)) return {value, 0.0, kInfinity, -kInfinity, 1, 1.0f};
  // |exponent log2(base)| < 126
  const double limit = 126.0 / size;
  const auto power = static_cast<unsigned long long>(limit < 200.0 ? limit : 200.0);
  const auto most = static_cast<float>(__builtin_bit_cast(double, (1023 + power) << 52));
  const auto least = static_cast<float>(__builtin_bit_cast(double, (1023 - power) << 52));
  return {value, static_cast<double>(value) * kSixteenthsPerLog, least,
          most,  size <= 4.0 ? 1ull << 11 : 1ull << 14,          at_zero};
}

// base^exponent with one exponent for all lanes. Made for bases from +0 on; those that are infinite, NaN or have a sign
// the precise function handles, as it does every exponent.
template <class Lane>
KELVO_INLINE Lane Pow(Lane base, const Exponent& exponent) {
  const Lane inner = SelectPositiveZero(base, Lane::Broadcast(1.0f), base);
  const auto log = LogOf(ReduceLog(ToDoubles(inner)));
  const auto power = PowerOfRoot(log * decltype(log)::Broadcast(exponent.factor));
  const LaneBits out_of_range =
      LanesNotLess(Lane::Broadcast(exponent.least), inner) | LanesNotLess(inner, Lane::Broadcast(exponent.most));
  const Lane result = SelectPositiveZero(base, Lane::Broadcast(exponent.at_zero), ToFloats(power));
  return Settle(result, base, Lane::Broadcast(exponent.value), LanesNearMiddle(power, exponent.reach) | out_of_range,
                PrecisePow);
}

// How a power of a magnitude comes from the squared magnitude. The two that everybody asks for need no exponential: one
// is the squared magnitude itself, the other its root, and both treat zeros, infinities and NaN as a power does.
enum class PowerForm { squared, magnitude, general };

KELVO_INLINE PowerForm PowerFormOf(float power) {
  const float half_exponent = power * 0.5f;
  if (half_exponent == 1.0f) return PowerForm::squared;
  if (half_exponent == 0.5f) return PowerForm::magnitude;
  return PowerForm::general;
}

// |re + i im| or its square. No hypot: a square beyond the range of float gives an infinity or 0.
template <PowerForm kForm, class Lane>
KELVO_INLINE Lane ApplyPower(Lane re, Lane im) {
  const Lane squared = im * im + re * re;
  if constexpr (kForm == PowerForm::magnitude) {
    return Sqrt(squared);
  } else {
    return squared;
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
