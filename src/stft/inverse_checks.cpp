// The checks of the inverse spectrogram, in their order.
#include "stft/inverse_checks.h"

#include "api/checks.h"

namespace kelvo::Stft {

void CheckInverseSpectrogram(const InverseSettings& settings) {
  Api::CheckFrameSize(settings.frame_n);
  Api::CheckFrequencyValue(settings.freq_n);
  Api::CheckHop(settings.hop_n);
  Api::CheckWindowValue(settings.win_n < 1);
  Api::CheckWindowType(settings.win_type);
  Api::CheckMaxSampleSize(settings.max_sample_n);
  Api::CheckCenter(settings.center);
  Api::CheckNormType(settings.norm_type);
}

}  // namespace kelvo::Stft
