// The checks of the spectral conversions' exports, in their order.
#include "mel/spectral_conversion_checks.h"

#include "api/checks.h"

namespace kelvo::Mel {

void CheckPowerToDb(int src_n) { Api::CheckSourceSize(src_n); }

void CheckComplexNorm(int src_n, float power) {
  Api::CheckSourceSize(src_n);
  // A norm with power 0 would be 1 whatever the values: refused here, though accepted for magnitude and phase.
  Api::CheckPower(power <= 0.0f);
}

void CheckMagPhase(int freq_n, int frame_n, float power, int phase_form) {
  Api::CheckFrequencyValue(freq_n);
  Api::CheckFrameValue(frame_n);
  Api::CheckPower(power < 0.0f);
  Api::CheckPhaseForm(phase_form);
}

}  // namespace kelvo::Mel
