// The mel spectrogram exports.
#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "mel/mel_spectrogram.h"
#include "mel/mel_spectrogram_checks.h"

using namespace kelvo;

int kelvoAudioGetMelSpectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n,
                                int win_n, int win_type, int max_frame_n, int center, float power, int fft_norm_type,
                                float f_min, float f_max, int mel_n, int mel_norm, int mel_formula) {
  return Api::RunExport({dst, src}, [&] {
    const Mel::MelSettings settings{
        {sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, fft_norm_type},
        power, f_min, f_max, mel_n, sample_rate, mel_norm, mel_formula};
    Mel::CheckMelSpectrogram(settings);
    Mel::ComputeMelSpectrogram(dst, {src, static_cast<std::size_t>(sample_n)}, settings, Simd::BestLevel());
  });
}

int kelvoAudioConvertToMel(float* dst, const float* src, const float* fb_matrix, int freq_n, int frame_n, int mel_n) {
  return Api::RunExport({dst, src, fb_matrix}, [&] {
    Mel::CheckConvertToMel(freq_n, frame_n, mel_n);
    Mel::MultiplyFilterBank(dst, src, fb_matrix, freq_n, frame_n, mel_n, Simd::BestLevel());
  });
}
