// Sums of squares of frames in lanes.
#include "simd/lanes.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {
namespace {

using namespace Simd;

// As many as the widest vectors hold; of narrower ones, several are in flight.
constexpr std::size_t kFramesInFlight = 8;

template <class Sum, class Samples>
KELVO_INLINE Sum AddSquare(Sum sum, Samples samples) {
  const Sum wide = ToDouble(samples);
  return sum + wide * wide;
}

// One frame per lane: a frame's sum is in sample order, so only several frames can be vectorised. Each frame's next few
// samples are one load; a transpose brings them into the order in which they are added. Several groups of lanes are in
// flight, since each addition waits for the one before it in its own lane.
template <class Sum, std::size_t kGroupN>
KELVO_INLINE std::size_t SumSquaresFrom(std::size_t t, double* sums, const float* frames, std::size_t frame_n,
                                        std::size_t hop_n, std::size_t win_n) {
  constexpr std::size_t kLaneN = Sum::kSize;
  using Samples = Lanes<float, kLaneN>;
  for (; t + kGroupN * kLaneN <= frame_n; t += kGroupN * kLaneN) {
    Sum group_sums[kGroupN];
    for (Sum& sum : group_sums) sum = Sum::Broadcast(0.0);
    std::size_t i = 0;
    for (; i + kLaneN <= win_n; i += kLaneN) {
      std::size_t next = t * hop_n + i;
      for (Sum& sum : group_sums) {
        Samples samples[kLaneN];
        for (std::size_t lane = 0; lane < kLaneN; ++lane, next += hop_n) samples[lane] = Samples::Load(frames + next);
        Transpose(samples);
        for (const Samples& column : samples) sum = AddSquare(sum, column);
      }
    }
    for (; i < win_n; ++i) {
      std::size_t next = t * hop_n + i;
      for (Sum& sum : group_sums) {
        float column[kLaneN];
        for (std::size_t lane = 0; lane < kLaneN; ++lane, next += hop_n) column[lane] = frames[next];
        sum = AddSquare(sum, Samples::Load(column));
      }
    }
    for (std::size_t group = 0; group < kGroupN; ++group) group_sums[group].Store(sums + t + group * kLaneN);
  }
  return t;
}

void SumSquares(double* sums, const float* frames, std::size_t frame_n, std::size_t hop_n, std::size_t win_n) {
  std::size_t t = SumSquaresFrom<Doubles, kFramesInFlight / Doubles::kSize>(0, sums, frames, frame_n, hop_n, win_n);
  t = SumSquaresFrom<Doubles, 1>(t, sums, frames, frame_n, hop_n, win_n);
  SumSquaresFrom<Lanes<double, 1>, 1>(t, sums, frames, frame_n, hop_n, win_n);
}

constexpr SilenceKernels kKernels{SumSquares};

}  // namespace
}  // namespace kelvo::Stft

template <>
const kelvo::Stft::SilenceKernels&
kelvo::Simd::KernelsAt<kelvo::Stft::SilenceKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Stft::kKernels;
}
