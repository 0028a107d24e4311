set(sources
  fft.cpp
  fft_checks.cpp
  fft_exports.cpp
  fft_plan.cpp
  fork_guard.cpp
)
set(kernels fft_kernels.cpp)
