// Lanes<T, N>: a vector of N values of T, the same arithmetic in every lane.
//
// A kernel is written once over Lanes. Compiled for a CPU level it works on that level's widest vectors, and its tail
// on Lanes<T, 1>, which holds a plain T. Every operation here rounds each lane exactly as the scalar operation does, so
// the width never shows in a result: there is no horizontal sum and no estimate in this file, and the one fused
// operation says what it may serve for.
//
// A kernel file sees KELVO_LEVEL (the level's name) and KELVO_LANE_BYTES (its vector width). All names lie in an inline
// namespace of the level and everything is forced inline, so that no copy of one level's code can end up in another's.
#pragma once

#include <cstddef>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#endif

#include "simd/kernel_level.h"

#if !defined(__GNUC__)
#error "kelvo_audio needs the vector extension of GCC or Clang"
#endif

#define KELVO_INLINE __attribute__((always_inline)) inline

namespace kelvo::Simd {
inline namespace KELVO_LEVEL {

template <class T, std::size_t kLaneN>
struct Lanes;

// One lane: the scalar form, and the reference for all others.
template <class T>
struct Lanes<T, 1> {
  using Element = T;
  static constexpr std::size_t kSize = 1;
  T v;

  static KELVO_INLINE Lanes Load(const T* from) { return {*from}; }
  static KELVO_INLINE Lanes Broadcast(T value) { return {value}; }
  KELVO_INLINE void Store(T* to) const { *to = v; }
};

template <class T, std::size_t kLaneN>
struct Lanes {
  using Element = T;
  typedef T Vector __attribute__((vector_size(kLaneN * sizeof(T))));
  static constexpr std::size_t kSize = kLaneN;
  Vector v;

  // Neither load nor store needs alignment.
  static KELVO_INLINE Lanes Load(const T* from) {
    Lanes lanes;
    __builtin_memcpy(&lanes.v, from, sizeof(Vector));
    return lanes;
  }
  // Subtracting +0 keeps every value, the sign of zero included; adding it would not.
  static KELVO_INLINE Lanes Broadcast(T value) { return {value - Vector{}}; }
  KELVO_INLINE void Store(T* to) const { __builtin_memcpy(to, &v, sizeof(Vector)); }
};

template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator+(Lanes<T, N> a, Lanes<T, N> b) {
  return {a.v + b.v};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator-(Lanes<T, N> a, Lanes<T, N> b) {
  return {a.v - b.v};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator*(Lanes<T, N> a, Lanes<T, N> b) {
  return {a.v * b.v};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator/(Lanes<T, N> a, Lanes<T, N> b) {
  return {a.v / b.v};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator-(Lanes<T, N> a) {
  return {-a.v};
}

// One value for all lanes, read from memory by the instruction that uses it. A broadcast into a register takes, on some
// CPUs, an arithmetic slot besides the load; as an operand of an AVX-512 instruction it takes the load alone. Compilers
// prefer the register once the value is used twice, hence the assembly.
template <class Lane>
struct BroadcastOperand {
  const typename Lane::Element* from;
};
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> operator*(Lanes<T, N> a, BroadcastOperand<Lanes<T, N>> b) {
  return a * Lanes<T, N>::Broadcast(*b.from);
}
#if defined(__AVX512F__)
KELVO_INLINE Lanes<float, 16> operator*(Lanes<float, 16> a, BroadcastOperand<Lanes<float, 16>> b) {
  Lanes<float, 16> product;
  __asm__("vmulps %2%{1to16%}, %1, %0" : "=v"(product.v) : "v"(a.v), "m"(*b.from));
  return product;
}
#endif

// a * b + c, rounded once, of vectors of doubles where a CPU of this level has it. Such a value must not reach a
// result: it serves to compute one that a test shows to be that of the operations one by one.
template <class Lane>
inline constexpr bool kHasFused = false;
#if defined(__FMA__)
template <>
inline constexpr bool kHasFused<Lanes<double, 4>> = true;
KELVO_INLINE Lanes<double, 4> MultiplyAdd(Lanes<double, 4> a, Lanes<double, 4> b, Lanes<double, 4> c) {
  return {_mm256_fmadd_pd(a.v, b.v, c.v)};
}
#endif
#if defined(__AVX512F__)
template <>
inline constexpr bool kHasFused<Lanes<double, 8>> = true;
KELVO_INLINE Lanes<double, 8> MultiplyAdd(Lanes<double, 8> a, Lanes<double, 8> b, Lanes<double, 8> c) {
  return {_mm512_fmadd_pd(a.v, b.v, c.v)};
}
#endif
#if defined(__aarch64__)
template <>
inline constexpr bool kHasFused<Lanes<double, 2>> = true;
KELVO_INLINE Lanes<double, 2> MultiplyAdd(Lanes<double, 2> a, Lanes<double, 2> b, Lanes<double, 2> c) {
  return {vfmaq_f64(c.v, a.v, b.v)};
}
#endif

// Streaming stores to `to`, which lies on a multiple of the vector's size: a cache line that is written whole goes to
// memory without being read into the caches first. Plain stores where a CPU has none. They are in order with what other
// threads see only after FinishStreaming.
template <std::size_t N>
KELVO_INLINE void Stream(float* to, Lanes<float, N> value) {
  value.Store(to);
}
#if defined(__SSE2__)
KELVO_INLINE void Stream(float* to, Lanes<float, 4> value) { _mm_stream_ps(to, value.v); }
#endif
#if defined(__AVX2__)
KELVO_INLINE void Stream(float* to, Lanes<float, 8> value) { _mm256_stream_ps(to, value.v); }
#endif
#if defined(__AVX512F__)
KELVO_INLINE void Stream(float* to, Lanes<float, 16> value) { _mm512_stream_ps(to, value.v); }
#endif
KELVO_INLINE void FinishStreaming() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

// a < b ? yes : no, lane by lane; false where either side is NaN, as in the scalar comparison.
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> SelectLess(Lanes<T, N> a, Lanes<T, N> b, Lanes<T, N> yes, Lanes<T, N> no) {
  return {a.v < b.v ? yes.v : no.v};
}

// a == b ? yes : no
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> SelectEqual(Lanes<T, N> a, Lanes<T, N> b, Lanes<T, N> yes, Lanes<T, N> no) {
  return {a.v == b.v ? yes.v : no.v};
}

// Lanes of bits: +, - and Broadcast work on them as on numbers, modulo 2^32.
template <std::size_t N>
using BitLanes = Lanes<unsigned, N>;

template <std::size_t N>
KELVO_INLINE BitLanes<N> operator&(BitLanes<N> a, unsigned mask) {
  return {a.v & BitLanes<N>::Broadcast(mask).v};
}
template <std::size_t N>
KELVO_INLINE BitLanes<N> operator|(BitLanes<N> a, BitLanes<N> b) {
  return {a.v | b.v};
}
template <std::size_t N>
KELVO_INLINE BitLanes<N> operator^(BitLanes<N> a, BitLanes<N> b) {
  return {a.v ^ b.v};
}
template <std::size_t N>
KELVO_INLINE BitLanes<N> operator>>(BitLanes<N> a, int shift) {
  return {a.v >> shift};
}

template <std::size_t N>
KELVO_INLINE BitLanes<N> ToBits(Lanes<float, N> a) {
  if constexpr (N == 1) {
    return {__builtin_bit_cast(unsigned, a.v)};
  } else {
    return {(typename BitLanes<N>::Vector)a.v};  // a cast between vector types of one size keeps the bits
  }
}
template <std::size_t N>
KELVO_INLINE Lanes<float, N> FromBits(BitLanes<N> a) {
  if constexpr (N == 1) {
    return {__builtin_bit_cast(float, a.v)};
  } else {
    return {(typename Lanes<float, N>::Vector)a.v};
  }
}
KELVO_INLINE Lanes<float, 1> Sqrt(Lanes<float, 1> a) { return {__builtin_sqrtf(a.v)}; }
// Lane by lane where no instruction takes them all.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> Sqrt(Lanes<float, N> a) {
  for (std::size_t i = 0; i < N; ++i) a.v[i] = __builtin_sqrtf(a.v[i]);
  return a;
}
#if defined(__SSE2__)
KELVO_INLINE Lanes<float, 4> Sqrt(Lanes<float, 4> a) { return {_mm_sqrt_ps(a.v)}; }
#elif defined(__ARM_NEON)
KELVO_INLINE Lanes<float, 4> Sqrt(Lanes<float, 4> a) { return {vsqrtq_f32(a.v)}; }
#elif defined(__wasm_simd128__)
KELVO_INLINE Lanes<float, 4> Sqrt(Lanes<float, 4> a) { return {wasm_f32x4_sqrt(a.v)}; }
#endif
#if defined(__AVX2__)
KELVO_INLINE Lanes<float, 8> Sqrt(Lanes<float, 8> a) { return {_mm256_sqrt_ps(a.v)}; }
#endif
#if defined(__AVX512F__)
// All lanes selected: the unmasked form makes GCC 12 warn of its own uninitialised operand.
KELVO_INLINE Lanes<float, 16> Sqrt(Lanes<float, 16> a) { return {_mm512_maskz_sqrt_ps(0xFFFF, a.v)}; }
#endif

template <std::size_t N>
KELVO_INLINE Lanes<double, N> ToDouble(Lanes<float, N> a) {
  if constexpr (N == 1) {
    return {static_cast<double>(a.v)};
  } else {
    return {__builtin_convertvector(a.v, typename Lanes<double, N>::Vector)};
  }
}
// Each lane rounded to the nearest float.
template <std::size_t N>
KELVO_INLINE Lanes<float, N> ToFloat(Lanes<double, N> a) {
  if constexpr (N == 1) {
    return {static_cast<float>(a.v)};
  } else {
    return {__builtin_convertvector(a.v, typename Lanes<float, N>::Vector)};
  }
}

#if defined(__wasm_simd128__)
KELVO_INLINE Lanes<double, 2> ToDouble(Lanes<float, 2> a) {
  return {wasm_f64x2_promote_low_f32x4(__builtin_shufflevector(a.v, a.v, 0, 1, 0, 1))};
}
KELVO_INLINE Lanes<float, 2> ToFloat(Lanes<double, 2> a) {
  const v128_t pair = wasm_f32x4_demote_f64x2_zero(a.v);
  return {__builtin_shufflevector((Lanes<float, 4>::Vector)pair, (Lanes<float, 4>::Vector)pair, 0, 1)};
}
#endif
// GCC halves these conversions. The masked forms have the one that takes no undefined vector, of which it warns.
#if defined(__AVX2__)
KELVO_INLINE Lanes<double, 4> ToDouble(Lanes<float, 4> a) { return {_mm256_cvtps_pd(a.v)}; }
#endif
#if defined(__AVX512F__)
KELVO_INLINE Lanes<double, 8> ToDouble(Lanes<float, 8> a) { return {_mm512_maskz_cvtps_pd(0xFF, a.v)}; }
KELVO_INLINE Lanes<float, 8> ToFloat(Lanes<double, 8> a) { return {_mm512_maskz_cvtpd_ps(0xFF, a.v)}; }
#endif

// Compile-time lane numbers for the shuffles below; kernels take no standard header that could supply them.
template <int... kIndex>
struct LaneNumbers {};
template <int kCount, int... kIndex>
struct MakeLaneNumbers : MakeLaneNumbers<kCount - 1, kCount - 1, kIndex...> {};
template <int... kIndex>
struct MakeLaneNumbers<0, kIndex...> {
  using Type = LaneNumbers<kIndex...>;
};
template <std::size_t N>
using LaneNumbersOf = typename MakeLaneNumbers<static_cast<int>(N)>::Type;

template <class T, std::size_t N>
struct LanePair {
  Lanes<T, N> first, second;
};

// (a0 a1 ... b0 b1 ...) -> (a0 a2 ... b0 b2 ...), (a1 a3 ... b1 b3 ...): real and imaginary parts out of pairs.
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE LanePair<T, N> DeinterleaveBy(Lanes<T, N> a, Lanes<T, N> b, LaneNumbers<kIndex...>) {
  return {{__builtin_shufflevector(a.v, b.v, (2 * kIndex)...)},
          {__builtin_shufflevector(a.v, b.v, (2 * kIndex + 1)...)}};
}
template <class T, std::size_t N>
KELVO_INLINE LanePair<T, N> Deinterleave(Lanes<T, N> a, Lanes<T, N> b) {
  if constexpr (N == 1) {
    return {a, b};
  } else {
    return DeinterleaveBy(a, b, LaneNumbersOf<N>{});
  }
}

// (a0 a1 ...), (b0 b1 ...) -> (a0 b0 a1 b1 ...) in two vectors: pairs out of real and imaginary parts.
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE LanePair<T, N> InterleaveBy(Lanes<T, N> a, Lanes<T, N> b, LaneNumbers<kIndex...>) {
  constexpr int n = static_cast<int>(N);
  return {{__builtin_shufflevector(a.v, b.v, (kIndex / 2 + kIndex % 2 * n)...)},
          {__builtin_shufflevector(a.v, b.v, (n / 2 + kIndex / 2 + kIndex % 2 * n)...)}};
}
template <class T, std::size_t N>
KELVO_INLINE LanePair<T, N> Interleave(Lanes<T, N> a, Lanes<T, N> b) {
  if constexpr (N == 1) {
    return {a, b};
  } else {
    return InterleaveBy(a, b, LaneNumbersOf<N>{});
  }
}

template <class T, std::size_t N, int... kIndex>
KELVO_INLINE Lanes<T, N> ReverseBy(Lanes<T, N> a, LaneNumbers<kIndex...>) {
  return {__builtin_shufflevector(a.v, a.v, (static_cast<int>(N) - 1 - kIndex)...)};
}
// (a0 a1 ... ) -> (... a1 a0)
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> Reverse(Lanes<T, N> a) {
  if constexpr (N == 1) {
    return a;
  } else {
    return ReverseBy(a, LaneNumbersOf<N>{});
  }
}

template <class T, std::size_t N, int... kIndex>
KELVO_INLINE Lanes<T, N> ReversePairsBy(Lanes<T, N> a, LaneNumbers<kIndex...>) {
  return {__builtin_shufflevector(a.v, a.v, (static_cast<int>(N) - 2 - kIndex / 2 * 2 + kIndex % 2)...)};
}
#if defined(__wasm_simd128__)
// As an intrinsic, which stays a shuffle of its own: compilers join it with an Interleave to one that takes engines
// three instructions instead of one.
template <int... kIndex>
KELVO_INLINE Lanes<float, 4> ReversePairsBy(Lanes<float, 4> a, LaneNumbers<kIndex...>) {
  return {(Lanes<float, 4>::Vector)wasm_i64x2_shuffle((v128_t)a.v, (v128_t)a.v, 1, 0)};
}
#endif
// Two vectors of pairs, as Interleave makes them, with the last pair first.
template <class T, std::size_t N>
KELVO_INLINE LanePair<T, N> ReversePairs(const LanePair<T, N>& pairs) {
  if constexpr (N == 1) {
    return pairs;
  } else {
    return {ReversePairsBy(pairs.second, LaneNumbersOf<N>{}), ReversePairsBy(pairs.first, LaneNumbersOf<N>{})};
  }
}

// Such pairs with the second of each negated.
template <std::size_t N, int... kIndex>
KELVO_INLINE Lanes<float, N> ConjugatePairsBy(Lanes<float, N> a, LaneNumbers<kIndex...>) {
  constexpr typename BitLanes<N>::Vector signs = {(kIndex % 2 * 0x80000000u)...};
  return FromBits(BitLanes<N>{ToBits(a).v ^ signs});
}
template <std::size_t N>
KELVO_INLINE LanePair<float, N> ConjugatePairs(const LanePair<float, N>& pairs) {
  if constexpr (N == 1) {
    return {pairs.first, -pairs.second};
  } else {
    return {ConjugatePairsBy(pairs.first, LaneNumbersOf<N>{}), ConjugatePairsBy(pairs.second, LaneNumbersOf<N>{})};
  }
}

// (a0 a1 ...) -> (a1 a2 ... last)
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE Lanes<T, N> ShiftDownBy(Lanes<T, N> a, Lanes<T, N> last, LaneNumbers<kIndex...>) {
  return {__builtin_shufflevector(a.v, last.v, (kIndex + 1)...)};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, N> ShiftDown(Lanes<T, N> a, T last) {
  if constexpr (N == 1) {
    return {last};
  } else {
    return ShiftDownBy(a, Lanes<T, N>::Broadcast(last), LaneNumbersOf<N>{});
  }
}

// Two vectors out of a and b, 128 bits at a time: (a0 b0 a1 b1), (a2 b2 a3 b3) for kRun 1, (a0 a1 b0 b1), (a2 a3 b2 b3)
// for kRun 2. One cheap instruction each, unlike a shuffle across all lanes.
template <int kRun, class T, std::size_t N, int... kIndex>
KELVO_INLINE LanePair<T, N> UnpackBy(Lanes<T, N> a, Lanes<T, N> b, LaneNumbers<kIndex...>) {
  constexpr int n = static_cast<int>(N);
  return {{__builtin_shufflevector(
              a.v, b.v,
              (kIndex / 4 * 4 + kIndex % 4 / (2 * kRun) * kRun + kIndex % kRun + kIndex % (2 * kRun) / kRun * n)...)},
          {__builtin_shufflevector(a.v, b.v,
                                   (kIndex / 4 * 4 + 2 + kIndex % 4 / (2 * kRun) * kRun + kIndex % kRun +
                                    kIndex % (2 * kRun) / kRun * n)...)}};
}
template <int kRun, class T, std::size_t N>
KELVO_INLINE LanePair<T, N> Unpack(Lanes<T, N> a, Lanes<T, N> b) {
  return UnpackBy<kRun>(a, b, LaneNumbersOf<N>{});
}

// Quarters q0 and q1 of a, then q2 and q3 of b; a quarter is four lanes of sixteen.
template <int q0, int q1, int q2, int q3, class T, int... kIndex>
KELVO_INLINE Lanes<T, 16> QuartersBy(Lanes<T, 16> a, Lanes<T, 16> b, LaneNumbers<kIndex...>) {
  constexpr int begin[4] = {4 * q0, 4 * q1, 16 + 4 * q2, 16 + 4 * q3};
  return {__builtin_shufflevector(a.v, b.v, (begin[kIndex / 4] + kIndex % 4)...)};
}
template <int q0, int q1, int q2, int q3, class T>
KELVO_INLINE Lanes<T, 16> Quarters(Lanes<T, 16> a, Lanes<T, 16> b) {
  return QuartersBy<q0, q1, q2, q3>(a, b, LaneNumbersOf<16>{});
}

// The lower halves of a and b, or the upper ones.
template <int kHalf, class T, int... kIndex>
KELVO_INLINE Lanes<T, 8> HalvesBy(Lanes<T, 8> a, Lanes<T, 8> b, LaneNumbers<kIndex...>) {
  return {__builtin_shufflevector(a.v, b.v, (kHalf * 4 + kIndex % 4 + kIndex / 4 * 8)...)};
}
template <int kHalf, class T>
KELVO_INLINE Lanes<T, 8> Halves(Lanes<T, 8> a, Lanes<T, 8> b) {
  return HalvesBy<kHalf>(a, b, LaneNumbersOf<8>{});
}

// The lower and the upper half of the lanes, and both together again: a vector of floats is two vectors of doubles.
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE LanePair<T, N / 2> SplitBy(Lanes<T, N> a, LaneNumbers<kIndex...>) {
  return {{__builtin_shufflevector(a.v, a.v, kIndex...)},
          {__builtin_shufflevector(a.v, a.v, (static_cast<int>(N / 2) + kIndex)...)}};
}
template <class T, std::size_t N>
KELVO_INLINE LanePair<T, N / 2> Split(Lanes<T, N> a) {
  return SplitBy(a, LaneNumbersOf<N / 2>{});
}
template <class T, std::size_t N, int... kIndex>
KELVO_INLINE Lanes<T, 2 * N> JoinBy(Lanes<T, N> low, Lanes<T, N> high, LaneNumbers<kIndex...>) {
  return {__builtin_shufflevector(low.v, high.v, kIndex...)};
}
template <class T, std::size_t N>
KELVO_INLINE Lanes<T, 2 * N> Join(Lanes<T, N> low, Lanes<T, N> high) {
  return JoinBy(low, high, LaneNumbersOf<2 * N>{});
}

#if defined(__AVX512F__)
KELVO_INLINE Lanes<float, 16> Join(Lanes<float, 8> low,
                                   Lanes<float, 8> high) {  // GCC clears the upper half of low first
  return {_mm512_insertf32x8(_mm512_castps256_ps512(low.v), high.v, 1)};
}
#endif

// Transposes the 4 x 4 tiles of four rows: of floats, those within 128 bits.
template <class T, std::size_t N>
KELVO_INLINE void TransposeTiles(Lanes<T, N>* rows) {
  const LanePair<T, N> a = Unpack<1>(rows[0], rows[1]);
  const LanePair<T, N> b = Unpack<1>(rows[2], rows[3]);
  const LanePair<T, N> first = Unpack<2>(a.first, b.first);
  const LanePair<T, N> second = Unpack<2>(a.second, b.second);
  rows[0] = first.first;
  rows[1] = first.second;
  rows[2] = second.first;
  rows[3] = second.second;
}

// Transposes N rows of N lanes: first the tiles, then their places.
template <class T, std::size_t N>
KELVO_INLINE void Transpose(Lanes<T, N> (&rows)[N]) {
  static_assert(N == 1 || N == 2 || N == 4 || N == 8 || N == 16);
  if constexpr (N == 2) {
    const LanePair<T, N> pair = Interleave(rows[0], rows[1]);
    rows[0] = pair.first;
    rows[1] = pair.second;
  }
  if constexpr (N >= 4) {
#pragma GCC unroll 4
    for (std::size_t r = 0; r < N; r += 4) TransposeTiles(rows + r);
  }
  if constexpr (N == 8) {
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r) {
      const Lanes<T, N> lower = Halves<0>(rows[r], rows[r + 4]);
      rows[r + 4] = Halves<1>(rows[r], rows[r + 4]);
      rows[r] = lower;
    }
  } else if constexpr (N == 16) {
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r) {
      const Lanes<T, N> a = Quarters<0, 1, 0, 1>(rows[r], rows[r + 4]);
      const Lanes<T, N> b = Quarters<0, 1, 0, 1>(rows[r + 8], rows[r + 12]);
      const Lanes<T, N> c = Quarters<2, 3, 2, 3>(rows[r], rows[r + 4]);
      const Lanes<T, N> d = Quarters<2, 3, 2, 3>(rows[r + 8], rows[r + 12]);
      rows[r] = Quarters<0, 2, 0, 2>(a, b);
      rows[r + 4] = Quarters<1, 3, 1, 3>(a, b);
      rows[r + 8] = Quarters<0, 2, 0, 2>(c, d);
      rows[r + 12] = Quarters<1, 3, 1, 3>(c, d);
    }
  }
}

// The widest vectors of this level.
using Floats = Lanes<float, KELVO_LANE_BYTES / sizeof(float)>;
using Doubles = Lanes<double, (KELVO_LANE_BYTES >= sizeof(double) ? KELVO_LANE_BYTES / sizeof(double) : 1)>;

// Sends the cache lines of floats first .. last - 1, which need not lie inside the array, to L2. For rows that are
// written a piece at a time: they lie too far apart for the hardware prefetcher, and stores wait for lines.
KELVO_INLINE void PrefetchToL2(const float* array, std::size_t first, std::size_t last) {
  const std::size_t begin = __builtin_bit_cast(std::size_t, array);
#pragma GCC unroll 4
  for (std::size_t i = first; i < last; i += 16) {
    __builtin_prefetch(reinterpret_cast<const void*>(begin + i * sizeof(float)), 0, 2);
  }
}

// Copies floats by streaming stores of whole cache lines, and by plain ones at the ends.
static inline void StreamRow(float* to, const float* from, std::size_t count) {
  constexpr std::size_t kLineN = 16;
  // Floats up to the next cache line.
  const std::size_t head_n = -(__builtin_bit_cast(std::size_t, to) / sizeof(float)) % kLineN;
  std::size_t i = head_n < count ? head_n : count;
  __builtin_memcpy(to, from, i * sizeof(float));
  for (; i + kLineN <= count; i += kLineN) {
    for (std::size_t j = i; j < i + kLineN; j += Floats::kSize) Stream(to + j, Floats::Load(from + j));
  }
  __builtin_memcpy(to + i, from + i, (count - i) * sizeof(float));
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Simd
