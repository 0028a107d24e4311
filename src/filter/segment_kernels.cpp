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

// dst[c * dst_stride + r] = src[r * src_stride + c] for a square of kSegmentN rows and columns.
template <class T>
KELVO_INLINE void TransposeSquare(T* dst, std::ptrdiff_t dst_stride, const T* src, std::ptrdiff_t src_stride, std::size_t rows,
                                  std::size_t columns) {
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
KELVO_INLINE Lanes<double, N> LoadAsDouble(const float* from) { return ToDouble(Lanes<float, N>::Load(from)); }
template <std::size_t N>
KELVO_INLINE Lanes<double, N> LoadAsDouble(const double* from) { return Lanes<double, N>::Load(from); }
template <std::size_t N>
KELVO_INLINE void StoreAs(float* to, Lanes<double, N> value) { ToFloat(value).Store(to); }
template <std::size_t N>
KELVO_INLINE void StoreAs(double* to, Lanes<double, N> value) { value.Store(to); }

// One sample of kVectorN vectors of segments.
template <class State, class Output, class Input>
KELVO_INLINE void AdvanceSegments(Output* output, const Input* input, double* state, const SegmentFilter& filter) {
  constexpr std::size_t kSize = Doubles::kSize;
  Doubles x[kVectorN], y[kVectorN];
  const Doubles b_0 = Doubles::Broadcast(filter.b[0]);
#pragma GCC unroll 4
  for (std::size_t v = 0; v < kVectorN; ++v) {
    x[v] = LoadAsDouble<kSize>(input + v * kSize);
    y[v] = b_0 * x[v] + Doubles::Load(state + v * kSize);
    StoreAs(output + v * kSize, y[v]);
  }
  for (std::size_t k = 1; k < filter.length; ++k, state += kSegmentN) {
    const Doubles b = Doubles::Broadcast(filter.b[k]);
    const Doubles a = Doubles::Broadcast(filter.a[k]);
    const bool is_last = k + 1 == filter.length;
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) {
      // Adding -0 changes nothing: the last value has no successor.
      const Doubles next = is_last ? Doubles::Broadcast(-0.0) : Doubles::Load(state + kSegmentN + v * kSize);
      AdvanceState<State>(next, b, x[v], a, y[v]).Store(state + v * kSize);
    }
  }
}

template <class State, class Output, class Input>
void RunSegments(const SegmentedSignal<Output, Input>& signal, const SegmentFilter& filter) {
  constexpr std::size_t kTogether = kVectorN * Doubles::kSize;
  alignas(64) Input input[kSegmentBlock * kSegmentN];
  alignas(64) Output output[kSegmentBlock * kSegmentN];
  constexpr auto kRow = static_cast<std::ptrdiff_t>(kSegmentN);
  // Blocks lie in memory from their first element on, whichever sample that is.
  const bool is_reverse = signal.step < 0;
  const std::ptrdiff_t to_first = is_reverse ? 1 - static_cast<std::ptrdiff_t>(kSegmentBlock) : 0;
  for (std::size_t i = 0; i < signal.count; i += kSegmentBlock) {
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(i) * signal.step + to_first;
    TransposeSquare(input, kRow, signal.src + offset, signal.apart, kSegmentN, kSegmentBlock);
    for (std::size_t s = 0; s < kSegmentN; s += kTogether) {
      for (std::size_t t = 0; t < kSegmentBlock; ++t) {
        const std::size_t row = (is_reverse ? kSegmentBlock - 1 - t : t) * kSegmentN + s;
        AdvanceSegments<State>(output + row, input + row, filter.state + s, filter);
      }
    }
    if (signal.dst != nullptr) TransposeSquare(signal.dst + offset, signal.apart, output, kRow, kSegmentBlock, kSegmentN);
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
