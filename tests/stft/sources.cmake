set(sources
  frames_test.cpp
  inverse_spectrogram_test.cpp
  silence_test.cpp
  spectrogram_test.cpp
  window_test.cpp
)
