// The checks of the mel spectrograms, in their order.
#include "mel/mel_spectrogram_checks.h"

#include "api/checks.h"

namespace kelvo::Mel {

void CheckMelSpectrogram(const MelSettings& settings) {
  const Stft::ShortTimeSettings& short_time = settings.short_time;
  Api::CheckSampleSize(short_time.sample_n);
  Api::CheckSampleRate(settings.sample_rate);
  Api::CheckFftValue(short_time.fft_n);
  Api::CheckHop(short_time.hop_n);
  Api::CheckWindowValue(short_time.win_n < 1);
  Api::CheckWindowType(short_time.win_type);
  Api::CheckMaxFrameSize(short_time.max_frame_n);
  Api::CheckCenter(short_time.center);
  Api::CheckPower(settings.power < 0.0f);
  Api::CheckFftNormType(short_time.norm_type);
  Api::CheckBand(settings.f_min, settings.f_max);
  Api::CheckMelSize(settings.mel_n);
  // The relation has a text of its own here, since the caller gave no freq_n.
  Api::FailIf(settings.mel_n >= short_time.fft_n / 2 + 1, "mel_n must be lesser than freq_n( fft_n / 2 + 1).");
  Api::CheckMelNorm(settings.mel_norm);
  Api::CheckMelFormula(settings.mel_formula);
  Api::CheckWindowValue(short_time.win_n > short_time.fft_n);
}

void CheckConvertToMel(int freq_n, int frame_n, int mel_n) {
  Api::CheckFrequencyValue(freq_n);
  Api::CheckMelSize(mel_n);
  Api::CheckMelBelowBins(mel_n, freq_n);
  Api::CheckFrameValue(frame_n);
}

}  // namespace kelvo::Mel
