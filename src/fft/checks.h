// The arguments of the transform exports.
#pragma once

namespace kelvo::Fft {

void CheckFft(int fft_n);

}  // namespace kelvo::Fft
