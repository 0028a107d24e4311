set(sources
  mel_bank_checks.cpp
  mel_bank_exports.cpp
  mel_filter_bank.cpp
  mel_scale.cpp
  mel_spectrogram.cpp
  mel_spectrogram_checks.cpp
  mel_spectrogram_exports.cpp
  spectral_conversion_checks.cpp
  spectral_conversion_exports.cpp
  spectral_conversions.cpp
)
set(kernels mel_kernels.cpp spectral_kernels.cpp)
