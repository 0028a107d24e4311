// Kernels of the short-time transforms.
#pragma once

#include <cstddef>

#include "fft/fft_kernels.h"
#include "fft/plan_view.h"

namespace kelvo::Stft {

// How a frame becomes bins: samples begin .. end - 1 are multiplied by the window, the others are replaced by 0; the
// bins are scaled if asked and stored as complex values or as |bin|^power.
struct FrameSettings {
  const Fft::FrameTransformView* plan;
  const float* window;  // [window_n], where window_n may be one less than end - begin: the last factor is 0 then
  std::size_t window_n;
  const float* frame_window;  // for batches: [fft_n], zeros around the window
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
  // One frame of samples [fft_n]; the same bits as in a batch. `memory` may be the samples' own and holds
  // FrameMemorySize(plan) floats, `scratch` FrameScratchSize(plan).
  void (*compute_frame_spectrum)(const FrameSettings& settings, const float* samples, const BinBlock& bins,
                                 float* memory, float* scratch);
  // Copies rows of `count` floats; what fills cache lines of dst goes past the caches.
  void (*stream_rows)(const BinBlock& dst, const BinBlock& src, std::size_t row_n, std::size_t count);
};

// The elements, and what the transform of them needs, or the real subsignal and its transform.
constexpr std::size_t BatchScratch(const Fft::FrameTransformView& plan, std::size_t lane_n) {
  const std::size_t element_n = 2 * plan.ElementCount();
  return (element_n + (plan.HasRealPass() ? element_n : Fft::BatchTransformScratchSize(plan.sub_plan.inner))) * lane_n;
}

}  // namespace kelvo::Stft
