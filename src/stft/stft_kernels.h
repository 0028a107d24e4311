// Kernels of the short-time transforms.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"

namespace kelvo::Stft {

// What becomes of a frame: samples begin .. end - 1 are multiplied by the window, the others are 0, whatever they were;
// the bins are scaled if asked and end as complex values or as |bin|^power.
struct FrameSettings {
  Fft::FrameTransformView plan;
  const float* window;  // [fft_n], zeros outside begin .. end - 1
  std::size_t begin;
  std::size_t end;
  bool is_scaled;
  float scale;  // 1 if none is asked for
  bool is_complex;
  float power;
};

// A signal in columns: sample i of frame t is at columns[sample_offset[i] + t]. For samples outside the window the offset
// may lead to a row of zeros.
struct FrameColumns {
  float* columns;
  const unsigned* sample_offset;  // [fft_n]
};

// Bins [fft_n / 2 + 1 x stride], frames side by side. `im` is not used where powers are asked for.
struct BinBlock {
  float* re;
  float* im;
  std::size_t stride;

  // The block without its first t frames.
  BinBlock From(std::size_t t) const { return {re + t, im != nullptr ? im + t : nullptr, stride}; }
};

struct StftKernels {
  std::size_t lane_n;  // frames that go side by side

  // dst[c * dst_stride + r] = src[r * src_stride + c], r < rows, c < columns
  void (*transpose)(float* dst, std::size_t dst_stride, const float* src, std::size_t src_stride, std::size_t rows,
                    std::size_t columns);
  // Frames 0 .. frame_n - 1, rounded up to a multiple of lane_n. `work` holds SideBySideScratch(..., lane_n) floats.
  void (*transform_frames)(const FrameSettings& settings, const FrameColumns& columns, std::size_t frame_n,
                           const BinBlock& bins, float* work);
  // One frame, which is windowed in place; the same bits as side by side. `work` holds OneFrameScratch(...) floats.
  void (*transform_frame)(const FrameSettings& settings, float* frame, const BinBlock& bins, float* work);
  // Interleaves rows of re and im (zeros if im is null) into rows of complex values, dst_stride floats apart.
  void (*store_complex)(float* dst, std::size_t dst_stride, const BinBlock& bins, std::size_t bin_n,
                        std::size_t frame_n);
};

// `length` is the number of complex elements that a frame becomes.
constexpr std::size_t SideBySideScratch(std::size_t length, std::size_t lane_n) { return 4 * length * lane_n; }
constexpr std::size_t OneFrameScratch(std::size_t length) { return 12 * length + 512; }

}  // namespace kelvo::Stft
