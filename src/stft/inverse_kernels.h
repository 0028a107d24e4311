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
};

// A spectrogram [fft_n / 2 + 1 x frame_n] of complex values, one-sided.
struct SpectrogramView {
  const float* data;
  std::size_t frame_n;
};

struct InverseKernels {
  // Adds the frames first .. first + count - 1 of the spectrogram to the columns, frame `first` at t = 0. A last vector
  // of frames is completed by silent ones. Every sample receives its frames in ascending order. `work` holds
  // SideBySideScratch(...) floats.
  void (*add_frames)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t first,
                     std::size_t count, const FrameColumns& signal, float* work);
  // Adds one frame to signal [fft_n]; the same bits as add_frames. `work` holds OneFrameScratch(...) floats.
  void (*add_frame)(const SynthesisSettings& settings, const SpectrogramView& spectrogram, std::size_t frame,
                    float* signal, float* work);
  // Divides `count` floats by an envelope, or each by its own, unless the envelope is too low to divide by.
  void (*divide_by_constant)(float* signal, float envelope, std::size_t count);
  void (*divide)(float* signal, const float* envelope, std::size_t count);
};

}  // namespace kelvo::Stft
