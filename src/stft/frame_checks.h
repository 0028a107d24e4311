// The arguments of the frame exports.
#pragma once

namespace kelvo::Stft {

void CheckFrameLen(int sample_n, int fft_n, int hop_n, int center);
void CheckSampleLen(int frame_n, int freq_n, int hop_n, int center);
void CheckFixFrameLen(int freq_n, int dst_frame_n, int src_frame_n);

}  // namespace kelvo::Stft
