// The recurrence of a linear filter over one signal, for kernel files.
//
// Each sample waits for the one before: y needs z[0], and z[0] the last y. Two forms, with the same operations in the
// same order for every value:
//  - few state values: all in registers, one sample at a time;
//  - more: a group of as many samples at a time as a vector has lanes, with a skewed (wavefront) state. The first state
//    values decide the group's outputs and are few. Of the others, the lane of value k + l holds, after t samples of
//    the group, value k + l - t: so each step is the same for all lanes, and vectors are loaded and stored at the same
//    places for every group, without a shift.
#pragma once

#include <cstddef>

#include "filter/filter_kernels.h"
#include "simd/lanes.h"

namespace kelvo::Filter {
inline namespace KELVO_LEVEL {

using Simd::Doubles;
using Simd::Lanes;

// An empty statement through which the optimiser cannot see a vector of floats. GCC 12 vectorises neighbouring scalars
// and then drops their conversion to float and back.
#if defined(__clang__)
#define KELVO_HIDE(vector)
#elif defined(__x86_64__)
#define KELVO_HIDE(vector) asm("" : "+v"(vector))
#elif defined(__aarch64__)
#define KELVO_HIDE(vector) asm("" : "+w"(vector))
#else
#define KELVO_HIDE(vector) asm("" : "+m"(vector))
#endif

template <class State, std::size_t N>
KELVO_INLINE Lanes<double, N> RoundTo(Lanes<double, N> value) {
  if constexpr (sizeof(State) == sizeof(float)) {
    Lanes<float, N> rounded = ToFloat(value);
    KELVO_HIDE(rounded.v);
    return ToDouble(rounded);
  } else {
    return value;
  }
}

// One state value's step through one sample.
template <class State, class Lane>
KELVO_INLINE Lane AdvanceState(Lane state, Lane b, Lane x, Lane a, Lane y) {
  return RoundTo<State>((b * x + state) - a * y);
}

template <std::size_t N>
KELVO_INLINE double GetLane(Lanes<double, N> lanes, std::size_t i) {
  if constexpr (N == 1) {
    return lanes.v;
  } else {
    return lanes.v[i];
  }
}

// (0, 1, 2 ...)
template <class Lane>
KELVO_INLINE Lane LanePositions() {
  constexpr double kPositions[] = {0, 1, 2, 3, 4, 5, 6, 7};
  return Lane::Load(kPositions);
}

// Filters of kMinN to kMaxN state values, all of them in registers; those that a filter lacks are held at -0. The first
// values, for which the recurrence waits, are single, the others in vectors. Neighbouring values are in neighbouring
// vectors, at the same lane: a value moves on with its vector, and no vector waits for what it was itself a sample ago.
template <class State, std::size_t kMinN, std::size_t kMaxN, class Output, class Input>
KELVO_INLINE void FilterInRegisters(const FilterSignal<Output, Input>& signal, const FilterTables& filter) {
  using One = Lanes<double, 1>;
  // Wider vectors take longer to be rounded to float and back than the recurrence takes for a sample, so only states of
  // many values have them.
  constexpr std::size_t kLaneN = kMaxN >= 14 && Doubles::kSize >= 4 ? 4 : 2;
  using Lane = Lanes<double, kLaneN>;
  constexpr std::size_t kVectorN = kMaxN <= 7 || Doubles::kSize == 1 ? 0 : (kMaxN - 1) / kLaneN;
  constexpr std::size_t kHeadN = kMaxN - kLaneN * kVectorN;
  const auto gather = [&](const double* values) __attribute__((always_inline)) {
    double lanes[kLaneN];
#pragma GCC unroll 4
    for (std::size_t l = 0; l < kLaneN; ++l) lanes[l] = values[l * kVectorN];
    return Lane::Load(lanes);
  };
  // 1 for a value that the filter has, else 0.
  double used[kMaxN];
  for (std::size_t k = 0; k < kMaxN; ++k) used[k] = k + 1 < filter.length ? 1.0 : 0.0;
  One b[kHeadN + 1], a[kHeadN + 1], z[kHeadN + 1];
#pragma GCC unroll 16
  for (std::size_t k = 0; k <= kHeadN; ++k) {
    b[k] = {filter.b[k]};
    a[k] = {filter.a[k]};
    z[k] = {filter.state[k]};
  }
  Lane vector_b[kVectorN + 1], vector_a[kVectorN + 1], vector_used[kVectorN + 1], vectors[kVectorN + 1];
#pragma GCC unroll 16
  for (std::size_t v = 0; v < kVectorN; ++v) {
    vector_b[v] = gather(filter.b + kHeadN + 1 + v);
    vector_a[v] = gather(filter.a + kHeadN + 1 + v);
    vector_used[v] = gather(used + kHeadN + v);
    vectors[v] = gather(filter.state + kHeadN + v);
  }
  const Input* src = signal.src;
  Output* dst = signal.dst;
  for (std::size_t i = 0; i < signal.count; ++i, src += signal.step, dst += signal.step) {
    const One x = {static_cast<double>(*src)};
    const One y = b[0] * x + z[0];
    *dst = static_cast<Output>(y.v);
    if constexpr (kVectorN > 0) {
      z[kHeadN] = {GetLane(vectors[0], 0)};
      vectors[kVectorN] = ShiftDown(vectors[0], -0.0);
    }
#pragma GCC unroll 16
    for (std::size_t k = 0; k < kHeadN; ++k) {
      z[k] = AdvanceState<State>(z[k + 1], b[k + 1], x, a[k + 1], y);
      if (k >= kMinN) z[k] = SelectLess(One{0.0}, One{used[k]}, z[k], One{-0.0});
    }
#pragma GCC unroll 16
    for (std::size_t v = 0; v < kVectorN; ++v) {
      vectors[v] =
          AdvanceState<State>(vectors[v + 1], vector_b[v], Lane::Broadcast(x.v), vector_a[v], Lane::Broadcast(y.v));
      if (kHeadN + v + (kLaneN - 1) * kVectorN >= kMinN) {
        vectors[v] = SelectLess(Lane::Broadcast(0.0), vector_used[v], vectors[v], Lane::Broadcast(-0.0));
      }
    }
  }
#pragma GCC unroll 16
  for (std::size_t k = 0; k < kHeadN; ++k) filter.state[k] = z[k].v;
#pragma GCC unroll 16
  for (std::size_t v = 0; v < kVectorN; ++v) {
#pragma GCC unroll 4
    for (std::size_t l = 0; l < kLaneN; ++l) filter.state[kHeadN + v + l * kVectorN] = GetLane(vectors[v], l);
  }
}

// Lane l holds state value k + l before the group's samples, k + l - t after t of them.
template <class Lane>
struct SkewedState {
  Lane value;
  std::size_t k;
  // Lanes below it have entered the state after the first sample. The others, not yet begun, are held at -0.
  Lane entered_n;
};

template <class Lane>
KELVO_INLINE SkewedState<Lane> LoadState(std::size_t k, const FilterTables& filter) {
  return {Lane::Load(filter.state + k), k,
          Lane::Broadcast(static_cast<double>(static_cast<std::ptrdiff_t>(filter.length - k)))};
}

// One step, through the group's sample t.
template <class State, bool kIsLast, class Lane>
KELVO_INLINE void AdvanceSkewed(SkewedState<Lane>& state, std::size_t t, const FilterTables& filter, double x,
                                double y) {
  const Lane advanced = AdvanceState<State>(state.value, Lane::Load(filter.b + state.k - t), Lane::Broadcast(x),
                                            Lane::Load(filter.a + state.k - t), Lane::Broadcast(y));
  if constexpr (kIsLast) {
    state.value = SelectLess(LanePositions<Lane>(), state.entered_n + Lane::Broadcast(static_cast<double>(t)), advanced,
                             Lane::Broadcast(-0.0));
  } else {
    state.value = advanced;
  }
}

// Several vectors from k on take each step together: one after the other, their latencies would add up.
template <class State, bool kIsLast, std::size_t kVectorN, class Lane>
KELVO_INLINE void AdvanceThroughGroup(std::size_t k, const FilterTables& filter, const double* x, const double* y) {
  SkewedState<Lane> states[kVectorN];
#pragma GCC unroll 8
  for (std::size_t v = 0; v < kVectorN; ++v) states[v] = LoadState<Lane>(k + v * Lane::kSize, filter);
#pragma GCC unroll 8
  for (std::size_t t = 0; t < Lane::kSize; ++t) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) AdvanceSkewed<State, kIsLast>(states[v], t, filter, x[t], y[t]);
  }
#pragma GCC unroll 8
  for (std::size_t v = 0; v < kVectorN; ++v) states[v].value.Store(filter.state + k + v * Lane::kSize - Lane::kSize);
}

