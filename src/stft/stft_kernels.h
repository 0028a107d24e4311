// Kernels of the short-time transforms.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"

namespace kelvo::Stft {

// How a frame becomes bins: samples begin .. end - 1 are multiplied by the window, the others are replaced by 0; the
// bins are scaled if asked and stored as complex values or as |bin|^power.
struct FrameSettings {
  const Fft::FrameTransformView* plan;
  const float* window;  // [fft_n], zeros outside begin .. end - 1
  std::size_t begin;
  std::size_t end;
  bool is_scaled;
  float scale;
  bool is_complex;
  bool in_pairs;  // stored with an imaginary part, which complex values always are
  float power;
};

// Frame t of a batch begins at samples + t * hop.
struct FrameSource {
  const float* samples;
  std::size_t hop;
};

// Bins [fft_n / 2 + 1 x stride] of a batch of frames, in pairs or not.
struct BinBlock {
  float* data;
  std::size_t stride;
};

struct StftKernels {
  std::size_t lane_n;  // frames of a batch

  // lane_n frames. `work` lies on a cache line and holds BatchScratch(..., lane_n) floats.
  void (*compute_frame_spectra)(const FrameSettings& settings, const FrameSource& source, const BinBlock& bins,
                                float* work);
  // One frame, which is windowed in place; the same bits as in a batch. `work` holds SingleFrameScratch(...) floats.
  void (*compute_frame_spectrum)(const FrameSettings& settings, float* frame, const BinBlock& bins, float* work);
};

// `length` is the number of complex elements that a frame becomes.
constexpr std::size_t BatchScratch(std::size_t length, std::size_t lane_n) { return 4 * length * lane_n; }
constexpr std::size_t SingleFrameScratch(std::size_t length) { return 12 * length + 512; }

}  // namespace kelvo::Stft
