// Kernels of silence detection.
#pragma once

#include <cstddef>

namespace kelvo::Stft {

struct SilenceKernels {
  // sums[t] = sum over i < win_n of the square of frames[t * hop_n + i], in double and in ascending i, for t < frame_n
  void (*sum_squares)(double* sums, const float* frames, std::size_t frame_n, std::size_t hop_n, std::size_t win_n);
};

}  // namespace kelvo::Stft
