// Kernels of the inverse spectrogram.
#pragma once

#include <cstddef>

#include "fft/plan_view.h"
#include "stft/stft_kernels.h"

namespace kelvo::Stft {

// What becomes of a frame of samples: samples begin .. end - 1 are multiplied by the gain and added to the signal, the
// others are left out.
struct SynthesisSettings {
  Fft::RealTransformView plan;
  const float* gain;  // [end - begin]
  std::size_t begin;
  std::size_t end;
  // Batches only. The signal is cut into columns of row_n neighboring samples, one every hop; column c begins with
  // frame c. Sample i of a batch of frames lies at sample_offset[i] behind its elements.
  std::size_t row_n;
  const unsigned* sample_offset;  // [fft_n]
};

// Where the columns go that a batch of frames completes: each sample divided by the envelope of its row, if there is
// one, unless that is too low to divide by.
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
  // Adds frames first .. first + count - 1 of the spectrogram, at most two batches, completed by silent ones, and gives
  // target v the columns that batch v is the last one to reach, for v < target_n. Every sample receives its frames in
  // ascending order. carry[i], i >= row_n, holds the partial sums of the columns to come: sample i % row_n of column
  // i / row_n from the first one of the next batch on. `work` holds InverseScratch(...) floats.
  void (*add_frames)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
                     std::size_t count, float* carry, const ColumnTarget* targets, std::size_t target_n, float* work);
  // Adds one frame to signal [fft_n]; the same bits as add_frames. `work` holds SingleFrameScratch(...) floats.
  void (*add_frame)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame,
                    float* signal, float* work);
  // Divides `count` floats in place, each by its own envelope unless that is too low to divide by.
  void (*normalize_by_window_envelope)(float* signal, const float* envelope, std::size_t count);
};

constexpr std::size_t InverseScratch(std::size_t length, std::size_t lane_n) { return 6 * length * lane_n; }

}  // namespace kelvo::Stft
