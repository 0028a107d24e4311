// The arguments of the spectrogram.
#pragma once

#include "stft/short_time_transform.h"

namespace kelvo::Stft {

void CheckSpectrogram(const ShortTimeSettings& settings, float power);

}  // namespace kelvo::Stft
