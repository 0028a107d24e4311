// Kernels of the element-wise transforms.
#pragma once

#include <cstddef>

namespace kelvo::Api {

struct ElementwiseKernels {
  // dst[i] = log(1 + src[i]); dst may be src, in both
  void (*log1p)(float* dst, const float* src, std::size_t count);
  // dst[i] = (src[i] - mean) * scale
  void (*shift_and_scale)(float* dst, const float* src, std::size_t count, float mean, float scale);
};

}  // namespace kelvo::Api
