// How many frames go through the kernels together.
#pragma once

#include <algorithm>
#include <cstddef>

namespace kelvo::Stft {

inline std::size_t RoundUp(std::size_t value, std::size_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// A quarter of the lanes pays for a batch of frames; fewer frames are faster one by one.
inline bool FillsBatch(std::size_t frame_n, std::size_t lane_n) { return 4 * frame_n >= lane_n; }

// Whether `length` complex elements a frame leave room for a batch of lane_n frames in L2, and frame_n is enough of
// them.
inline bool UseBatch(std::size_t frame_n, std::size_t length, std::size_t lane_n) {
  constexpr std::size_t kMaxFloats = std::size_t{1} << 18;  // 1 MiB, an L2 of 2020 and later
  return FillsBatch(frame_n, lane_n) && 2 * length * lane_n <= kMaxFloats;
}

// The number of frames in a block, given frame_n frames of bin_n powers each, which share L2 with the transforms.
// Blocks of 16 to 128 frames were within 2 % of each other at 400 to 2048 samples.
inline std::size_t ChooseBlock(std::size_t bin_n, std::size_t frame_n, std::size_t lane_n) {
  constexpr std::size_t kMaxFloats = std::size_t{25} << 12;
  constexpr std::size_t kMaxFrames = 64;
  // Even for long frames, so that rows of the caller's matrix are written in longer pieces.
  constexpr std::size_t kMinBatches = 2;
  const std::size_t most = std::min(kMaxFloats / bin_n, kMaxFrames);
  return std::min(std::max(most / lane_n, kMinBatches) * lane_n, RoundUp(frame_n, lane_n));
}

}  // namespace kelvo::Stft
