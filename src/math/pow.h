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

// 2^(z / 16), for |z| < 16 * 1000; within 2^-38.5 of it in many lanes and 2^-46.5 in one, besides what an error of z
// makes.
template <bool kIsOne, class Long>
KELVO_INLINE Long PowerOfRoot(Long z) {
  const auto all = [](double value) __attribute__((always_inline)) { return Long::Broadcast(value); };
  // Adding this rounds to an integer, which then stands in the last bits.
  const Long shifted = z + all(0x1.8p+52);
  const Long f = LessNearest(z, shifted);
  const auto k = ToWords(shifted);
  const Long root = FromWords(LookUp(kRootBits, ToIndex<0, 4, 3>(k)) + ShiftUp(k, 48));
  if constexpr (kIsOne) {
    const double(&c)[5] = kExpPolynomial;
    const Long f2 = f * f;
    const Long sum = (all(c[0]) + all(c[1]) * f) + ((all(c[2]) + all(c[3]) * f) + all(c[4]) * f2) * f2;
    return root + root * (f * sum);
  } else {
    const double(&c)[5] = kShortExpPolynomial;
    return root * (all(c[0]) + f * (all(c[1]) + f * (all(c[2]) + f * (all(c[3]) + f * all(c[4])))));
  }
}

constexpr double kBinaryLogUnit = 0x1.71547652b82fep+0;  // 1 / log(2)
constexpr double kSixteenthsPerLog = 16.0 * kBinaryLogUnit;
constexpr unsigned long long kExpReach = 1 << 10;  // 2^-43 at least

// exp(x) where that is a normal float; the precise function handles the rest. Tables use it, one lane at a time.
template <class Lane>
KELVO_INLINE Lane Exp(Lane x) {
  const auto z = ToDoubles(x) * decltype(ToDoubles(x))::Broadcast(kSixteenthsPerLog);
  const auto exp = PowerOfRoot<true>(z);
  const Lane most = Lane::Broadcast(87.0f);
  const LaneBits out_of_range = LanesNotLess(x, most) | LanesNotLess(-most, x);
  return Settle(ToFloats(exp), x, LanesNearMiddle(exp, kExpReach) | out_of_range, PreciseExp);
}

// An exponent and what follows from it for all bases.
struct Exponent {
  float value;
  double factor;                // turns the logarithm of the base into sixteenths of the binary logarithm of the power
  float least, most;            // between them the power is a normal float, and the error covered by `reach`
  unsigned reach, short_reach;  // of the rounding test, in one lane and in many
  float at_zero;                // the power of +0
};

KELVO_INLINE Exponent MakeExponent(float value) {
  constexpr float kInfinity = __builtin_inff();
  const double size = value < 0.0f ? -static_cast<double>(value) : static_cast<double>(value);
  // Larger ones make too much of the error that logarithms near 0 have, and of infinities there is no product.
  constexpr double kLargest = 64.0;
  const float at_zero = value > 0.0f ? 0.0f : value < 0.0f ? kInfinity : value == 0.0f ? 1.0f : __builtin_nanf("");
  if (!(size > 0.0 && size <= kLargest)) return {value, 0.0, kInfinity, -kInfinity, 1, 1, at_zero};
  // |exponent log2(base)| < 126
  const double limit = 126.0 / size;
  const auto power = static_cast<unsigned long long>(limit < 200.0 ? limit : 200.0);
  const auto most = static_cast<float>(__builtin_bit_cast(double, (1023 + power) << 52));
  const auto least = static_cast<float>(__builtin_bit_cast(double, (1023 - power) << 52));
  return {value,
          static_cast<double>(value) * (kIsCoarse<Simd::Doubles> ? 16.0 : kSixteenthsPerLog),
          least,
          most,
          size <= 4.0 ? 1u << 11 : 1u << 14,
          size <= 1.0 ? 1u << 15 : 1u << 18,
          at_zero};
}

// The logarithm of a base, its product with Exponent::factor being what PowerOfRoot takes: log2(x) where tables lie in
// registers, otherwise log(x).
template <bool kIsOne, class Long>
KELVO_INLINE Long LogOfBase(Long x) {
  if constexpr (kIsCoarse<Long>) {
    const auto all = [](double value) __attribute__((always_inline)) { return Long::Broadcast(value); };
    const double(&c)[5] = kBinaryLogPolynomial;
    const auto index = ToIndex<48, 4, 3>(ToWords(x));
    const Long s = FractionOf(x) * LookUp(kInverseMiddles, index) - all(kBinaryLogUnit);
    const Long s2 = s * s;
    const Long sum = (all(c[0]) + all(c[1]) * s) + ((all(c[2]) + all(c[3]) * s) + all(c[4]) * s2) * s2;
    return ((ExponentOf(ToWords(x)) + LookUp(kBinaryLogMiddles, index)) + s) + s2 * sum;
  } else {
    return LogOf<kIsOne>(ReduceLog(x));
  }
}

// base^exponent with one exponent for all lanes. Made for bases from +0 on; those that are infinite, NaN or have a sign
// the precise function handles, as it does every exponent.
template <class Lane>
KELVO_INLINE void StorePow(float* to, Lane base, const Exponent& exponent) {
  const auto log = LogOfBase<kIsOne<Lane>>(ToDoubles(base));
  const auto power = PowerOfRoot<kIsOne<Lane>>(log * decltype(log)::Broadcast(exponent.factor));
  const Lane least = Lane::Broadcast(exponent.least);
  const Lane most = Lane::Broadcast(exponent.most);
  const unsigned reach = kIsOne<Lane> ? exponent.reach : exponent.short_reach;
  if (__builtin_expect(!AreBetween(least, base, most) || IsAnyNearMiddle(power, reach), 0)) {
    LaneBits in_doubt = LanesNearMiddle(power, reach) | LanesNotLess(least, base) | LanesNotLess(base, most);
    in_doubt &= ~LanesPositiveZero(base);
    const Lane result = SelectPositiveZero(base, Lane::Broadcast(exponent.at_zero), ToFloats(power));
    Settle(result, base, Lane::Broadcast(exponent.value), in_doubt, kIsOne<Lane> ? PrecisePow : CarefulPow).Store(to);
    return;
  }
  StoreFloats(to, power);
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
