// The linear filter in lanes.
//
// The recurrence binds a sample to the one before: y needs z[0], z[0] needs the last y. Three forms run it, all with
// the same operations in the same order for every value:
//  - few state values: everything in registers, one sample at a time;
//  - more: as many samples at a time as a vector has lanes. The first state values decide the outputs of these samples
//    and are few; the others travel through the samples in lanes, each ending where it was bound for. Vectors are
//    loaded and stored at the same places for every group, without a shift.
//  - no feedback (all a[k] = +0): an output is a chain of its own, from the oldest input to the newest, so outputs lie
//    in lanes. See ChainsAreExact for where the products with a[k] = 0 could be seen.
#include "filter/filter_kernels.h"

#include "filter/recurrence.h"
#include "simd/lanes.h"

namespace kelvo::Filter {
namespace {

using namespace Simd;

// The widest vectors of the blocked recurrence: the wider they are, the more of a group is decided one by one.
using StateLanes = Lanes<double, (Doubles::kSize < 4 ? Doubles::kSize : 4)>;

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

// The whole state in registers: the first few values one by one, where the recurrence waits for each, the others in
// vectors. Neighbouring values are in neighbouring vectors, at the same lane: a value moves on with its vector, and no
// vector waits for what it was itself a sample before.
template <class State, std::size_t kStateN, class Output, class Input>
KELVO_INLINE void FilterInRegisters(const FilterSignal<Output, Input>& signal, const FilterTables& filter) {
  using One = Lanes<double, 1>;
  // Wider vectors take longer to become float and double again than the recurrence takes to turn, so they are for states
  // of many values only.
  constexpr std::size_t kLaneN = kStateN >= 14 && Doubles::kSize >= 4 ? 4 : 2;
  using Lane = Lanes<double, kLaneN>;
  constexpr std::size_t kVectorN = kStateN <= 7 || Doubles::kSize == 1 ? 0 : (kStateN - 1) / kLaneN;
  constexpr std::size_t kHeadN = kStateN - kLaneN * kVectorN;
  const auto load = [&](const double* values) __attribute__((always_inline)) {
    double lanes[kLaneN];
#pragma GCC unroll 4
    for (std::size_t l = 0; l < kLaneN; ++l) lanes[l] = values[l * kVectorN];
    return Lane::Load(lanes);
  };
  One b[kHeadN + 1], a[kHeadN + 1], z[kHeadN + 1];
#pragma GCC unroll 16
  for (std::size_t k = 0; k <= kHeadN; ++k) {
    b[k] = {filter.b[k]};
    a[k] = {filter.a[k]};
    z[k] = {filter.state[k]};
  }
  Lane vector_b[kVectorN + 1], vector_a[kVectorN + 1], vectors[kVectorN + 1];
#pragma GCC unroll 16
  for (std::size_t v = 0; v < kVectorN; ++v) {
    vector_b[v] = load(filter.b + kHeadN + 1 + v);
    vector_a[v] = load(filter.a + kHeadN + 1 + v);
    vectors[v] = load(filter.state + kHeadN + v);
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
    for (std::size_t k = 1; k <= kHeadN; ++k) z[k - 1] = AdvanceState<State>(z[k], b[k], x, a[k], y);
#pragma GCC unroll 16
    for (std::size_t v = 0; v < kVectorN; ++v) {
      vectors[v] =
          AdvanceState<State>(vectors[v + 1], vector_b[v], Lane::Broadcast(x.v), vector_a[v], Lane::Broadcast(y.v));
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

// The state values from k on, on their way through the group's samples, at whose end they are those from k - kSize on.
template <class Lane>
struct TravellingState {
  Lane value;
  std::size_t k;
  // Lanes below it have entered the state after the first sample. The others, not yet begun, are held at -0.
  Lane entered_n;
};

template <class Lane>
KELVO_INLINE TravellingState<Lane> LoadState(std::size_t k, const FilterTables& filter) {
  return {Lane::Load(filter.state + k), k,
          Lane::Broadcast(static_cast<double>(static_cast<std::ptrdiff_t>(filter.length - k)))};
}

// One step, through the group's sample t.
template <class State, bool kIsLast, class Lane>
KELVO_INLINE void Travel(TravellingState<Lane>& state, std::size_t t, const FilterTables& filter, double x, double y) {
  const Lane advanced = AdvanceState<State>(state.value, Lane::Load(filter.b + state.k - t), Lane::Broadcast(x),
                                            Lane::Load(filter.a + state.k - t), Lane::Broadcast(y));
  if constexpr (kIsLast) {
    state.value = SelectLess(LanePositions<Lane>(), state.entered_n + Lane::Broadcast(static_cast<double>(t)), advanced,
                             Lane::Broadcast(-0.0));
  } else {
    state.value = advanced;
  }
}

// Several vectors from k on take each step together: one after the other they would fill the CPU's window with waiting.
template <class State, bool kIsLast, std::size_t kVectorN, class Lane>
KELVO_INLINE void TravelThroughGroup(std::size_t k, const FilterTables& filter, const double* x, const double* y) {
  TravellingState<Lane> states[kVectorN];
#pragma GCC unroll 8
  for (std::size_t v = 0; v < kVectorN; ++v) states[v] = LoadState<Lane>(k + v * Lane::kSize, filter);
#pragma GCC unroll 8
  for (std::size_t t = 0; t < Lane::kSize; ++t) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) Travel<State, kIsLast>(states[v], t, filter, x[t], y[t]);
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
    TravellingState<Lane> next_head = LoadState<Lane>(kGroupN, filter);
    double first = 0.0;
#pragma GCC unroll 8
    for (std::size_t t = 0; t < kGroupN; ++t) {
      y[t] = filter.b[0] * x[t] + head[t];
      dst[static_cast<std::ptrdiff_t>(t) * signal.step] = static_cast<Output>(y[t]);
#pragma GCC unroll 8
      for (std::size_t u = t + 1; u < kGroupN; ++u) {
        head[u] = AdvanceState<State>(One{head[u]}, One{filter.b[u - t]}, One{x[t]}, One{filter.a[u - t]}, One{y[t]}).v;
      }
      // The next group's first sample waits for this one value: by itself it is sooner there than in its vector.
      if (t + 1 == kGroupN) {
        first = AdvanceState<State>(One{GetLane(next_head.value, 0)}, One{filter.b[1]}, One{x[t]}, One{filter.a[1]},
                                    One{y[t]})
                    .v;
      }
      Travel<State, false>(next_head, t, filter, x[t], y[t]);
    }
    head[0] = first;
#pragma GCC unroll 8
    for (std::size_t u = 1; u < kGroupN; ++u) head[u] = GetLane(next_head.value, u);
    std::size_t k = 2 * kGroupN;
    for (; k + 4 * kGroupN <= state_n; k += 4 * kGroupN) TravelThroughGroup<State, false, 4, Lane>(k, filter, x, y);
    for (; k < state_n + kGroupN; k += 2 * kGroupN) TravelThroughGroup<State, true, 2, Lane>(k, filter, x, y);
  }
  for (std::size_t u = 0; u < kGroupN; ++u) filter.state[u] = head[u];
  return i;
}

template <class State, class Output, class Input>
void FilterRecursively(const FilterSignal<Output, Input>& signal, const FilterTables& filter) {
  switch (filter.length - 1) {
    case 1: return FilterInRegisters<State, 1>(signal, filter);
    case 2: return FilterInRegisters<State, 2>(signal, filter);
    case 3: return FilterInRegisters<State, 3>(signal, filter);
    case 4: return FilterInRegisters<State, 4>(signal, filter);
    case 5: return FilterInRegisters<State, 5>(signal, filter);
    case 6: return FilterInRegisters<State, 6>(signal, filter);
    case 7: return FilterInRegisters<State, 7>(signal, filter);
    case 8: return FilterInRegisters<State, 8>(signal, filter);
    case 9: return FilterInRegisters<State, 9>(signal, filter);
    case 10: return FilterInRegisters<State, 10>(signal, filter);
    case 11: return FilterInRegisters<State, 11>(signal, filter);
    case 12: return FilterInRegisters<State, 12>(signal, filter);
    case 13: return FilterInRegisters<State, 13>(signal, filter);
    case 14: return FilterInRegisters<State, 14>(signal, filter);
    case 15: return FilterInRegisters<State, 15>(signal, filter);
    case 16: return FilterInRegisters<State, 16>(signal, filter);
    case 17: return FilterInRegisters<State, 17>(signal, filter);
    case 18: return FilterInRegisters<State, 18>(signal, filter);
    case 19: return FilterInRegisters<State, 19>(signal, filter);
    case 20: return FilterInRegisters<State, 20>(signal, filter);
    default: break;
  }
  const std::size_t i = FilterInGroups<State, StateLanes>(0, signal, filter);
  FilterInGroups<State, Lanes<double, 1>>(i, signal, filter);
}

// One of kVectorN vectors' chains: values[0], values[1] ... are the lanes' newest inputs, so values[-j] the inputs that
// meet coefficient j. Coefficients from `oldest` down to `newest`, the state rounded after each but the output's.
template <class State, std::size_t kVectorN, class Lane>
KELVO_INLINE void RunChains(Lane (&z)[kVectorN], const double* values, const double* b, std::size_t oldest,
                            std::size_t newest) {
#pragma GCC unroll 8
  for (std::size_t v = 0; v < kVectorN; ++v) {
    z[v] = RoundTo<State>(Lane::Broadcast(b[oldest]) * Lane::Load(values + v * Lane::kSize - oldest));
  }
  for (std::size_t j = oldest; j-- > newest;) {
    const Lane coefficient = Lane::Broadcast(b[j]);
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      z[v] = RoundTo<State>(coefficient * Lane::Load(values + v * Lane::kSize - j) + z[v]);
    }
  }
}

// The outputs of a block, from output i on; may write up to the end of the last vector. `input` points to the block's
// first input, behind length - 1 older ones.
template <class State, std::size_t kVectorN, class Lane>
KELVO_INLINE std::size_t ComputeOutputs(std::size_t i, std::size_t count, double* output, const double* input,
                                        const FilterTables& filter) {
  for (; i + kVectorN * Lane::kSize <= count; i += kVectorN * Lane::kSize) {
    Lane z[kVectorN];
    RunChains<State>(z, input + i, filter.b, filter.length - 1, 1);
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      const Lane x = Lane::Load(input + i + v * Lane::kSize);
      (Lane::Broadcast(filter.b[0]) * x + z[v]).Store(output + i + v * Lane::kSize);
    }
  }
  return i;
}

// The state behind the block: the chains of the outputs to come, as far as they have got. Some vectors of values go
// together, so that their chains overlap. May write up to the end of the last of them.
template <class State, class Lane>
KELVO_INLINE void ComputeState(double* state, const double* input_end, const FilterTables& filter) {
  constexpr std::size_t kVectorN = 4;
  static_assert(kVectorN * Lane::kSize <= kFilterSlack);
  const std::size_t last = filter.length - 1;
  for (std::size_t k = 0; k < last; k += kVectorN * Lane::kSize) {
    Lane z[kVectorN];
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) z[v] = Lane::Broadcast(-0.0);
    // Value k has passed coefficients `last` to k + 1; the lanes stop one after the other.
    for (std::size_t j = last; j > k; --j) {
      const Lane coefficient = Lane::Broadcast(filter.b[j]);
#pragma GCC unroll 4
      for (std::size_t v = 0; v < kVectorN; ++v) {
        const std::size_t first = k + v * Lane::kSize;
        const Lane advanced = RoundTo<State>(coefficient * Lane::Load(input_end + first - j) + z[v]);
        const double passing_n = static_cast<double>(j) - static_cast<double>(first);
        z[v] = SelectLess(LanePositions<Lane>(), Lane::Broadcast(passing_n), advanced, z[v]);
      }
    }
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) z[v].Store(state + k + v * Lane::kSize);
  }
}

