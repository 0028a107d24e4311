// The signal of a spectrogram.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <vector>

#include "api/checks.h"
#include "base/buffers.h"
#include "base/int_math.h"
#include "fft/fft_plan.h"
#include "stft/spectrogram.h"
#include "stft/stft_kernels.h"
#include "stft/window.h"

namespace kelvo::Stft {
namespace {

// Batches of frames that go through the kernels together; one alone is up to 3 % slower at 2048 samples.
constexpr std::size_t kBatches = 2;

class Synthesis {
 public:
  Synthesis(float* dst, const float* src, const InverseSettings& settings, std::size_t fft_n, Simd::Level level,
            Base::CallScratch& scratch);
  void Run();

 private:
  void RunBatches();
  void RunOneByOne();
  float Envelope(std::size_t row, std::size_t first_back, std::size_t last_back) const;
  bool IsInner(std::size_t column) const;
  void DeliverColumns(std::size_t first, std::size_t count, float* columns);
  void Deliver(std::span<const float> samples, std::size_t position);
  void FillGap(std::size_t begin, std::size_t end);

  const StftKernels& stft_kernels_;
  const InverseKernels& kernels_;
  SynthesisSettings settings_{};
  SpectrogramView spectrogram_;
  std::size_t hop_;
  std::span<const float> window_;
  // Positions first_ .. first_ + dst_.size() - 1 of the overlap-added signal are delivered, as far as it reaches;
  // what lies beyond is 0.
  std::span<float> dst_;
  std::size_t first_;
  std::size_t needed_n_;  // up to the last position that is delivered
  std::size_t used_frame_n_;

