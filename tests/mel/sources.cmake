set(sources
  mel_filter_bank_test.cpp
  mel_scale_test.cpp
  mel_spectrogram_test.cpp
  spectral_conversions_test.cpp
)