// Groups of as many samples as there are lanes, from sample i on; returns the first sample that is left over. Needs
// twice as many state values as there are lanes, or one lane.
template <class State, class Lane, class Output, class Input>
KELVO_INLINE std::size_t FilterInGroups(std::size_t i, const FilterSignal<Output, Input>& signal,
                                        const FilterTables& filter) {
  using One = Lanes<double, 1>;
  constexpr std::size_t kGroupN = Lane::kSize;
  const std::size_t state_n = filter.length - 1;
  double head[kGroupN];
  for (std::size_t u = 0; u < kGroupN; ++u) head[u] = filter.state[u];
  for (; i + kGroupN <= signal.count; i += kGroupN) {
    const Input* const src = signal.src + static_cast<std::ptrdiff_t>(i) * signal.step;
    Output* const dst = signal.dst + static_cast<std::ptrdiff_t>(i) * signal.step;
    double x[kGroupN], y[kGroupN];
#pragma GCC unroll 8
    for (std::size_t t = 0; t < kGroupN; ++t)
      x[t] = static_cast<double>(src[static_cast<std::ptrdiff_t>(t) * signal.step]);
    SkewedState<Lane> next_head = LoadState<Lane>(kGroupN, filter);
    double first = 0.0;
#pragma GCC unroll 8
    for (std::size_t t = 0; t < kGroupN; ++t) {
      y[t] = filter.b[0] * x[t] + head[t];
      dst[static_cast<std::ptrdiff_t>(t) * signal.step] = static_cast<Output>(y[t]);
#pragma GCC unroll 8
      for (std::size_t u = t + 1; u < kGroupN; ++u) {
        head[u] = AdvanceState<State>(One{head[u]}, One{filter.b[u - t]}, One{x[t]}, One{filter.a[u - t]}, One{y[t]}).v;
      }
      // The next group's first sample waits for this one value: computed by itself it is ready before its vector.
      if (t + 1 == kGroupN) {
        first = AdvanceState<State>(One{GetLane(next_head.value, 0)}, One{filter.b[1]}, One{x[t]}, One{filter.a[1]},
                                    One{y[t]})
                    .v;
      }
      AdvanceSkewed<State, false>(next_head, t, filter, x[t], y[t]);
    }
    head[0] = first;
#pragma GCC unroll 8
    for (std::size_t u = 1; u < kGroupN; ++u) head[u] = GetLane(next_head.value, u);
    std::size_t k = 2 * kGroupN;
    for (; k + 4 * kGroupN <= state_n; k += 4 * kGroupN) AdvanceThroughGroup<State, false, 4, Lane>(k, filter, x, y);
    for (; k < state_n + kGroupN; k += 2 * kGroupN) AdvanceThroughGroup<State, true, 2, Lane>(k, filter, x, y);
  }
  for (std::size_t u = 0; u < kGroupN; ++u) filter.state[u] = head[u];
  return i;
}

}  // namespace KELVO_LEVEL
}  // namespace kelvo::Filter
