set(sources
  mel_bank_checks.cpp
  mel_bank_exports.cpp
  mel_filter_bank.cpp
  mel_scale.cpp
)
set(kernels)
