// The resampler in lanes.
//
// An output is a sum in a fixed order, so lanes lie across outputs; and all lanes must use the same phase filter, so
// they lie whole cycles of phases apart: each lane has a segment of the signal to itself. With the segments
// interleaved, every load is one vector, whatever the ratio.
#include "filter/filter_kernels.h"
#include "simd/lanes.h"

namespace kelvo::Filter {
namespace {

using namespace Simd;

constexpr std::size_t Min(std::size_t a, std::size_t b) { return a < b ? a : b; }

// Sums at a time, which hide the latency of an addition and share what they load: as many as AVX2's 16 registers hold
// beside an input and the taps, or the 32 of AVX-512 and NEON; with AVX-512, 20 and 24 gain nothing. Where nothing is
// fused, products take registers too, and sharing gains nothing.
constexpr std::size_t kSumN = kHasFused<Doubles> ? (Doubles::kSize == 4 ? 12 : 16) : 8;
// Of these, adjacent vectors of segments; the others are outputs that follow each other.
constexpr std::size_t kAdjacentN = kHasFused<Doubles> ? 4 : 8;

// How far apart the inputs of outputs that share them may begin: beyond, few are shared. With 16, short signals take up
// to a fifth longer from 44.1 to 16 kHz.
constexpr std::size_t kMostApart = 24;

// Whether no lane differs.
template <std::size_t N>
KELVO_INLINE bool IsZero(BitLanes<N> bits) {
  unsigned parts[N];
  __builtin_memcpy(parts, &bits.v, sizeof(parts));
  unsigned any = 0;
#pragma GCC unroll 8
  for (const unsigned part : parts) any |= part;
  return any == 0;
}

// kOutputN consecutive outputs of kVectorN vectors of segments. Output q begins with the input offset[q] rows after x,
// ascending from 0, and with the tap last[q], the last of its filter. Inputs that meet all of these filters are loaded
// once, and those before and after them are added to one output after the other, unless these would be many.
//
// A fused sum takes half the instructions, and is one of other roundings. It lies within error[v] of the sum with a
// rounding after each operation; where all values within that distance round to the same float, that is the output.
// Else this is false, and the outputs are not valid. An infinite input makes the error infinite; a NaN gives a NaN.
template <bool kIsFused, class Lane, std::size_t kOutputN, std::size_t kVectorN>
KELVO_INLINE bool ComputeOutputs(float* output, std::size_t row, const double* x, const std::size_t (&offset)[kOutputN],
                                 const double* const (&last)[kOutputN], const double* error) {
  Lane sum[kOutputN][kVectorN];
#pragma GCC unroll 8
  for (std::size_t q = 0; q < kOutputN; ++q) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) sum[q][v] = Lane::Broadcast(0.0);
  }
  const auto add = [](Lane& to, Lane input, Lane tap) {
    if constexpr (kIsFused) {
      to = MultiplyAdd(input, tap, to);
    } else {
      to = to + input * tap;
    }
  };
  const std::size_t first_shared = offset[kOutputN - 1];
  if (first_shared <= kMostApart) {
    // Rows `from` to `to - 1` after x, of output q alone.
    const auto add_alone = [&](std::size_t q, std::size_t from, std::size_t to) {
      for (std::size_t i = from; i < to; ++i) {
        const Lane tap = Lane::Broadcast(*(last[q] - (i - offset[q])));
#pragma GCC unroll 8
        for (std::size_t v = 0; v < kVectorN; ++v) add(sum[q][v], Lane::Load(x + i * row + v * Lane::kSize), tap);
      }
    };
#pragma GCC unroll 8
    for (std::size_t q = 0; q + 1 < kOutputN; ++q) add_alone(q, offset[q], first_shared);
    for (std::size_t i = first_shared; i < kTapN; ++i) {
      Lane tap[kOutputN];
#pragma GCC unroll 8
      for (std::size_t q = 0; q < kOutputN; ++q) tap[q] = Lane::Broadcast(*(last[q] - (i - offset[q])));
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) {
        const Lane input = Lane::Load(x + i * row + v * Lane::kSize);
#pragma GCC unroll 8
        for (std::size_t q = 0; q < kOutputN; ++q) add(sum[q][v], input, tap[q]);
      }
    }
#pragma GCC unroll 8
    for (std::size_t q = 1; q < kOutputN; ++q) add_alone(q, kTapN, offset[q] + kTapN);
  } else {
    for (std::size_t k = 0; k < kTapN; ++k) {
#pragma GCC unroll 8
      for (std::size_t q = 0; q < kOutputN; ++q) {
        const Lane tap = Lane::Broadcast(*(last[q] - k));
        const double* const inputs = x + (offset[q] + k) * row;
#pragma GCC unroll 8
        for (std::size_t v = 0; v < kVectorN; ++v) add(sum[q][v], Lane::Load(inputs + v * Lane::kSize), tap);
      }
    }
  }
  if constexpr (kIsFused) {
    BitLanes<Lane::kSize> differences{};
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) {
      const Lane distance = Lane::Load(error + v * Lane::kSize);
#pragma GCC unroll 8
      for (std::size_t q = 0; q < kOutputN; ++q) {
        const auto least = ToFloat(sum[q][v] - distance);
        const auto greatest = ToFloat(sum[q][v] + distance);
        differences = differences | (ToBits(least) ^ ToBits(greatest));
        least.Store(output + q * row + v * Lane::kSize);
      }
    }
    return IsZero(differences);
  } else {
#pragma GCC unroll 8
    for (std::size_t q = 0; q < kOutputN; ++q) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) ToFloat(sum[q][v]).Store(output + q * row + v * Lane::kSize);
    }
    return true;
  }
}

