// Frames of a signal, cut, windowed, transformed and scaled.
#include "stft/spectrogram.h"

#include <algorithm>

#include "base/extension.h"
#include "math/functions.h"
#include "stft/window.h"

namespace kelvo::Stft {
namespace {

float WindowL2Factor(std::span<const float> window) {
  float sum = 0.0f;
  for (const float value : window) sum += value * value;
  return 1.0f / Math::Sqrt(sum);
}

}  // namespace

std::size_t CountFrames(const ShortTimeSettings& settings) {
  Fft::CheckPlanSize(settings.fft_n);
  const int frame_n = ComputeFrameCount(settings.sample_n, settings.fft_n, settings.hop_n, settings.center);
  return static_cast<std::size_t>(std::max(0, std::min(frame_n, settings.max_frame_n)));
}

ResultColumns::ResultColumns(const BinBlock& dst, std::size_t row_n, std::size_t column_n, std::size_t width,
                             const StftKernels& kernels, Base::CallScratch& scratch)
    : dst_(dst), row_n_(row_n), width_(width), kernels_(kernels) {
  if (std::uint64_t{row_n} * column_n * width * sizeof(float) < kStreamedRowBytes) return;
  // 128 KiB; twice that made no difference beyond the noise. Longer rows gain nothing, and of shorter ones the ends,
  // which share cache lines with the columns before and behind, are too large a part.
  constexpr std::size_t kFloats = std::size_t{1} << 15;
  const std::size_t collectable_n = std::clamp<std::size_t>(kFloats / (row_n * width), 64 / width, 256) / 16 * 16;
  // A few columns of many rows are written faster where they belong: collected, they would lie as far apart, in memory
  // that no cache holds and that may exceed the result's.
  if (column_n < 2 * collectable_n) return;
  collectable_n_ = collectable_n;
  // One more cache line, so that rows do not share the sets of a cache.
  collected_.stride = RoundUp(collectable_n_ * width, 32) + 16;
  collected_.data = scratch.Take<float>(std::uint64_t{row_n} * collected_.stride).data();
}

BinBlock ResultColumns::Next(std::size_t count) {
  if (collectable_n_ == 0) {
    const BinBlock place = dst_;
    dst_.data += count * width_;
    return place;
  }
  if (collected_n_ + count > collectable_n_) Finish();
  const BinBlock place{collected_.data + collected_n_ * width_, collected_.stride};
  collected_n_ += count;
  return place;
}

void ResultColumns::Finish() {
  if (collected_n_ == 0) return;
  kernels_.stream_rows(dst_, collected_, row_n_, collected_n_ * width_);
  dst_.data += collected_n_ * width_;
  collected_n_ = 0;
}

ShortTimeTransform::ShortTimeTransform(const ShortTimeSettings& settings, std::size_t frame_n, Output output,
                                       float power, Simd::Level level, Base::CallScratch& scratch)
    : settings_(settings),
      frame_n_(frame_n),
      center_(static_cast<CenterMode>(settings.center)),
      pad_(center_ == CenterMode::None ? 0 : settings.fft_n / 2),
      kernels_(Simd::KernelsFor<StftKernels>(level)),
      frame_settings_{} {
  const auto fft_n = static_cast<std::size_t>(settings.fft_n);
  const auto hop = static_cast<std::size_t>(settings.hop_n);
  frame_settings_.plan = &Fft::FftPlanCache::Get().GetFramePlan(settings.fft_n).frames.View();
  const std::vector<float>& window = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);
  // The window is centred in the frame. Where it cannot be centred exactly, the span is one sample longer than the
  // window, and that sample is multiplied by 0.
  const std::size_t margin = (fft_n - window.size()) / 2;
  frame_settings_.begin = margin;
  frame_settings_.end = fft_n - margin;
  frame_settings_.window = window.data();
  frame_settings_.window_n = window.size();
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
  const Fft::FrameTransformView& plan = *frame_settings_.plan;
  is_batched_ = UseBatch(frame_n_, plan.WorkLength(), lane_n);
  if (!is_batched_) {
    bins_.stride = 1;
  } else if (frame_settings_.in_pairs) {
    bins_.stride = 2 * lane_n;
  } else {
    bins_.stride = lane_n;
    block_n_ = ChooseBlock(BinCount(), frame_n_, lane_n);
  }
  // Pairs are stored in the caller's rows directly, except those of a batch that is not full.
  const std::size_t batch_n = frame_settings_.in_pairs || !is_batched_ ? 1 : (block_n_ + lane_n - 1) / lane_n;
  const std::size_t bins_n = is_batched_ || !frame_settings_.in_pairs ? batch_n * BatchStride() : 0;
  padded_hop_ = std::min(hop, fft_n);
  const std::size_t padded_n = is_batched_ ? (lane_n - 1) * padded_hop_ + fft_n : 0;
  const bool is_window_padded = is_batched_ && window.size() < fft_n;
  const std::size_t work_n = std::max(is_batched_ ? BatchScratch(plan, lane_n) : 0, Fft::FrameScratchSize(plan));
  const std::size_t memory_n = Fft::FrameMemorySize(plan);
  const std::size_t window_n = is_window_padded ? fft_n : 0;
  float* next = scratch
                    .Take<float>(RoundUp(bins_n, 16) + RoundUp(padded_n, 16) + RoundUp(work_n, 16) +
                                 RoundUp(memory_n, 16) + RoundUp(window_n, 16))
                    .data();
  const auto take = [&next](std::size_t count) {
    float* const taken = next;
    next += RoundUp(count, 16);
    return taken;
  };
  work_ = take(work_n);
  bins_.data = take(bins_n);
  padded_ = take(padded_n);
  // The lanes of a last batch that hold no frame compute as well. What the memory held before would not reach a result,
  // but might overflow, and leave the host a floating-point exception.
  std::fill_n(padded_, padded_n, 0.0f);
  frame_ = take(memory_n);
  frame_settings_.frame_window = window.data();
  if (is_window_padded) {
    float* const padded_window = take(window_n);
    std::fill_n(padded_window, fft_n, 0.0f);
    std::copy(window.begin(), window.end(), padded_window + margin);
    frame_settings_.frame_window = padded_window;
  }
}

