// Kernels of the element-wise transforms.
#pragma once

#include <cstddef>

namespace kelvo::Api {

struct ElementwiseKernels {
  // dst[i] = (src[i] - mean) * scale
  void (*shift_and_scale)(float* dst, const float* src, std::size_t count, float mean, float scale);
};

}  // namespace kelvo::Api
