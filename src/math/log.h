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

// For positive normal doubles. r is exact where x is a float.
template <class Long>
KELVO_INLINE ReducedLog<Long> ReduceLog(Long x) {
  constexpr unsigned long long kOne = 0x3FF0000000000000;
  constexpr unsigned long long kMantissa = 0x000FFFFFFFFFFFFF;
  const auto all = [](unsigned long long value) __attribute__((always_inline)) {
    return decltype(ToWords(x))::Broadcast(value);
  };
  const auto words = ToWords(x) + all(kOne - kLogFirst);
  const auto interval = ShiftDown(words, 48);
  const Long fraction = FromWords(And(words, kMantissa) + all(kLogFirst));
  // An integer in the last bits of 2^52 is 2^52 and that integer.
  const Long exponent = FromWords(Or(ShiftDown(words, 52), 0x4330000000000000)) - Long::Broadcast(0x1p+52 + 1023.0);
  const Long r = fraction * LookUp(kInverseCentres, interval) - Long::Broadcast(1.0);
  return {exponent * Long::Broadcast(0x1.62e42fefa39efp-1) + LookUp(kLogCentres, interval), r};  // log(2)
}

// Within 2^-44.5 of the truth, relative to it.
template <class Long>
KELVO_INLINE Long LogOf(const ReducedLog<Long>& x) {
  const auto c = [](int i) __attribute__((always_inline)) { return Long::Broadcast(kLogPolynomial[i]); };
  const Long r = x.r;
  const Long r2 = r * r;
  const Long sum = (c(0) + c(1) * r) + ((c(2) + c(3) * r) + (c(4) + c(5) * r) * r2) * r2;
  return (x.base + r) + r2 * sum;
}

constexpr unsigned long long kLogReach = 1 << 10;  // 2^-43 at least

// result where low < x < infinity; -infinity at low, +infinity at +infinity, otherwise NaN
template <class Lane>
KELVO_INLINE Lane WithEndsOfLog(Lane x, float low, Lane result) {
  const Lane infinity = Lane::Broadcast(__builtin_inff());
  const Lane end = SelectEqual(x, Lane::Broadcast(low), -infinity, Lane::Broadcast(__builtin_nanf("")));
  return SelectLess(Lane::Broadcast(low), x, SelectLess(x, infinity, result, infinity), end);
}

template <class Lane>
KELVO_INLINE Lane Log(Lane x) {
  const auto log = LogOf(ReduceLog(ToDoubles(x)));
  return Settle(WithEndsOfLog(x, 0.0f, ToFloats(log)), x, LanesNearMiddle(log, kLogReach), PreciseLog);
}

template <class Lane>
KELVO_INLINE Lane Log10(Lane x) {
  const auto natural = LogOf(ReduceLog(ToDoubles(x)));
  const auto log = natural * decltype(natural)::Broadcast(0x1.bcb7b1526e50ep-2);  // 1 / log(10)
  return Settle(WithEndsOfLog(x, 0.0f, ToFloats(log)), x, LanesNearMiddle(log, kLogReach), PreciseLog10);
}

template <class Lane>
KELVO_INLINE Lane Log1p(Lane x) {
  const auto y = ToDoubles(x);
  using Long = decltype(ToDoubles(x));
  // Rounding 1 + y takes nothing away from 2^-28 on, and from 2^53 on nothing that counts. Below it must not.
  auto reduced = ReduceLog(y + Long::Broadcast(1.0));
  reduced.r = SelectLess(FromWords(And(ToWords(y), 0x7FFFFFFFFFFFFFFF)), Long::Broadcast(0x1p-20), y, reduced.r);
  const auto log = LogOf(reduced);
  // Zero keeps its sign.
  const Lane result = SelectEqual(x, Lane::Broadcast(0.0f), x, ToFloats(log));
  return Settle(WithEndsOfLog(x, -1.0f, result), x, LanesNearMiddle(log, kLogReach), PreciseLog1p);
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