// The outputs of one block.
template <std::size_t kSegmentN>
struct FilterBlock {
  using Lane = Lanes<double, Min(Doubles::kSize, kSegmentN)>;

  float* output;
  const double* x;
  std::size_t output_n;
  ResampleCycle cycle;
  double error[kSegmentN];
  // Fused sums that may turn out to be in doubt, which is rare unless outputs are far below the inputs.
  std::size_t doubt_n;

  // Outputs from the m-th on, kOutputN at a time; returns the first that is left over.
  template <std::size_t kOutputN, std::size_t kVectorN>
  KELVO_INLINE std::size_t Run(std::size_t m) {
    for (; m + kOutputN <= output_n; m += kOutputN) {
      std::size_t offset[kOutputN];
      const double* last[kOutputN];
      std::size_t next = 0;
      for (std::size_t q = 0; q < kOutputN; ++q) {
        offset[q] = next;
        last[q] = cycle.taps + static_cast<std::size_t>(cycle.phase[cycle.index]) * kTapN + (kTapN - 1);
        next += static_cast<std::size_t>(cycle.step[cycle.index]);
        if (++cycle.index == cycle.up) cycle.index = 0;
      }
      for (std::size_t s = 0; s < kSegmentN; s += kVectorN * Lane::kSize) {
        float* const to = output + m * kSegmentN + s;
        bool is_done = false;
        if constexpr (kHasFused<Lane>) {
          if (doubt_n > 0) {
            is_done = ComputeOutputs<true, Lane, kOutputN, kVectorN>(to, kSegmentN, x + s, offset, last, error + s);
            if (!is_done) --doubt_n;
          }
        }
        if (!is_done) ComputeOutputs<false, Lane, kOutputN, kVectorN>(to, kSegmentN, x + s, offset, last, nullptr);
      }
      x += next * kSegmentN;
    }
    return m;
  }
};

template <std::size_t kSegmentN>
KELVO_INLINE void FilterSegments(float* output, const double* x, const double* largest, std::size_t output_n,
                                 const ResampleCycle& cycle) {
  constexpr std::size_t kWholeN = kSegmentN / Min(Doubles::kSize, kSegmentN);
  constexpr std::size_t kVectorN = Min(kAdjacentN, kWholeN);
  FilterBlock<kSegmentN> block{output, x, output_n, cycle, {}, 1 + output_n / 16};
  for (std::size_t s = 0; s < kSegmentN; ++s) block.error[s] = largest[s] * cycle.sum_error;
  // Eight sums hide the latency. Of few vectors, more sums would be of outputs too far apart to share their inputs.
  constexpr std::size_t kOutputN = (kVectorN == kAdjacentN ? kSumN : Min(kSumN, 8)) / kVectorN;
  block.template Run<1, kVectorN>(block.template Run<kOutputN, kVectorN>(0));
}

void Filter(float* output, const double* interleaved, const double* largest, std::size_t segment_n,
            std::size_t output_n, const ResampleCycle& cycle) {
  switch (segment_n) {
    case 32: return FilterSegments<32>(output, interleaved, largest, output_n, cycle);
    case 16: return FilterSegments<16>(output, interleaved, largest, output_n, cycle);
    case 8: return FilterSegments<8>(output, interleaved, largest, output_n, cycle);
    case 4: return FilterSegments<4>(output, interleaved, largest, output_n, cycle);
    default: return FilterSegments<1>(output, interleaved, largest, output_n, cycle);
  }
}

// Squares of this size are transposed in registers.
constexpr std::size_t kSquare = Min(Floats::kSize, 4);

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

template <class Lane>
KELVO_INLINE Lane Magnitude(Lane x) {
  return FromBits(ToBits(x) & 0x7FFFFFFFu);
}

// The largest magnitude. Comparing leaves NaN out.
double LargestOf(const float* samples, std::size_t count) {
  Floats largest = Floats::Broadcast(0.0f);
  std::size_t i = 0;
  for (; i + Floats::kSize <= count; i += Floats::kSize) {
    const Floats x = Magnitude(Floats::Load(samples + i));
    largest = SelectLess(largest, x, x, largest);
  }
  float parts[Floats::kSize];
  largest.Store(parts);
  float result = 0.0f;
  for (const float part : parts) result = result < part ? part : result;
  for (; i < count; ++i) {
    const float x = Magnitude(Lanes<float, 1>{samples[i]}).v;
    result = result < x ? x : result;
  }
  return static_cast<double>(result);
}

void Interleave(double* interleaved, double* largest, const float* const* segments, std::size_t segment_n,
                std::size_t count) {
  std::size_t i = 0;
  if (segment_n % kSquare == 0) i = InterleaveFrom<kSquare>(i, interleaved, segments, segment_n, count);
  InterleaveFrom<1>(i, interleaved, segments, segment_n, count);
  constexpr bool kIsUsed = kHasFused<Doubles>;
  for (std::size_t s = 0; s < segment_n; ++s) largest[s] = kIsUsed ? LargestOf(segments[s], count) : 0.0;
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
