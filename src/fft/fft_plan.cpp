// Building FFT plans.
#include "fft/fft_plan.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "api/checks.h"
#include "base/buffers.h"
#include "fft/complex.h"
#include "fft/unit_roots.h"

namespace kelvo::Fft {
namespace {

// Direct sums up to this radix have their roots in natural order and in full; longer ones in an order that takes a
// table no longer than two vectors of elements.
constexpr std::uint64_t kLongestFullRoots = 13;

// Vectors of up to this many roots are read whole.
constexpr std::uint64_t kWidestVector = 16;

// In 64 bits, as are those below, since 32 do not hold it for every length that passes CheckPlanSize.
std::uint64_t RootCount(std::uint64_t radix) {
  const std::uint64_t half = radix / 2;
  return (radix <= kLongestFullRoots ? half * half : 2 * half) + kWidestVector;
}

std::uint64_t TwiddleCount(const Pass& pass) { return std::uint64_t{pass.radix - 1} * pass.span; }

// The least number of passes of a single transform that work on adjacent elements.
std::size_t LeastAdjacentPassCount(const std::vector<TransposeStep>& steps) {
  std::size_t count = steps.back().pass_n;
  for (std::size_t i = 1; i < steps.size(); ++i) count = std::min(count, steps[i].pass_n);
  return count;
}

// Writes `count` roots, real parts first. Returns the end of what it wrote.
template <class RootOf>
float* AddRoots(float* to, std::size_t count, RootOf root_of) {
  for (std::size_t i = 0; i < count; ++i) {
    const Complex<float> root = root_of(i);
    to[i] = root.re;
    to[count + i] = root.im;
  }
  return to + 2 * count;
}

// The twiddles of a pass over `length` samples or elements.
float* AddTwiddles(Pass& pass, float* to, std::size_t length) {
  const std::size_t span = pass.span;
  const auto count = static_cast<std::size_t>(TwiddleCount(pass));
  pass.twiddle_re = to;
  pass.twiddle_im = to + count;
  const UnitRoots<float> roots(length);
  for (std::size_t s = 1; s < pass.radix; ++s) {
    for (std::size_t j = 0; j < span; ++j, ++to) {
      const Complex<float> root = roots(s * j);
      to[0] = root.re;
      to[count] = root.im;
    }
  }
  return to + count;
}
// The same in pairs, for batches.
float* AddTwiddlePairs(Pass& pass, float* to) {
  pass.twiddle_pairs = to;
  for (std::size_t j = 0; j < pass.span; ++j) {
    for (std::size_t i = j; i < TwiddleCount(pass); i += pass.span) {
      *to++ = pass.twiddle_re[i];
      *to++ = pass.twiddle_im[i];
    }
  }
  return to;
}

std::uint64_t PowerModulo(std::uint64_t base, std::uint64_t exponent, std::uint64_t modulus) {
  std::uint64_t power = 1;
  for (; exponent > 0; exponent /= 2, base = base * base % modulus) {
    if (exponent % 2 == 1) power = power * base % modulus;
  }
  return power;
}

// The smallest number whose powers are all numbers below the prime.
std::uint64_t PrimitiveRoot(std::uint64_t prime) {
  std::vector<std::uint64_t> exponents;
  std::uint64_t rest = prime - 1;
  for (std::uint64_t p = 2; p * p <= rest; ++p) {
    if (rest % p == 0) exponents.push_back((prime - 1) / p);
    while (rest % p == 0) rest /= p;
  }
  if (rest > 1) exponents.push_back((prime - 1) / rest);
  std::uint64_t root = 2;
  const auto fails = [&](std::uint64_t exponent) { return PowerModulo(root, exponent, prime) == 1; };
  while (std::any_of(exponents.begin(), exponents.end(), fails)) ++root;
  return root;
}

// The order and the roots of a direct sum over a prime. With powers of a primitive root as the order, the root for
// elements a and b depends on a + b only [Rader 1968], so that those for adjacent b are adjacent.
float* AddDirectSum(Pass& pass, unsigned* order, float* to) {
  const std::size_t half = pass.radix / 2;
  const bool is_full = pass.radix <= kLongestFullRoots;
  const std::uint64_t ratio = is_full ? 1 : PrimitiveRoot(pass.radix);
  std::uint64_t power = 1;
  const auto next_index = [&] { return std::exchange(power, power * ratio % pass.radix); };
  for (std::size_t a = 0; a < half; ++a) order[a] = static_cast<unsigned>(is_full ? a + 1 : next_index());
  pass.order = order;
  pass.root_step = is_full ? half : 1;
  const auto count = static_cast<std::size_t>(RootCount(pass.radix));
  pass.root_re = to;
  pass.root_im = to + count;
  power = 1;
  const UnitRoots<float> roots(pass.radix);
  return AddRoots(to, count, [&](std::size_t i) {
    if (!is_full) return roots(static_cast<std::size_t>(next_index()));
    return roots((i / half + 1) * (i % half + 1) % pass.radix);
  });
}

// Digit reversal: the last digit of an output index was decided by the first pass, whose blocks lie farthest apart.
std::vector<unsigned> OutputPositions(std::size_t length, const std::vector<Pass>& passes) {
  std::vector<unsigned> position(length, 0u);
  std::size_t filled = 1;
  for (const Pass& pass : passes) {
    for (std::size_t s = 1; s < pass.radix; ++s) {
      for (std::size_t k = 0; k < filled; ++k) {
        position[s * filled + k] = position[k] + static_cast<unsigned>(s * pass.span);
      }
    }
    filled *= pass.radix;
  }
  return position;
}

// TransformView::spare_n.
std::size_t SpareCount(const std::vector<Pass>& passes, const std::vector<TransposeStep>& steps, std::size_t length) {
  std::size_t spare_n = 0;
  for (const std::size_t lane_n : {4u, 8u, 16u}) {
    const std::size_t pass_n = steps[LaneCountIndex(lane_n)].pass_n;
    if (pass_n == 0) continue;
    const auto end = passes.begin() + static_cast<std::ptrdiff_t>(pass_n);
    const auto has_whole_vectors = [=](const Pass& pass) { return pass.span % lane_n == 0; };
    if (!CanReadSource(passes[0].radix) || !std::all_of(passes.begin(), end, has_whole_vectors)) return length;
    spare_n = std::max(spare_n, lane_n * passes[pass_n - 1].span);
  }
  return std::min(spare_n, length);
}

std::size_t CheckedLength(int fft_n) {
  CheckPlanLength(fft_n);
  CheckPlanSize(fft_n);
  return static_cast<std::size_t>(fft_n);
}

}  // namespace

void CheckPlanLength(int fft_n) { Api::FailIf(fft_n < 1, "Invalid value of fft points."); }

void CheckPlanSize(int fft_n) {
  if (fft_n > 0 && IsTooLong(static_cast<std::uint64_t>(fft_n))) throw std::length_error("vector too long");
}

TransformPlan::TransformPlan() = default;
TransformPlan::TransformPlan(TransformPlan&&) noexcept = default;
TransformPlan& TransformPlan::operator=(TransformPlan&&) noexcept = default;
TransformPlan::~TransformPlan() = default;

TransformPlan::TransformPlan(std::size_t length, Use use, Input input) {
  const std::vector<std::size_t> radices = ChooseRadices(length, use);
  const std::size_t output_n = OutputCount(length, input);
  const std::uint64_t inner_n = ChooseInnerLength(std::uint64_t{length} + output_n - 1);
  if (!IsFasterByChirp(length, radices, inner_n, use, input)) {
    *this = TransformPlan(length, radices, use, input);
    return;
  }
  convolution_ = std::make_unique<ConvolutionPlan>(length, static_cast<std::size_t>(inner_n), use, input);
  // Single transforms deliver their outputs in order.
  position_.resize(use == Use::batch ? output_n : 0);
  std::iota(position_.begin(), position_.end(), 0u);
  view_.length = length;
  view_.position = position_.data();
  view_.chirp = &convolution_->View();
}

TransformPlan::TransformPlan(std::size_t length, const std::vector<std::size_t>& radices, Use use, Input input) {
  passes_.reserve(radices.size());
  std::size_t block = length;
  for (const std::size_t radix : radices) {
    Pass pass{};
    pass.radix = radix;
    pass.span = block /= radix;
    passes_.push_back(pass);
  }
  transpose_steps_.resize(kLaneCountN);
  for (const std::size_t lane_n : {1u, 4u, 8u, 16u})
    transpose_steps_[LaneCountIndex(lane_n)] = ChooseTransposeStep(passes_, length, lane_n);

  adjacent_n_ = use == Use::single ? LeastAdjacentPassCount(transpose_steps_) : 0;
  BuildTables(length, input);
  position_ = OutputPositions(length, passes_);
  // Single transforms use the outputs of the first of the blocks that finish as a batch.
  const std::size_t first_block = adjacent_n_ > 0 ? passes_[adjacent_n_ - 1].span : length;
  output_.resize(first_block);
  for (std::size_t k = 0; k < length; ++k) {
    if (position_[k] < first_block) output_[position_[k]] = static_cast<unsigned>(k);
  }
  view_.length = length;
  view_.pass_n = passes_.size();
  view_.passes = passes_.data();
  view_.position = position_.data();
  view_.output = output_.data();
  view_.transpose_steps = transpose_steps_.data();
  view_.spare_n = SpareCount(passes_, transpose_steps_, length);
}

void TransformPlan::BuildTables(std::size_t length, Input input) {
  std::uint64_t table_n = 0;
  std::uint64_t order_n = 0;
  for (std::size_t i = 0; i < passes_.size(); ++i) {
    const Pass& pass = passes_[i];
    // Passes that never run in a batch need no pairs.
    if (pass.span > 1) table_n += (i < adjacent_n_ ? 2 : 4) * TwiddleCount(pass);
    if (HasButterfly(pass.radix)) continue;
    table_n += 2 * RootCount(pass.radix);
    order_n += pass.radix / 2;
    view_.direct_n = std::max(view_.direct_n, pass.radix);
  }
  tables_ = Base::AlignedArray<float>(table_n);
  orders_.resize(static_cast<std::size_t>(order_n));

  float* next = tables_.Data();
  unsigned* next_order = orders_.data();
  std::size_t block = length;
  for (std::size_t i = 0; i < passes_.size(); ++i) {
    Pass& pass = passes_[i];
    if (pass.span > 1) next = AddTwiddles(pass, next, block);
    if (pass.span > 1 && i >= adjacent_n_) next = AddTwiddlePairs(pass, next);
    if (!HasButterfly(pass.radix)) {
      next = AddDirectSum(pass, next_order, next);
      next_order += pass.radix / 2;
      pass.is_real = i == 0 && input == Input::real;
    }
    block = pass.span;
  }
}

void TransformPlan::DropOrder() {
  position_ = {};
  output_ = {};
  view_.position = view_.output = nullptr;
}

RealTransformPlan::RealTransformPlan(std::size_t fft_n, Use use, bool is_inverse) {
  const std::size_t length = IsHalfLength(fft_n) ? fft_n / 2 : fft_n;
  inner_ = TransformPlan(length, use, IsHalfLength(fft_n) || is_inverse ? Input::complex : Input::real);
  view_ = {fft_n, inner_.View(), nullptr, nullptr};
  if (!IsHalfLength(fft_n)) return;
  // Single transforms load them from the second one on, so the second one lies on a cache line.
  const std::size_t split_n = fft_n / 4 + 1;
  const std::size_t stride = (split_n + 30) / 16 * 16;
  split_ = Base::AlignedArray<float>(2 * stride);
  float* const split_re = split_.Data() + 15;
  float* const split_im = split_re + stride;
  const UnitRoots<float> roots(fft_n);
  for (std::size_t k = 0; k < split_n; ++k) {
    const Complex<float> root = roots(k);
    split_re[k] = root.re;
    split_im[k] = root.im;
  }
  view_.split_re = split_re;
  view_.split_im = split_im;
}

FrameTransformPlan::FrameTransformPlan(std::size_t fft_n) {
  view_.fft_n = fft_n;
  if (!HasRealPass(fft_n)) {
    sub_plan_ = RealTransformPlan(fft_n, Use::batch);
    view_.sub_plan = sub_plan_.View();
    if (!view_.sub_plan.IsHalfLength()) {
      // Imaginary parts, which are zeros, lie between the samples.
      slot_.resize(fft_n);
      for (std::size_t i = 0; i < fft_n; ++i) slot_[i] = static_cast<unsigned>(2 * i);
      view_.slot = slot_.data();
    }
    return;
  }
  BuildRealPass(fft_n);
  BuildBinOrder(fft_n);
}

void FrameTransformPlan::BuildRealPass(std::size_t fft_n) {
  const bool is_coprime = fft_n % 32 == 16;
  const std::size_t radix = is_coprime ? 16 : 8;
  const std::size_t span = fft_n / radix;
  const std::size_t subsignal_n = radix / 2;
  sub_plan_ = RealTransformPlan(2 * span, Use::batch);
  view_.subsignal_n = subsignal_n;
  view_.sub_plan = sub_plan_.View();
  if (is_coprime) {
    order_.reserve(fft_n);
    sample_at_.reserve(2 * span);
    for (std::size_t j = 0; j < span; ++j) {
      for (std::size_t q = 0; q < radix; ++q) {
        const std::size_t sample = (radix * j + span * q) % fft_n;
        order_.push_back(static_cast<unsigned>(sample));
        if (q < 2) sample_at_.push_back(static_cast<unsigned>(sample % (2 * span)));
      }
    }
    view_.order = order_.data();
    view_.sample_at = sample_at_.data();
  } else {
    view_.real_pass.radix = subsignal_n;
    view_.real_pass.span = span;
    twiddles_ = Base::AlignedArray<float>(4 * TwiddleCount(view_.real_pass));
    AddTwiddlePairs(view_.real_pass, AddTwiddles(view_.real_pass, twiddles_.Data(), fft_n));
  }
  slot_.resize(fft_n);
  for (std::size_t j = 0; j < span; ++j) {
    for (std::size_t q = 0; q < radix; ++q) {
      const std::size_t sample = is_coprime ? order_[radix * j + q] : j + q * span;
      slot_[sample] = static_cast<unsigned>(2 * (q / 2 * span + j) + q % 2);
    }
  }
  view_.slot = slot_.data();
}

void FrameTransformPlan::BuildBinOrder(std::size_t fft_n) {
  const bool is_coprime = view_.order != nullptr;
  const std::size_t subsignal_n = view_.subsignal_n;
  const std::size_t radix = 2 * subsignal_n;
  const std::size_t span = fft_n / radix;
  const unsigned* const position = view_.sub_plan.inner.position;
  bin_.resize((subsignal_n - 1) * span);
  sign_.resize(bin_.size());
  for (std::size_t k = 0; k < fft_n; ++k) {
    const std::size_t s = k % radix;
    if (s == 0 || s >= subsignal_n) continue;
    const std::size_t at = (s - 1) * span + position[is_coprime ? k % span : k / radix];
    bin_[at] = static_cast<unsigned>(std::min(k, fft_n - k));
    sign_[at] = k < fft_n - k ? 1.0f : -1.0f;
  }
  view_.bin = bin_.data();
  view_.sign = sign_.data();
}

const Base::ForkGuard FftPlanCache::fork_guard_([]() -> Base::Mutex& { return Get().plans_.GetMutex(); });

FftPlanCache& FftPlanCache::Get() {
  static FftPlanCache cache;
  return cache;
}

const FftPlan& FftPlanCache::GetForwardPlan(int fft_n) {
  return plans_.GetTable(0, fft_n, [](int key) {
    const std::size_t length = CheckedLength(key);
    return FftPlan{.real = RealTransformPlan(length, Use::single), .complex = {}, .frames = {}};
  });
}

const FftPlan& FftPlanCache::GetInversePlan(int fft_n) {
  return plans_.GetTable(1, fft_n, [](int key) {
    const std::size_t length = CheckedLength(key);
    return FftPlan{.real = {}, .complex = {length, Use::single, Input::complex}, .frames = {}};
  });
}

const FftPlan& FftPlanCache::GetFramePlan(int fft_n) {
  return plans_.GetTable(2, fft_n, [](int key) {
    return FftPlan{.real = {}, .complex = {}, .frames = FrameTransformPlan(CheckedLength(key))};
  });
}

const FftPlan& FftPlanCache::GetInverseFramePlan(int fft_n) {
  return plans_.GetTable(3, fft_n, [](int key) {
    return FftPlan{.real = RealTransformPlan(CheckedLength(key), Use::batch, true), .complex = {}, .frames = {}};
  });
}

}  // namespace kelvo::Fft
