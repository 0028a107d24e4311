// Spectrograms for tests.
#pragma once

#include <cstddef>
#include <ostream>
#include <vector>

#include "simd/level.h"
#include "stft/spectrogram.h"

namespace kelvo::Stft {

inline std::ostream& operator<<(std::ostream& out, const ShortTimeSettings& s) {
  return out << "sample_n " << s.sample_n << " fft_n " << s.fft_n << " hop_n " << s.hop_n << " win_n " << s.win_n
             << " win_type " << s.win_type << " max_frame_n " << s.max_frame_n << " center " << s.center
             << " norm_type " << s.norm_type;
}

}  // namespace kelvo::Stft

namespace kelvo::Support {

// The value of outputs before a call.
inline constexpr float kUntouched = 77.0f;

// [fft_n / 2 + 1 x max_frame_n] complex
inline std::vector<float> Spectrogram(const std::vector<float>& signal, Stft::ShortTimeSettings settings, float power,
                                      Simd::Level level = Simd::BestLevel()) {
  settings.sample_n = static_cast<int>(signal.size());
  const auto bin_n = static_cast<std::size_t>(settings.fft_n / 2 + 1);
  std::vector<float> dst(2 * bin_n * static_cast<std::size_t>(settings.max_frame_n), kUntouched);
  Stft::ComputeSpectrogram(dst.data(), signal, settings, power, level);
  return dst;
}

// Columns first to first + count - 1 of a spectrogram of `stride` columns.
inline std::vector<float> Columns(const std::vector<float>& spectrogram, std::size_t stride, std::size_t first,
                                  std::size_t count) {
  std::vector<float> columns;
  for (auto row = spectrogram.begin(); row != spectrogram.end(); row += static_cast<std::ptrdiff_t>(2 * stride)) {
    columns.insert(columns.end(), row + static_cast<std::ptrdiff_t>(2 * first),
                   row + static_cast<std::ptrdiff_t>(2 * (first + count)));
  }
  return columns;
}

}  // namespace kelvo::Support
