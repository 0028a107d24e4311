set(sources
  frames_test.cpp
  window_test.cpp
)
