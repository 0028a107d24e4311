// Kernels of the short-time transforms, their inverse, and silence detection.
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
  std::size_t ahead;  // how far on the next batch has samples to prefetch, or 0
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

// How a frame is added to the signal: samples begin .. end - 1 multiplied by their gains, the others left out. A gain
// is the window's value times a factor, rounded once.
struct SynthesisSettings {
  Fft::RealTransformView plan;
  std::size_t begin;
  std::size_t end;
  const float* window;  // [window_n], where window_n may be one less than end - begin: the last gain is 0 then
  std::size_t window_n;
  double factor;
  // Batches only.
  const float* gain;  // [end - begin]
  // The signal is cut into columns of row_n adjacent samples, one every hop; column c begins with frame
  // c. Sample i of a batch of frames lies sample_offset[i] floats from the start of its elements.
  std::size_t row_n;
  const unsigned* sample_offset;  // [fft_n]
};

// Destination of the columns that a batch of frames completes: each sample is divided by the envelope of its row, if
// there is one and it is not too low to divide by.
struct ColumnTarget {
  float* columns;
  std::size_t step;  // from a column to the next one
  const float* envelope;
};

// A spectrogram [fft_n / 2 + 1 x frame_n] of complex values, one-sided.
struct SpectrogramView {
  const float* data;
  std::size_t frame_n;
};

struct InverseKernels {
  // Adds frames first .. first + count - 1 of the spectrogram, at most two batches, completed by silent ones, and
  // stores at target v, for v < target_n, the columns that batch v is the last to contribute to. Frames are added to
  // every sample in ascending order. carry[i], i >= row_n, holds the partial sums of later columns: sample i % row_n of
  // column i / row_n, counted from the first one of the next batch. `work` holds InverseScratch(...) floats.
  void (*add_frames)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
                     std::size_t count, float* carry, const ColumnTarget* targets, std::size_t target_n, float* work);
  // Adds one frame to signal [fft_n]; the same bits as add_frames. `work` holds SingleInverseScratch(...) floats.
  void (*add_frame)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame,
                    float* signal, float* work);
  // Divides `count` floats in place, each by its own envelope unless that is too low to divide by.
  void (*normalize_by_window_envelope)(float* signal, const float* envelope, std::size_t count);
};

// The elements of two batches, and what the transform of one needs.
constexpr std::size_t InverseScratch(const Fft::TransformView& plan, std::size_t lane_n) {
  return (4 * plan.length + Fft::BatchTransformScratchSize(plan)) * lane_n;
}
// The elements, and either the bins that they are made from or what their transform needs.
constexpr std::size_t SingleInverseScratch(const Fft::RealTransformView& plan) {
  const std::size_t bins_n = 2 * Fft::OutputStride(plan.fft_n / 2 + 1);
  const std::size_t transform_n = Fft::TransformScratchSize(plan.inner);
  return 2 * Fft::OutputStride(plan.inner.length) + (bins_n < transform_n ? transform_n : bins_n);
}

struct SilenceKernels {
  // sums[t] = sum over i < win_n of the square of frames[t * hop_n + i], in double and in ascending i, for t < frame_n
  void (*sum_squares)(double* sums, const float* frames, std::size_t frame_n, std::size_t hop_n, std::size_t win_n);
};

}  // namespace kelvo::Stft
