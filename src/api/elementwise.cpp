// Element-wise transforms.
#include "api/elementwise.h"

#include <cmath>

#include "api/elementwise_kernels.h"

namespace kelvo::Api {

void ComputeLog1p(std::span<float> dst, std::span<const float> src, Simd::Level level) {
  Simd::KernelsFor<ElementwiseKernels>(level).log1p(dst.data(), src.data(), src.size());
}

void Standardize(std::span<float> dst, std::span<const float> src, Simd::Level level) {
  constexpr float kDeviationOfConstant = 1e-16f;

  const float inv_n = 1.0f / static_cast<float>(src.size());
  // One pass in index order and single precision: the order of additions is part of the result.
  float sum = 0.0f;
  float sum_sq = 0.0f;
  for (const float value : src) {
    sum += value;
    sum_sq += value * value;
  }
  const float mean = sum * inv_n;
  // May come out slightly negative; the deviation is then NaN, and so is every output. Callers rely on seeing that.
  const float variance = inv_n * sum_sq - mean * mean;
  float deviation = ::sqrtf(variance);
  if (deviation == 0.0f) deviation = kDeviationOfConstant;
  Simd::KernelsFor<ElementwiseKernels>(level).shift_and_scale(dst.data(), src.data(), src.size(), mean,
                                                              1.0f / deviation);
}

}  // namespace kelvo::Api
