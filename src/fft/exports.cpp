// The transform exports.
#include "api/export_frame.h"
#include "fft/checks.h"
#include "fft/fft.h"
#include "kelvo_audio.h"

using namespace kelvo;

int kelvoAudioFFT(float* dst, const float* src, int fft_n) {
  return Api::RunExport({dst, src}, [&] {
    Fft::CheckFft(fft_n);
    const auto count = static_cast<std::size_t>(fft_n);
    Fft::ComputeFft({dst, 2 * count}, {src, count}, Simd::BestLevel());
  });
}

int kelvoAudioIFFT(float* dst, const float* src, int fft_n) {
  return Api::RunExport({dst, src}, [&] {
    Fft::CheckFft(fft_n);
    const auto count = static_cast<std::size_t>(fft_n);
    Fft::ComputeIfft({dst, 2 * count}, {src, 2 * count}, Simd::BestLevel());
  });
}
