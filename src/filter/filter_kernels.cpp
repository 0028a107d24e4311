// The linear filter in its three forms: the recurrence itself, segments of a signal in lanes, and filters without
// feedback.
//
// Segments that begin at different samples do not wait for one another as a segment's samples do, and each has the
// operations of the recurrence in its order.
//
// Without feedback (all a[k] = +0) an output is a sum of its own, taken from the oldest input to the newest and rounded
// as the state is, so outputs lie in lanes. The sums leave out the products a[k] y = 0 y, which a result can show:
//  - y infinite or NaN: 0 y is NaN and enters every state value, so from there on the recurrence takes over;
//  - y finite: subtracting 0 y changes nothing unless y has its sign set, which turns a -0 into +0. So the recurrence's
//    values equal the sums', except that some -0 may be +0, and what is +0 in a sum is +0 in the recurrence.
// A difference shows only where a sum ends in -0, and it needs a y with its sign set, in this block or before the state
// that the block begins with. Such blocks, as of digital silence with negative zeros, are left to the recurrence.
#include "filter/filter_kernels.h"

#include "filter/recurrence.h"
#include "simd/lanes.h"

namespace kelvo::Filter {
namespace {

// Common orders have registers for exactly their state. The others up to 16 share one form: a sample of order 15 takes
// 1.6 times as long in groups.
template <class State, class Output, class Input>
void FilterRecursively(const FilterSignal<Output, Input>& signal, const FilterTables& filter) {
  const std::size_t state_n = filter.length - 1;
  switch (state_n) {
    case 1: return FilterInRegisters<State, 1, 1>(signal, filter);
    case 2: return FilterInRegisters<State, 2, 2>(signal, filter);
    case 3: return FilterInRegisters<State, 3, 3>(signal, filter);
    case 4: return FilterInRegisters<State, 4, 4>(signal, filter);
    case 5: return FilterInRegisters<State, 5, 5>(signal, filter);
    case 6: return FilterInRegisters<State, 6, 6>(signal, filter);
    case 8: return FilterInRegisters<State, 8, 8>(signal, filter);
    case 16: return FilterInRegisters<State, 16, 16>(signal, filter);
    default: break;
  }
  if (state_n <= 16) return FilterInRegisters<State, 7, 16>(signal, filter);
  // The wider the vectors, the more of a group is decided value by value.
  using Lane = Lanes<double, (Doubles::kSize < 4 ? Doubles::kSize : 4)>;
  const std::size_t i = FilterInGroups<State, Lane>(0, signal, filter);
  FilterInGroups<State, Lanes<double, 1>>(i, signal, filter);
}

// Vectors of segments at a time, so that their latencies overlap.
constexpr std::size_t kSegmentVectorN = 4;
static_assert(kSegmentN % (kSegmentVectorN * Doubles::kSize) == 0);

// dst[c * dst_stride + r] = src[r * src_stride + c]; rows and columns are multiples of 16.
template <class T>
KELVO_INLINE void TransposeBlock(T* dst, std::ptrdiff_t dst_stride, const T* src, std::ptrdiff_t src_stride,
                                 std::size_t rows, std::size_t columns) {
  constexpr std::size_t kSize = KELVO_LANE_BYTES / sizeof(T) > 0 ? KELVO_LANE_BYTES / sizeof(T) : 1;
  using Tile = Lanes<T, kSize>;
  for (std::size_t r = 0; r < rows; r += kSize) {
    for (std::size_t c = 0; c < columns; c += kSize) {
      Tile tile[kSize];
#pragma GCC unroll 16
      for (std::size_t i = 0; i < kSize; ++i) {
        tile[i] = Tile::Load(src + static_cast<std::ptrdiff_t>(r + i) * src_stride + c);
      }
      Transpose(tile);
#pragma GCC unroll 16
      for (std::size_t i = 0; i < kSize; ++i) tile[i].Store(dst + static_cast<std::ptrdiff_t>(c + i) * dst_stride + r);
    }
  }
}

template <std::size_t N>
KELVO_INLINE Lanes<double, N> LoadAsDouble(const float* from) {
  return ToDouble(Lanes<float, N>::Load(from));
}
template <std::size_t N>
KELVO_INLINE Lanes<double, N> LoadAsDouble(const double* from) {
  return Lanes<double, N>::Load(from);
}
template <std::size_t N>
KELVO_INLINE void StoreAs(float* to, Lanes<double, N> value) {
  ToFloat(value).Store(to);
}
template <std::size_t N>
KELVO_INLINE void StoreAs(double* to, Lanes<double, N> value) {
  value.Store(to);
}

// kSegmentVectorN vectors of segments through a block; each of its rows is a sample of all segments.
template <class State, class Output, class Input>
KELVO_INLINE void FilterBlock(Output* output, const Input* input, bool is_reverse, double* state,
                              const FilterTables& filter) {
  constexpr std::size_t kSize = Doubles::kSize;
  const std::size_t state_n = filter.length - 1;
  // Copies: vectors are stored byte by byte, as far as the compiler knows, which could change the fields of `filter`.
  const double* const b = filter.b;
  const double* const a = filter.a;
  for (std::size_t t = 0; t < kSegmentBlock; ++t) {
    const std::size_t row = (is_reverse ? kSegmentBlock - 1 - t : t) * kSegmentN;
    Doubles x[kSegmentVectorN], y[kSegmentVectorN];
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kSegmentVectorN; ++v) {
      x[v] = LoadAsDouble<kSize>(input + row + v * kSize);
      y[v] = Doubles::Broadcast(b[0]) * x[v] + Doubles::Load(state + v * kSize);
      StoreAs(output + row + v * kSize, y[v]);
    }
    const auto advance = [&](double* z, std::size_t k, auto next) __attribute__((always_inline)) {
      const Doubles b_k = Doubles::Broadcast(b[k]);
      const Doubles a_k = Doubles::Broadcast(a[k]);
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kSegmentVectorN; ++v) {
        AdvanceState<State>(next(v), b_k, x[v], a_k, y[v]).Store(z + v * kSize);
      }
    };
    double* z = state;
    for (std::size_t k = 1; k < state_n; ++k, z += kSegmentN) {
      advance(z, k, [z](std::size_t v) { return Doubles::Load(z + kSegmentN + v * kSize); });
    }
    advance(z, state_n, [](std::size_t) { return Doubles::Broadcast(-0.0); });
  }
}

