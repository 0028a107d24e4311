// Sums of squares of frames in lanes.
#include "stft/silence_kernels.h"

#include "simd/lanes.h"

namespace kelvo::Stft {
namespace {

using namespace Simd;

template <class Sum, class Samples>
KELVO_INLINE Sum AddSquare(Sum sum, Samples samples) {
  const Sum wide = ToDouble(samples);
  return sum + wide * wide;
}

// One frame per lane: a frame's sum is in sample order, so it can only go faster beside other frames. Each frame's next
// few samples are one load; a transpose brings them into the order in which they are added.
template <class Sum>
KELVO_INLINE std::size_t SumSquaresFrom(std::size_t t, double* sums, const float* frames, std::size_t frame_n,
                                        std::size_t hop_n, std::size_t win_n) {
  constexpr std::size_t kLaneN = Sum::kSize;
  using Samples = Lanes<float, kLaneN>;
  for (; t + kLaneN <= frame_n; t += kLaneN) {
    const float* first = frames + t * hop_n;
    Sum sum = Sum::Broadcast(0.0);
    std::size_t i = 0;
    for (; i + kLaneN <= win_n; i += kLaneN) {
      Samples samples[kLaneN];
      for (std::size_t lane = 0; lane < kLaneN; ++lane) samples[lane] = Samples::Load(first + lane * hop_n + i);
      Transpose(samples);
      for (const Samples& next : samples) sum = AddSquare(sum, next);
    }
    for (; i < win_n; ++i) {
      float samples[kLaneN];
      for (std::size_t lane = 0; lane < kLaneN; ++lane) samples[lane] = first[lane * hop_n + i];
      sum = AddSquare(sum, Samples::Load(samples));
    }
    sum.Store(sums + t);
  }
  return t;
}

void SumSquares(double* sums, const float* frames, std::size_t frame_n, std::size_t hop_n, std::size_t win_n) {
  const std::size_t t = SumSquaresFrom<Doubles>(0, sums, frames, frame_n, hop_n, win_n);
  SumSquaresFrom<Lanes<double, 1>>(t, sums, frames, frame_n, hop_n, win_n);
}

constexpr SilenceKernels kKernels{SumSquares};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::SilenceKernels&
kelvo::Simd::KernelsAt<kelvo::Stft::SilenceKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