// What is among some values.
struct Kinds {
  bool minus_zero;
  bool negative;  // the sign set, -0 included
  bool infinite_or_nan;
};

KELVO_INLINE Kinds FindKinds(const double* values, std::size_t count) {
  constexpr unsigned long long kSign = 1ull << 63;
  constexpr unsigned long long kExponent = 0x7FFull << 52;
  unsigned long long any_bits = 0;
  unsigned long long any_minus_zero = 0;
  unsigned long long any_not_finite = 0;
  for (std::size_t i = 0; i < count; ++i) {
    unsigned long long bits;
    __builtin_memcpy(&bits, values + i, sizeof(bits));
    any_bits |= bits;
    any_minus_zero |= bits == kSign ? 1u : 0u;
    any_not_finite |= (bits & kExponent) == kExponent ? 1u : 0u;
  }
  return {any_minus_zero != 0, (any_bits & kSign) != 0, any_not_finite != 0};
}

// Chains leave out "- a[k] y" with a[k] = +0. If y is finite the product is a zero, and subtracting it changes nothing
// unless y has its sign set: then it turns a -0 into +0. So the recurrence's values equal the chains', except that some
// -0 may be +0, and what is +0 in a chain is +0 in the recurrence. A difference shows only where a chain ends in -0,
// and it needs a y with its sign set, in this block or in the past of the state that the block begins with.
KELVO_INLINE bool ChainsAreExact(Kinds outputs, Kinds state, bool began_exact) {
  return (began_exact && !outputs.negative) || !(outputs.minus_zero || state.minus_zero);
}

