// Pairs of vectors: how the dependency chains of elementary functions are interleaved, and how the lanes that the
// rounding test doubts are settled.
#pragma once

#include "math/precise.h"
#include "math/words.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

// Two vectors that go through the same operations in turn. The dependency chain of an elementary function is longer
// than the window of out-of-order execution: a CPU stays busy when several chains are interleaved in the code.
template <class Lane>
struct Two {
  using Element = typename Lane::Element;
  static constexpr std::size_t kSize = 2 * Lane::kSize;
  Lane first, second;

  static KELVO_INLINE Two Load(const Element* from) { return {Lane::Load(from), Lane::Load(from + Lane::kSize)}; }
  static KELVO_INLINE Two Broadcast(Element value) { return {Lane::Broadcast(value), Lane::Broadcast(value)}; }
  KELVO_INLINE void Store(Element* to) const {
    first.Store(to);
    second.Store(to + Lane::kSize);
  }
};

template <class L>
KELVO_INLINE Two<L> operator+(Two<L> a, Two<L> b) {
  return {a.first + b.first, a.second + b.second};
}
template <class L>
KELVO_INLINE Two<L> operator-(Two<L> a, Two<L> b) {
  return {a.first - b.first, a.second - b.second};
}
template <class L>
KELVO_INLINE Two<L> operator*(Two<L> a, Two<L> b) {
  return {a.first * b.first, a.second * b.second};
}
template <class L>
KELVO_INLINE Two<L> operator/(Two<L> a, Two<L> b) {
  return {a.first / b.first, a.second / b.second};
}
template <class L>
KELVO_INLINE Two<L> operator-(Two<L> a) {
  return {-a.first, -a.second};
}
template <class L>
KELVO_INLINE Two<L> SelectLess(Two<L> a, Two<L> b, Two<L> yes, Two<L> no) {
  return {SelectLess(a.first, b.first, yes.first, no.first), SelectLess(a.second, b.second, yes.second, no.second)};
}
template <class L>
KELVO_INLINE Two<L> SelectEqual(Two<L> a, Two<L> b, Two<L> yes, Two<L> no) {
  return {SelectEqual(a.first, b.first, yes.first, no.first), SelectEqual(a.second, b.second, yes.second, no.second)};
}
template <class L>
KELVO_INLINE auto ToWords(Two<L> a) {
  return Two<decltype(ToWords(a.first))>{ToWords(a.first), ToWords(a.second)};
}
template <class L>
KELVO_INLINE auto FromWords(Two<L> a) {
  return Two<decltype(FromWords(a.first))>{FromWords(a.first), FromWords(a.second)};
}
template <class L>
KELVO_INLINE Two<L> And(Two<L> a, unsigned long long mask) {
  return {And(a.first, mask), And(a.second, mask)};
}
template <class L>
KELVO_INLINE Two<L> Or(Two<L> a, unsigned long long bits) {
  return {Or(a.first, bits), Or(a.second, bits)};
}
template <class L>
KELVO_INLINE Two<L> Xor(Two<L> a, Two<L> b) {
  return {Xor(a.first, b.first), Xor(a.second, b.second)};
}
template <class L>
KELVO_INLINE Two<L> ShiftUp(Two<L> a, int count) {
  return {ShiftUp(a.first, count), ShiftUp(a.second, count)};
}
template <class L>
KELVO_INLINE Two<L> ShiftDown(Two<L> a, int count) {
  return {ShiftDown(a.first, count), ShiftDown(a.second, count)};
}
template <class L, class D>
KELVO_INLINE Two<D> SelectByBits(Two<L> a, unsigned long long mask, Two<D> yes, Two<D> no) {
  return {SelectByBits(a.first, mask, yes.first, no.first), SelectByBits(a.second, mask, yes.second, no.second)};
}
template <class T, class L>
KELVO_INLINE auto LookUp(const T (&table)[16], Two<L> index) {
  return Two<decltype(LookUp(table, index.first))>{LookUp(table, index.first), LookUp(table, index.second)};
}
template <class L>
KELVO_INLINE LaneBits LanesNotLess(Two<L> a, Two<L> b) {
  return LanesNotLess(a.first, b.first) | LanesNotLess(a.second, b.second) << L::kSize;
}
template <class L>
KELVO_INLINE LaneBits LanesNearMiddle(Two<L> a, unsigned long long reach) {
  return LanesNearMiddle(a.first, reach) | LanesNearMiddle(a.second, reach) << L::kSize;
}

