// Detection of the non-silent range of a signal.
#include "stft/silence.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

#include "api/checks.h"
#include "base/buffers.h"
#include "base/extension.h"
#include "math/functions.h"
#include "stft/frames.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {
namespace {

// The mean square of silence, -100 dB: its level is finite, and no reference lies below it.
constexpr double kFloor = 1e-10;

double Decibels(double power) { return Math::Log10(power) * 10.0; }

// Frames that are summed in one block. Enough to fill every level's lanes several times; fewer where the hop is so
// large that the samples of a block at an end of the signal, which are copied, would exceed the frame by far.
std::int64_t BlockFrames(std::int64_t win_n, std::int64_t hop_n) {
  constexpr std::int64_t kMaxFrames = 64;
  constexpr std::int64_t kSmallRange = 65536;
  return std::min(kMaxFrames, 1 + std::max(win_n, kSmallRange) / hop_n);
}

std::span<double> ComputeMeanSquares(std::span<const float> src, std::int64_t frame_n, std::int64_t win_n,
                                     std::int64_t hop_n, Simd::Level level, Base::CallScratch& scratch) {
  const auto sum_squares = Simd::KernelsFor<SilenceKernels>(level).sum_squares;
  const std::int64_t block_n = std::min(BlockFrames(win_n, hop_n), frame_n);
  const std::int64_t pad = win_n / 2;
  const auto mean_squares = scratch.Take<double>(static_cast<std::uint64_t>(frame_n));
  const auto padded = scratch.Take<float>(static_cast<std::uint64_t>((block_n - 1) * hop_n + win_n));
  for (std::int64_t t = 0; t < frame_n; t += block_n) {
    const std::int64_t count = std::min(block_n, frame_n - t);
    const auto span_n = static_cast<std::size_t>((count - 1) * hop_n + win_n);
    const std::int64_t first = t * hop_n - pad;
    std::span<const float> frames;
    if (first >= 0 && first + static_cast<std::int64_t>(span_n) <= static_cast<std::int64_t>(src.size())) {
      frames = src.subspan(static_cast<std::size_t>(first), span_n);
    } else {
      Base::ExtractFrameReflect({padded.data(), span_n}, src, t * hop_n, pad);
      frames = padded;
    }
    sum_squares(mean_squares.data() + t, frames.data(), static_cast<std::size_t>(count),
                static_cast<std::size_t>(hop_n), static_cast<std::size_t>(win_n));
  }
  for (double& mean_square : mean_squares) {
    mean_square /= static_cast<double>(win_n);
    if (mean_square < kFloor) mean_square = kFloor;  // in this form a NaN stays
  }
  return mean_squares;
}

}  // namespace

NonSilentSpan FindNonSilentSpan(std::span<const float> src, int win_n, int hop_n, float thr_db, Simd::Level level) {
  // Not the text of the export's check, which comes first there; this is meant.
  Api::FailIf(thr_db < 0.0f, "Invalid thr_db.");
  const auto sample_n = static_cast<std::int64_t>(src.size());
  const int frame_n =
      ComputeFrameCount(static_cast<int>(sample_n), win_n, hop_n, static_cast<int>(CenterMode::Reflect));
  if (frame_n == 0) return {-1, 0};
  // The count then is the largest int. Allocating that many sums might succeed, and exhaust the machine's memory.
  if (hop_n == 0) throw std::bad_alloc();

  Base::CallScratch scratch;
  const std::span<const double> mean_squares = ComputeMeanSquares(src, frame_n, win_n, hop_n, level, scratch);
  double reference = kFloor;
  for (const double mean_square : mean_squares) {
    if (mean_square > reference) reference = mean_square;  // a NaN never is
  }
  const double reference_db = Decibels(reference);
  // Strict: with a threshold of 0 not even the loudest frame counts. This is meant.
  const auto counts = [&](double mean_square) {
    return Decibels(mean_square) - reference_db > -static_cast<double>(thr_db);
  };
  const auto first = std::find_if(mean_squares.begin(), mean_squares.end(), counts);
  if (first == mean_squares.end()) return {-1, 0};
  const auto after_last = std::find_if(mean_squares.rbegin(), mean_squares.rend(), counts).base();

  // Both are clipped: where the frame count was rounded up, the last frame's centre lies beyond the end.
  const std::int64_t start = std::min<std::int64_t>((first - mean_squares.begin()) * hop_n, sample_n);
  const std::int64_t end = std::min<std::int64_t>((after_last - mean_squares.begin()) * hop_n, sample_n);
  return {static_cast<int>(start), static_cast<int>(end - start)};
}

}  // namespace kelvo::Stft
