// The arguments of this folder's exports, each list in its documented order.
#pragma once

#include "stft/spectrogram.h"

namespace kelvo::Stft {

void CheckWindow(int window_n, int win_type);
void CheckFrameLen(int sample_n, int fft_n, int hop_n, int center);
void CheckSampleLen(int frame_n, int freq_n, int hop_n, int center);
void CheckFixFrameLen(int freq_n, int dst_frame_n, int src_frame_n);
void CheckSpectrogram(const ShortTimeSettings& settings, float power);
void CheckInverseSpectrogram(const InverseSettings& settings);
void CheckNonSilentPos(int sample_n, int win_n, int hop_n, float thr_db);

}  // namespace kelvo::Stft