template <class State, class Output, class Input>
void FeedForward(const FilterSignal<Output, Input>& signal, const FilterTables& filter, const FirScratch& scratch) {
  const std::size_t state_n = filter.length - 1;
  const auto at = [&](std::size_t i) { return static_cast<std::ptrdiff_t>(i) * signal.step; };
  const auto part = [&](std::size_t i, std::size_t count) {
    return FilterSignal<Output, Input>{signal.dst + at(i), signal.src + at(i), signal.step, count};
  };
  // The inputs that the next block's chains begin with, before dst can overwrite them.
  for (std::size_t i = 0; i < state_n; ++i) scratch.input[i] = static_cast<double>(signal.src[at(i)]);
  FilterRecursively<State>(part(0, state_n), filter);

  double* const block_input = scratch.input + state_n;
  bool state_is_exact = false;  // the state has the bits of the chains
  for (std::size_t i = state_n; i < signal.count;) {
    const std::size_t count = signal.count - i < scratch.block_n ? signal.count - i : scratch.block_n;
    for (std::size_t n = 0; n < count; ++n) block_input[n] = static_cast<double>(signal.src[at(i + n)]);
    std::size_t n = ComputeOutputs<State, 8, Doubles>(0, count, scratch.output, block_input, filter);
    n = ComputeOutputs<State, 1, Doubles>(n, count, scratch.output, block_input, filter);
    ComputeOutputs<State, 1, Lanes<double, 1>>(n, count, scratch.output, block_input, filter);
    ComputeState<State, Doubles>(scratch.state, block_input + count, filter);
    // What follows an infinite output is NaN for good: 0 y is NaN, and enters every state value.
    const double newest_state = filter.state[state_n - 1];
    const Kinds outputs = FindKinds(scratch.output, count);
    if (newest_state != newest_state || outputs.infinite_or_nan) {
      return FilterRecursively<State>(part(i, signal.count - i), filter);
    }
    if (ChainsAreExact(outputs, FindKinds(scratch.state, state_n), state_is_exact)) {
      state_is_exact = true;
      for (n = 0; n < count; ++n) signal.dst[at(i + n)] = static_cast<Output>(scratch.output[n]);
      for (n = 0; n < state_n; ++n) filter.state[n] = scratch.state[n];
    } else {
      // All of the final state stems from this block if that is long enough.
      state_is_exact = !outputs.negative && count >= state_n;
      FilterRecursively<State>(part(i, count), filter);
    }
    for (n = 0; n < state_n; ++n) scratch.input[n] = scratch.input[n + count];
    i += count;
  }
}

template <class State, class Output, class Input>
constexpr FilterPair<Output, Input> kPair{FilterRecursively<State, Output, Input>, FeedForward<State, Output, Input>};

constexpr FilterKernels kKernels{kPair<float, float, float>, kPair<double, double, float>, kPair<double, float, double>};

}  // namespace
}  // namespace kelvo::Filter

template <>
const kelvo::Filter::FilterKernels&
kelvo::Simd::KernelsAt<kelvo::Filter::FilterKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Filter::kKernels;
}