// Where a batch of frames, of which `count` exist, can be read: in the signal itself, if all of the batch lies there.
FrameSource ShortTimeTransform::FindFrames(std::span<const float> src, std::size_t first, std::size_t count) {
  const auto fft_n = static_cast<std::size_t>(settings_.fft_n);
  const auto hop = static_cast<std::size_t>(settings_.hop_n);
  const std::int64_t start = static_cast<std::int64_t>(first) * settings_.hop_n - pad_;
  const std::int64_t batch_n = static_cast<std::int64_t>(kernels_.lane_n - 1) * settings_.hop_n + settings_.fft_n;
  if (start >= 0 && start + batch_n <= static_cast<std::int64_t>(src.size())) {
    // In many overlapping reads the hardware prefetcher does not see that a recording is read from one end to the
    // other: of one that no L2 holds, frames took up to 1.6 times as long. In L2, prefetching costs 2 %.
    constexpr std::size_t kLeastPrefetchedBytes = std::size_t{1} << 20;
    const bool is_prefetched = src.size_bytes() >= kLeastPrefetchedBytes;
    return {src.data() + start, hop, is_prefetched ? kernels_.lane_n * hop + fft_n : 0};
  }
  if (hop <= fft_n) {
    ExtractFrame(center_, {padded_, (count - 1) * hop + fft_n}, src, start + pad_, pad_);
  } else {
    for (std::size_t t = 0; t < count; ++t) {
      ExtractFrame(center_, {padded_ + t * fft_n, fft_n}, src, static_cast<std::int64_t>(first + t) * settings_.hop_n,
                   pad_);
    }
  }
  return {padded_, padded_hop_, 0};
}

void ShortTimeTransform::ComputeFrame(std::span<const float> src, std::size_t index, const BinBlock& bins) {
  const auto fft_n = static_cast<std::size_t>(settings_.fft_n);
  const std::int64_t start = static_cast<std::int64_t>(index) * settings_.hop_n - pad_;
  const float* samples = frame_;
  if (start >= 0 && start + settings_.fft_n <= static_cast<std::int64_t>(src.size())) {
    samples = src.data() + start;
  } else {
    ExtractFrame(center_, {frame_, fft_n}, src, start + pad_, pad_);
  }
  kernels_.compute_frame_spectrum(frame_settings_, samples, bins, frame_, work_);
}

void ShortTimeTransform::StoreAll(ResultColumns& columns, std::span<const float> src) {
  const std::size_t lane_n = kernels_.lane_n;
  std::size_t t = 0;
  if (is_batched_) {
    for (; t + lane_n <= frame_n_; t += lane_n) {
      kernels_.compute_frame_spectra(frame_settings_, FindFrames(src, t, lane_n), columns.Next(lane_n), work_);
    }
    const std::size_t count = frame_n_ - t;
    if (count > 0 && FillsBatch(count, lane_n)) {
      kernels_.compute_frame_spectra(frame_settings_, FindFrames(src, t, count), bins_, work_);
      const BinBlock place = columns.Next(count);
      for (std::size_t k = 0; k < BinCount(); ++k) {
        std::copy_n(bins_.data + k * bins_.stride, 2 * count, place.data + k * place.stride);
      }
      t = frame_n_;
    }
  }
  for (; t < frame_n_; ++t) ComputeFrame(src, t, columns.Next(1));
  columns.Finish();
}

void ShortTimeTransform::ComputeBlock(std::span<const float> src, std::size_t first, std::size_t count) {
  const std::size_t lane_n = kernels_.lane_n;
  std::size_t t = 0;
  float* data = bins_.data;
  for (; is_batched_ && t < count && FillsBatch(count - t, lane_n); t += lane_n, data += BatchStride()) {
    const FrameSource frames = FindFrames(src, first + t, std::min(lane_n, count - t));
    kernels_.compute_frame_spectra(frame_settings_, frames, {data, bins_.stride}, work_);
  }
  // Fewer than a batch.
  for (; t < count; ++t, ++data) ComputeFrame(src, first + t, {data, bins_.stride});
}

void ComputeSpectrogram(float* dst, std::span<const float> src, const ShortTimeSettings& settings, float power,
                        Simd::Level level) {
  const std::size_t frame_n = CountFrames(settings);
  if (frame_n == 0) return;
  // False for NaN, which leaves the bins complex.
  const bool is_power = power > 0.0f;
  using Output = ShortTimeTransform::Output;
  Base::CallScratch scratch;
  ShortTimeTransform transform(settings, frame_n, is_power ? Output::RealParts : Output::Complex, power, level,
                               scratch);
  ResultColumns columns({dst, 2 * static_cast<std::size_t>(settings.max_frame_n)}, transform.BinCount(), frame_n, 2,
                        transform.Kernels(), scratch);
  transform.StoreAll(columns, src);
}

}  // namespace kelvo::Stft
