// FFT plans: the passes and twiddle factors of a transform of one length, built once and shared.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "api/buffers.h"
#include "fft/fork_guard.h"
#include "fft/plan_view.h"
#include "fft/table_cache.h"

namespace kelvo::Fft {

// Fails with KelvoInvalidArgument for a length below 1.
void CheckPlanLength(int fft_n);

// Fails where the tables of a plan could not exist: std::length_error for a power of two from 2^28 and any length from
// 2^30 on. Callers ask before they allocate anything.
void CheckPlanSize(int fft_n);

// A forward complex transform of any length [Cooley and Tukey 1965]. Immutable once built, movable.
class TransformPlan {
 public:
  TransformPlan() = default;
  // The length is the product of the radices.
  TransformPlan(std::size_t length, const std::vector<std::size_t>& radices);
  TransformView View() const {
    return {length_, passes_.size(), passes_.data(), position_.data(), output_.data(), turns_.data()};
  }

 private:
  std::size_t length_ = 0;
  std::vector<Pass> passes_;
  Api::ScratchBuffer tables_;  // what the passes point into
  std::vector<unsigned> position_;
  std::vector<unsigned> output_;  // the other way round
  std::array<Turn, kTurnN> turns_{};
};

class RealTransformPlan {
 public:
  RealTransformPlan() = default;
  explicit RealTransformPlan(int fft_n);
  // For signals side by side, and for a single one with the same bits.
  RealTransformView View() const { return {fft_n_, side_by_side_.View(), split_re_, split_im_}; }
  // For single signals: other last bits, sooner.
  RealTransformView ViewAlone() const {
    return alone_.View().length != 0 ? RealTransformView{fft_n_, alone_.View(), split_re_, split_im_} : View();
  }

 private:
  std::size_t fft_n_ = 0;
  TransformPlan side_by_side_;
  TransformPlan alone_;  // empty where it would be the same
  Api::ScratchBuffer split_;
  float* split_re_ = nullptr;
  float* split_im_ = nullptr;
};

struct FftPlan {
  // Of the signal: samples to bins in a forward plan. An inverse plan has it too, for even lengths, to end in real
  // samples: the inverse transform is the forward one with real and imaginary parts exchanged on both sides, so it
  // needs no tables of the other sign.
  RealTransformPlan real;
  // Of single complex signals, in inverse plans only: every forward transform of the library starts from real samples.
  TransformPlan complex;
};

class FftPlanCache {
 public:
  static FftPlanCache& Get();

  // Valid until the process ends. Fail as CheckPlanLength and CheckPlanSize do.
  const FftPlan& GetForwardPlan(int fft_n);
  const FftPlan& GetInversePlan(int fft_n);

 private:
  static const ForkGuard fork_guard_;

  TableCache<int, FftPlan, 2> plans_;  // forward, inverse
};

}  // namespace kelvo::Fft
