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
KELVO_INLINE Words<N> ToWords(Simd::BitLanes<N> a) {
  if constexpr (N == 1) {
    return {a.v};
  } else {
    return {__builtin_convertvector(a.v, typename Words<N>::Vector)};
  }
}
#if defined(__AVX512F__)
KELVO_INLINE Words<8> ToWords(Simd::BitLanes<8> a) {  // GCC halves the conversion
  return {(Words<8>::Vector)_mm512_maskz_cvtepu32_epi64(0xFF, (__m256i)a.v)};
}
#endif
template <std::size_t N>
KELVO_INLINE Words<N> And(Words<N> a, unsigned long long mask) {
  return {a.v & Words<N>::Broadcast(mask).v};
}
template <std::size_t N>
KELVO_INLINE Words<N> Or(Words<N> a, unsigned long long bits) {
  return {a.v | Words<N>::Broadcast(bits).v};
}
template <std::size_t N>
KELVO_INLINE Words<N> ShiftUp(Words<N> a, int count) {
  return {a.v << count};
}
template <std::size_t N>
KELVO_INLINE Words<N> ShiftDown(Words<N> a, int count) {
  return {a.v >> count};
}

// The exponent of a positive normal double.
template <std::size_t N>
KELVO_INLINE Lanes<double, N> ExponentOf(Words<N> words) {
  // An integer in the last bits of 2^52 is 2^52 and that integer.
  return FromWords(Or(ShiftDown(words, 52), 0x4330000000000000)) - Lanes<double, N>::Broadcast(0x1p+52 + 1023.0);
}
#if defined(__AVX512F__)
// Without optimisation these intrinsics are macros, whose masks GCC sees as conversions of ours.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-conversion"
KELVO_INLINE Lanes<double, 8> ExponentOf(Words<8> words) { return {_mm512_maskz_getexp_pd(0xFF, FromWords(words).v)}; }
// A positive normal double times a power of two, from 1 to 2.
KELVO_INLINE Lanes<double, 8> FractionOf(Lanes<double, 8> a) {
  return {_mm512_maskz_getmant_pd(0xFF, a.v, _MM_MANT_NORM_1_2, _MM_MANT_SIGN_src)};
}
#pragma GCC diagnostic pop
#endif

// value less the nearest integer, which stands in the last bits of shifted = value + 1.5 * 2^52.
template <std::size_t N>
KELVO_INLINE Lanes<double, N> LessNearest(Lanes<double, N> value, Lanes<double, N> shifted) {
  return value - (shifted - Lanes<double, N>::Broadcast(0x1.8p+52));
}
#if defined(__AVX512F__)
KELVO_INLINE Lanes<double, 8> LessNearest(Lanes<double, 8> value, Lanes<double, 8>) {
  return {_mm512_maskz_reduce_pd(0xFF, value.v, 0)};
}
#endif

