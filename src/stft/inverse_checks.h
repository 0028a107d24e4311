// The arguments of the inverse spectrogram.
#pragma once

#include "stft/inverse_spectrogram.h"

namespace kelvo::Stft {

void CheckInverseSpectrogram(const InverseSettings& settings);

}  // namespace kelvo::Stft
