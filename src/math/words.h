// What elementary functions need of lanes beyond arithmetic: doubles seen as words of 64 bits, tables of 16 entries,
// and questions about single lanes, answered as bits (lane i in bit i).
#pragma once

#include "simd/lanes.h"

namespace kelvo::Math {
inline namespace KELVO_LEVEL {

using Simd::Lanes;

using LaneBits = unsigned long long;

template <std::size_t N>
using Words = Lanes<unsigned long long, N>;

template <std::size_t N>
KELVO_INLINE Words<N> ToWords(Lanes<double, N> a) {
  if constexpr (N == 1) {
    return {__builtin_bit_cast(unsigned long long, a.v)};
  } else {
    return {(typename Words<N>::Vector)a.v};
  }
}
template <std::size_t N>
KELVO_INLINE Lanes<double, N> FromWords(Words<N> a) {
  if constexpr (N == 1) {
    return {__builtin_bit_cast(double, a.v)};
  } else {
    return {(typename Lanes<double, N>::Vector)a.v};
  }
}
template <std::size_t N>
KELVO_INLINE Words<N> And(Words<N> a, unsigned long long mask) {
  return {a.v & Words<N>::Broadcast(mask).v};
}
template <std::size_t N>
KELVO_INLINE Words<N> Or(Words<N> a, unsigned long long bits) {
  return {a.v | Words<N>::Broadcast(bits).v};
}
template <std::size_t N>
KELVO_INLINE Words<N> Xor(Words<N> a, Words<N> b) {
  return {a.v ^ b.v};
}
template <std::size_t N>
KELVO_INLINE Words<N> ShiftUp(Words<N> a, int count) {
  return {a.v << count};
}
template <std::size_t N>
KELVO_INLINE Words<N> ShiftDown(Words<N> a, int count) {
  return {a.v >> count};
}

// a & mask ? yes : no
template <std::size_t N>
KELVO_INLINE Lanes<double, N> SelectByBits(Words<N> a, unsigned long long mask, Lanes<double, N> yes,
                                           Lanes<double, N> no) {
  return {And(a, mask).v != Words<N>::Broadcast(0).v ? yes.v : no.v};
}

// table[index], lane by lane; bits of the index above the lowest four do not count.
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> LookUp(const T (&table)[16], Words<N> index) {
  if constexpr (N == 1) {
    return {table[index.v & 15]};
  } else {
    Lanes<T, N> found;
#pragma GCC unroll 16
    for (std::size_t i = 0; i < N; ++i) found.v[i] = table[index.v[i] & 15];
    return found;
  }
}
#if defined(__AVX2__)
template <class T>
KELVO_INLINE Lanes<T, 4> LookUp(const T (&table)[16], Words<4> index) {
  static_assert(sizeof(T) == sizeof(double));
  return {(typename Lanes<T, 4>::Vector)_mm256_mask_i64gather_pd(
      _mm256_setzero_pd(), reinterpret_cast<const double*>(table), (__m256i)And(index, 15).v,
      (__m256d)_mm256_set1_epi64x(-1), sizeof(T))};
}
#endif
#if defined(__AVX512F__)
template <class T>
KELVO_INLINE Lanes<T, 8> LookUp(const T (&table)[16], Words<8> index) {
  static_assert(sizeof(T) == sizeof(double));
  return {(typename Lanes<T, 8>::Vector)_mm512_permutex2var_pd(
      _mm512_load_pd(reinterpret_cast<const double*>(table)), (__m512i)index.v,
      _mm512_load_pd(reinterpret_cast<const double*>(table) + 8))};
}
#endif

// The lanes of a comparison's result, -1 for yes.
template <class Comparison>
KELVO_INLINE LaneBits LanesOf(Comparison comparison) {
  constexpr std::size_t n = sizeof(comparison) / sizeof(comparison[0]);
#if defined(__AVX2__)
  if constexpr (sizeof(comparison) == 32) {
    if constexpr (n == 4) {
      return static_cast<unsigned>(_mm256_movemask_pd((__m256d)comparison));
    } else {
      return static_cast<unsigned>(_mm256_movemask_ps((__m256)comparison));
    }
  }
#endif
#if defined(__SSE2__)
  if constexpr (sizeof(comparison) == 16) {
    if constexpr (n == 2) {
      return static_cast<unsigned>(_mm_movemask_pd((__m128d)comparison));
    } else {
      return static_cast<unsigned>(_mm_movemask_ps((__m128)comparison));
    }
  }
#endif
  LaneBits lanes = 0;
  for (std::size_t i = 0; i < n; ++i) lanes |= (static_cast<LaneBits>(comparison[i]) & 1) << i;
  return lanes;
}

// Where a < b does not hold, as with NaN.
template <class T, std::size_t N>
KELVO_INLINE LaneBits LanesNotLess(Lanes<T, N> a, Lanes<T, N> b) {
  if constexpr (N == 1) {
    return a.v < b.v ? 0 : 1;
  } else {
    return LanesOf(a.v < b.v) ^ ((LaneBits{1} << N) - 1);
  }
}
// Where no bit of the mask is set.
template <std::size_t N>
KELVO_INLINE LaneBits LanesWithout(Words<N> a, unsigned long long mask) {
  if constexpr (N == 1) {
    return (a.v & mask) == 0 ? 1 : 0;
  } else {
    return LanesOf(And(a, mask).v == Words<N>::Broadcast(0).v);
  }
}
#if defined(__AVX512F__)
KELVO_INLINE Lanes<double, 8> SelectByBits(Words<8> a, unsigned long long mask, Lanes<double, 8> yes,
                                           Lanes<double, 8> no) {
  const __mmask8 found = _mm512_test_epi64_mask((__m512i)a.v, (__m512i)Words<8>::Broadcast(mask).v);
  return {_mm512_mask_blend_pd(found, no.v, yes.v)};
}
KELVO_INLINE LaneBits LanesNotLess(Lanes<float, 16> a, Lanes<float, 16> b) {
  return _mm512_cmp_ps_mask(a.v, b.v, _CMP_NLT_UQ);
}
KELVO_INLINE LaneBits LanesNotLess(Lanes<double, 8> a, Lanes<double, 8> b) {
  return _mm512_cmp_pd_mask(a.v, b.v, _CMP_NLT_UQ);
}
KELVO_INLINE LaneBits LanesWithout(Words<8> a, unsigned long long mask) {
  return _mm512_testn_epi64_mask((__m512i)a.v, (__m512i)Words<8>::Broadcast(mask).v);
}
#endif

// The rounding test: lanes that lie within `reach`, a power of two, units in the last place of double from the middle
// between two normal floats, so that an error of that size could round them to the wrong one.
template <std::size_t N>
KELVO_INLINE LaneBits LanesNearMiddle(Lanes<double, N> a, unsigned long long reach) {
  constexpr unsigned long long kSpacing = 1ull << 29;  // of floats, in units of double
  return LanesWithout(ToWords(a) - Words<N>::Broadcast(kSpacing / 2 - reach), (kSpacing - 1) & ~(2 * reach - 1));
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
