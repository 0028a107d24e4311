// The transform exports.
#include "api/export_frame.h"
#include "fft/checks.h"
#include "fft/fft.h"
#include "kelvo_audio.h"

using namespace kelvo;

int kelvoAudioFFT(float* dst, const float* src, int fft_n) {
  return Api::RunExport({dst, src}, [&] {
    Fft::CheckFft(fft_n);
    Fft::ComputeFft(dst, {src, static_cast<std::size_t>(fft_n)}, Simd::BestLevel());
  });
}

int kelvoAudioIFFT(float* dst, const float* src, int fft_n) {
  return Api::RunExport({dst, src}, [&] {
    Fft::CheckFft(fft_n);
    Fft::ComputeIfft(dst, {src, 2 * static_cast<std::size_t>(fft_n)}, Simd::BestLevel());
  });
}
