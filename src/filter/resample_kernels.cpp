// The resampler in lanes.
//
// An output is a sum in a fixed order, so lanes lie across outputs; and all lanes must use the same phase filter, so
// they lie whole cycles of phases apart: each lane has a segment of the signal to itself. With the segments
// interleaved, every load is one vector, whatever the ratio.
#include "filter/resample_kernels.h"

#include "simd/lanes.h"

namespace kelvo::Filter {
namespace {

using namespace Simd;

// Sums at a time: enough to hide the latency of an addition, few enough for 16 registers.
constexpr std::size_t kSumN = 8;

template <std::size_t a, std::size_t b>
constexpr std::size_t kMin = a < b ? a : b;

// kOutputN consecutive outputs of kVectorN vectors of segments. x[q] points to the oldest input of output q, h[q] to
// the tap that it meets, the last of its filter.
template <class Lane, std::size_t kOutputN, std::size_t kVectorN>
KELVO_INLINE void ComputeOutputs(float* output, std::size_t row, const double* const (&x)[kOutputN],
                                 const double* const (&h)[kOutputN]) {
  Lane sum[kOutputN][kVectorN];
#pragma GCC unroll 8
  for (std::size_t q = 0; q < kOutputN; ++q) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) sum[q][v] = Lane::Broadcast(0.0);
  }
#pragma GCC unroll 5
  for (std::size_t k = 0; k < kTapN; ++k) {
#pragma GCC unroll 8
    for (std::size_t q = 0; q < kOutputN; ++q) {
      const Lane tap = Lane::Broadcast(*(h[q] - k));
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) {
        sum[q][v] = sum[q][v] + Lane::Load(x[q] + k * row + v * Lane::kSize) * tap;
      }
    }
  }
#pragma GCC unroll 8
  for (std::size_t q = 0; q < kOutputN; ++q) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) ToFloat(sum[q][v]).Store(output + q * row + v * Lane::kSize);
  }
}

// Outputs from the m-th on, kOutputN at a time; returns the first that is left over.
template <std::size_t kSegmentN, std::size_t kOutputN>
KELVO_INLINE std::size_t FilterOutputs(std::size_t m, float* output, const double*& x, std::size_t output_n,
                                       ResampleCycle& cycle) {
  using Lane = Lanes<double, kMin<Doubles::kSize, kSegmentN>>;
  constexpr std::size_t kVectorN = kMin<kSumN / kOutputN, kSegmentN / Lane::kSize>;
  for (; m + kOutputN <= output_n; m += kOutputN) {
    const double* inputs[kOutputN];
    const double* taps[kOutputN];
    for (std::size_t q = 0; q < kOutputN; ++q) {
      inputs[q] = x;
      taps[q] = cycle.taps + static_cast<std::size_t>(cycle.phase[cycle.index]) * kTapN + (kTapN - 1);
      x += static_cast<std::size_t>(cycle.step[cycle.index]) * kSegmentN;
      if (++cycle.index == cycle.up) cycle.index = 0;
    }
    for (std::size_t s = 0; s < kSegmentN; s += kVectorN * Lane::kSize) {
      ComputeOutputs<Lane, kOutputN, kVectorN>(output + m * kSegmentN + s, kSegmentN, inputs, taps);
      for (std::size_t q = 0; q < kOutputN; ++q) inputs[q] += kVectorN * Lane::kSize;
    }
  }
  return m;
}

template <std::size_t kSegmentN>
KELVO_INLINE void FilterSegments(float* output, const double* x, std::size_t output_n, ResampleCycle cycle) {
  constexpr std::size_t kVectorN = kMin<kSumN, kSegmentN / kMin<Doubles::kSize, kSegmentN>>;
  const std::size_t m = FilterOutputs<kSegmentN, kSumN / kVectorN>(0, output, x, output_n, cycle);
  FilterOutputs<kSegmentN, 1>(m, output, x, output_n, cycle);
}

