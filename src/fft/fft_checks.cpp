// The checks of the transform exports, in their order.
#include "fft/fft_checks.h"

#include "api/checks.h"

namespace kelvo::Fft {

void CheckFft(int fft_n) { Api::CheckFftSize(fft_n); }

}  // namespace kelvo::Fft
