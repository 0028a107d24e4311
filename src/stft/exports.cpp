// The exports of windows, frames, spectrograms and silence.
#include <algorithm>

#include "api/export_frame.h"
#include "kelvo_audio.h"
#include "stft/checks.h"
#include "stft/frames.h"
#include "stft/silence.h"
#include "stft/spectrogram.h"
#include "stft/window.h"

using namespace kelvo;

int kelvoAudioGetWindow(float* dst, int window_n, int win_type) {
  return Api::RunExport({dst}, [&] {
    Stft::CheckWindow(window_n, win_type);
    const std::vector<float>& window = Stft::WindowCache::Get().GetWindow(window_n, win_type);
    std::copy(window.begin(), window.end(), dst);
  });
}

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

int kelvoAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n, float pad_value) {
  return Api::RunExport({dst, src}, [&] {
    Stft::CheckFixFrameLen(freq_n, dst_frame_n, src_frame_n);
    const auto rows = static_cast<std::size_t>(freq_n);
    const auto dst_columns = static_cast<std::size_t>(dst_frame_n);
    const auto src_columns = static_cast<std::size_t>(src_frame_n);
    Stft::FixFrameLen({dst, rows, dst_columns, dst_columns}, {src, rows, src_columns, src_columns}, pad_value);
  });
}

int kelvoAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type,
                             int max_frame_n, int center, float power, int norm_type) {
  return Api::RunExport({dst, src}, [&] {
    const Stft::ShortTimeSettings settings{sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center, norm_type};
    Stft::CheckSpectrogram(settings, power);
    Stft::ComputeSpectrogram(dst, {src, static_cast<std::size_t>(sample_n)}, settings, power, Simd::BestLevel());
  });
}

int kelvoAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n, int win_n,
                                    int win_type, int max_sample_n, int center, int norm_type) {
  return Api::RunExport({dst, src}, [&] {
    const Stft::InverseSettings settings{frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type};
    Stft::CheckInverseSpectrogram(settings);
    Stft::ComputeInverseSpectrogram(dst, src, settings, Simd::BestLevel());
  });
}

int kelvoAudioGetNonSilentPos(int* start_pos, int* nonsilent_n, const float* src, int sample_n, int win_n, int hop_n,
                              float thr_db) {
  return Api::RunExport({start_pos, nonsilent_n, src}, [&] {
    Stft::CheckNonSilentPos(sample_n, win_n, hop_n, thr_db);
    const std::span signal(src, static_cast<std::size_t>(sample_n));
    const Stft::NonSilentSpan found = Stft::FindNonSilentSpan(signal, win_n, hop_n, thr_db, Simd::BestLevel());
    *start_pos = found.start_pos;
    *nonsilent_n = found.nonsilent_n;
  });
}
