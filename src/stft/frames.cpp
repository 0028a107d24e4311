// Frame arithmetic.
#include "stft/frames.h"

#include <algorithm>
#include <cstddef>

#include "base/extension.h"
#include "base/int_math.h"
#include "math/bits.h"

namespace kelvo::Stft {
int ComputeFrameCount(int sample_n, int fft_n, int hop_n, int center) {
  // Also where padding would supply the missing samples; this is meant.
  if (sample_n < fft_n) return 0;
  const bool is_zero_padded = center == static_cast<int>(CenterMode::Zero);
  const bool is_padded = is_zero_padded || center == static_cast<int>(CenterMode::Reflect);
  const int span_n = is_padded ? sample_n : sample_n - fft_n;
  const float hops = static_cast<float>(span_n) / static_cast<float>(hop_n);
  // Zero padding rounds up and then adds one: it yields a frame more than reflection unless hop_n divides sample_n.
  const float count = is_zero_padded ? Math::Ceil(hops) + 1.0f : Math::Floor(hops + 1.0f);
  return Base::SaturateToInt(count);
}

int ComputeSampleCount(int frame_n, int freq_n, int hop_n, int center) {
  if (frame_n < 1) return 0;
  const int hops_n = Base::WrappingMultiply(frame_n - 1, hop_n);
  if (center != static_cast<int>(CenterMode::None)) return hops_n;
  return Base::WrappingAdd(Base::WrappingAdd(hops_n, Base::WrappingMultiply(2, freq_n)), -2);
}

void ExtractFrame(CenterMode center, std::span<float> frame, std::span<const float> src, std::int64_t start,
                  std::int64_t pad) {
  if (center == CenterMode::Reflect) {
    Base::ExtractFrameReflect(frame, src, start, pad);
  } else {
    Base::ExtractFrameZero(frame, src, start, pad);
  }
}

void FixFrameLen(Base::MatrixView<float> dst, Base::MatrixView<const float> src, float pad_value) {
  const std::size_t shared_n = std::min(dst.columns, src.columns);
  for (std::size_t row = 0; row < dst.rows; ++row) {
    std::copy_n(src.Row(row), shared_n, dst.Row(row));
    std::fill(dst.Row(row) + shared_n, dst.Row(row) + dst.columns, pad_value);
  }
}

}  // namespace kelvo::Stft