template <class State, class Output, class Input>
void FilterSegments(const SegmentedSignal<Output, Input>& signal, const FilterTables& filter, double* states) {
  alignas(64) Input input[kSegmentBlock * kSegmentN];
  alignas(64) Output output[kSegmentBlock * kSegmentN];
  constexpr auto kRow = static_cast<std::ptrdiff_t>(kSegmentN);
  // In memory a block of a reversed signal begins with its last sample.
  const bool is_reverse = signal.step < 0;
  const std::ptrdiff_t to_first = is_reverse ? 1 - static_cast<std::ptrdiff_t>(kSegmentBlock) : 0;
  for (std::size_t i = 0; i < signal.count; i += kSegmentBlock) {
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(i) * signal.step + to_first;
    TransposeBlock(input, kRow, signal.src + offset, signal.apart, kSegmentN, kSegmentBlock);
    for (std::size_t s = 0; s < kSegmentN; s += kSegmentVectorN * Doubles::kSize) {
      FilterBlock<State>(output + s, input + s, is_reverse, states + s, filter);
    }
    if (signal.dst != nullptr)
      TransposeBlock(signal.dst + offset, signal.apart, output, kRow, kSegmentBlock, kSegmentN);
  }
}

// Outputs from i on, kVectorN vectors at a time, each with its sum: from the product with the oldest input to that with
// the newest. `input` points to the block's first input, after length - 1 older ones. May read and write up to the end
// of the last vector.
template <class State, std::size_t kVectorN>
KELVO_INLINE std::size_t AccumulateOutputs(std::size_t i, std::size_t count, double* output, const double* input,
                                           const FilterTables& filter) {
  const std::size_t last = filter.length - 1;
  for (; i + (kVectorN - 1) * Doubles::kSize < count; i += kVectorN * Doubles::kSize) {
    const auto inputs = [&](std::size_t v, std::size_t k) __attribute__((always_inline)) {
      return Doubles::Load(input + i + v * Doubles::kSize - k);
    };
    Doubles z[kVectorN];
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      z[v] = RoundTo<State>(Doubles::Broadcast(filter.b[last]) * inputs(v, last));
    }
    for (std::size_t k = last; --k > 0;) {
      const Doubles coefficient = Doubles::Broadcast(filter.b[k]);
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) z[v] = RoundTo<State>(coefficient * inputs(v, k) + z[v]);
    }
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      (Doubles::Broadcast(filter.b[0]) * inputs(v, 0) + z[v]).Store(output + i + v * Doubles::kSize);
    }
  }
  return i;
}

