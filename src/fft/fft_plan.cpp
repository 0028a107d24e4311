// Building FFT plans.
#include "fft/fft_plan.h"

#include <algorithm>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "api/checks.h"
#include "base/buffers.h"
#include "fft/complex.h"
#include "fft/fft_kernels.h"
#include "math/functions.h"
#include "simd/level.h"

namespace kelvo::Fft {
namespace {

// exp(-2 pi i index / length), each part rounded once from double precision. The angle is reduced to an octant in
// integers, so symmetric roots have equal bits, the trivial ones are exact, and each pair of parts is computed once.
template <class T>
class UnitRoots {
 public:
  explicit UnitRoots(std::size_t length) : length_(length), step_(std::gcd(2 * length, std::size_t{8})) {
    parts_.resize(length / step_ + 1);
    const auto root = [&](std::size_t i) {
      const double angle = std::numbers::pi / 4.0 * static_cast<double>(i * step_) / static_cast<double>(length);
      return Complex<double>{Math::Cos(angle), Math::Sin(angle)};
    };
    // Those of a long table are products of two, so that building it takes little longer than a transform.
    constexpr std::size_t kLong = std::size_t{1} << 15;
    const std::size_t run_n = parts_.size() > kLong ? 256 : 1;
    std::vector<Complex<double>> first_run(run_n);
    for (std::size_t i = 0; i < run_n; ++i) first_run[i] = root(i);
    for (std::size_t begin = 0; begin < parts_.size(); begin += run_n) {
      const Complex<double> first = root(begin);
      for (std::size_t i = 0; i < std::min(run_n, parts_.size() - begin); ++i) {
        const Complex<double> product = first * first_run[i];
        parts_[begin + i] = {static_cast<T>(product.re), static_cast<T>(product.im)};
      }
    }
  }

  // For index < length.
  Complex<T> operator()(std::size_t index) const {
    std::uint64_t rest = std::uint64_t{8} * index;
    unsigned octant = 0;
    for (const unsigned step : {4u, 2u, 1u}) {
      const bool is_beyond = rest >= std::uint64_t{step} * length_;
      octant += is_beyond ? step : 0;
      rest -= is_beyond ? std::uint64_t{step} * length_ : 0;
    }
    // The distance from the nearest multiple of pi / 2 is this many units of pi / (4 length): 8 index less an even
    // multiple of the length.
    const std::uint64_t distance = octant % 2 == 0 ? rest : length_ - rest;
    const auto [near, far] = parts_[static_cast<std::size_t>(distance) / step_];
    const bool is_swapped = (octant + 1) % 4 >= 2;
    const T re = is_swapped ? far : near, im = is_swapped ? near : far;
    return {octant >= 2 && octant < 6 ? -re : re, octant < 4 ? -im : im};
  }

