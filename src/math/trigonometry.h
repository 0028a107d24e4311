// The angle of a point, and the cosine and sine of an angle, in lanes and correctly rounded.
#pragma once

#include "math/groups.h"
#include "math/tables.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// atan(q) for |q| <= tan(pi / 8), within 2^-50 of it.
template <class Long>
KELVO_INLINE Long AtanOfSmall(Long q) {
  const auto c = [](int i) __attribute__((always_inline)) { return Long::Broadcast(kAtanPolynomial[i]); };
  const Long z = q * q;
  const Long z2 = z * z;
  const Long z4 = z2 * z2;
  const Long high = (c(8) + c(9) * z) + c(10) * z2;
  const Long middle = (c(4) + c(5) * z) + (c(6) + c(7) * z) * z2;
  const Long low = (c(0) + c(1) * z) + (c(2) + c(3) * z) * z2;
  return q + (q * z) * (low + (middle + high * z4) * z4);
}

constexpr unsigned long long kAngleReach = 1 << 8;  // 2^-45 at least

// The angle of x + i y. The smaller of |y| and |x| over the larger is the tangent of an angle within an octant; where
// that is beyond pi / 8, the point is rotated by -pi / 4 before the division.
template <class Lane>
KELVO_INLINE Lane Atan2(Lane y, Lane x) {
  using Long = decltype(ToDoubles(x));
  const auto all = [](float value) __attribute__((always_inline)) { return Lane::Broadcast(value); };
  const Lane zero = all(0.0f);
  const Lane height = Abs(y);
  const Lane width = Abs(x);
  const Lane smaller = SelectLess(height, width, height, width);
  const Lane larger = SelectLess(height, width, width, height);
  const Lane divisor = SelectEqual(larger, zero, all(1.0f), larger);  // 0 / 0 counts as 0
  // The octant's place: the angle is as many quarter turns as this says plus the octant's angle, or less that where the
  // sign bit is set.
  const Lane side = TimesSignOf(all(1.0f), x);
  const Lane flat = SelectLess(side, zero, all(-2.0f), zero);
  const Long place = ToDoubles(SelectLess(width, height, -side, flat));

  constexpr unsigned long long kSign = 0x8000000000000000;
  const Long top = ToDoubles(smaller);
  const Long bottom = ToDoubles(divisor);
  const Long eighth = Long::Broadcast(0x1.921fb54442d18p-1);          // pi / 4
  const Long limit = bottom * Long::Broadcast(0x1.a827999fcef32p-2);  // tan(pi / 8)
  const Long q = SelectLess(limit, top, top - bottom, top) / SelectLess(limit, top, top + bottom, bottom);
  const Long octant = SelectLess(limit, top, eighth, Long::Broadcast(0.0)) + AtanOfSmall(q);
  const auto sign = And(ToWords(place), kSign);
  const Long turns = FromWords(Xor(ToWords(place), sign)) * (eighth + eighth);
  const Long angle = turns + FromWords(Xor(ToWords(octant), sign));

  // The precise function handles infinities and NaN, and rounds subnormal results, which have fewer bits.
  const Lane result = ToFloats(angle);
  const LaneBits in_doubt = LanesNearMiddle(angle, kAngleReach) | LanesNotLess(height + width, all(__builtin_inff())) |
                            LanesNotLess(all(0x1p-126f), SelectEqual(result, zero, all(1.0f), result));
  return Settle(TimesSignOf(result, y), y, x, in_doubt, PreciseAtan2);
}

template <class Lane>
struct Phase {
  Lane cosine, sine;
};

// Of floats in [-pi, pi], as angles are, and NaN. No rounding test: that all roundings are right is known from all
// arguments.
template <class Lane>
KELVO_INLINE Phase<Lane> CosSin(Lane angle) {
  using Long = decltype(ToDoubles(angle));
  const auto all = [](double value) __attribute__((always_inline)) { return Long::Broadcast(value); };
  const Long x = ToDoubles(Abs(angle));
  // The nearest multiple of pi / 2, by way of the last bits of a large number.
  const Long shift = all(0x1.8p+52);
  const Long shifted = x * all(0x1.45f306dc9c883p-1) + shift;  // 2 / pi
  const Long quarters = shifted - shift;
  const Long r = x - quarters * all(0x1.921fb54442d18p+0);
  const Long z = r * r;
  const Long z2 = z * z;
  const auto sum_of = [&](const double(&c)[6]) __attribute__((always_inline)) {
    return (all(c[0]) + all(c[1]) * z) + ((all(c[2]) + all(c[3]) * z) + (all(c[4]) + all(c[5]) * z) * z2) * z2;
  };
  const Long sine = r + (r * z) * sum_of(kSinPolynomial);
  const Long cosine = all(1.0) + z * sum_of(kCosPolynomial);
  const auto turns = ToWords(shifted);
  const auto with_sign = [](Long value, auto bits) __attribute__((always_inline)) {
    return FromWords(Xor(ToWords(value), And(ShiftUp(bits, 62), 0x8000000000000000)));
  };
  const Long turned_cosine =
      with_sign(SelectByBits(turns, 1, sine, cosine), turns + decltype(ToWords(shifted))::Broadcast(1));
  const Long turned_sine = with_sign(SelectByBits(turns, 1, cosine, sine), turns);
  return {ToFloats(turned_cosine), TimesSignOf(ToFloats(turned_sine), angle)};
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
