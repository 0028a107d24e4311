// Element-wise transforms in lanes.
#include "api/elementwise_kernels.h"

#include "simd/lane_math.h"
#include "simd/lanes.h"

namespace kelvo::Api {
namespace {

using namespace Simd;

template <class Lane>
KELVO_INLINE std::size_t TakeLog1pFrom(std::size_t i, float* dst, const float* src, std::size_t count) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) Log1p(Lane::Load(src + i)).Store(dst + i);
  return i;
}

void TakeLog1p(float* dst, const float* src, std::size_t count) {
  const std::size_t i = TakeLog1pFrom<Floats>(0, dst, src, count);
  TakeLog1pFrom<Lanes<float, 1>>(i, dst, src, count);
}

template <class Lane>
KELVO_INLINE std::size_t ShiftAndScaleFrom(std::size_t i, float* dst, const float* src, std::size_t count, float mean,
                                           float scale) {
  for (; i + Lane::kSize <= count; i += Lane::kSize) {
    ((Lane::Load(src + i) - Lane::Broadcast(mean)) * Lane::Broadcast(scale)).Store(dst + i);
  }
  return i;
}

void ShiftAndScale(float* dst, const float* src, std::size_t count, float mean, float scale) {
  const std::size_t i = ShiftAndScaleFrom<Floats>(0, dst, src, count, mean, scale);
  ShiftAndScaleFrom<Lanes<float, 1>>(i, dst, src, count, mean, scale);
}

constexpr ElementwiseKernels kKernels{TakeLog1p, ShiftAndScale};

}  // namespace
}  // namespace kelvo::Api

template <>
const kelvo::Api::ElementwiseKernels&
kelvo::Simd::KernelsAt<kelvo::Api::ElementwiseKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Api::kKernels;
}
