// The arguments of the transform exports.
#pragma once

#include "api/checks.h"

namespace kelvo::Fft {

inline void CheckFft(int fft_n) { Api::FailIf(fft_n < 1, "Invalid fft_n size."); }

}  // namespace kelvo::Fft
