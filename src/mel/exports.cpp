// The exports of filter banks, mel spectrograms and conversions.
#include <algorithm>

#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "mel/checks.h"
#include "mel/conversions.h"
#include "mel/mel_filter_bank.h"
#include "mel/mel_spectrogram.h"

using namespace kelvo;

int kelvoAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                          int mel_formula) {
  return Api::RunExport({dst}, [&] {
    const bool htk = mel_formula == static_cast<int>(Mel::MelFormula::Htk);
    const Mel::MelFilterBankKey key{freq_n, f_min, f_max, mel_n, sample_rate, mel_norm, htk};
    Mel::CheckMelBank(key, mel_formula);
    const std::vector<float>& weights = Mel::MelFilterBankCache::Get().GetFilterBank(key).weights;
    std::copy(weights.begin(), weights.end(), dst);
  });
}

int kelvoAudioGetMelSpectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n,
                                int win_n, int win_type, int max_frame_n, int center, float power, int fft_norm_type,
                                float f_min, float f_max, int mel_n, int mel_norm, int mel_formula) {
  return Api::RunExport({dst, src}, [&] {
    const Mel::MelSettings settings{{sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, fft_norm_type},
                                    power,
                                    f_min,
                                    f_max,
                                    mel_n,
                                    sample_rate,
                                    mel_norm,
                                    mel_formula};
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

int kelvoAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckPowerToDb(src_n);
    Mel::ConvertPowerToDb(dst, {src, static_cast<std::size_t>(src_n)}, top_db, Simd::BestLevel());
  });
}

int kelvoAudioComplexNorm(float* dst, const float* src, int src_n, float power) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckComplexNorm(src_n, power);
    Mel::ComputePowerSpectrum(dst, {src, 2 * static_cast<std::size_t>(src_n)}, power, Simd::BestLevel());
  });
}

int kelvoAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                       int phase_form) {
  return Api::RunExport({dst_mag, dst_phase, src}, [&] {
    Mel::CheckMagPhase(freq_n, frame_n, power, phase_form);
    const auto form = static_cast<Mel::PhaseForm>(phase_form);
    // Rows follow each other without gaps in all three arrays: the matrix is one long row.
    const std::size_t count = static_cast<std::size_t>(freq_n) * static_cast<std::size_t>(frame_n);
    Mel::ComputeMagPhaseRow(dst_mag, dst_phase, {src, 2 * count}, form, power, Simd::BestLevel());
  });
}

int kelvoAudioLog1p(float* dst, const float* src, int src_n) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckElementwise(src_n);
    Mel::ComputeLog1p(dst, {src, static_cast<std::size_t>(src_n)}, Simd::BestLevel());
  });
}

int kelvoAudioStandardize(float* dst, const float* src, int src_n) {
  return Api::RunExport({dst, src}, [&] {
    Mel::CheckElementwise(src_n);
    Mel::Standardize(dst, {src, static_cast<std::size_t>(src_n)}, Simd::BestLevel());
  });
}