void Filter(float* output, const double* interleaved, std::size_t segment_n, std::size_t output_n,
            const ResampleCycle& cycle) {
  switch (segment_n) {
    case 32: return FilterSegments<32>(output, interleaved, output_n, cycle);
    case 16: return FilterSegments<16>(output, interleaved, output_n, cycle);
    case 8: return FilterSegments<8>(output, interleaved, output_n, cycle);
    case 4: return FilterSegments<4>(output, interleaved, output_n, cycle);
    default: return FilterSegments<1>(output, interleaved, output_n, cycle);
  }
}

// Squares of this size are transposed in registers.
constexpr std::size_t kSquare = kMin<Floats::kSize, 4>;

// From element i on; returns the first that is left over.
template <std::size_t kSize>
KELVO_INLINE std::size_t InterleaveFrom(std::size_t i, double* interleaved, const float* const* segments,
                                        std::size_t segment_n, std::size_t count) {
  constexpr std::size_t kPrefetchDistance = 32;  // 16 are up to 5 % slower, 64 equal
  for (; i + kSize <= count; i += kSize) {
    for (std::size_t s = 0; s < segment_n; s += kSize) {
      Lanes<float, kSize> rows[kSize];
      // The segments are more streams than CPUs prefetch by themselves. They take turns: a line, once, for one at a
      // time.
      if (i + kPrefetchDistance < count) __builtin_prefetch(segments[s + i / kSize % kSize] + i + kPrefetchDistance);
#pragma GCC unroll 4
      for (std::size_t r = 0; r < kSize; ++r) rows[r] = Lanes<float, kSize>::Load(segments[s + r] + i);
      Transpose(rows);
#pragma GCC unroll 4
      for (std::size_t r = 0; r < kSize; ++r) ToDouble(rows[r]).Store(interleaved + (i + r) * segment_n + s);
    }
  }
  return i;
}

void Interleave(double* interleaved, const float* const* segments, std::size_t segment_n, std::size_t count) {
  std::size_t i = 0;
  if (segment_n % kSquare == 0) i = InterleaveFrom<kSquare>(i, interleaved, segments, segment_n, count);
  InterleaveFrom<1>(i, interleaved, segments, segment_n, count);
}

template <std::size_t kSize>
KELVO_INLINE void DeinterleaveSegments(float* const* segments, const std::size_t* counts, const float* output,
                                       std::size_t segment_n) {
  std::size_t shared_n = counts[0];
  for (std::size_t r = 1; r < kSize; ++r) {
    if (counts[r] < shared_n) shared_n = counts[r];
  }
  std::size_t m = 0;
  for (; m + kSize <= shared_n; m += kSize) {
    Lanes<float, kSize> rows[kSize];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < kSize; ++r) rows[r] = Lanes<float, kSize>::Load(output + (m + r) * segment_n);
    Transpose(rows);
#pragma GCC unroll 4
    for (std::size_t r = 0; r < kSize; ++r) rows[r].Store(segments[r] + m);
  }
  for (std::size_t r = 0; r < kSize; ++r) {
    for (std::size_t n = m; n < counts[r]; ++n) segments[r][n] = output[n * segment_n + r];
  }
}

void Deinterleave(float* const* segments, const std::size_t* counts, const float* output, std::size_t segment_n) {
  if (segment_n % kSquare == 0) {
    for (std::size_t s = 0; s < segment_n; s += kSquare) {
      DeinterleaveSegments<kSquare>(segments + s, counts + s, output + s, segment_n);
    }
  } else {
    for (std::size_t s = 0; s < segment_n; ++s)
      DeinterleaveSegments<1>(segments + s, counts + s, output + s, segment_n);
  }
}

constexpr ResampleKernels kKernels{Interleave, Filter, Deinterleave};

}  // namespace
}  // namespace kelvo::Filter

template <>
const kelvo::Filter::ResampleKernels&
kelvo::Simd::KernelsAt<kelvo::Filter::ResampleKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Filter::kKernels;
}
