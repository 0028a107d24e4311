// The exports that rows call. The linker reports one that is missing here.
#include "forwarding.h"

#include <dlfcn.h>

#include <stdexcept>

#include "kelvo_audio.h"

namespace kelvo::Bench {
namespace {

template <auto kExport>
decltype(kExport) target = nullptr;

template <auto kExport>
void Resolve(void* library, const char* name) {
  target<kExport> = reinterpret_cast<decltype(kExport)>(dlsym(library, name));
  if (!target<kExport>) throw std::runtime_error(dlerror());
}

}  // namespace

void ForwardTo(void* library) {
  Resolve<kelvoAudioLog1p>(library, "kelvoAudioLog1p");
  Resolve<kelvoAudioStandardize>(library, "kelvoAudioStandardize");
  Resolve<kelvoAudioFFT>(library, "kelvoAudioFFT");
  Resolve<kelvoAudioIFFT>(library, "kelvoAudioIFFT");
  Resolve<kelvoAudioGetWindow>(library, "kelvoAudioGetWindow");
  Resolve<kelvoAudioGetFrameLen>(library, "kelvoAudioGetFrameLen");
  Resolve<kelvoAudioGetSpectrogram>(library, "kelvoAudioGetSpectrogram");
  Resolve<kelvoAudioGetInverseSpectrogram>(library, "kelvoAudioGetInverseSpectrogram");
  Resolve<kelvoAudioGetFBMatrix>(library, "kelvoAudioGetFBMatrix");
  Resolve<kelvoAudioGetMelSpectrogram>(library, "kelvoAudioGetMelSpectrogram");
  Resolve<kelvoAudioConvertToMel>(library, "kelvoAudioConvertToMel");
  Resolve<kelvoAudioConvertPowerToDB>(library, "kelvoAudioConvertPowerToDB");
  Resolve<kelvoAudioComplexNorm>(library, "kelvoAudioComplexNorm");
  Resolve<kelvoAudioMagPhase>(library, "kelvoAudioMagPhase");
  Resolve<kelvoAudioLinerFilter>(library, "kelvoAudioLinerFilter");
  Resolve<kelvoAudioFilterFilter>(library, "kelvoAudioFilterFilter");
  Resolve<kelvoAudioResample>(library, "kelvoAudioResample");
  Resolve<kelvoAudioGetResampleLen>(library, "kelvoAudioGetResampleLen");
}

}  // namespace kelvo::Bench

using kelvo::Bench::target;

int kelvoAudioLog1p(float* dst, const float* src, int src_n) { return target<kelvoAudioLog1p>(dst, src, src_n); }

int kelvoAudioStandardize(float* dst, const float* src, int src_n) {
  return target<kelvoAudioStandardize>(dst, src, src_n);
}

int kelvoAudioFFT(float* dst, const float* src, int fft_n) { return target<kelvoAudioFFT>(dst, src, fft_n); }

int kelvoAudioIFFT(float* dst, const float* src, int fft_n) { return target<kelvoAudioIFFT>(dst, src, fft_n); }

int kelvoAudioGetWindow(float* dst, int window_n, int win_type) {
  return target<kelvoAudioGetWindow>(dst, window_n, win_type);
}

int kelvoAudioGetFrameLen(int* dst, int sample_n, int fft_n, int hop_n, int center) {
  return target<kelvoAudioGetFrameLen>(dst, sample_n, fft_n, hop_n, center);
}

int kelvoAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type,
                             int max_frame_n, int center, float power, int norm_type) {
  return target<kelvoAudioGetSpectrogram>(dst, src, sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, power,
                                          norm_type);
}

int kelvoAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n, int win_n,
                                    int win_type, int max_sample_n, int center, int norm_type) {
  return target<kelvoAudioGetInverseSpectrogram>(dst, src, frame_n, freq_n, hop_n, win_n, win_type, max_sample_n,
                                                 center, norm_type);
}

int kelvoAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max, int mel_n, int sample_rate, int mel_norm,
                          int mel_formula) {
  return target<kelvoAudioGetFBMatrix>(dst, freq_n, f_min, f_max, mel_n, sample_rate, mel_norm, mel_formula);
}

int kelvoAudioGetMelSpectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n,
                                int win_n, int win_type, int max_frame_n, int center, float power, int fft_norm_type,
                                float f_min, float f_max, int mel_n, int mel_norm, int mel_formula) {
  return target<kelvoAudioGetMelSpectrogram>(dst, src, sample_n, sample_rate, fft_n, hop_n, win_n, win_type,
                                             max_frame_n, center, power, fft_norm_type, f_min, f_max, mel_n, mel_norm,
                                             mel_formula);
}

int kelvoAudioConvertToMel(float* dst, const float* src, const float* fb_matrix, int freq_n, int frame_n, int mel_n) {
  return target<kelvoAudioConvertToMel>(dst, src, fb_matrix, freq_n, frame_n, mel_n);
}

int kelvoAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db) {
  return target<kelvoAudioConvertPowerToDB>(dst, src, src_n, top_db);
}

int kelvoAudioComplexNorm(float* dst, const float* src, int src_n, float power) {
  return target<kelvoAudioComplexNorm>(dst, src, src_n, power);
}

int kelvoAudioMagPhase(float* dst_mag, float* dst_phase, const float* src, int freq_n, int frame_n, float power,
                       int phase_form) {
  return target<kelvoAudioMagPhase>(dst_mag, dst_phase, src, freq_n, frame_n, power, phase_form);
}

int kelvoAudioLinerFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, float* zi, int dst_n,
                          int src_n, int n_coef_n, int d_coef_n, int zi_n) {
  return target<kelvoAudioLinerFilter>(dst, src, n_coef, d_coef, zi, dst_n, src_n, n_coef_n, d_coef_n, zi_n);
}

int kelvoAudioFilterFilter(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n, int src_n,
                           int n_coef_n, int d_coef_n, int pad_type, int pad_len) {
  return target<kelvoAudioFilterFilter>(dst, src, n_coef, d_coef, dst_n, src_n, n_coef_n, d_coef_n, pad_type, pad_len);
}

int kelvoAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate, int src_n) {
  return target<kelvoAudioResample>(dst, src, dst_sample_rate, dst_n, src_sample_rate, src_n);
}

int kelvoAudioGetResampleLen(int* dst, int dst_sample_rate, int src_sample_n, int src_sample_rate) {
  return target<kelvoAudioGetResampleLen>(dst, dst_sample_rate, src_sample_n, src_sample_rate);
}
