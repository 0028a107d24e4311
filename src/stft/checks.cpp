// The checks of this folder's exports, in their documented order.
#include "stft/checks.h"

#include "api/checks.h"

namespace kelvo::Stft {
namespace {

void CheckNormType(int norm_type) {
  Api::FailIf(!Api::IsAcceptedValue(norm_type, {0, 1, 2}), "Invalid norm_type format.");
}

}  // namespace

void CheckWindow(int window_n, int win_type) {
  Api::FailIf(window_n < 1, "Invalid window_n size.");
  Api::CheckWindowType(win_type);
}

void CheckFrameLen(int sample_n, int fft_n, int hop_n, int center) {
  Api::FailIf(sample_n < 1, "Invalid sample_n value.");
  Api::CheckFftValue(fft_n);
  Api::CheckHop(hop_n);
  Api::CheckCenter(center);
}

void CheckSampleLen(int frame_n, int freq_n, int hop_n, int center) {
  Api::CheckFrameValue(frame_n);
  // Without a full stop, unlike CheckFrequencyValue; this is meant, callers know the text.
  Api::FailIf(freq_n < 1, "Invalid freq_n value");
  Api::CheckHop(hop_n);
  Api::CheckCenter(center);
}

void CheckFixFrameLen(int freq_n, int dst_frame_n, int src_frame_n) {
  Api::FailIf(freq_n < 1, "Invalid freq_n size.");
  Api::FailIf(dst_frame_n < 1, "Invalid dst_frame_n size.");
  Api::FailIf(src_frame_n < 1, "Invalid src_frame_n size.");
}

void CheckSpectrogram(const ShortTimeSettings& settings, float power) {
  Api::CheckSampleSize(settings.sample_n);
  Api::CheckFftValue(settings.fft_n);
  Api::CheckHop(settings.hop_n);
  Api::CheckWindowLength(settings.win_n);
  Api::CheckWindowType(settings.win_type);
  Api::CheckMaxFrameSize(settings.max_frame_n);
  Api::CheckCenter(settings.center);
  Api::CheckPower(power);
  CheckNormType(settings.norm_type);
  Api::CheckWindowFits(settings.win_n, settings.fft_n);
}

void CheckInverseSpectrogram(const InverseSettings& settings) {
  Api::FailIf(settings.frame_n < 1, "Invalid frame_n size.");
  Api::CheckFrequencyValue(settings.freq_n);
  Api::CheckHop(settings.hop_n);
  Api::CheckWindowLength(settings.win_n);
  Api::CheckWindowType(settings.win_type);
  Api::FailIf(settings.max_sample_n < 1, "Invalid max_sample_n size.");
  Api::CheckCenter(settings.center);
  CheckNormType(settings.norm_type);
}

void CheckNonSilentPos(int sample_n, int win_n, int hop_n, float thr_db) {
  Api::CheckSampleSize(sample_n);
  Api::CheckWindowLength(win_n);
  Api::CheckHop(hop_n);
  Api::FailIf(thr_db < 0.0f, "Invalid thr_db value.");
}

}  // namespace kelvo::Stft
