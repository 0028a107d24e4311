// The checks of this folder's exports, in their documented order.
#include "mel/checks.h"

#include "api/checks.h"

namespace kelvo::Mel {
namespace {

void CheckMelSize(int mel_n) { Api::FailIf(mel_n < 1, "Invalid mel_n size."); }
void CheckSampleRate(int sample_rate) { Api::FailIf(sample_rate < 1, "Invalid sample_rate value."); }
void CheckMelNorm(int mel_norm) { Api::FailIf(!Api::IsAcceptedValue(mel_norm, {0, 1}), "Invalid mel_norm format."); }
void CheckMelFormula(int mel_formula) {
  Api::FailIf(!Api::IsAcceptedValue(mel_formula, {1, 0}), "Invalid mel_formula format.");
}
void CheckBand(float f_min, float f_max) {
  Api::FailIf(f_min < 0.0f, "Invalid f_min value.");
  Api::FailIf(f_max < 0.0f, "Invalid f_max value.");
  Api::FailIf(f_max <= f_min, "f_max must be greater than f_min.");
}
void CheckMelBelowBins(int mel_n, int freq_n) { Api::FailIf(freq_n <= mel_n, "mel_n must be lesser than freq_n."); }

}  // namespace

void CheckMelBank(const MelFilterBankKey& key, int mel_formula) {
  Api::CheckFrequencyValue(key.freq_n);
  CheckBand(key.f_min, key.f_max);
  CheckMelSize(key.mel_n);
  CheckMelBelowBins(key.mel_n, key.freq_n);
  CheckSampleRate(key.sample_rate);
  CheckMelNorm(key.mel_norm);
  CheckMelFormula(mel_formula);
}

void CheckMelSpectrogram(const MelSettings& settings) {
  const Stft::ShortTimeSettings& short_time = settings.short_time;
  Api::CheckSampleSize(short_time.sample_n);
  CheckSampleRate(settings.sample_rate);
  Api::CheckFftValue(short_time.fft_n);
  Api::CheckHop(short_time.hop_n);
  Api::CheckWindowLength(short_time.win_n);
  Api::CheckWindowType(short_time.win_type);
  Api::CheckMaxFrameSize(short_time.max_frame_n);
  Api::CheckCenter(short_time.center);
  Api::CheckPower(settings.power);
  Api::FailIf(!Api::IsAcceptedValue(short_time.norm_type, {0, 1, 2}), "Invalid fft_norm_type format.");
  CheckBand(settings.f_min, settings.f_max);
  CheckMelSize(settings.mel_n);
  // The relation has a text of its own here, since the caller gave no freq_n.
  Api::FailIf(settings.mel_n >= short_time.fft_n / 2 + 1, "mel_n must be lesser than freq_n( fft_n / 2 + 1).");
  CheckMelNorm(settings.mel_norm);
  CheckMelFormula(settings.mel_formula);
  Api::CheckWindowFits(short_time.win_n, short_time.fft_n);
}

void CheckConvertToMel(int freq_n, int frame_n, int mel_n) {
  Api::CheckFrequencyValue(freq_n);
  CheckMelSize(mel_n);
  CheckMelBelowBins(mel_n, freq_n);
  Api::CheckFrameValue(frame_n);
}

void CheckPowerToDb(int src_n) { Api::CheckSourceSize(src_n); }

void CheckComplexNorm(int src_n, float power) {
  Api::CheckSourceSize(src_n);
  // A norm with power 0 would be 1 for all values: rejected here, though accepted for magnitude and phase.
  Api::CheckPositivePower(power);
}

void CheckMagPhase(int freq_n, int frame_n, float power, int phase_form) {
  Api::CheckFrequencyValue(freq_n);
  Api::CheckFrameValue(frame_n);
  Api::CheckPower(power);
  Api::FailIf(!Api::IsAcceptedValue(phase_form, {1, 0}), "Invalid phase_form format.");
}

void CheckElementwise(int src_n) { Api::CheckSourceSize(src_n); }

}  // namespace kelvo::Mel
