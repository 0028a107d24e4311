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
KELVO_INLINE Two<L> ShiftUp(Two<L> a, int count) {
  return {ShiftUp(a.first, count), ShiftUp(a.second, count)};
}
template <class L>
KELVO_INLINE Two<L> ShiftDown(Two<L> a, int count) {
  return {ShiftDown(a.first, count), ShiftDown(a.second, count)};
}
template <class L>
KELVO_INLINE auto ExponentOf(Two<L> a) {
  return Two<decltype(ExponentOf(a.first))>{ExponentOf(a.first), ExponentOf(a.second)};
}
template <class L>
KELVO_INLINE Two<L> FractionOf(Two<L> a) {
  return {FractionOf(a.first), FractionOf(a.second)};
}
template <class L>
KELVO_INLINE Two<L> LessNearest(Two<L> value, Two<L> shifted) {
  return {LessNearest(value.first, shifted.first), LessNearest(value.second, shifted.second)};
}
template <class I>
struct TwoIndexes {
  I first, second;
};
template <int kLowest, int kBitN, int kScale, class L>
KELVO_INLINE auto ToIndex(Two<L> a) {
  return TwoIndexes<decltype(ToIndex<kLowest, kBitN, kScale>(a.first))>{ToIndex<kLowest, kBitN, kScale>(a.first),
                                                                        ToIndex<kLowest, kBitN, kScale>(a.second)};
}
template <class T, class I>
KELVO_INLINE auto LookUp(const T* table, const TwoIndexes<I>& index) {
  return Two<decltype(LookUp(table, index.first))>{LookUp(table, index.first), LookUp(table, index.second)};
}
template <class L>
struct TwoPairs {
  Two<L> first, second;
};
template <class I>
KELVO_INLINE auto LookUpPairs(const double* table, const TwoIndexes<I>& index) {
  const auto a = LookUpPairs(table, index.first);
  const auto b = LookUpPairs(table, index.second);
  return TwoPairs<decltype(a.first)>{{a.first, b.first}, {a.second, b.second}};
}
template <class L>
constexpr bool LooksUpInRegisters(Two<L> a) {
  return LooksUpInRegisters(a.first);
}
template <class L>
KELVO_INLINE LaneBits LanesNotLess(Two<L> a, Two<L> b) {
  return LanesNotLess(a.first, b.first) | LanesNotLess(a.second, b.second) << L::kSize;
}
template <std::size_t N>
KELVO_INLINE bool AreBetween(Lanes<float, N> low, Lanes<float, N> a, Lanes<float, N> high) {
  return AreBetween(low, a, a, high);
}
template <class L>
KELVO_INLINE bool AreBetween(Two<L> low, Two<L> a, Two<L> high) {
  return AreBetween(low.first, a.first, a.second, high.first);
}
template <class L>
KELVO_INLINE bool AreBetween(Two<Two<L>> low, Two<Two<L>> a, Two<Two<L>> high) {
  return AreBetween(low.first, a.first, high.first) && AreBetween(low.second, a.second, high.second);
}
template <class L>
KELVO_INLINE LaneBits LanesNearMiddle(Two<L> a, unsigned long long reach) {
  return LanesNearMiddle(a.first, reach) | LanesNearMiddle(a.second, reach) << L::kSize;
}

