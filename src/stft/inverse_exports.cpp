// The inverse spectrogram export.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/inverse_checks.h"
#include "stft/inverse_spectrogram.h"

using namespace kelvo;

int kelvoAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n, int win_n,
                                    int win_type, int max_sample_n, int center, int norm_type) {
  return Api::RunExport({dst, src}, [&] {
    const Stft::InverseSettings settings{frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type};
    Stft::CheckInverseSpectrogram(settings);
    Stft::ComputeInverseSpectrogram(dst, src, settings, Simd::BestLevel());
  });
}
