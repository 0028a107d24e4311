// Spectrograms, of frames that are cut, windowed, transformed and scaled, and their inverse.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/buffers.h"
#include "fft/fft_kernels.h"
#include "fft/fft_plan.h"
#include "simd/level.h"
#include "stft/frames.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {

// A factor on every complex bin.
enum class SpectrumNorm {
  None = 0,
  WindowL2 = 1,  // 1 / sqrt(sum of the squared window)
  TwoOverN = 2,  // 2 / fft_n
};

struct ShortTimeSettings {
  int sample_n;
  int fft_n;
  int hop_n;
  int win_n;
  int win_type;
  int max_frame_n;
  int center;
  int norm_type;
};

inline std::size_t RoundUp(std::size_t value, std::size_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// A quarter of the lanes pays for a batch of frames; fewer frames are faster one by one. So is a single frame, and in
// memory that a stack has.
inline bool FillsBatch(std::size_t frame_n, std::size_t lane_n) { return frame_n > 1 && 4 * frame_n >= lane_n; }

// Whether `length` complex elements a frame to work on leave room for a batch of lane_n frames in L2, and frame_n is
// enough of them.
inline bool UseBatch(std::size_t frame_n, std::size_t length, std::size_t lane_n) {
  constexpr std::size_t kMaxFloats = std::size_t{1} << 18;  // 1 MiB, an L2 of 2020 and later
  return FillsBatch(frame_n, lane_n) && 2 * length * lane_n <= kMaxFloats;
}

// The number of frames in a block, given frame_n frames of bin_n powers each, which share L2 with the transforms.
// Blocks of 16 to 128 frames were within 2 % of each other at 400 to 2048 samples.
inline std::size_t ChooseBlock(std::size_t bin_n, std::size_t frame_n, std::size_t lane_n) {
  constexpr std::size_t kMaxFloats = std::size_t{25} << 12;
  constexpr std::size_t kMaxFrames = 64;
  // Even for long frames, so that rows of the caller's matrix are written in longer pieces; one batch is within 2 %.
  constexpr std::size_t kMinBatches = 2;
  const std::size_t most = std::min(kMaxFloats / bin_n, kMaxFrames);
  return std::min(std::max(most / lane_n, kMinBatches) * lane_n, RoundUp(frame_n, lane_n));
}

// The number of frames that the settings ask for, at most max_frame_n. Fails, as Fft::CheckPlanSize does, where a plan
// would be too large.
std::size_t CountFrames(const ShortTimeSettings& settings);

// Bytes of a result in rows from which on streaming stores pay, whatever the CPU: rows of smaller ones are prefetched,
// which costs as much or less, and they stay in the caches until they are read.
inline constexpr std::size_t kStreamedRowBytes = std::size_t{32} << 20;

// Where the columns of a result go, in ascending order. Those of a result that is larger than the caches are collected
// in a block that fits L2, and leave it in whole cache lines, past the caches.
class ResultColumns {
 public:
  // dst [row_n x at least column_n], of columns of `width` floats each.
  ResultColumns(const BinBlock& dst, std::size_t row_n, std::size_t column_n, std::size_t width,
                const StftKernels& kernels, Base::CallScratch& scratch);

  // The place of the next `count` columns, 64 / width at most; it is theirs until the next call.
  BinBlock Next(std::size_t count);
  // After the last column.
  void Finish();

 private:
  BinBlock dst_;
  std::size_t row_n_;
  std::size_t width_;
  const StftKernels& kernels_;
  BinBlock collected_{};  // no memory: columns go to their places directly
  std::size_t collectable_n_ = 0;
  std::size_t collected_n_ = 0;
};

// Everything that a call needs: tables, and all of its scratch memory, so that nothing can fail once output is written.
//
// Frames go through the kernels in batches, as many as a vector has lanes. A few frames left over, and frames so long
// that a batch would not fit the caches, are transformed one by one, with the same result to the bit.
class ShortTimeTransform {
 public:
  // Complex bins, powers as the real parts of complex values, or powers alone.
  enum class Output { Complex, RealParts, Power };

  // frame_n is CountFrames(settings), and not 0.
  ShortTimeTransform(const ShortTimeSettings& settings, std::size_t frame_n, Output output, float power,
                     Simd::Level level, Base::CallScratch& scratch);

  std::size_t BatchStride() const { return BinCount() * bins_.stride; }
  const StftKernels& Kernels() const { return kernels_; }
  std::size_t BinCount() const { return static_cast<std::size_t>(settings_.fft_n) / 2 + 1; }

  // Writes complex values of all frames of src.
  void StoreAll(ResultColumns& columns, std::span<const float> src);

  // For powers alone: calls use(frame count, BinBlock) for consecutive blocks of all frames of src, whose
  // batches lie BatchStride() floats apart.
  template <class Use>
  void ForEachBlock(std::span<const float> src, Use&& use) {
    for (std::size_t first = 0; first < frame_n_; first += block_n_) {
      const std::size_t count = std::min(block_n_, frame_n_ - first);
      ComputeBlock(src, first, count);
      use(count, bins_);
    }
  }

 private:
  void ComputeBlock(std::span<const float> src, std::size_t first, std::size_t count);
  void ComputeFrame(std::span<const float> src, std::size_t index, const BinBlock& bins);
  FrameSource FindFrames(std::span<const float> src, std::size_t first, std::size_t count);

  ShortTimeSettings settings_;
  std::size_t frame_n_;
  CenterMode center_;
  std::int64_t pad_;  // samples of padding before the signal
  const StftKernels& kernels_;
  FrameSettings frame_settings_;
  bool is_batched_;
  std::size_t block_n_ = 1;
  // Frames that reach beyond the ends of the signal, cut out of the padded signal. They overlap unless the hop is
  // longer than a frame.
  float* padded_ = nullptr;
  std::size_t padded_hop_ = 0;
  BinBlock bins_{};
  float* work_ = nullptr;
  float* frame_ = nullptr;
};

// dst [fft_n / 2 + 1 x max_frame_n] complex; only the columns of frames that exist are written. A power above 0 gives
// (|bin|^power, 0) instead of the complex bins.
void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level);

struct InverseSettings {
  int frame_n;
  int freq_n;
  int hop_n;
  int win_n;
  int win_type;
  int max_sample_n;
  int center;
  int norm_type;
};

// The signal of a spectrogram, by weighted overlap-add [Griffin and Lim 1984]: dst [min(L, max_sample_n)], L = fft_n +
// (frame_n - 1) * hop_n; src [freq_n x frame_n] complex. Fails with KelvoInvalidArgument where freq_n makes no
// transform or the window is longer than it, with std::length_error where a length is beyond 32 bits.
void ComputeInverseSpectrogram(float* dst, const float* src, const InverseSettings& settings, Simd::Level level);

}  // namespace kelvo::Stft