// The state after the block: the sums of the outputs to come, as far as they have got. May write up to the end of the
// last group of vectors, whose latencies overlap.
template <class State>
KELVO_INLINE void AccumulateState(double* state, const double* input_end, const FilterTables& filter) {
  constexpr std::size_t kVectorN = 4;  // two are 4 % slower with 255 taps
  constexpr std::size_t kSize = Doubles::kSize;
  static_assert(kVectorN * kSize <= kFilterSlack);
  const std::size_t last = filter.length - 1;
  for (std::size_t k = 0; k < last; k += kVectorN * kSize) {
    Doubles z[kVectorN];
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) z[v] = Doubles::Broadcast(-0.0);
    // Value k has passed coefficients `last` to k + 1; the lanes stop one after the other.
    for (std::size_t j = last; j > k; --j) {
      const Doubles coefficient = Doubles::Broadcast(filter.b[j]);
#pragma GCC unroll 4
      for (std::size_t v = 0; v < kVectorN; ++v) {
        const std::size_t first = k + v * kSize;
        const Doubles advanced = RoundTo<State>(coefficient * Doubles::Load(input_end + first - j) + z[v]);
        const double passing_n = static_cast<double>(j) - static_cast<double>(first);
        z[v] = SelectLess(LanePositions<Doubles>(), Doubles::Broadcast(passing_n), advanced, z[v]);
      }
    }
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) z[v].Store(state + k + v * kSize);
  }
}

// The outputs of a block in scratch, and the state after it. A function of its own, since types of samples share it.
template <class State>
__attribute__((noinline)) void AccumulateBlock(const FirScratch& scratch, std::size_t count,
                                               const FilterTables& filter) {
  const double* const input = scratch.input + filter.length - 1;
  const std::size_t i = AccumulateOutputs<State, 8>(0, count, scratch.output, input, filter);
  AccumulateOutputs<State, 1>(i, count, scratch.output, input, filter);
  AccumulateState<State>(scratch.state, input + count, filter);
}

// What is among some values.
struct Kinds {
  bool minus_zero;
  bool negative;  // the sign set, -0 included
  bool infinite_or_nan;
};

__attribute__((noinline)) Kinds FindKinds(const double* values, std::size_t count) {
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

template <class State, class Output, class Input>
void FeedForward(const FilterSignal<Output, Input>& signal, const FilterTables& filter, const FirScratch& scratch) {
  const std::size_t state_n = filter.length - 1;
  const auto at = [&](std::size_t i) { return static_cast<std::ptrdiff_t>(i) * signal.step; };
  const auto filter_recursively = [&](std::size_t i, std::size_t count) {
    FilterRecursively<State>(FilterSignal<Output, Input>{signal.dst + at(i), signal.src + at(i), signal.step, count},
                             filter);
  };
  // The inputs that the next block's sums begin with, before dst can overwrite them.
  for (std::size_t i = 0; i < state_n; ++i) scratch.input[i] = static_cast<double>(signal.src[at(i)]);
  filter_recursively(0, state_n);

  double* const block_input = scratch.input + state_n;
  for (std::size_t i = state_n; i < signal.count;) {
    const std::size_t count = signal.count - i < scratch.block_n ? signal.count - i : scratch.block_n;
    for (std::size_t n = 0; n < count; ++n) block_input[n] = static_cast<double>(signal.src[at(i + n)]);
    AccumulateBlock<State>(scratch, count, filter);
    const double newest_state = filter.state[state_n - 1];
    const Kinds outputs = FindKinds(scratch.output, count);
    if (newest_state != newest_state || outputs.infinite_or_nan) return filter_recursively(i, signal.count - i);
    // In a block without a sign no sum of an output is -0, and the state stems from it alone if it is long enough.
    if ((!outputs.negative && count >= state_n) ||
        !(outputs.minus_zero || FindKinds(scratch.state, state_n).minus_zero)) {
      for (std::size_t n = 0; n < count; ++n) signal.dst[at(i + n)] = static_cast<Output>(scratch.output[n]);
      __builtin_memcpy(filter.state, scratch.state, state_n * sizeof(double));
    } else {
      filter_recursively(i, count);
    }
    __builtin_memmove(scratch.input, scratch.input + count, state_n * sizeof(double));
    i += count;
  }
}

template <class State, class Output, class Input>
constexpr FilterForms<Output, Input> kForms{FilterRecursively<State, Output, Input>, FeedForward<State, Output, Input>,
                                            FilterSegments<State, Output, Input>};

constexpr FilterKernels kKernels{kForms<float, float, float>, kForms<double, double, float>,
                                 kForms<double, float, double>};

}  // namespace
}  // namespace kelvo::Filter

template <>
const kelvo::Filter::FilterKernels&
kelvo::Simd::KernelsAt<kelvo::Filter::FilterKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Filter::kKernels;
}
