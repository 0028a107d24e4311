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
  std::size_t row_n;  // of the columns that frames side by side are added to
};

// A spectrogram [fft_n / 2 + 1 x frame_n] of complex values, one-sided.
struct SpectrogramView {
  const float* data;
  std::size_t frame_n;
};

struct InverseKernels {
  // Adds the frames first .. first + count - 1 of the spectrogram to the columns, frame `first` at t = 0. A last vector
  // of frames is completed by silent ones. Every sample receives its frames in ascending order; what no earlier frame
  // has reached is not looked at. `work` holds SideBySideScratch(...) floats.
  void (*add_frames)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
                     std::size_t count, const FrameColumns& signal, float* work);
  // Adds one frame to signal [fft_n]; the same bits as add_frames. `work` holds OneFrameScratch(...) floats.
  void (*add_frame)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame,
                    float* signal, float* work);
  // dst[c * dst_stride + r] = signal[r * signal_stride + c], divided by the envelope of row r unless that is too low to
  // divide by.
  void (*deliver_columns)(float* dst, std::size_t dst_stride, const float* signal, std::size_t signal_stride,
                          const float* envelope, std::size_t rows, std::size_t columns);
  // The same for `count` floats in place, each with its own envelope.
  void (*divide)(float* signal, const float* envelope, std::size_t count);
};

constexpr std::size_t InverseScratch(std::size_t length, std::size_t lane_n) { return 6 * length * lane_n; }

}  // namespace kelvo::Stft
