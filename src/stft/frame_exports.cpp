// The frame exports.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/frame_checks.h"
#include "stft/frames.h"

using namespace kelvo;

int kelvoAudioGetFrameLen(int* frame_n, int sample_n, int fft_n, int hop_n, int center) {
  return Api::RunExport({frame_n}, [&] {
    Stft::CheckFrameLen(sample_n, fft_n, hop_n, center);
    *frame_n = Stft::ComputeFrameCount(sample_n, fft_n, hop_n, center);
  });
}

int kelvoAudioGetSampleLen(int* sample_n, int frame_n, int freq_n, int hop_n, int center) {
  return Api::RunExport({sample_n}, [&] {
    Stft::CheckSampleLen(frame_n, freq_n, hop_n, center);
    *sample_n = Stft::ComputeSampleCount(frame_n, freq_n, hop_n, center);
  });
}

int kelvoAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n,
                          float pad_value) {
  return Api::RunExport({dst, src}, [&] {
    Stft::CheckFixFrameLen(freq_n, dst_frame_n, src_frame_n);
    const auto rows = static_cast<std::size_t>(freq_n);
    const auto dst_columns = static_cast<std::size_t>(dst_frame_n);
    const auto src_columns = static_cast<std::size_t>(src_frame_n);
    Stft::FixFrameLen({dst, rows, dst_columns, dst_columns}, {src, rows, src_columns, src_columns}, pad_value);
  });
}
