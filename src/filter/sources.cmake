set(sources
  filter_checks.cpp
  filter_coefficients.cpp
  filter_exports.cpp
  filter_initial_state.cpp
  linear_filter.cpp
  resample.cpp
  resample_filter.cpp
  segmented_filter.cpp
  zero_phase_filter.cpp
)
set(kernels filter_kernels.cpp resample_kernels.cpp segment_kernels.cpp)
