// The spectrogram export.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/spectrogram.h"
#include "stft/spectrogram_checks.h"

using namespace kelvo;

int kelvoAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type,
                             int max_frame_n, int center, float power, int norm_type) {
  return Api::RunExport({dst, src}, [&] {
    const Stft::ShortTimeSettings settings{sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, norm_type};
    Stft::CheckSpectrogram(settings, power);
    Stft::ComputeSpectrogram(dst, {src, static_cast<std::size_t>(sample_n)}, settings, power, Simd::BestLevel());
  });
}
