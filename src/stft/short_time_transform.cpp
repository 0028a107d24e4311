// Frames of a signal, cut, windowed, transformed and scaled.
#include "stft/short_time_transform.h"

#include <algorithm>
#include <cmath>

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

ShortTimeTransform::ShortTimeTransform(const ShortTimeSettings& settings, Output output, float power,
                                       Simd::Level level)
    : settings_(settings),
      frame_n_(CountFrames(settings)),
      kernels_(Simd::KernelsFor<StftKernels>(level)),
      frame_settings_{} {
  const auto fft_n = static_cast<std::size_t>(settings.fft_n);
  frame_settings_.plan = Fft::FftPlanCache::Get().GetFramePlan(settings.fft_n).frames.View();
  const std::vector<float>& window = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);
  // The window lies in the middle of the frame. Where it cannot lie exactly there, the span is one sample longer than
  // the window, and that sample is multiplied by 0.
  const std::size_t margin = (fft_n - window.size()) / 2;
  frame_settings_.begin = margin;
  frame_settings_.end = fft_n - margin;
  frame_settings_.window = window.data();
  if (window.size() < fft_n) {
    window_ = Api::MakeZeroBuffer(fft_n);
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
  frame_settings_.power = power;

  const std::size_t lane_n = kernels_.lane_n;
  const std::size_t length = frame_settings_.plan.ElementCount();
  const std::size_t parts = output == Output::Complex ? 2 : 1;
  side_by_side_ = FrameBlocks::GoSideBySide(frame_n_, length, lane_n);
  if (side_by_side_) {
    blocks_ = FrameBlocks(fft_n, static_cast<std::size_t>(settings.hop_n), frame_n_, lane_n, parts * BinCount());
    blocks_.KeepOnly(frame_settings_.begin, frame_settings_.end);
  }
  bins_.stride = side_by_side_ ? RowStride(blocks_.FrameCount()) : 1;

  const std::size_t bins_n = RoundUp(BinCount() * bins_.stride, 16);
  const std::size_t work_n =
      std::max(side_by_side_ ? SideBySideScratch(length, lane_n) : 0, OneFrameScratch(length));
  memory_ = Api::ScratchBuffer(parts * bins_n + RoundUp(blocks_.FloatCount(), 16) + RoundUp(work_n, 16) + fft_n);
  float* next = memory_.Data();
  const auto take = [&next](std::size_t count) {
    float* const taken = next;
    next += RoundUp(count, 16);
    return taken;
  };
  work_ = take(work_n);
  bins_.re = take(bins_n);
  if (parts == 2) bins_.im = take(bins_n);
  columns_ = {take(blocks_.FloatCount()), blocks_.SampleOffsets()};
  // The lanes of a last vector that hold no frame compute, too, on whatever lies here.
  std::fill_n(columns_.columns, blocks_.FloatCount(), 0.0f);
  frame_ = take(fft_n);
}

void ShortTimeTransform::Extract(std::span<float> frame, std::span<const float> src, std::size_t column) const {
  const auto start = static_cast<std::int64_t>(column) * settings_.hop_n;
  const auto center = static_cast<CenterMode>(settings_.center);
  const std::int64_t pad = center == CenterMode::None ? 0 : settings_.fft_n / 2;
  if (center == CenterMode::Reflect) {
    ExtractFrameReflect(frame, src, start, pad);
  } else {
    ExtractFrameZero(frame, src, start, pad);
  }
}

void ShortTimeTransform::FillColumns(std::span<const float> src, std::size_t first, std::size_t count) {
  const std::size_t row_n = blocks_.RowCount();
  const std::size_t column_n = count + blocks_.SharedColumnCount();
  const auto hop = static_cast<std::int64_t>(settings_.hop_n);
  const std::int64_t pad =
      static_cast<CenterMode>(settings_.center) == CenterMode::None ? 0 : settings_.fft_n / 2;
  const auto is_inside = [&](std::size_t c) {
    const std::int64_t start = static_cast<std::int64_t>(first + c) * hop - pad;
    return start >= 0 && start + static_cast<std::int64_t>(row_n) <= static_cast<std::int64_t>(src.size());
  };
  for (std::size_t c = 0; c < column_n;) {
    std::size_t end = c;
    while (end < column_n && is_inside(end)) ++end;
    if (end > c) {
      const std::int64_t start = static_cast<std::int64_t>(first + c) * hop - pad;
      kernels_.transpose(columns_.columns + c, blocks_.Stride(), src.data() + start,
                         static_cast<std::size_t>(settings_.hop_n), end - c, row_n);
      c = end;
    } else {
      Extract({frame_, row_n}, src, first + c);
      kernels_.transpose(columns_.columns + c, blocks_.Stride(), frame_, 0, 1, row_n);
      ++c;
    }
  }
}

void ShortTimeTransform::ComputeBlock(std::span<const float> src, std::size_t first, std::size_t count) {
  std::size_t t = 0;
  if (side_by_side_) {
    const std::size_t lane_n = kernels_.lane_n;
    t = FillsLanes(count % lane_n, lane_n) ? count : count / lane_n * lane_n;
    FillColumns(src, first, t);
    kernels_.transform_frames(frame_settings_, columns_, t, bins_, work_);
  }
  for (; t < count; ++t) {
    Extract({frame_, static_cast<std::size_t>(settings_.fft_n)}, src, first + t);
    kernels_.transform_frame(frame_settings_, frame_, bins_.From(t), work_);
  }
}

}  // namespace kelvo::Stft
