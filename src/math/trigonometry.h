// The angle of a point, and the cosine and sine of that angle, in lanes and correctly rounded.
//
// Of fifteen directions the one near the point is looked up. Turned back by its angle, the point lies within 0.14 of
// the positive x axis, where short polynomials do.
#pragma once

#include "math/groups.h"
#include "math/tables.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// atan(q) for |q| <= 0.1405, within 2^-46.3 of it.
template <class Long>
KELVO_INLINE Long AtanOfSmall(Long q) {
  const auto c = [](int i) __attribute__((always_inline)) { return Long::Broadcast(kAtanPolynomial[i]); };
  const Long z = q * q;
  const Long z2 = z * z;
  const Long sum = (c(0) + c(1) * z) + ((c(2) + c(3) * z) + c(4) * z2) * z2;
  return q + (q * z) * sum;
}

template <class T>
struct Phase {
  T cosine, sine;
};

// The cosine and sine of a float angle at most 0.1396 away from the given direction. No rounding test: that all
// roundings are right is known from all angles.
template <class Long>
KELVO_INLINE Phase<Long> CosSin(Long angle, Long direction, Phase<Long> of_direction) {
  const auto all = [](double value) __attribute__((always_inline)) { return Long::Broadcast(value); };
  const Long d = angle - direction;  // exact
  const Long z = d * d;
  const Long z2 = z * z;
  const auto sum_of = [&](const double(&c)[4]) __attribute__((always_inline)) {
    return (all(c[0]) + all(c[1]) * z) + (all(c[2]) + all(c[3]) * z) * z2;
  };
  const Long sine = d + (d * z) * sum_of(kSinPolynomial);
  const Long cosine_less_one = z * sum_of(kCosPolynomial);
  const auto [c, s] = of_direction;
  return {c + (c * cosine_less_one - s * sine), s + (s * cosine_less_one + c * sine)};
}

constexpr unsigned kAngleReach = 1 << 8;  // 2^-45 at least

// The steps of the angle of x + i y, or of its cosine and sine, and what they hand on. Each ends with what takes long,
// so that a pipeline can run them for several points side by side.
template <class Lane>
struct alignas(64) AngleSteps {
  static constexpr std::size_t kSize = Lane::kSize;
  using Long = decltype(Widened<Lane>::Load(nullptr));
  float y[kSize], x[kSize];
  float height[kSize], near_x[kSize];  // |y|, and x but where both are 0
  unsigned index[kSize];               // of the direction, in the lowest four bits
  double direction[kSize], cosine[kSize], sine[kSize];
  double tangent[kSize];  // of what the angle is ahead of the direction
  double angle[kSize];
  LaneBits in_doubt;

  KELVO_INLINE void FindDirection(Lane given_y, Lane given_x) {
    const auto all = [](float value) __attribute__((always_inline)) { return Lane::Broadcast(value); };
    constexpr float kSteps = 7.0f;                 // of the share between 0 and 1; it falls with the angle
    constexpr float kShift = 0x1.8p+23f + kSteps;  // adding it rounds to an integer, which then stands in the last bits
    const Lane zero = all(0.0f);
    const Lane infinity = all(__builtin_inff());
    Lane axis = given_x;
    Lane size = Abs(given_x) + Abs(given_y);
    in_doubt = 0;
    if (__builtin_expect(!AreBetween(zero, size, infinity), 0)) {
      in_doubt = LanesNotLess(size, infinity);
      // A zero lies on the x axis, on the side of its sign.
      axis = SelectEqual(size, zero, TimesSignOf(all(1.0f), axis), axis);
      size = SelectEqual(size, zero, all(1.0f), size);
    }
    given_y.Store(y);
    given_x.Store(x);
    Abs(given_y).Store(height);
    axis.Store(near_x);
    StoreBits(all(kShift) - all(kSteps) * (axis / size), index);
  }

  KELVO_INLINE void TurnBack() {
    const auto at = ToIndex<0, 4, 3>(Widened<Lane>::LoadWords(index));
    const Long c = LookUp(kDirectionCosines, at);
    const Long s = LookUp(kDirectionSines, at);
    LookUp(kDirections, at).Store(direction);
    c.Store(cosine);
    s.Store(sine);
    const Long wide_y = Widened<Lane>::Load(height);
    const Long wide_x = Widened<Lane>::Load(near_x);
    ((wide_y * c - wide_x * s) / (wide_x * c + wide_y * s)).Store(tangent);
  }

  KELVO_INLINE Lane FinishAngle() {
    const Long wide = Long::Load(direction) + AtanOfSmall(Long::Load(tangent));
    const Lane rounded = ToFloats(wide);
    const Lane given_y = Lane::Load(y);
    const Lane result = TimesSignOf(rounded, given_y);
    const LaneBits outside = in_doubt | LanesSubnormal(rounded);  // subnormal results have fewer bits
    if (__builtin_expect(IsAnyNearMiddle(wide, kAngleReach) || outside != 0, 0)) {
      return Settle(result, given_y, Lane::Load(x), LanesNearMiddle(wide, kAngleReach) | outside, PreciseAtan2);
    }
    return result;
  }

  // To as many bits as floats have. Ties are among those in doubt, whichever way they go.
  KELVO_INLINE void RoundAngle() {
    const Long wide = Long::Load(direction) + AtanOfSmall(Long::Load(tangent));
    const auto words = ToWords(wide);
    FromWords(And(words + decltype(ToWords(wide))::Broadcast(0x10000000), ~0x1FFFFFFFull)).Store(angle);
    if (__builtin_expect(IsAnyNearMiddle(wide, kAngleReach), 0)) in_doubt |= LanesNearMiddle(wide, kAngleReach);
  }

  KELVO_INLINE Phase<Lane> FinishPhase() {
    const auto wide =
        CosSin(Long::Load(angle), Long::Load(direction), Phase<Long>{Long::Load(cosine), Long::Load(sine)});
    const Lane given_y = Lane::Load(y);
    const Lane size = ToFloats(wide.sine);
    const Phase<Lane> phase{ToFloats(wide.cosine), TimesSignOf(size, given_y)};
    const LaneBits doubted = in_doubt | LanesSubnormal(size);  // such a sine has fewer bits, as has its angle
    if (__builtin_expect(doubted != 0, 0)) {
      const Lane given_x = Lane::Load(x);
      return {Settle(phase.cosine, given_y, given_x, doubted, PreciseCosOfAngle),
              Settle(phase.sine, given_y, given_x, doubted, PreciseSinOfAngle)};
    }
    return phase;
  }
};

template <class Lane>
KELVO_INLINE Lane Atan2(Lane y, Lane x) {
  AngleSteps<Lane> steps;
  steps.FindDirection(y, x);
  steps.TurnBack();
  return steps.FinishAngle();
}

// The cosine and sine of the float angle.
template <class Lane>
KELVO_INLINE Phase<Lane> UnitPhase(Lane y, Lane x) {
  AngleSteps<Lane> steps;
  steps.FindDirection(y, x);
  steps.TurnBack();
  steps.RoundAngle();
  return steps.FinishPhase();
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
