set(sources
  frame_checks.cpp
  frame_exports.cpp
  frames.cpp
  short_time_transform.cpp
  spectrogram.cpp
  spectrogram_checks.cpp
  spectrogram_exports.cpp
  window.cpp
  window_checks.cpp
  window_exports.cpp
)
set(kernels stft_kernels.cpp)