template <class L>
KELVO_INLINE LaneBits LanesSubnormal(Two<L> a) {
  return LanesSubnormal(a.first) | LanesSubnormal(a.second) << L::kSize;
}
template <std::size_t N>
KELVO_INLINE bool IsAnyNearMiddle(Lanes<double, N> a, unsigned reach) {
  return LanesNearMiddle(a, reach) != 0;
}
template <class L>
KELVO_INLINE bool IsAnyNearMiddle(Two<L> a, unsigned reach) {
  return IsAnyNearMiddle(a.first, a.second, reach);
}
template <class L>
KELVO_INLINE bool IsAnyNearMiddle(Two<Two<L>> a, unsigned reach) {
  return IsAnyNearMiddle(a.first, reach) || IsAnyNearMiddle(a.second, reach);
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
// The same from memory, which saves taking vectors apart; and integers as words of 64 bits.
template <class Lane>
struct Widened;
template <std::size_t N>
struct Widened<Lanes<float, N>> {
  static constexpr bool kIsWhole = N <= Simd::Doubles::kSize;
  static KELVO_INLINE auto Load(const float* from) {
    if constexpr (kIsWhole) {
      return ToDouble(Lanes<float, N>::Load(from));
    } else {
      using Half = Widened<Lanes<float, N / 2>>;
      return Two<Lanes<double, N / 2>>{Half::Load(from), Half::Load(from + N / 2)};
    }
  }
  static KELVO_INLINE auto LoadWords(const unsigned* from) {
    if constexpr (kIsWhole) {
      return ToWords(Simd::BitLanes<N>::Load(from));
    } else {
      using Half = Widened<Lanes<float, N / 2>>;
      return Two<Words<N / 2>>{Half::LoadWords(from), Half::LoadWords(from + N / 2)};
    }
  }
};
template <class L>
struct Widened<Two<L>> {
  static KELVO_INLINE auto Load(const float* from) {
    using Half = Widened<L>;
    return Two<decltype(Half::Load(from))>{Half::Load(from), Half::Load(from + L::kSize)};
  }
  static KELVO_INLINE auto LoadWords(const unsigned* from) {
    using Half = Widened<L>;
    return Two<decltype(Half::LoadWords(from))>{Half::LoadWords(from), Half::LoadWords(from + L::kSize)};
  }
};
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

// The same to memory, which saves putting vectors together.
template <std::size_t N>
KELVO_INLINE void StoreFloats(float* to, Lanes<double, N> a) {
  ToFloat(a).Store(to);
}
template <class L>
KELVO_INLINE void StoreFloats(float* to, Two<L> a) {
  StoreFloats(to, a.first);
  StoreFloats(to + L::kSize, a.second);
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
KELVO_INLINE void StoreBits(Lanes<float, N> a, unsigned* to) {
  ToBits(a).Store(to);
}
template <class L>
KELVO_INLINE void StoreBits(Two<L> a, unsigned* to) {
  StoreBits(a.first, to);
  StoreBits(a.second, to + L::kSize);
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
template <std::size_t N>
KELVO_INLINE LaneBits LanesPositiveZero(Lanes<float, N> a) {
  LaneBits lanes = 0;
  float values[N];
  a.Store(values);
  for (std::size_t i = 0; i < N; ++i) lanes |= LaneBits{__builtin_bit_cast(unsigned, values[i]) == 0} << i;
  return lanes;
}
template <class L>
KELVO_INLINE LaneBits LanesPositiveZero(Two<L> a) {
  return LanesPositiveZero(a.first) | LanesPositiveZero(a.second) << L::kSize;
}
template <class L>
KELVO_INLINE Two<L> SelectPositiveZero(Two<L> a, Two<L> yes, Two<L> no) {
  return {SelectPositiveZero(a.first, yes.first, no.first), SelectPositiveZero(a.second, yes.second, no.second)};
}

// value with the sign bit of `sign` set in addition
template <std::size_t N>
KELVO_INLINE Lanes<float, N> OrSignOf(Lanes<float, N> value, Lanes<float, N> sign) {
  return {FromBits(Simd::BitLanes<N>{ToBits(value).v | (ToBits(sign) & 0x80000000).v})};
}
template <class L>
KELVO_INLINE Two<L> OrSignOf(Two<L> value, Two<L> sign) {
  return {OrSignOf(value.first, sign.first), OrSignOf(value.second, sign.second)};
}

// One lane is computed with more care than many, for those that their rounding test doubts.
template <class Lane>
constexpr bool kIsOne = Lane::kSize == 1;

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

// As many values as go through an elementary function together: four chains of doubles, or eight where that is faster.
// Measured, as is the larger group of powers, whose chains are longer.
#if defined(__AVX2__) && !defined(__AVX512F__)
using Group = Two<Two<Simd::Floats>>;
using LargeGroup = Group;
#else
using Group = Two<Simd::Floats>;
using LargeGroup = Two<Group>;
#endif

// Where results go: some floats a value to one place, and one float a value to another, unless that is null.
struct Results {
  float* values;
  float* magnitudes;

  KELVO_INLINE Results From(std::size_t k, std::size_t float_n) const {
    return {values + k * float_n, magnitudes != nullptr ? magnitudes + k : nullptr};
  }
};

// body(to, from, n) for all whole groups together and for the last values, completed to a group by zeros, with kTo and
// kFrom floats a value. The body is compiled once.
template <class Values, std::size_t kTo, std::size_t kFrom, class Body>
KELVO_INLINE void ForWholeAndLastGroups(const Results& dst, const float* src, std::size_t count, Body body) {
  constexpr std::size_t kSize = Values::kSize;
  const std::size_t whole_n = count / kSize;
  const std::size_t left = count % kSize;
  alignas(64) float last_from[kSize * kFrom];
  alignas(64) float last_values[kSize * kTo];
  alignas(64) float last_magnitudes[kSize];
  for (bool is_last = whole_n == 0;; is_last = true) {
    Results to = dst;
    const Results rest = dst.From(whole_n * kSize, kTo);
    if (is_last) {
      if (left == 0) return;
      const float* const from = src + whole_n * kSize * kFrom;
      for (float& value : last_from) value = 0.0f;
      for (std::size_t k = 0; k < left * kFrom; ++k) last_from[k] = from[k];
      to = {last_values, dst.magnitudes != nullptr ? last_magnitudes : nullptr};
    }
    body(to, is_last ? last_from : src, is_last ? 1 : whole_n);
    if (is_last) {
      for (std::size_t k = 0; k < left * kTo; ++k) rest.values[k] = last_values[k];
      if (dst.magnitudes == nullptr) return;
      for (std::size_t k = 0; k < left; ++k) rest.magnitudes[k] = last_magnitudes[k];
      return;
    }
  }
}

// body(to, from) for one group after another.
template <std::size_t kTo, std::size_t kFrom, class Values = Group, class Body>
KELVO_INLINE void ForEachGroup(float* dst, const float* src, std::size_t count, Body body) {
  ForWholeAndLastGroups<Values, kTo, kFrom>(
      {dst, nullptr}, src,
      count, [&](const Results& to, const float* from, std::size_t n) __attribute__((always_inline)) {
        for (std::size_t k = 0; k < n; ++k) body(to.values + k * Values::kSize * kTo, from + k * Values::kSize * kFrom);
      });
}

// The same in steps: first(stage, magnitudes, from), then each of middle(stage), then last(to, stage). In one turn the
// steps work on groups one behind the other, so that none waits for what the step before it has just begun. Stages hold
// what is handed on.
template <std::size_t kTo, std::size_t kFrom, class Stage, class First, class Last, class... Middle>
KELVO_INLINE void RunPipeline(const Results& dst, const float* src, std::size_t count, First first, Last last,
                              Middle... middle) {
  constexpr std::size_t kDelay = sizeof...(middle) + 1;
  constexpr std::size_t kRingN = 4;
  static_assert(kDelay < kRingN);
  Stage ring[kRingN];
  ForWholeAndLastGroups<Group, kTo, kFrom>(
      dst, src, count, [&](const Results& to, const float* from, std::size_t n) __attribute__((always_inline)) {
        for (std::size_t k = 0; k < n + kDelay; ++k) {
          // Counts below 0 wrap and are not below n either.
          if (k - kDelay < n) last(to.values + (k - kDelay) * Group::kSize * kTo, ring[(k - kDelay) % kRingN]);
          std::size_t group = k;
          ((--group < n ? middle(ring[group % kRingN]) : void()), ...);
          if (k < n)
            first(ring[k % kRingN], to.From(k * Group::kSize, kTo).magnitudes, from + k * Group::kSize * kFrom);
        }
      });
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
