// The argument checks that exports share. Each message stands once, beside the condition that it reports.
//
// A check states the failing condition: a NaN passes `power < 0` and must go on passing it, so no check may be turned
// round. "size." closes a message about a count or a length, "value." about another number, "format." about a mode.
#pragma once

#include <algorithm>
#include <initializer_list>

#include "api/exceptions.h"

namespace kelvo::Api {

inline void FailIf(bool failed, const char* message) {
  if (failed) throw Util::Exceptions::KelvoInvalidArgument(message);
}

inline bool IsAcceptedValue(int value, std::initializer_list<int> accepted) {
  return std::find(accepted.begin(), accepted.end(), value) != accepted.end();
}

inline void CheckSourceSize(int src_n) { FailIf(src_n < 1, "Invalid src_n size."); }
inline void CheckFftSize(int fft_n) { FailIf(fft_n < 1, "Invalid fft_n size."); }
inline void CheckWindowSize(int window_n) { FailIf(window_n < 1, "Invalid window_n size."); }
inline void CheckSampleSize(int sample_n) { FailIf(sample_n < 1, "Invalid sample_n size."); }
inline void CheckSampleValue(int sample_n) { FailIf(sample_n < 1, "Invalid sample_n value."); }
inline void CheckFftValue(int fft_n) { FailIf(fft_n < 1, "Invalid fft_n value."); }
inline void CheckHop(int hop_n) { FailIf(hop_n < 0, "Invalid hop_n value."); }
inline void CheckWindowValue(bool failed) { FailIf(failed, "Invalid win_n value."); }
inline void CheckWindowType(int win_type) { FailIf(!IsAcceptedValue(win_type, {1, 2}), "Invalid win_type format."); }
inline void CheckCenter(int center) { FailIf(!IsAcceptedValue(center, {0, 1, 2}), "Invalid center format."); }
inline void CheckNormType(int norm_type) {
  FailIf(!IsAcceptedValue(norm_type, {0, 1, 2}), "Invalid norm_type format.");
}
inline void CheckFftNormType(int norm_type) {
  FailIf(!IsAcceptedValue(norm_type, {0, 1, 2}), "Invalid fft_norm_type format.");
}
inline void CheckMaxSampleSize(int max_sample_n) { FailIf(max_sample_n < 1, "Invalid max_sample_n size."); }
inline void CheckFrameSize(int frame_n) { FailIf(frame_n < 1, "Invalid frame_n size."); }
inline void CheckMaxFrameSize(int max_frame_n) { FailIf(max_frame_n < 1, "Invalid max_frame_n size."); }
inline void CheckPower(bool failed) { FailIf(failed, "Invalid power value."); }
inline void CheckFrequencyValue(int freq_n) { FailIf(freq_n < 1, "Invalid freq_n value."); }
inline void CheckFrameValue(int frame_n) { FailIf(frame_n < 1, "Invalid frame_n value."); }
// Without a closing full stop, unlike CheckFrequencyValue; this is meant, callers know the text.
inline void CheckSampleLenBins(int freq_n) { FailIf(freq_n < 1, "Invalid freq_n value"); }
inline void CheckFrequencySize(int freq_n) { FailIf(freq_n < 1, "Invalid freq_n size."); }
inline void CheckTargetFrameSize(int dst_frame_n) { FailIf(dst_frame_n < 1, "Invalid dst_frame_n size."); }
inline void CheckSourceFrameSize(int src_frame_n) { FailIf(src_frame_n < 1, "Invalid src_frame_n size."); }
inline void CheckMelSize(int mel_n) { FailIf(mel_n < 1, "Invalid mel_n size."); }
inline void CheckSampleRate(int sample_rate) { FailIf(sample_rate < 1, "Invalid sample_rate value."); }
inline void CheckMelNorm(int mel_norm) { FailIf(!IsAcceptedValue(mel_norm, {0, 1}), "Invalid mel_norm format."); }
inline void CheckMelFormula(int mel_formula) {
  FailIf(!IsAcceptedValue(mel_formula, {1, 0}), "Invalid mel_formula format.");
}
inline void CheckPhaseForm(int phase_form) {
  FailIf(!IsAcceptedValue(phase_form, {1, 0}), "Invalid phase_form format.");
}
inline void CheckBand(float f_min, float f_max) {
  FailIf(f_min < 0.0f, "Invalid f_min value.");
  FailIf(f_max < 0.0f, "Invalid f_max value.");
  FailIf(f_max <= f_min, "f_max must be greater than f_min.");
}
inline void CheckMelBelowBins(int mel_n, int freq_n) { FailIf(freq_n <= mel_n, "mel_n must be lesser than freq_n."); }
inline void CheckThreshold(float thr_db) { FailIf(thr_db < 0.0f, "Invalid thr_db value."); }
// What the computation itself says when it is called without the check above; the texts differ, and this is meant.
inline void CheckSpanThreshold(float thr_db) { FailIf(thr_db < 0.0f, "Invalid thr_db."); }
inline void CheckDestinationSize(int dst_n) { FailIf(dst_n < 1, "Invalid dst_n size."); }
// The denominator's count is reported in the numerator's name; this is meant, callers know the text.
inline void CheckCoefficientSize(int coef_n) { FailIf(coef_n < 1, "Invalid n_coef_n size."); }
inline void CheckPadType(int pad_type) {
  FailIf(!IsAcceptedValue(pad_type, {0, 1, 2, 3}), "Invalid pad_type format.");
}
inline void CheckPadLength(bool failed) { FailIf(failed, "Invalid pad_len value."); }
inline void CheckTargetRate(int dst_sample_rate) { FailIf(dst_sample_rate < 1, "Invalid dst_sample_rate value."); }
inline void CheckSourceRate(int src_sample_rate) { FailIf(src_sample_rate < 1, "Invalid src_sample_rate value."); }
inline void CheckSourceSampleValue(int src_sample_n) { FailIf(src_sample_n < 1, "Invalid src_sample_n value."); }

}  // namespace kelvo::Api