  bool is_batched_;
  std::size_t run_frame_n_ = 0;      // one by one: frames that are added up before their samples are delivered
  std::size_t overlap_hops_ = 0;     // columns that a frame reaches beyond its own
  std::span<float> window_square_;   // batches only
  std::span<float> inner_envelope_;  // [rows] of a column that all the frames around it reach
  std::span<float> carry_;
  std::span<float> signal_;    // in batches the columns at the ends, else of a run
  std::span<float> envelope_;  // in batches of one column, else of a run
  std::span<float> work_;      // one by one: memory of the envelope, which follows once all frames are added
};

Synthesis::Synthesis(float* dst, const float* src, const InverseSettings& settings, std::size_t fft_n,
                     Simd::Level level, Base::CallScratch& scratch)
    : stft_kernels_(Simd::KernelsFor<StftKernels>(level)),
      kernels_(Simd::KernelsFor<InverseKernels>(level)),
      spectrogram_{src, static_cast<std::size_t>(settings.frame_n)},
      hop_(static_cast<std::size_t>(settings.hop_n)) {
  settings_.plan = Fft::FftPlanCache::Get().GetInverseFramePlan(static_cast<int>(fft_n)).real.View();
  window_ = WindowCache::Get().GetWindow(settings.win_n, settings.win_type);

  // The window, the division by fft_n and, for TwoOverN, the inverse of its 2 / fft_n are one factor, rounded once.
  settings_.factor =
      settings.norm_type == static_cast<int>(SpectrumNorm::TwoOverN) ? 0.5 : 1.0 / static_cast<double>(fft_n);
  const std::size_t margin = (fft_n - window_.size()) / 2;
  settings_.begin = margin;
  settings_.end = fft_n - margin;
  settings_.window = window_.data();
  settings_.window_n = window_.size();

  const std::size_t whole_n = fft_n + (spectrogram_.frame_n - 1) * hop_;
  first_ = settings.center != static_cast<int>(CenterMode::None) ? fft_n / 2 : 0;
  dst_ = {dst, std::min(whole_n, static_cast<std::size_t>(settings.max_sample_n))};
  needed_n_ = std::min(whole_n, first_ + dst_.size());
  // Later frames begin after the last requested sample.
  used_frame_n_ = hop_ == 0 ? spectrogram_.frame_n : std::min(spectrogram_.frame_n, (needed_n_ - 1) / hop_ + 1);

  const std::size_t lane_n = stft_kernels_.lane_n;
  const Fft::TransformView& inner = settings_.plan.inner;
  // In batches, the ends of the signal cost the square of the number of frames that overlap: as much as is won over 64
  // frames, where 256 do.
  constexpr std::size_t kMostOverlap = 256;
  const std::size_t overlap_n = hop_ > 0 ? (fft_n - 1) / hop_ : kMostOverlap;
  is_batched_ =
      overlap_n < kMostOverlap && overlap_n <= 4 * used_frame_n_ && UseBatch(used_frame_n_, inner.WorkLength(), lane_n);
  if (!is_batched_) {
    // Frames that do not overlap take turns in the same memory.
    run_frame_n_ = overlap_n == 0 ? 1 : used_frame_n_;
    signal_ = scratch.Take<float>((run_frame_n_ - 1) * hop_ + fft_n);
    work_ = scratch.Take<float>(std::max(SingleInverseScratch(settings_.plan), signal_.size()));
    envelope_ = work_.first(signal_.size());
    return;
  }
  // Where the window cannot be centred exactly, the span is one sample longer, and that sample is multiplied by 0.
  const std::span<float> gain = scratch.TakeZeros<float>(settings_.end - settings_.begin);
  window_square_ = scratch.Take<float>(window_.size());
  for (std::size_t i = 0; i < window_.size(); ++i) {
    gain[i] = static_cast<float>(static_cast<double>(window_[i]) * settings_.factor);
    window_square_[i] = window_[i] * window_[i];
  }
  settings_.gain = gain.data();
  work_ = scratch.Take<float>(InverseScratch(inner, lane_n));
  // With a hop beyond the frame's length no frames overlap: a column is then a whole frame.
  settings_.row_n = hop_ < fft_n ? hop_ : fft_n;
  overlap_hops_ = (fft_n - 1) / settings_.row_n;
  const std::span<unsigned> sample_offset = scratch.Take<unsigned>(fft_n);
  for (std::size_t i = 0; i < fft_n; ++i) {
    // Real and imaginary parts are still swapped.
    const std::size_t element = inner.position[settings_.plan.IsHalfLength() ? i / 2 : i];
    const bool is_second = settings_.plan.IsHalfLength() && i % 2 == 1;
    sample_offset[i] = static_cast<unsigned>((2 * element + (is_second ? 0 : 1)) * lane_n);
  }
  settings_.sample_offset = sample_offset.data();
  carry_ = scratch.TakeZeros<float>((overlap_hops_ + 1) * settings_.row_n);
  signal_ = scratch.TakeZeros<float>(kBatches * lane_n * settings_.row_n);
  envelope_ = scratch.TakeZeros<float>(settings_.row_n);
  inner_envelope_ = scratch.TakeZeros<float>(settings_.row_n);
  for (std::size_t r = 0; r < inner_envelope_.size(); ++r) inner_envelope_[r] = Envelope(r, 0, overlap_hops_);
}

void Synthesis::Run() {
  if (is_batched_) {
    RunBatches();
  } else {
    RunOneByOne();
  }
}

void Synthesis::RunBatches() {
  const std::size_t lane_n = stft_kernels_.lane_n;
  const std::size_t row_n = settings_.row_n;
  const std::size_t column_n = used_frame_n_ + overlap_hops_;
  FillGap(hop_ > row_n ? 0 : needed_n_, first_ + dst_.size());
  for (std::size_t first = 0; first < column_n; first += kBatches * lane_n) {
    ColumnTarget targets[kBatches];
    std::size_t target_n = 0;
    for (std::size_t c = first; c < column_n && target_n < kBatches; c += lane_n, ++target_n) {
      if (IsInner(c) && IsInner(c + lane_n - 1)) {
        targets[target_n] = {dst_.data() + (c * hop_ - first_), hop_, inner_envelope_.data()};
      } else {
        targets[target_n] = {signal_.data() + target_n * lane_n * row_n, row_n, nullptr};
      }
    }
    const std::size_t count = first < used_frame_n_ ? std::min(kBatches * lane_n, used_frame_n_ - first) : 0;
    kernels_.add_frames(settings_, spectrogram_, first, count, carry_.data(), targets, target_n, work_.data());
    for (std::size_t v = 0; v < target_n; ++v) {
      const std::size_t column = first + v * lane_n;
      if (targets[v].envelope == nullptr) {
        DeliverColumns(column, std::min(lane_n, column_n - column), targets[v].columns);
      }
    }
  }
}

void Synthesis::RunOneByOne() {
  for (std::size_t first = 0; first < used_frame_n_; first += run_frame_n_) {
    std::fill(signal_.begin(), signal_.end(), 0.0f);
    for (std::size_t t = 0; t < run_frame_n_; ++t) {
      kernels_.add_frame(settings_, spectrogram_, first + t, signal_.data() + t * hop_, work_.data());
    }
    std::fill(envelope_.begin(), envelope_.end(), 0.0f);
    for (std::size_t t = 0; t < run_frame_n_; ++t) {
      float* const envelope = envelope_.data() + t * hop_ + settings_.begin;
      for (std::size_t i = 0; i < window_.size(); ++i) envelope[i] += window_[i] * window_[i];
    }
    // The requested samples may end within the run.
    const std::size_t reached_n = std::min(needed_n_ - first * hop_, signal_.size());
    kernels_.normalize_by_window_envelope(signal_.data(), envelope_.data(), reached_n);
    Deliver(signal_.first(reached_n), first * hop_);
    // Up to the next run, or after the last one to the end.
    const std::size_t next = first + run_frame_n_;
    FillGap(first * hop_ + reached_n, next < used_frame_n_ ? next * hop_ : first_ + dst_.size());
  }
}

// The sum of squared windows in one row, over the frames that began last_back to first_back columns ago, in that order.
float Synthesis::Envelope(std::size_t row, std::size_t first_back, std::size_t last_back) const {
  float sum = 0.0f;
  for (std::size_t back = last_back + 1; back-- > first_back;) {
    const std::size_t i = row + back * settings_.row_n;
    if (i >= settings_.begin && i - settings_.begin < window_square_.size()) sum += window_square_[i - settings_.begin];
  }
  return sum;
}

// Whether all frames that can reach the column exist, so that it has the inner envelope, and all of it is requested.
bool Synthesis::IsInner(std::size_t column) const {
  const std::size_t position = column * hop_;
  return column >= overlap_hops_ && column < spectrogram_.frame_n && position >= first_ &&
         position + settings_.row_n <= needed_n_;
}

// Divides and delivers columns at the ends; the first one is column `first` of the signal.
void Synthesis::DeliverColumns(std::size_t first, std::size_t count, float* columns) {
  const std::size_t row_n = settings_.row_n;
  const std::size_t last_frame = spectrogram_.frame_n - 1;
  for (std::size_t c = 0; c < count; ++c, columns += row_n) {
    const std::size_t column = first + c;
    const float* envelope = inner_envelope_.data();
    if (!IsInner(column)) {
      const std::size_t first_back = column > last_frame ? column - last_frame : 0;
      for (std::size_t r = 0; r < row_n; ++r) envelope_[r] = Envelope(r, first_back, std::min(column, overlap_hops_));
      envelope = envelope_.data();
    }
    kernels_.normalize_by_window_envelope(columns, envelope, row_n);
    Deliver({columns, row_n}, column * hop_);
  }
}

// Copies the requested samples.
void Synthesis::Deliver(std::span<const float> samples, std::size_t position) {
  const std::size_t begin = std::max(position, first_);
  const std::size_t end = std::min(position + samples.size(), needed_n_);
  if (begin < end) std::copy_n(samples.data() + (begin - position), end - begin, dst_.data() + (begin - first_));
}

// Writes zeros to those of positions begin .. end - 1 that are requested, where no frame reaches.
void Synthesis::FillGap(std::size_t begin, std::size_t end) {
  begin = std::max(begin, first_);
  end = std::min(end, first_ + dst_.size());
  if (begin < end) std::fill_n(dst_.data() + (begin - first_), end - begin, 0.0f);
}

}  // namespace

void ComputeInverseSpectrogram(float* dst, const float* src, const InverseSettings& settings, Simd::Level level) {
  const int fft_n = Base::WrappingAdd(Base::WrappingMultiply(2, settings.freq_n), -2);
  Fft::CheckPlanLength(fft_n);
  Fft::CheckPlanSize(fft_n);
  Api::CheckWindowFits(settings.win_n, fft_n);
  const std::int64_t sample_n = fft_n + (std::int64_t{settings.frame_n} - 1) * settings.hop_n;
  if (sample_n > std::numeric_limits<int>::max()) throw std::length_error("vector too long");
  Base::CallScratch scratch;
  Synthesis(dst, src, settings, static_cast<std::size_t>(fft_n), level, scratch).Run();
}

}  // namespace kelvo::Stft
