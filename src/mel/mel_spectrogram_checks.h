// The arguments of the mel spectrograms.
#pragma once

#include "mel/mel_spectrogram.h"

namespace kelvo::Mel {

void CheckMelSpectrogram(const MelSettings& settings);
void CheckConvertToMel(int freq_n, int frame_n, int mel_n);

}  // namespace kelvo::Mel
