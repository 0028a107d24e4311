set(sources
  frame_checks.cpp
  frame_exports.cpp
  frames.cpp
  inverse_checks.cpp
  inverse_exports.cpp
  inverse_spectrogram.cpp
  short_time_transform.cpp
  spectrogram.cpp
  spectrogram_checks.cpp
  spectrogram_exports.cpp
  window.cpp
  window_checks.cpp
  window_exports.cpp
)
set(kernels inverse_kernels.cpp stft_kernels.cpp)
