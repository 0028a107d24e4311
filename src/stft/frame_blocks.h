// How frames of a signal lie in memory when several go through the kernels side by side.
//
// The signal is cut into columns of `row_n` neighbouring samples, one column every hop, and stored by rows. Sample i of
// frame t is then in row i % row_n of column t + i / row_n: one vector holds it for several frames.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kelvo::Stft {

inline std::size_t RoundUp(std::size_t value, std::size_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// Rows of a block lie an odd number of cache lines apart, so that a column of them is spread over all sets of a cache.
inline std::size_t RowStride(std::size_t column_n) {
  constexpr std::size_t kLineFloats = 16;
  return (RoundUp(column_n, kLineFloats) / kLineFloats | 1) * kLineFloats;
}

// A quarter of the lanes pays for a vector of frames; fewer frames are faster one by one.
inline bool FillsLanes(std::size_t frame_n, std::size_t lane_n) { return 4 * frame_n >= lane_n; }

class FrameBlocks {
 public:
  FrameBlocks() = default;
  // For at most frame_n frames; other_floats_n is what each frame of a block needs besides its column.
  FrameBlocks(std::size_t fft_n, std::size_t hop, std::size_t frame_n, std::size_t lane_n, std::size_t other_floats_n)
      // A hop of 0 or beyond the frame's length leaves nothing to share between frames: a column is then a whole frame.
      : row_n_(hop > 0 && hop < fft_n ? hop : fft_n), shared_column_n_((fft_n - 1) / row_n_), sample_offset_(fft_n) {
    frame_n_ = ChooseFrameCount(other_floats_n + row_n_, frame_n, lane_n);
    stride_ = RowStride(frame_n_ + shared_column_n_);
    for (std::size_t i = 0; i < fft_n; ++i) {
      sample_offset_[i] = static_cast<unsigned>(i % row_n_ * stride_ + i / row_n_);
    }
  }

  // The frames of a block, of at most frame_n, if each of them needs floats_n floats.
  static std::size_t ChooseFrameCount(std::size_t floats_n, std::size_t frame_n, std::size_t lane_n) {
    const std::size_t most = std::min(kMostFloats / floats_n, kMostFrames);
    return std::min(std::max(most / lane_n, kLeastVectors) * lane_n, RoundUp(frame_n, lane_n));
  }

  // Whether `length` complex elements a frame leave room for lane_n frames in the second-level cache, and frame_n is
  // enough of them.
  static bool GoSideBySide(std::size_t frame_n, std::size_t length, std::size_t lane_n) {
    return FillsLanes(frame_n, lane_n) && 2 * length * lane_n <= kMostFloatsSideBySide;
  }

  std::size_t RowCount() const { return row_n_; }
  std::size_t Stride() const { return stride_; }
  std::size_t FrameCount() const { return frame_n_; }
  // Columns that the last frame of a block reaches beyond its own.
  std::size_t SharedColumnCount() const { return shared_column_n_; }
  // Of all rows and of one more, for zeros.
  std::size_t FloatCount() const { return (row_n_ + 1) * stride_; }
  const unsigned* SampleOffsets() const { return sample_offset_.data(); }

 private:
  static constexpr std::size_t kMostFloatsSideBySide = std::size_t{1} << 18;
  // A block shares that cache with the transforms.
  static constexpr std::size_t kMostFloats = std::size_t{25} << 12;
  static constexpr std::size_t kMostFrames = 64;
  // Frames however long: rows of a caller's matrix are read and written in longer pieces.
  static constexpr std::size_t kLeastVectors = 2;

  std::size_t row_n_ = 0;
  std::size_t shared_column_n_ = 0;
  std::size_t frame_n_ = 1;
  std::size_t stride_ = 0;
  std::vector<unsigned> sample_offset_;
};

}  // namespace kelvo::Stft
