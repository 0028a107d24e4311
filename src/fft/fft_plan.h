// FFT plans: the passes and twiddle factors of a transform of one length, built once and shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/buffers.h"
#include "base/mutex.h"
#include "base/table_cache.h"
#include "fft/complex.h"
#include "fft/plan_view.h"

namespace kelvo::Fft {

// Fails with KelvoInvalidArgument for a length below 1.
void CheckPlanLength(int fft_n);

// Fails with std::length_error for a power of two from 2^28 and any length from 2^30 on, whose tables are too large.
// Callers check before they allocate anything.
void CheckPlanSize(int fft_n);

// How a transform runs, which determines the fastest order of its passes. In a batch includes, with the same bits,
// alone.
enum class Use { batch, single };

// What the elements of a transform are. Of real ones only outputs 0 .. length / 2 are needed.
enum class Input { complex, real };
constexpr std::size_t OutputCount(std::size_t length, Input input) {
  return input == Input::real ? length / 2 + 1 : length;
}

// How a transform is made, as measured (plan_choice.cpp).

// Whether tables are too large for a transform by passes.
bool IsTooLong(std::uint64_t length);
// Radices whose butterfly is written out; the others are direct sums over the roots of unity.
bool HasButterfly(std::uint64_t radix);
std::vector<std::size_t> ChooseRadices(std::size_t length, Use use);
// The cheapest place to transpose.
TransposeStep ChooseTransposeStep(const std::vector<Pass>& passes, std::size_t length, std::size_t lane_n);
// After how many passes, `least` or more, a convolution goes on in lanes, kResponseLaneN blocks at a time.
std::size_t ChooseConvolutionSplit(std::span<const Pass> passes, std::size_t least);
// Of the convolutions whose response is transformed in double precision. In single precision that would be a third of
// their errors, and as many as direct sums over primes near a hundred have, but for a plan of 160,000 elements it takes
// half the time.
inline constexpr std::uint64_t kLongestExactResponse = 65536;
// The length of the transforms that hold a convolution of `least` elements, or 0 where all of them are too long.
std::uint64_t ChooseInnerLength(std::uint64_t least);
// The radices of these transforms, in the order of the way there.
std::vector<std::size_t> ChooseInnerRadices(std::size_t inner_n, Use use);
// Whether convolving with a chirp by transforms of inner_n elements takes less time than passes of these radices.
bool IsFasterByChirp(std::uint64_t length, const std::vector<std::size_t>& radices, std::uint64_t inner_n, Use use,
                     Input input);
// Whether sample pairs become the elements of a transform of half the length.
bool IsHalfLength(std::size_t fft_n);
// Whether frames begin with a pass over real samples.
bool HasRealPass(std::size_t fft_n);

class ConvolutionPlan;

// A forward complex transform of any length, by passes [Cooley and Tukey 1965] or, where large prime factors make that
// slower, as a convolution with a chirp [Bluestein 1970]. Immutable once built, movable.
class TransformPlan {
 public:
  TransformPlan();
  TransformPlan(std::size_t length, Use use, Input input);
  // By passes of these radices.
  TransformPlan(std::size_t length, const std::vector<std::size_t>& radices, Use use, Input input);
  TransformPlan(TransformPlan&&) noexcept;
  TransformPlan& operator=(TransformPlan&&) noexcept;
  ~TransformPlan();
  // As long as the plan itself, like the views of the plans below.
  const TransformView& View() const { return view_; }

  // The first passes of a single transform, which at every lane count work on adjacent elements.
  std::size_t AdjacentPassCount() const { return adjacent_n_; }
  // Frees the order of the outputs. A convolution uses them in the order that passes leave them in.
  void DropOrder();

 private:
  // Twiddles and roots of the passes.
  void BuildTables(std::size_t length, Input input);

  TransformView view_{};  // into the tables below, which stay where they are when the plan is moved
  std::vector<Pass> passes_;
  Base::AlignedArray<float> tables_;  // what the passes point into
  std::vector<unsigned> orders_;
  std::vector<unsigned> position_;
  std::vector<unsigned> output_;                // the inverse permutation
  std::vector<TransposeStep> transpose_steps_;  // [kLaneCountN]
  std::size_t adjacent_n_ = 0;
  std::unique_ptr<ConvolutionPlan> convolution_;
};

// A transform as a convolution by transforms of inner_n elements (convolution_plan.cpp).
class ConvolutionPlan {
 public:
  ConvolutionPlan(std::size_t length, std::size_t inner_n, Use use, Input input);
  const Chirp& View() const { return view_; }

 private:
  // From ChirpFactors.
  template <class T>
  void KeepFactors(const std::vector<Complex<T>>& factors, std::size_t length);
  // In the order of the blocks that passes leave.
  void KeepResponse(const std::vector<Complex<float>>& response);

  Chirp view_{};
  TransformPlan inner_;
  Base::AlignedArray<float> factors_;
  Base::AlignedArray<float> response_;
};

// A transform of real samples.
class RealTransformPlan {
 public:
  RealTransformPlan() = default;
  RealTransformPlan(std::size_t fft_n, Use use, bool is_inverse = false);
  const RealTransformView& View() const { return view_; }

 private:
  RealTransformView view_{};
  TransformPlan inner_;
  Base::AlignedArray<float> split_;
};

// A transform of real frames, in a batch or, with the same bits, of a single one.
class FrameTransformPlan {
 public:
  FrameTransformPlan() = default;
  explicit FrameTransformPlan(std::size_t fft_n);
  const FrameTransformView& View() const { return view_; }

 private:
  // The pass over real samples, and where it finds and leaves them.
  void BuildRealPass(std::size_t fft_n);
  // Where the elements of complex subsignals go.
  void BuildBinOrder(std::size_t fft_n);

  FrameTransformView view_{};
  RealTransformPlan sub_plan_;
  Base::AlignedArray<float> twiddles_;
  std::vector<unsigned> order_;
  std::vector<unsigned> sample_at_;
  std::vector<unsigned> slot_;
  std::vector<unsigned> bin_;
  std::vector<float> sign_;
};

struct FftPlan {
  // Forward: of single signals. Inverse: of frames of even length, to end in real samples.
  RealTransformPlan real;
  // Inverse: of single complex signals. The inverse transform is the forward one with real and imaginary parts
  // exchanged on both sides, so it needs no tables of the other sign.
  TransformPlan complex;
  // Of frames, forward.
  FrameTransformPlan frames;
};

class FftPlanCache {
 public:
  static FftPlanCache& Get();

  // Valid until the process ends. Fail as CheckPlanLength and CheckPlanSize do.
  const FftPlan& GetForwardPlan(int fft_n);
  const FftPlan& GetInversePlan(int fft_n);
  const FftPlan& GetFramePlan(int fft_n);
  const FftPlan& GetInverseFramePlan(int fft_n);

 private:
  static const Base::ForkGuard fork_guard_;

  Base::TableCache<int, FftPlan, 4> plans_;  // forward, inverse, frames, inverse of frames
};

}  // namespace kelvo::Fft