// Where the entries of a table lie, whose numbers are kBitN bits of words from kLowest on: offsets in bytes, for
// entries of 2^kScale bytes. They lie in memory, from where each is loaded alone: that takes no arithmetic slot, as
// getting them out of a vector does. AVX-512 has instructions that look up lane by lane in sixteen doubles.
template <std::size_t N>
struct Index {
  unsigned long long at[N];
};
template <int kLowest, int kBitN, int kScale, std::size_t N>
KELVO_INLINE Index<N> ToIndex(Words<N> words) {
  Index<N> index;
  if constexpr (kLowest < kScale) {
    words = ShiftUp(words, kScale - kLowest);
  } else {
    words = ShiftDown(words, kLowest - kScale);
  }
  And(words, ((1ull << kBitN) - 1) << kScale).Store(index.at);
  if constexpr (N > 1) __asm__("" : "+m"(index));  // or compilers take them out of the vector after all
  return index;
}
template <class Lane>
KELVO_INLINE Lane LoadAt(const void* table, unsigned long long offset) {
  Lane lane;
  __builtin_memcpy(&lane.v, static_cast<const char*>(table) + offset, sizeof(lane.v));
  return lane;
}
// The entries of a table of doubles or of words.
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> LookUp(const T* table, const Index<N>& index) {
  if constexpr (N == 1) {
    return LoadAt<Lanes<T, 1>>(table, index.at[0]);
  } else {
    Lanes<T, N> found;
#pragma GCC unroll 16
    for (std::size_t i = 0; i < N; ++i) found.v[i] = LoadAt<Lanes<T, 1>>(table, index.at[i]).v;
    return found;
  }
}
// The entries of a table of pairs.
template <std::size_t N>
KELVO_INLINE Simd::LanePair<double, N> LookUpPairs(const double* table, const Index<N>& index) {
  const auto pair = [&](std::size_t i) __attribute__((always_inline)) {
    return LoadAt<Lanes<double, 2>>(table, index.at[i]);
  };
  if constexpr (N == 1) {
    return {LoadAt<Lanes<double, 1>>(table, index.at[0]), LoadAt<Lanes<double, 1>>(table + 1, index.at[0])};
  } else if constexpr (N == 2) {
    return Interleave(pair(0), pair(1));
  } else {
    static_assert(N == 4);
    const auto even = Join(pair(0), pair(2));
    const auto odd = Join(pair(1), pair(3));
    return {{__builtin_shufflevector(even.v, odd.v, 0, 4, 2, 6)}, {__builtin_shufflevector(even.v, odd.v, 1, 5, 3, 7)}};
  }
}
// Whether a table of sixteen doubles lies in registers.
template <std::size_t N>
constexpr bool LooksUpInRegisters(Lanes<double, N>) {
#if defined(__AVX512F__)
  return N == 8;
#else
  return false;
#endif
}
#if defined(__AVX512F__)
template <>
struct Index<8> {
  Words<8> numbers;
};
template <int kLowest, int kBitN, int kScale>
KELVO_INLINE Index<8> ToIndex(Words<8> words) {
  static_assert(kBitN == 4);
  return {kLowest == 0 ? words : ShiftDown(words, kLowest)};
}
template <class T>
KELVO_INLINE Lanes<T, 8> LookUp(const T* table, const Index<8>& index) {
  static_assert(sizeof(T) == sizeof(double));
  return {(typename Lanes<T, 8>::Vector)_mm512_permutex2var_pd(
      _mm512_load_pd(reinterpret_cast<const double*>(table)), (__m512i)index.numbers.v,
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
// Whether low < a < high and low < b < high in all lanes, which no NaN is.
template <std::size_t N>
KELVO_INLINE bool AreBetween(Lanes<float, N> low, Lanes<float, N> a, Lanes<float, N> b, Lanes<float, N> high) {
  if constexpr (N == 1) {
    return low.v < a.v && a.v < high.v && low.v < b.v && b.v < high.v;
  } else {
    return LanesOf((low.v < a.v) & (a.v < high.v) & (low.v < b.v) & (b.v < high.v)) == (LaneBits{1} << N) - 1;
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
// Where a positive number is not 0 and below the smallest normal one.
template <std::size_t N>
KELVO_INLINE LaneBits LanesSubnormal(Lanes<float, N> a) {
  const auto less_one = ToBits(a) - Simd::BitLanes<N>::Broadcast(1);
  if constexpr (N == 1) {
    return less_one.v < 0x7FFFFF ? 1 : 0;
  } else {
    return LanesOf(less_one.v < Simd::BitLanes<N>::Broadcast(0x7FFFFF).v);
  }
}
template <std::size_t N>
KELVO_INLINE LaneBits LanesWithout(Simd::BitLanes<N> a, unsigned mask) {
  return LanesOf((a & mask).v == Simd::BitLanes<N>::Broadcast(0).v);
}
#if defined(__AVX512F__)
KELVO_INLINE LaneBits LanesNotLess(Lanes<float, 16> a, Lanes<float, 16> b) {
  return _mm512_cmp_ps_mask(a.v, b.v, _CMP_NLT_UQ);
}
KELVO_INLINE bool AreBetween(Lanes<float, 16> low, Lanes<float, 16> a, Lanes<float, 16> b, Lanes<float, 16> high) {
  const __mmask16 above = _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(low.v, a.v, _CMP_LT_OQ), low.v, b.v, _CMP_LT_OQ);
  return _mm512_mask_cmp_ps_mask(_mm512_mask_cmp_ps_mask(above, a.v, high.v, _CMP_LT_OQ), b.v, high.v, _CMP_LT_OQ) ==
         0xFFFF;
}
KELVO_INLINE LaneBits LanesWithout(Words<8> a, unsigned long long mask) {
  return _mm512_testn_epi64_mask((__m512i)a.v, (__m512i)Words<8>::Broadcast(mask).v);
}
KELVO_INLINE LaneBits LanesWithout(Simd::BitLanes<16> a, unsigned mask) {
  return _mm512_testn_epi32_mask((__m512i)a.v, (__m512i)Simd::BitLanes<16>::Broadcast(mask).v);
}
KELVO_INLINE LaneBits LanesSubnormal(Lanes<float, 16> a) {
  return _mm512_cmplt_epu32_mask((__m512i)(ToBits(a) - Simd::BitLanes<16>::Broadcast(1)).v,
                                 (__m512i)Simd::BitLanes<16>::Broadcast(0x7FFFFF).v);
}
#endif

// The rounding test: lanes that lie within `reach`, a power of two, units in the last place of double from the middle
// between two normal floats, so that an error of that size could round them to the wrong one.
template <std::size_t N>
KELVO_INLINE LaneBits LanesNearMiddle(Lanes<double, N> a, unsigned long long reach) {
  constexpr unsigned long long kSpacing = 1ull << 29;  // of floats, in units of double
  return LanesWithout(ToWords(a) - Words<N>::Broadcast(kSpacing / 2 - reach), (kSpacing - 1) & ~(2 * reach - 1));
}

// Whether there is such a lane in either vector, in half as many operations: what is asked lies in the lower halves of
// the words, which fit one vector in any order.
template <std::size_t N, int... kIndex>
KELVO_INLINE Simd::BitLanes<2 * N> LowerHalvesBy(Words<N> a, Words<N> b, Simd::LaneNumbers<kIndex...>) {
  using Halves = typename Simd::BitLanes<2 * N>::Vector;
  constexpr int kFirst = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 1 : 0;
  // Two of a and two of b in turn, which x86 takes out of 128 bits of both with one cheap instruction.
  constexpr int kOfB = 2 * static_cast<int>(N);
  return {__builtin_shufflevector((Halves)a.v, (Halves)b.v,
                                  (kIndex / 4 * 4 + kIndex % 2 * 2 + kIndex % 4 / 2 * kOfB + kFirst)...)};
}
template <std::size_t N>
KELVO_INLINE bool IsAnyNearMiddle(Lanes<double, N> a, Lanes<double, N> b, unsigned reach) {
  if constexpr (N == 1) {
    return (LanesNearMiddle(a, reach) | LanesNearMiddle(b, reach)) != 0;
  } else {
    constexpr unsigned kSpacing = 1u << 29;
    const auto halves = LowerHalvesBy(ToWords(a), ToWords(b), Simd::LaneNumbersOf<2 * N>{});
    return LanesWithout(halves - Simd::BitLanes<2 * N>::Broadcast(kSpacing / 2 - reach),
                        (kSpacing - 1) & ~(2 * reach - 1)) != 0;
  }
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Math