// Floats as doubles, in as many vectors as that takes, and back.
template <std::size_t N>
KELVO_INLINE auto ToDoubles(Lanes<float, N> a) {
  if constexpr (N <= Simd::Doubles::kSize) {
    return ToDouble(a);
  } else {
    const auto halves = Split(a);
    return Two<Lanes<double, N / 2>>{ToDouble(halves.first), ToDouble(halves.second)};
  }
}
template <class L>
KELVO_INLINE auto ToDoubles(Two<L> a) {
  return Two<decltype(ToDoubles(a.first))>{ToDoubles(a.first), ToDoubles(a.second)};
}
template <std::size_t N>
KELVO_INLINE Lanes<float, N> ToFloats(Lanes<double, N> a) {
  return ToFloat(a);
}
template <std::size_t N>
KELVO_INLINE auto ToFloats(Two<Lanes<double, N>> a) {
  if constexpr (Simd::Floats::kSize == Simd::Doubles::kSize) {  // one lane of either
    return Two<Lanes<float, N>>{ToFloat(a.first), ToFloat(a.second)};
  } else {
    return Join(ToFloat(a.first), ToFloat(a.second));
  }
}
template <class L>
KELVO_INLINE auto ToFloats(Two<Two<L>> a) {
  return Two<decltype(ToFloats(a.first))>{ToFloats(a.first), ToFloats(a.second)};
}

template <class L>
KELVO_INLINE Two<L> Sqrt(Two<L> a) {
  return {Sqrt(a.first), Sqrt(a.second)};
}

// value, negated where the sign bit of `sign` is set
template <std::size_t N>
KELVO_INLINE Lanes<float, N> TimesSignOf(Lanes<float, N> value, Lanes<float, N> sign) {
  return FromBits(ToBits(value) ^ (ToBits(sign) & 0x80000000));
}
template <class L>
KELVO_INLINE Two<L> TimesSignOf(Two<L> value, Two<L> sign) {
  return {TimesSignOf(value.first, sign.first), TimesSignOf(value.second, sign.second)};
}
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Abs(Lanes<float, N> a) {
  return FromBits(ToBits(a) & 0x7FFFFFFF);
}
template <class L>
KELVO_INLINE Two<L> Abs(Two<L> a) {
  return {Abs(a.first), Abs(a.second)};
}
// a is +0 ? yes : no
template <std::size_t N>
KELVO_INLINE Lanes<float, N> SelectPositiveZero(Lanes<float, N> a, Lanes<float, N> yes, Lanes<float, N> no) {
  return {ToBits(a).v == Simd::BitLanes<N>::Broadcast(0).v ? yes.v : no.v};
}
template <class L>
KELVO_INLINE Two<L> SelectPositiveZero(Two<L> a, Two<L> yes, Two<L> no) {
  return {SelectPositiveZero(a.first, yes.first, no.first), SelectPositiveZero(a.second, yes.second, no.second)};
}

// The results, those in doubt replaced by what the precise function gives.
template <class Lane>
KELVO_INLINE Lane Settle(Lane results, Lane x, LaneBits in_doubt, float (*precise)(float)) {
  if (__builtin_expect(in_doubt != 0, 0)) {
    float values[Lane::kSize], arguments[Lane::kSize];
    results.Store(values);
    x.Store(arguments);
    Recompute(values, arguments, in_doubt, precise);
    return Lane::Load(values);
  }
  return results;
}
template <class Lane>
KELVO_INLINE Lane Settle(Lane results, Lane first, Lane second, LaneBits in_doubt, float (*precise)(float, float)) {
  if (__builtin_expect(in_doubt != 0, 0)) {
    float values[Lane::kSize], firsts[Lane::kSize], seconds[Lane::kSize];
    results.Store(values);
    first.Store(firsts);
    second.Store(seconds);
    Recompute(values, firsts, seconds, in_doubt, precise);
    return Lane::Load(values);
  }
  return results;
}

// As many values as go through an elementary function together.
using Group = Two<Simd::Floats>;

// body(to, from) for one group after another, with kTo and kFrom floats a value. The last values are completed to a
// group by zeros, so that a body is compiled once.
template <std::size_t kTo, std::size_t kFrom, class Body>
KELVO_INLINE void ForEachGroup(float* dst, const float* src, std::size_t count, Body body) {
  constexpr std::size_t kSize = Group::kSize;
  for (std::size_t i = 0; i < count; i += kSize) {
    const std::size_t left = count - i;
    float last_from[kSize * kFrom];
    float last_to[kSize * kTo];
    const float* from = src + i * kFrom;
    float* to = dst + i * kTo;
    if (left < kSize) {
      for (float& value : last_from) value = 0.0f;
      for (std::size_t k = 0; k < left * kFrom; ++k) last_from[k] = from[k];
      from = last_from;
      to = last_to;
    }
    body(to, from);
    if (left < kSize) {
      for (std::size_t k = 0; k < left * kTo; ++k) dst[i * kTo + k] = last_to[k];
    }
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
