// The arguments of this folder's exports, each list in its documented order.
#pragma once

#include "mel/mel_spectrogram.h"

namespace kelvo::Mel {

// The formula is checked as the caller gave it; a key holds no more than which of the two it is.
void CheckMelBank(const MelFilterBankKey& key, int mel_formula);
void CheckMelSpectrogram(const MelSettings& settings);
void CheckConvertToMel(int freq_n, int frame_n, int mel_n);
void CheckPowerToDb(int src_n);
void CheckComplexNorm(int src_n, float power);
void CheckMagPhase(int freq_n, int frame_n, float power, int phase_form);
void CheckElementwise(int src_n);

}  // namespace kelvo::Mel
