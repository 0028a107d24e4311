set(sources
  frames_test.cpp
  silence_test.cpp
  window_test.cpp
)
