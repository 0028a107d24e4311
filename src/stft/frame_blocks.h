// How many frames go through the kernels together.
#pragma once

#include <algorithm>
#include <cstddef>

namespace kelvo::Stft {

inline std::size_t RoundUp(std::size_t value, std::size_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// A quarter of the lanes pays for a vector of frames; fewer frames are faster one by one.
inline bool FillsLanes(std::size_t frame_n, std::size_t lane_n) { return 4 * frame_n >= lane_n; }

// Whether `length` complex elements a frame leave room for lane_n frames in the second-level cache, and frame_n is
// enough of them.
inline bool GoSideBySide(std::size_t frame_n, std::size_t length, std::size_t lane_n) {
  constexpr std::size_t kMostFloats = std::size_t{1} << 18;
  return FillsLanes(frame_n, lane_n) && 2 * length * lane_n <= kMostFloats;
}

// The frames of a block, of at most frame_n, if each of them leaves bin_n powers. The cache is shared with the
// transforms.
inline std::size_t ChooseBlock(std::size_t bin_n, std::size_t frame_n, std::size_t lane_n) {
  constexpr std::size_t kMostFloats = std::size_t{25} << 12;
  constexpr std::size_t kMostFrames = 64;
  // Frames however long: rows of a caller's matrix are written in longer pieces.
  constexpr std::size_t kLeastVectors = 2;
  const std::size_t most = std::min(kMostFloats / bin_n, kMostFrames);
  return std::min(std::max(most / lane_n, kLeastVectors) * lane_n, RoundUp(frame_n, lane_n));
}

}  // namespace kelvo::Stft
