// The linear filter with segments of a signal in lanes.
//
// The recurrence binds a sample to the one before, which leaves a CPU waiting most of the time. Segments that begin at
// different samples do not wait for one another, and each has the operations of the recurrence in its order.
#include "filter/segment_kernels.h"

#include "filter/recurrence.h"
#include "simd/lanes.h"

namespace kelvo::Filter {
namespace {

using namespace Simd;

// Vectors whose chains overlap.
constexpr std::size_t kVectorN = kSegmentN / Doubles::kSize < 4 ? kSegmentN / Doubles::kSize : 4;

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

// kVectorN vectors of segments through a block, whose rows are a sample of all segments each.
template <class State, class Output, class Input>
KELVO_INLINE void RunBlock(Output* output, const Input* input, bool is_reverse, double* state, const double* b,
                           const double* a, std::size_t state_n) {
  constexpr std::size_t kSize = Doubles::kSize;
  for (std::size_t t = 0; t < kSegmentBlock; ++t) {
    const std::size_t row = (is_reverse ? kSegmentBlock - 1 - t : t) * kSegmentN;
    Doubles x[kVectorN], y[kVectorN];
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      x[v] = LoadAsDouble<kSize>(input + row + v * kSize);
      y[v] = Doubles::Broadcast(b[0]) * x[v] + Doubles::Load(state + v * kSize);
      StoreAs(output + row + v * kSize, y[v]);
    }
    const auto advance = [&](double* z, std::size_t k, auto next) __attribute__((always_inline)) {
      const Doubles b_k = Doubles::Broadcast(b[k]);
      const Doubles a_k = Doubles::Broadcast(a[k]);
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) {
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
void RunSegments(const SegmentedSignal<Output, Input>& signal, const SegmentFilter& filter) {
  alignas(64) Input input[kSegmentBlock * kSegmentN];
  alignas(64) Output output[kSegmentBlock * kSegmentN];
  constexpr auto kRow = static_cast<std::ptrdiff_t>(kSegmentN);
  // Blocks lie in memory from their first element on, whichever sample that is.
  const bool is_reverse = signal.step < 0;
  const std::ptrdiff_t to_first = is_reverse ? 1 - static_cast<std::ptrdiff_t>(kSegmentBlock) : 0;
  const std::size_t state_n = filter.length - 1;
  for (std::size_t i = 0; i < signal.count; i += kSegmentBlock) {
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(i) * signal.step + to_first;
    TransposeBlock(input, kRow, signal.src + offset, signal.apart, kSegmentN, kSegmentBlock);
    for (std::size_t s = 0; s < kSegmentN; s += kVectorN * Doubles::kSize) {
      RunBlock<State>(output + s, input + s, is_reverse, filter.state + s, filter.b, filter.a, state_n);
    }
    if (signal.dst != nullptr)
      TransposeBlock(signal.dst + offset, signal.apart, output, kRow, kSegmentBlock, kSegmentN);
  }
}

constexpr SegmentKernels kKernels{RunSegments<float, float, float>, RunSegments<double, double, float>,
                                  RunSegments<double, float, double>};

}  // namespace
}  // namespace kelvo::Filter

template <>
const kelvo::Filter::SegmentKernels&
kelvo::Simd::KernelsAt<kelvo::Filter::SegmentKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Filter::kKernels;
}