 private:
  std::size_t length_;
  std::size_t step_;  // of the distances that occur
  std::vector<Complex<T>> parts_;
};

// One pass of TransformInDouble: the `radix` elements that lie span * stride apart, with twiddles, to adjacent places.
template <std::size_t kRadix>
void RunDoublePass(const std::vector<Complex<double>>& from, std::vector<Complex<double>>& to, std::size_t stride,
                   const UnitRoots<double>& roots) {
  const std::size_t length = from.size();
  const std::size_t span = length / (kRadix * stride);
  Complex<double> factor[kRadix];
  for (std::size_t s = 0; s < kRadix; ++s) factor[s] = roots(s * (length / kRadix));
  for (std::size_t j = 0; j < span; ++j) {
    Complex<double> twiddle[kRadix];
    for (std::size_t s = 0; s < kRadix; ++s) twiddle[s] = roots(s * j * stride);
    const Complex<double>* const x = from.data() + j * stride;
    Complex<double>* const y = to.data() + kRadix * j * stride;
    for (std::size_t i = 0; i < stride; ++i) {
      Complex<double> a[kRadix];
      for (std::size_t s = 0; s < kRadix; ++s) a[s] = x[i + s * span * stride];
      if constexpr (kRadix == 4) {
        const Complex<double> b[] = {a[0] + a[2], a[1] + a[3], a[0] - a[2], TimesMinusI(a[1] - a[3])};
        a[0] = b[0] + b[1];
        a[1] = b[2] + b[3];
        a[2] = b[0] - b[1];
        a[3] = b[2] - b[3];
      } else {
        Complex<double> sum[kRadix];
        for (std::size_t s = 0; s < kRadix; ++s) {
          sum[s] = a[0];
          for (std::size_t k = 1; k < kRadix; ++k) sum[s] = sum[s] + a[k] * factor[s * k % kRadix];
        }
        std::copy_n(sum, kRadix, a);
      }
      y[i] = a[0];
      for (std::size_t s = 1; s < kRadix; ++s) y[i + s * stride] = a[s] * twiddle[s];
    }
  }
}

// The transform in place, in natural order, of a length without other prime factors than 2, 3 and 5, by passes that
// sort as they go [Cochran et al. 1967].
void TransformInDouble(std::vector<Complex<double>>& elements) {
  const UnitRoots<double> roots(elements.size());
  std::vector<Complex<double>> next(elements.size());
  for (std::size_t stride = 1; stride < elements.size(); std::swap(elements, next)) {
    const std::size_t rest = elements.size() / stride;
    const std::size_t radix = rest % 4 == 0 ? 4 : rest % 2 == 0 ? 2 : rest % 3 == 0 ? 3 : 5;
    switch (radix) {
      case 2: RunDoublePass<2>(elements, next, stride, roots); break;
      case 3: RunDoublePass<3>(elements, next, stride, roots); break;
      case 4: RunDoublePass<4>(elements, next, stride, roots); break;
      default: RunDoublePass<5>(elements, next, stride, roots); break;
    }
    stride *= radix;
  }
}

// exp(-pi i j^2 / length) at j and, as far as `output_n` needs it, at -j, which is inner_n - j in a cyclic convolution.
template <class T>
std::vector<Complex<T>> ChirpFactors(std::size_t length, std::size_t output_n, std::size_t inner_n) {
  std::vector<Complex<T>> factors(inner_n);
  // The square of j is reduced in integers. Factor length - j is factor j, negated where the length is odd.
  const T mirror = length % 2 == 0 ? T{1} : T{-1};
  const UnitRoots<T> roots(2 * length);
  const auto set = [&](std::size_t j, const Complex<T>& factor) {
    if (j < output_n) factors[j] = factor;
    if (j > 0) factors[inner_n - j] = factor;
  };
  std::uint64_t square = 0;
  for (std::size_t j = 0; j <= length / 2; ++j) {
    const Complex<T> factor = roots(static_cast<std::size_t>(square));
    set(j, factor);
    if (j > 0) set(length - j, Scale(factor, mirror));
    square += 2 * j + 1;
    if (square >= 2 * length) square -= 2 * length;
  }
  return factors;
}

// The response of a convolution: the transform of the conjugate factors, over twice their number.
std::vector<Complex<float>> ExactResponse(std::vector<Complex<double>> factors) {
  for (auto& factor : factors) factor = Conjugate(factor);
  TransformInDouble(factors);
  const double scale = 0.5 / static_cast<double>(factors.size());
  std::vector<Complex<float>> response(factors.size());
  std::transform(factors.begin(), factors.end(), response.begin(), [scale](const Complex<double>& value) {
    return Complex<float>{static_cast<float>(value.re * scale), static_cast<float>(value.im * scale)};
  });
  return response;
}
// In single precision, as the conjugate of the inverse transform.
std::vector<Complex<float>> FastResponse(std::vector<Complex<float>> factors, const TransformView& plan) {
  Base::AlignedArray<float> scratch(TransformScratchSize(plan));
  auto* const pairs = reinterpret_cast<float*>(factors.data());
  Simd::KernelsFor<FftKernels>(Simd::BestLevel()).inverse_complex(pairs, pairs, plan, scratch.Data());
  for (auto& factor : factors) factor = Scale(Conjugate(factor), 0.5f);
  return factors;
}

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
std::size_t AdjacentPassCount(const std::vector<TransposeStep>& steps) {
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

struct ChirpTables {
  TransformPlan inner;
  Base::AlignedArray<float> factors, response;
  Chirp view;
};

TransformPlan::TransformPlan() = default;
TransformPlan::TransformPlan(TransformPlan&&) noexcept = default;
TransformPlan& TransformPlan::operator=(TransformPlan&&) noexcept = default;
TransformPlan::~TransformPlan() = default;

TransformPlan::TransformPlan(std::size_t length, Use use, Input input) {
  const std::vector<std::size_t> radices = ChooseRadices(length, use);
  const std::uint64_t output_n = input == Input::real ? length / 2 + 1 : length;
  const std::uint64_t inner_n = ChooseInnerLength(length + output_n - 1);
  if (IsFasterByChirp(length, radices, inner_n, use, input)) {
    BuildChirp(length, static_cast<std::size_t>(inner_n), use, input);
  } else {
    BuildPasses(length, radices, use, input);
  }
}

void TransformPlan::BuildPasses(std::size_t length, const std::vector<std::size_t>& radices, Use use, Input input) {
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

  // Passes that never run in a batch need no pairs.
  const std::size_t adjacent_n = use == Use::single ? AdjacentPassCount(transpose_steps_) : 0;
  std::uint64_t table_n = 0;
  std::uint64_t order_n = 0;
  std::size_t direct_n = 0;
  for (std::size_t i = 0; i < passes_.size(); ++i) {
    const Pass& pass = passes_[i];
    if (pass.span > 1) table_n += (i < adjacent_n ? 2 : 4) * TwiddleCount(pass);
    if (HasButterfly(pass.radix)) continue;
    table_n += 2 * RootCount(pass.radix);
    order_n += pass.radix / 2;
    direct_n = std::max(direct_n, pass.radix);
  }
  tables_ = Base::AlignedArray<float>(table_n);
  orders_.resize(static_cast<std::size_t>(order_n));

  float* next = tables_.Data();
  unsigned* next_order = orders_.data();
  block = length;
  for (std::size_t i = 0; i < passes_.size(); ++i) {
    Pass& pass = passes_[i];
    if (pass.span > 1) next = AddTwiddles(pass, next, block);
    if (pass.span > 1 && i >= adjacent_n) next = AddTwiddlePairs(pass, next);
    if (!HasButterfly(pass.radix)) {
      next = AddDirectSum(pass, next_order, next);
      next_order += pass.radix / 2;
      pass.is_real = i == 0 && input == Input::real;
    }
    block = pass.span;
  }

  position_ = OutputPositions(length, passes_);
  // Single transforms use the outputs of the first of the blocks that finish as a batch.
  const std::size_t first_block = adjacent_n > 0 ? passes_[adjacent_n - 1].span : length;
  output_.resize(first_block);
  for (std::size_t k = 0; k < length; ++k) {
    if (position_[k] < first_block) output_[position_[k]] = static_cast<unsigned>(k);
  }
  view_ = {length,         passes_.size(),          passes_.data(), position_.data(),
           output_.data(), transpose_steps_.data(), direct_n,       SpareCount(passes_, transpose_steps_, length),
           nullptr};
}

const TransformView& TransformPlan::WithoutOrder() {
  position_ = {};
  output_ = {};
  view_.position = view_.output = nullptr;
  return view_;
}

void TransformPlan::BuildChirp(std::size_t length, std::size_t inner_n, Use use, Input input) {
  chirp_ = std::make_unique<ChirpTables>();
  const std::size_t output_n = input == Input::real ? length / 2 + 1 : length;
  const std::size_t factor_stride = (length + 15) / 16 * 16;
  chirp_->factors = Base::AlignedArray<float>(2 * std::uint64_t{factor_stride});
  float* const factor_re = chirp_->factors.Data();
  float* const factor_im = factor_re + factor_stride;
  const auto keep = [&](const auto& factors) {
    for (std::size_t j = 0; j < length; ++j) {
      const auto& factor = factors[j < output_n ? j : inner_n - j];
      factor_re[j] = static_cast<float>(factor.re);
      factor_im[j] = static_cast<float>(factor.im);
    }
  };
  // The memory that this takes is free before there are other tables.
  std::vector<Complex<float>> response;
  if (inner_n <= kLongestExactResponse) {
    std::vector<Complex<double>> factors = ChirpFactors<double>(length, output_n, inner_n);
    keep(factors);
    response = ExactResponse(std::move(factors));
  }
  chirp_->inner.BuildPasses(inner_n, ChooseInnerRadices(inner_n, use), use, Input::complex);
  const TransformView& inner = chirp_->inner.View();
  if (inner_n > kLongestExactResponse) {
    std::vector<Complex<float>> factors = ChirpFactors<float>(length, output_n, inner_n);
    keep(factors);
    response = FastResponse(std::move(factors), inner);
  }

  // Passes before that have no twiddles in pairs.
  const std::size_t adjacent_n = use == Use::single ? AdjacentPassCount(chirp_->inner.transpose_steps_) : 0;
  const std::size_t split_n = ChooseConvolutionSplit(chirp_->inner.passes_, std::max(adjacent_n, std::size_t{1}));
  const std::size_t block = inner.passes[split_n - 1].span;
  const std::size_t group_n = (inner_n / block + kResponseLaneN - 1) / kResponseLaneN;
  const std::size_t response_stride = group_n * kResponseLaneN * block;
  chirp_->response = Base::AlignedArray<float>(2 * std::uint64_t{response_stride});
  float* const response_re = chirp_->response.Data();
  float* const response_im = response_re + response_stride;
  // Output first[b] + within[i] is element i of block b. Lanes behind the last block hold it as well.
  const std::size_t block_n = inner_n / block;
  std::vector<std::size_t> first(group_n * kResponseLaneN), within(block);
  for (std::size_t k = 0; k < block_n; ++k) first[inner.position[k] / block] = k;
  for (std::size_t k = 0; k < inner_n; k += block_n) within[inner.position[k]] = k;
  std::fill(first.begin() + static_cast<std::ptrdiff_t>(block_n), first.end(), first[block_n - 1]);
  std::size_t at = 0;
  for (auto group = first.begin(); group != first.end(); group += kResponseLaneN) {
    for (const std::size_t offset : within) {
      for (std::size_t l = 0; l < kResponseLaneN; ++l, ++at) {
        const Complex<float>& value = response[group[static_cast<std::ptrdiff_t>(l)] + offset];
        response_re[at] = value.re;
        response_im[at] = value.im;
      }
    }
  }

  // Single transforms deliver their outputs in order.
  position_.resize(use == Use::batch ? output_n : 0);
  std::iota(position_.begin(), position_.end(), 0u);
  chirp_->view = {
      chirp_->inner.WithoutOrder(), output_n, factor_re, factor_im, response_re, response_im, split_n, block};
  view_ = {length, 0, nullptr, position_.data(), nullptr, nullptr, 0, 0, &chirp_->view};
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
