// The checks of the transform exports, in their order.
#include "fft/checks.h"

#include "api/checks.h"

namespace kelvo::Fft {

void CheckFft(int fft_n) { Api::FailIf(fft_n < 1, "Invalid fft_n size."); }

}  // namespace kelvo::Fft
