set(sources
  filter_initial_state_test.cpp
  linear_filter_test.cpp
  resample_test.cpp
  segmented_filter_test.cpp
  zero_phase_filter_test.cpp
)
