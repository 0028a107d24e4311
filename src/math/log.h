// Logarithms in lanes, correctly rounded for all floats.
//
// In double precision log(x) = exponent log(2) + log(c) + log(1 + r): c is the centre of one of 16 intervals in which
// the fraction of x lies, |r| < 0.03, and log(1 + r) a polynomial. Around 1 the first two are 0, so that nothing
// cancels. Results that the error could round to the wrong float are computed anew.
#pragma once

#include "math/groups.h"
#include "math/tables.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// log(x) = base + log(1 + r)
template <class Long>
struct ReducedLog {
  Long base, r;
};

template <class Long>
constexpr bool kIsCoarse = LooksUpInRegisters(Long{});  // 16 intervals, otherwise 256

// x lies within an interval of this centre.
template <class Long>
struct LogCentre {
  Long log, inverse;
};
template <class Long>
KELVO_INLINE LogCentre<Long> FindLogCentre(Long x) {
  constexpr unsigned long long kOne = 0x3FF0000000000000;
  constexpr unsigned long long kExponent = 0x7FF0000000000000;
  constexpr unsigned long long kFirst = kIsCoarse<Long> ? kLogFirst : kFineLogFirst;
  const auto words = ToWords(x) + decltype(ToWords(x))::Broadcast(kOne - kFirst);
  const Long exponent_part = ExponentOf(words) * Long::Broadcast(0x1.62e42fefa39efp-1);  // log(2)
  // The tables' reciprocals are scaled so that subtracting a biased exponent leaves an unbiased one.
  const auto scale = [&](Long inverse) __attribute__((always_inline)) {
    return FromWords(ToWords(inverse) - And(words, kExponent));
  };
  if constexpr (kIsCoarse<Long>) {
    const auto index = ToIndex<48, 4, 3>(words);
    return {exponent_part + LookUp(kLogCentres, index), scale(LookUp(kInverseCentres, index))};
  } else {
    const auto step = LookUpPairs(kFineLogSteps, ToIndex<44, 8, 4>(words));
    return {exponent_part + step.second, scale(step.first)};
  }
}

// For positive normal doubles. r is exact where x is a float.
template <class Long>
KELVO_INLINE ReducedLog<Long> ReduceLog(Long x) {
  const auto centre = FindLogCentre(x);
  return {centre.log, x * centre.inverse - Long::Broadcast(1.0)};
}

// Within 2^-36.7 of the truth, relative to it, for 16 intervals, 2^-39.7 for 256, 2^-48 in one lane.
template <bool kIsOne, class Long>
KELVO_INLINE Long LogOf(const ReducedLog<Long>& x) {
  const auto all = [](double value) __attribute__((always_inline)) { return Long::Broadcast(value); };
  const Long r = x.r;
  const Long r2 = r * r;
  if constexpr (kIsOne) {
    const double(&c)[4] = kFineLogPolynomial;
    return (x.base + r) + r2 * ((all(c[0]) + all(c[1]) * r) + (all(c[2]) + all(c[3]) * r) * r2);
  } else if constexpr (kIsCoarse<Long>) {
    const double(&c)[5] = kLogPolynomial;
    const Long sum = (all(c[0]) + all(c[1]) * r) + ((all(c[2]) + all(c[3]) * r) + all(c[4]) * r2) * r2;
    return (x.base + r) + r2 * sum;
  } else {
    const double(&c)[3] = kShortFineLogPolynomial;
    return (x.base + r) + r2 * ((all(c[0]) + all(c[1]) * r) + all(c[2]) * r2);
  }
}

// 2^-36, 2^-39 or 2^-46 at least
template <class Lane, class Long>
constexpr unsigned kLogReach = kIsOne<Lane>      ? 1 << 7
                               : kIsCoarse<Long> ? 1 << 17
                                                 : 1 << 14;

template <class Lane, class Long>
KELVO_INLINE Lane RoundLog(Lane x, float low, Long log, Lane result, float (*of_one)(float), float (*precise)(float)) {
  const Lane from = Lane::Broadcast(low);
  const Lane to = Lane::Broadcast(__builtin_inff());
  if (__builtin_expect(!AreBetween(from, x, to) || IsAnyNearMiddle(log, kLogReach<Lane, Long>), 0)) {
    return Settle(result, x, LanesNearMiddle(log, kLogReach<Lane, Long>) | LanesNotLess(from, x) | LanesNotLess(x, to),
                  kIsOne<Lane> ? precise : of_one);
  }
  return result;
}

template <class Lane>
KELVO_INLINE Lane Log(Lane x) {
  const auto log = LogOf<kIsOne<Lane>>(ReduceLog(ToDoubles(x)));
  return RoundLog(x, 0.0f, log, ToFloats(log), CarefulLog, PreciseLog);
}

template <class Lane>
KELVO_INLINE Lane Log10(Lane x) {
  const auto natural = LogOf<kIsOne<Lane>>(ReduceLog(ToDoubles(x)));
  const auto log = natural * decltype(natural)::Broadcast(0x1.bcb7b1526e50ep-2);  // 1 / log(10)
  return RoundLog(x, 0.0f, log, ToFloats(log), CarefulLog10, PreciseLog10);
}

template <class Lane>
KELVO_INLINE Lane Log1p(Lane x) {
  const auto y = ToDoubles(x);
  using Long = decltype(ToDoubles(x));
  const Long one = Long::Broadcast(1.0);
  // Around 1 the centre is 1, so that nothing is lost of y, whatever is lost by rounding 1 + y.
  const auto centre = FindLogCentre(y + one);
  const ReducedLog<Long> reduced{centre.log, y * centre.inverse + (centre.inverse - one)};
  const auto log = LogOf<kIsOne<Lane>>(reduced);
  // The logarithm has the sign of x, that of zero included.
  return RoundLog(x, -1.0f, log, OrSignOf(ToFloats(log), x), CarefulLog1p, PreciseLog1p);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
