// Frames of a signal, cut, windowed, transformed and scaled.
#include "stft/spectrogram.h"

#include <algorithm>
#include <cmath>

#include "base/extension.h"
#include "stft/window.h"

namespace kelvo::Stft {
namespace {

float WindowL2Factor(std::span<const float> window) {
  float sum = 0.0f;
  for (const float value : window) sum += value * value;
  return 1.0f / ::sqrtf(sum);
}

}  // namespace

std::size_t CountFrames(const ShortTimeSettings& settings) {
  Fft::CheckPlanSize(settings.fft_n);
  const int frame_n = ComputeFrameCount(settings.sample_n, settings.fft_n, settings.hop_n, settings.center);
  return static_cast<std::size_t>(std::max(0, std::min(frame_n, settings.max_frame_n)));
}

ShortTimeTransform::ShortTimeTransform(const ShortTimeSettings& settings, Output output, float power, Simd::Level level)
    : settings_(settings),
      frame_n_(CountFrames(settings)),
      kernels_(Simd::KernelsFor<StftKernels>(level)),
      frame_settings_{} {
  const auto fft_n = static_cast<std::size_t>(settings.fft_n);
  const auto hop = static_cast<std::size_t>(settings.hop_n);
  frame_settings_.plan = &Fft::FftPlanCache::Get().GetFramePlan(settings.fft_n).frames.View();
  const std::vector<float>& window = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);
  // The window lies in the middle of the frame. Where it cannot lie exactly there, the span is one sample longer than
  // the window, and that sample is multiplied by 0.
  const std::size_t margin = (fft_n - window.size()) / 2;
  frame_settings_.begin = margin;
  frame_settings_.end = fft_n - margin;
  frame_settings_.window = window.data();
  if (window.size() < fft_n) {
    window_ = Base::MakeZeroBuffer(fft_n);
    std::copy(window.begin(), window.end(), window_.begin() + static_cast<std::ptrdiff_t>(margin));
    frame_settings_.window = window_.data();
  }
  switch (static_cast<SpectrumNorm>(settings.norm_type)) {
    case SpectrumNorm::WindowL2: frame_settings_.scale = WindowL2Factor(window); break;
    case SpectrumNorm::TwoOverN: frame_settings_.scale = 2.0f / static_cast<float>(settings.fft_n); break;
    default: frame_settings_.scale = 1.0f; break;
  }
  frame_settings_.is_scaled = settings.norm_type != static_cast<int>(SpectrumNorm::None);
  frame_settings_.is_complex = output == Output::Complex;
  frame_settings_.in_pairs = output != Output::Power;
  frame_settings_.power = power;

  const std::size_t lane_n = kernels_.lane_n;
  const std::size_t length = frame_settings_.plan->ElementCount();
  side_by_side_ = GoSideBySide(frame_n_, length, lane_n);
  if (!side_by_side_) {
    bins_.stride = 1;
  } else if (frame_settings_.in_pairs) {
    bins_.stride = 2 * lane_n;
  } else {
    bins_.stride = lane_n;
    block_n_ = ChooseBlock(BinCount(), frame_n_, lane_n);
  }
  // Pairs are stored where they belong, but for those of a vector that is not full.
  const std::size_t vector_n = frame_settings_.in_pairs || !side_by_side_ ? 1 : (block_n_ + lane_n - 1) / lane_n;
  const std::size_t bins_n = vector_n * VectorStride();
  stretch_hop_ = std::min(hop, fft_n);
  const std::size_t stretch_n = side_by_side_ ? (lane_n - 1) * stretch_hop_ + fft_n : 0;
  const std::size_t work_n = std::max(side_by_side_ ? SideBySideScratch(length, lane_n) : 0, OneFrameScratch(length));
  memory_ = Base::ScratchBuffer(RoundUp(bins_n, 16) + RoundUp(stretch_n, 16) + RoundUp(work_n, 16) + fft_n);
  float* next = memory_.Data();
  const auto take = [&next](std::size_t count) {
    float* const taken = next;
    next += RoundUp(count, 16);
    return taken;
  };
  work_ = take(work_n);
  bins_.data = take(bins_n);
  stretch_ = take(stretch_n);
  // The lanes of a last vector that hold no frame compute, too, on whatever lies here.
  std::fill_n(stretch_, stretch_n, 0.0f);
  frame_ = take(fft_n);
}

