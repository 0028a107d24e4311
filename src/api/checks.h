// The argument checks that several folders share. Each message is next to the condition that it reports.
//
// A check states the failing condition: `power < 0` is false for a NaN, which is thus accepted, so no check may be
// inverted. "size." ends a message about a count or a length, "value." about another number, "format." about a mode.
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
inline void CheckSampleSize(int sample_n) { FailIf(sample_n < 1, "Invalid sample_n size."); }
inline void CheckFftValue(int fft_n) { FailIf(fft_n < 1, "Invalid fft_n value."); }
inline void CheckHop(int hop_n) { FailIf(hop_n < 0, "Invalid hop_n value."); }
inline constexpr const char* kBadWindowLength = "Invalid win_n value.";
inline void CheckWindowLength(int win_n) { FailIf(win_n < 1, kBadWindowLength); }
inline void CheckWindowFits(int win_n, int fft_n) { FailIf(win_n > fft_n, kBadWindowLength); }
inline void CheckWindowType(int win_type) { FailIf(!IsAcceptedValue(win_type, {1, 2}), "Invalid win_type format."); }
inline void CheckCenter(int center) { FailIf(!IsAcceptedValue(center, {0, 1, 2}), "Invalid center format."); }
inline void CheckMaxFrameSize(int max_frame_n) { FailIf(max_frame_n < 1, "Invalid max_frame_n size."); }
inline constexpr const char* kBadPower = "Invalid power value.";
inline void CheckPower(float power) { FailIf(power < 0.0f, kBadPower); }
inline void CheckPositivePower(float power) { FailIf(power <= 0.0f, kBadPower); }
inline void CheckFrequencyValue(int freq_n) { FailIf(freq_n < 1, "Invalid freq_n value."); }
inline void CheckFrameValue(int frame_n) { FailIf(frame_n < 1, "Invalid frame_n value."); }

}  // namespace kelvo::Api
