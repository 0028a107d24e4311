// Building FFT plans.
#include "fft/fft_plan.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <numbers>
#include <stdexcept>

#include "api/checks.h"
#include "base/buffers.h"
#include "fft/complex.h"
#include "math/functions.h"

namespace kelvo::Fft {
namespace {

// exp(-2 pi i index / length), index < length, each part rounded once from double precision. The angle is reduced to an
// octant in integers, so symmetric twiddles have equal bits and the trivial ones are exact.
Complex<float> UnitRoot(std::size_t index, std::size_t length) {
  const std::size_t eighths = 8 * index;
  const std::size_t octant = eighths / length;
  // Distance from the nearest multiple of pi / 2, in units of pi / (4 length).
  const std::size_t remainder = octant % 2 == 0 ? eighths - octant * length : (octant + 1) * length - eighths;
  const double angle = std::numbers::pi / 4.0 * static_cast<double>(remainder) / static_cast<double>(length);
  const auto near = static_cast<float>(Math::Cos(angle));
  const auto far = static_cast<float>(Math::Sin(angle));
  switch (octant) {
    case 0: return {near, -far};
    case 1: return {far, -near};
    case 2: return {-far, -near};
    case 3: return {-near, -far};
    case 4: return {-near, far};
    case 5: return {-far, near};
    case 6: return {far, near};
    default: return {near, far};
  }
}

// The radices for 2^exponent times `odd`, the fastest of those that were tried at each exponent. A radix of 16 saves a
// pass, but its butterfly has more values than there are registers: in a batch, spilling them costs more than it saves.
std::vector<std::size_t> ChooseTwos(std::size_t exponent, std::size_t odd, Use use) {
  static constexpr std::initializer_list<std::size_t> kMeasured[] = {{},
                                                                     {2},
                                                                     {4},
                                                                     {8},
                                                                     {4, 4},
                                                                     {4, 8},
                                                                     {8, 8},
                                                                     {4, 4, 8},
                                                                     {4, 8, 8},
                                                                     {4, 4, 4, 8},
                                                                     {4, 4, 8, 8},
                                                                     {4, 4, 4, 4, 8},
                                                                     {4, 4, 4, 8, 8},
                                                                     {4, 4, 8, 8, 8},
                                                                     {4, 4, 4, 4, 8, 8}};
  if (use == Use::single && exponent == 4 && odd > 8) return {16};
  if (use == Use::single && exponent == 7) return {8, 16};
  if (use == Use::single && exponent == 8) return {4, 4, 16};
  if (use == Use::single && exponent == 12) return {8, 4, 8, 16};
  if (exponent < std::size(kMeasured)) return kMeasured[exponent];
  // Fours, as few as leave eights, then one sixteen.
  std::vector<std::size_t> radices;
  std::size_t left = exponent - 4;
  for (; left % 3 != 0 || left > exponent - 8; left -= 2) radices.push_back(4);
  radices.insert(radices.end(), left / 3, 8);
  radices.push_back(16);
  return radices;
}

// The radices of the passes: odd primes from the largest down, then powers of two; a single two joins a five. The last
// passes of a single transform run on a batch of blocks; an eight in front makes enough blocks to fill half the lanes.
std::vector<std::size_t> ChooseRadices(std::size_t length, Use use) {
  std::vector<std::size_t> radices;
  const auto exponent = static_cast<std::size_t>(std::countr_zero(length));
  const std::size_t odd = length >> exponent;
  std::size_t rest = odd;
  for (std::size_t p = 3; p * p <= rest; p += 2) {
    for (; rest % p == 0; rest /= p) radices.push_back(p);
  }
  if (rest > 1) radices.push_back(rest);
  std::reverse(radices.begin(), radices.end());
  if (use == Use::batch && exponent == 1 && odd % 5 == 0) {
    radices.erase(std::find(radices.begin(), radices.end(), 5));
    radices.push_back(10);
    return radices;
  }
  const bool has_eight_in_front = use == Use::single && exponent == 3 && radices.size() == 2;
  const std::vector<std::size_t> twos = ChooseTwos(exponent, odd, use);
  radices.insert(has_eight_in_front ? radices.begin() : radices.end(), twos.begin(), twos.end());
  return radices;
}

// Radices whose butterfly is written out; the others are direct sums over the roots of unity.
bool HasButterfly(std::uint64_t radix) { return radix <= 5 || radix == 8 || radix == 10 || radix == 16; }

// In 64 bits, since 32 do not hold it for every length that passes CheckPlanSize.
std::uint64_t TableSize(std::uint64_t radix, std::uint64_t span) {
  return (span > 1 ? 4 * (radix - 1) * span : 0) + (HasButterfly(radix) ? 0 : 2 * radix);
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

// The twiddles of a pass over `length` samples or elements, in both orders.
float* AddTwiddles(Pass& pass, float* to, std::size_t length) {
  const std::size_t span = pass.span;
  const std::size_t count = (pass.radix - 1) * span;
  pass.twiddle_re = to;
  pass.twiddle_im = to + count;
  to = AddRoots(to, count, [&](std::size_t i) { return UnitRoot((i / span + 1) * (i % span), length); });
  pass.twiddle_pairs = to;
  for (std::size_t j = 0; j < span; ++j) {
    for (std::size_t i = j; i < count; i += span) {
      *to++ = pass.twiddle_re[i];
      *to++ = pass.twiddle_im[i];
    }
  }
  return to;
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

// The cost of a pass over `available` adjacent elements relative to one with full vectors. A half or a quarter of a
// vector is used where fewer elements are left.
std::size_t CostFor(std::size_t available, std::size_t lane_n) {
  if (available >= lane_n) return 1;
  if (lane_n > 8 && available >= 8) return lane_n / 8;
  return lane_n > 4 && available >= 4 ? lane_n / 4 : lane_n;
}

// The cheapest place to transpose. The last pass always runs on a batch of blocks, since its span is 1.
TransposeStep ChooseTransposeStep(const std::vector<Pass>& passes, std::size_t length, std::size_t lane_n) {
  TransposeStep best{0, 1};
  if (lane_n == 1) return best;
  std::size_t best_cost = std::numeric_limits<std::size_t>::max();
  std::size_t cost_before = 0;
  std::size_t block = length;
  std::size_t block_n = 1;
  for (std::size_t i = 0; i < passes.size(); ++i) {
    const std::size_t cost = cost_before + (passes.size() - i) * CostFor(block_n, lane_n);
    // Blocks too long for L1 are worthwhile only before the first or the last pass.
    if (cost < best_cost && (block <= kMaxL1Length || i == 0 || i + 1 == passes.size())) {
      best = {i, block_n};
      best_cost = cost;
    }
    block = passes[i].span;
    block_n *= passes[i].radix;
    cost_before += CostFor(block, lane_n);
  }
  return best;
}

// Up to 16 samples a full-length transform is used: the split step of a half-length one would lose accuracy at 8 and
// 16, by up to a fifth over random signals, and at no other even length.
bool IsHalfLength(std::size_t fft_n) { return fft_n % 2 == 0 && fft_n > 16; }

// Up to 256 samples the pass gains little in a batch, and its short subsignals cost a single frame more than that. With
// prime factors from 17 on it makes errors larger (by 1 to 30 %), with those up to 13 smaller (by up to 14 %).
bool HasRealPass(std::size_t fft_n) {
  if (fft_n % 8 != 0 || fft_n <= 256) return false;
  for (const std::size_t p : {2u, 3u, 5u, 7u, 11u, 13u}) {
    while (fft_n % p == 0) fft_n /= p;
  }
  return fft_n == 1;
}

std::size_t CheckedLength(int fft_n) {
  CheckPlanLength(fft_n);
  CheckPlanSize(fft_n);
  return static_cast<std::size_t>(fft_n);
}

}  // namespace

void CheckPlanLength(int fft_n) { Api::FailIf(fft_n < 1, "Invalid value of fft points."); }

void CheckPlanSize(int fft_n) {
  constexpr int kTooLongPowerOfTwo = 1 << 28;
  constexpr int kTooLong = 1 << 30;
  const auto is_power_of_two = [&] { return (fft_n & (fft_n - 1)) == 0; };
  if (fft_n >= kTooLong || (fft_n >= kTooLongPowerOfTwo && is_power_of_two())) {
    throw std::length_error("vector too long");
  }
}

TransformPlan::TransformPlan(std::size_t length, const std::vector<std::size_t>& radices) {
  std::uint64_t table_n = 0;
  std::size_t block = length;
  for (const std::size_t radix : radices) {
    block /= radix;
    table_n += TableSize(radix, block);
  }
  tables_ = Base::ScratchBuffer(table_n);
  passes_.reserve(radices.size());

  float* next = tables_.Data();
  std::size_t direct_n = 0;
  block = length;
  for (const std::size_t radix : radices) {
    const std::size_t span = block / radix;
    Pass pass{radix, span, nullptr, nullptr, nullptr, nullptr, nullptr};
    if (span > 1) next = AddTwiddles(pass, next, block);
    if (!HasButterfly(radix)) {
      direct_n = std::max(direct_n, radix);
      pass.root_re = next;
      pass.root_im = next + radix;
      next = AddRoots(next, radix, [&](std::size_t i) { return UnitRoot(i, radix); });
    }
    passes_.push_back(pass);
    block = span;
  }
  transpose_steps_.resize(kLaneCountN);
  for (const std::size_t lane_n : {1u, 4u, 8u, 16u})
    transpose_steps_[LaneCountIndex(lane_n)] = ChooseTransposeStep(passes_, length, lane_n);
  position_ = OutputPositions(length, passes_);
  output_.resize(length);
  for (std::size_t k = 0; k < length; ++k) output_[position_[k]] = static_cast<unsigned>(k);
  view_ = {length, passes_.size(), passes_.data(), position_.data(), output_.data(), transpose_steps_.data(), direct_n};
}

RealTransformPlan::RealTransformPlan(std::size_t fft_n, Use use) {
  const std::size_t length = IsHalfLength(fft_n) ? fft_n / 2 : fft_n;
  inner_ = TransformPlan(length, ChooseRadices(length, use));
  view_ = {fft_n, inner_.View(), nullptr, nullptr};
  if (!IsHalfLength(fft_n)) return;
  // Single transforms load them from the second one on, so the second one lies on a cache line.
  const std::size_t split_n = fft_n / 4 + 1;
  const std::size_t stride = (split_n + 30) / 16 * 16;
  split_ = Base::ScratchBuffer(2 * stride);
  float* const split_re = split_.Data() + 15;
  float* const split_im = split_re + stride;
  for (std::size_t k = 0; k < split_n; ++k) {
    const Complex<float> root = UnitRoot(k, fft_n);
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
      for (std::size_t i = 0; i < fft_n; ++i) slot_.push_back(static_cast<unsigned>(2 * i));
      view_.slot = slot_.data();
    }
    return;
  }
  const bool is_coprime = fft_n % 32 == 16;
  const std::size_t radix = is_coprime ? 16 : 8;
  const std::size_t span = fft_n / radix;
  const std::size_t subsignal_n = radix / 2;
  sub_plan_ = RealTransformPlan(2 * span, Use::batch);
  view_.subsignal_n = subsignal_n;
  view_.sub_plan = sub_plan_.View();
  if (is_coprime) {
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
    twiddles_ = Base::ScratchBuffer(4 * (subsignal_n - 1) * span);
    AddTwiddles(view_.real_pass, twiddles_.Data(), fft_n);
  }
  slot_.resize(fft_n);
  for (std::size_t j = 0; j < span; ++j) {
    for (std::size_t q = 0; q < radix; ++q) {
      const std::size_t sample = is_coprime ? order_[radix * j + q] : j + q * span;
      slot_[sample] = static_cast<unsigned>(2 * (q / 2 * span + j) + q % 2);
    }
  }
  view_.slot = slot_.data();
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
    return FftPlan{.real = length % 2 == 0 ? RealTransformPlan(length, Use::batch) : RealTransformPlan(),
                   .complex = {length, ChooseRadices(length, Use::single)},
                   .frames = {}};
  });
}

const FftPlan& FftPlanCache::GetFramePlan(int fft_n) {
  return plans_.GetTable(2, fft_n, [](int key) {
    return FftPlan{.real = {}, .complex = {}, .frames = FrameTransformPlan(CheckedLength(key))};
  });
}

}  // namespace kelvo::Fft