void ShortTimeTransform::Extract(std::span<float> samples, std::span<const float> src, std::size_t frame) const {
  const auto start = static_cast<std::int64_t>(frame) * settings_.hop_n;
  const auto center = static_cast<CenterMode>(settings_.center);
  const std::int64_t pad = center == CenterMode::None ? 0 : settings_.fft_n / 2;
  if (center == CenterMode::Reflect) {
    Base::ExtractFrameReflect(samples, src, start, pad);
  } else {
    Base::ExtractFrameZero(samples, src, start, pad);
  }
}

// Where a vector of frames, of which `count` exist, can be read: in the signal itself, if all of the vector lies there.
FrameSource ShortTimeTransform::FindFrames(std::span<const float> src, std::size_t first, std::size_t count) {
  const auto fft_n = static_cast<std::size_t>(settings_.fft_n);
  const auto hop = static_cast<std::size_t>(settings_.hop_n);
  const std::int64_t pad = static_cast<CenterMode>(settings_.center) == CenterMode::None ? 0 : settings_.fft_n / 2;
  const std::int64_t start = static_cast<std::int64_t>(first * hop) - pad;
  const auto stretch_n = static_cast<std::int64_t>((kernels_.lane_n - 1) * hop + fft_n);
  if (start >= 0 && start + stretch_n <= static_cast<std::int64_t>(src.size())) return {src.data() + start, hop};
  if (hop <= fft_n) {
    Extract({stretch_, (count - 1) * hop + fft_n}, src, first);
  } else {
    for (std::size_t t = 0; t < count; ++t) Extract({stretch_ + t * fft_n, fft_n}, src, first + t);
  }
  return {stretch_, stretch_hop_};
}

void ShortTimeTransform::ComputeVector(std::span<const float> src, std::size_t first, std::size_t count,
                                       const BinBlock& bins) {
  kernels_.transform_frames(frame_settings_, FindFrames(src, first, count), bins, work_);
}

void ShortTimeTransform::ComputeFrame(std::span<const float> src, std::size_t index, const BinBlock& bins) {
  Extract({frame_, static_cast<std::size_t>(settings_.fft_n)}, src, index);
  kernels_.transform_frame(frame_settings_, frame_, bins, work_);
}

void ShortTimeTransform::StoreAll(float* dst, std::size_t stride, std::span<const float> src) {
  const std::size_t lane_n = kernels_.lane_n;
  std::size_t t = 0;
  if (side_by_side_) {
    for (; t + lane_n <= frame_n_; t += lane_n) ComputeVector(src, t, lane_n, {dst + 2 * t, stride});
    const std::size_t count = frame_n_ - t;
    if (count > 0 && FillsLanes(count, lane_n)) {
      ComputeVector(src, t, count, bins_);
      for (std::size_t k = 0; k < BinCount(); ++k) {
        std::copy_n(bins_.data + k * bins_.stride, 2 * count, dst + k * stride + 2 * t);
      }
      return;
    }
  }
  for (; t < frame_n_; ++t) ComputeFrame(src, t, {dst + 2 * t, stride});
}

void ShortTimeTransform::ComputeBlock(std::span<const float> src, std::size_t first, std::size_t count) {
  const std::size_t lane_n = kernels_.lane_n;
  std::size_t t = 0;
  float* data = bins_.data;
  for (; side_by_side_ && t < count && FillsLanes(count - t, lane_n); t += lane_n, data += VectorStride()) {
    ComputeVector(src, first + t, std::min(lane_n, count - t), {data, bins_.stride});
  }
  // Fewer than a vector.
  for (; t < count; ++t, ++data) ComputeFrame(src, first + t, {data, bins_.stride});
}

void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level) {
  if (CountFrames(settings) == 0) return;
  // False for NaN, which leaves the bins complex.
  const bool is_power = power > 0.0f;
  using Output = ShortTimeTransform::Output;
  ShortTimeTransform transform(settings, is_power ? Output::RealParts : Output::Complex, power, level);
  transform.StoreAll(dst, 2 * static_cast<std::size_t>(settings.max_frame_n), src);
}

}  // namespace kelvo::Stft
