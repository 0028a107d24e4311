// The checks of the frame exports, in their order.
#include "stft/frame_checks.h"

#include "api/checks.h"

namespace kelvo::Stft {

void CheckFrameLen(int sample_n, int fft_n, int hop_n, int center) {
  Api::CheckSampleValue(sample_n);
  Api::CheckFftValue(fft_n);
  Api::CheckHop(hop_n);
  Api::CheckCenter(center);
}

void CheckSampleLen(int frame_n, int freq_n, int hop_n, int center) {
  Api::CheckFrameValue(frame_n);
  Api::CheckSampleLenBins(freq_n);
  Api::CheckHop(hop_n);
  Api::CheckCenter(center);
}

void CheckFixFrameLen(int freq_n, int dst_frame_n, int src_frame_n) {
  Api::CheckFrequencySize(freq_n);
  Api::CheckTargetFrameSize(dst_frame_n);
  Api::CheckSourceFrameSize(src_frame_n);
}

}  // namespace kelvo::Stft
