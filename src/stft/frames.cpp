// Frame arithmetic.
#include "stft/frames.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "api/int_math.h"

namespace kelvo::Stft {
namespace {

// Fills frame from position `first` of src on: one plain copy of what lies inside, beyond(position) for the rest.
template <class Beyond>
void ExtractFrameFrom(std::span<float> frame, std::span<const float> src, std::int64_t first, Beyond beyond) {
  const auto frame_n = static_cast<std::int64_t>(frame.size());
  const auto sample_n = static_cast<std::int64_t>(src.size());
  const std::int64_t inside = std::clamp<std::int64_t>(-first, 0, frame_n);
  const std::int64_t after = std::clamp<std::int64_t>(sample_n - first, inside, frame_n);
  for (std::int64_t k = 0; k < inside; ++k) frame[static_cast<std::size_t>(k)] = beyond(first + k);
  if (after > inside) std::copy_n(src.begin() + (first + inside), after - inside, frame.begin() + inside);
  for (std::int64_t k = after; k < frame_n; ++k) frame[static_cast<std::size_t>(k)] = beyond(first + k);
}

// The sample that lies at a position beyond the ends. The mirrored signal is periodic: both of its end samples appear
// once in a period, all others twice.
std::size_t FoldPosition(std::int64_t position, std::int64_t sample_n) {
  if (sample_n == 1) return 0;
  const std::int64_t period = 2 * sample_n - 2;
  const std::int64_t remainder = position % period;
  const std::int64_t folded = remainder < 0 ? remainder + period : remainder;
  return static_cast<std::size_t>(folded < sample_n ? folded : period - folded);
}

}  // namespace

int ComputeFrameCount(int sample_n, int fft_n, int hop_n, int center) {
  // Also where padding would make up for the missing samples; this is meant.
  if (sample_n < fft_n) return 0;
  const bool is_zero_padded = center == static_cast<int>(CenterMode::Zero);
  const bool is_padded = is_zero_padded || center == static_cast<int>(CenterMode::Reflect);
  const int span_n = is_padded ? sample_n : sample_n - fft_n;
  const float hops = static_cast<float>(span_n) / static_cast<float>(hop_n);
  // Zero padding rounds up and then adds one: it yields a frame more than reflection unless hop_n divides sample_n.
  const float count = is_zero_padded ? ::ceilf(hops) + 1.0f : ::floorf(hops + 1.0f);
  return Api::SaturateToInt(count);
}

int ComputeSampleCount(int frame_n, int freq_n, int hop_n, int center) {
  if (frame_n < 1) return 0;
  const int hops_n = Api::WrappingMultiply(frame_n - 1, hop_n);
  if (center != static_cast<int>(CenterMode::None)) return hops_n;
  return Api::WrappingAdd(Api::WrappingAdd(hops_n, Api::WrappingMultiply(2, freq_n)), -2);
}

void ExtractFrameReflect(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  const auto sample_n = static_cast<std::int64_t>(src.size());
  ExtractFrameFrom(frame, src, start - pad,
                   [&](std::int64_t position) { return src[FoldPosition(position, sample_n)]; });
}

void ExtractFrameZero(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  ExtractFrameFrom(frame, src, start - pad, [](std::int64_t) { return 0.0f; });
}

void ExtractFrame(CenterMode center, std::span<float> frame, std::span<const float> src, std::int64_t index,
                  std::int64_t hop_n) {
  const std::int64_t start = index * hop_n;
  const auto pad = static_cast<std::int64_t>(frame.size() / 2);
  switch (center) {
    case CenterMode::Reflect: return ExtractFrameReflect(frame, src, start, pad);
    case CenterMode::Zero: return ExtractFrameZero(frame, src, start, pad);
    default: return ExtractFrameZero(frame, src, start, 0);
  }
}

void FixFrameLen(Api::MatrixView<float> dst, Api::MatrixView<const float> src, float pad_value) {
  const std::size_t shared_n = std::min(dst.columns, src.columns);
  for (std::size_t row = 0; row < dst.rows; ++row) {
    std::copy_n(src.Row(row), shared_n, dst.Row(row));
    std::fill(dst.Row(row) + shared_n, dst.Row(row) + dst.columns, pad_value);
  }
}

}  // namespace kelvo::Stft
