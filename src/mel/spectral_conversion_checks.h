// The arguments of the spectral conversions' exports.
#pragma once

namespace kelvo::Mel {

void CheckPowerToDb(int src_n);
void CheckComplexNorm(int src_n, float power);
void CheckMagPhase(int freq_n, int frame_n, float power, int phase_form);

}  // namespace kelvo::Mel
