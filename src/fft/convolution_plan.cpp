// Building the tables of transforms as convolutions.
#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "fft/complex.h"
#include "fft/fft_kernels.h"
#include "fft/fft_plan.h"
#include "fft/unit_roots.h"
#include "simd/level.h"

namespace kelvo::Fft {
namespace {

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

}  // namespace

ConvolutionPlan::ConvolutionPlan(std::size_t length, std::size_t inner_n, Use use, Input input) {
  view_.output_n = OutputCount(length, input);
  // The memory that this takes is free before there are other tables.
  std::vector<Complex<float>> response;
  if (inner_n <= kLongestExactResponse) {
    std::vector<Complex<double>> factors = ChirpFactors<double>(length, view_.output_n, inner_n);
    KeepFactors(factors, length);
    response = ExactResponse(std::move(factors));
  }
  inner_ = TransformPlan(inner_n, ChooseInnerRadices(inner_n, use), use, Input::complex);
  view_.inner = inner_.View();
  if (inner_n > kLongestExactResponse) {
    std::vector<Complex<float>> factors = ChirpFactors<float>(length, view_.output_n, inner_n);
    KeepFactors(factors, length);
    response = FastResponse(std::move(factors), view_.inner);
  }
  // Passes before that have no twiddles in pairs.
  const std::size_t least_split_n = std::max(inner_.AdjacentPassCount(), std::size_t{1});
  view_.split_n = ChooseConvolutionSplit({view_.inner.passes, view_.inner.pass_n}, least_split_n);
  view_.block = view_.inner.passes[view_.split_n - 1].span;
  KeepResponse(response);
  inner_.DropOrder();
  view_.inner = inner_.View();
}

template <class T>
void ConvolutionPlan::KeepFactors(const std::vector<Complex<T>>& factors, std::size_t length) {
  const std::size_t stride = (length + 15) / 16 * 16;
  factors_ = Base::AlignedArray<float>(2 * std::uint64_t{stride});
  float* const re = factors_.Data();
  float* const im = re + stride;
  for (std::size_t j = 0; j < length; ++j) {
    const Complex<T>& factor = factors[j < view_.output_n ? j : factors.size() - j];
    re[j] = static_cast<float>(factor.re);
    im[j] = static_cast<float>(factor.im);
  }
  view_.factor_re = re;
  view_.factor_im = im;
}

void ConvolutionPlan::KeepResponse(const std::vector<Complex<float>>& response) {
  const std::size_t inner_n = response.size();
  const std::size_t block = view_.block;
  const std::size_t block_n = inner_n / block;
  const std::size_t group_n = (block_n + kResponseLaneN - 1) / kResponseLaneN;
  const std::size_t stride = group_n * kResponseLaneN * block;
  response_ = Base::AlignedArray<float>(2 * std::uint64_t{stride});
  float* re = response_.Data();
  float* im = re + stride;
  view_.response_re = re;
  view_.response_im = im;
  // Output first[b] + within[i] is element i of block b. Lanes behind the last block hold it as well.
  std::vector<std::size_t> first(group_n * kResponseLaneN), within(block);
  for (std::size_t k = 0; k < block_n; ++k) first[view_.inner.position[k] / block] = k;
  for (std::size_t k = 0; k < inner_n; k += block_n) within[view_.inner.position[k]] = k;
  std::fill(first.begin() + static_cast<std::ptrdiff_t>(block_n), first.end(), first[block_n - 1]);
  for (auto group = first.begin(); group != first.end(); group += kResponseLaneN) {
    for (const std::size_t offset : within) {
      for (std::size_t l = 0; l < kResponseLaneN; ++l) {
        const Complex<float>& value = response[group[static_cast<std::ptrdiff_t>(l)] + offset];
        *re++ = value.re;
        *im++ = value.im;
      }
    }
  }
}

}  // namespace kelvo::Fft
