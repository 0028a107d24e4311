// The checks of the spectrogram, in their order.
#include "stft/spectrogram_checks.h"

#include "api/checks.h"

namespace kelvo::Stft {

void CheckSpectrogram(const ShortTimeSettings& settings, float power) {
  Api::CheckSampleSize(settings.sample_n);
  Api::CheckFftValue(settings.fft_n);
  Api::CheckHop(settings.hop_n);
  Api::CheckWindowValue(settings.win_n < 1);
  Api::CheckWindowType(settings.win_type);
  Api::CheckMaxFrameSize(settings.max_frame_n);
  Api::CheckCenter(settings.center);
  Api::CheckPower(power < 0.0f);
  Api::CheckNormType(settings.norm_type);
  Api::CheckWindowValue(settings.win_n > settings.fft_n);
}

}  // namespace kelvo::Stft
