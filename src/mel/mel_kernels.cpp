// The mel product, frames in lanes.
#include "mel/mel_kernels.h"

#include "simd/lanes.h"

namespace kelvo::Mel {
namespace {

using namespace Simd;

// kVectorN vectors of frames go together, so that their sums, each a chain of additions, overlap.
template <class Lane, std::size_t kVectorN>
KELVO_INLINE std::size_t MultiplyFrom(std::size_t t, const MelProduct& product) {
  for (; t + kVectorN * Lane::kSize <= product.frame_n; t += kVectorN * Lane::kSize) {
    const float* const src = product.src + t;

    // A weight of 0 adds nothing to a sum if the value it meets is finite: the product is a zero, and a sum that began
    // at +0 is never -0. A total of all values tells, at the price of one addition each; should it overflow although
    // all values are finite, the full rows give the same result more slowly.
    Lane total[kVectorN];
#pragma GCC unroll 8
    for (std::size_t v = 0; v < kVectorN; ++v) total[v] = Lane::Broadcast(0.0f);
    for (std::size_t k = 0; k < product.freq_n; ++k) {
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) {
        total[v] = total[v] + Lane::Load(src + k * product.src_stride + v * Lane::kSize);
      }
    }
    Lane difference = total[0] - total[0];
#pragma GCC unroll 8
    for (std::size_t v = 1; v < kVectorN; ++v) difference = difference + (total[v] - total[v]);
    float is_zero[Lane::kSize];
    difference.Store(is_zero);
    bool is_finite = true;
    for (const float value : is_zero) is_finite = is_finite && value == 0.0f;

    const float* weights = product.weights;
    for (std::size_t m = 0; m < product.mel_n; ++m, weights += product.freq_n) {
      const Band band = is_finite ? product.bands[m] : Band{0, product.freq_n};
      Lane sum[kVectorN];
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) sum[v] = Lane::Broadcast(0.0f);
      for (std::size_t k = band.first; k < band.last; ++k) {
        const Lane weight = Lane::Broadcast(weights[k]);
#pragma GCC unroll 8
        for (std::size_t v = 0; v < kVectorN; ++v) {
          sum[v] = Lane::Load(src + k * product.src_stride + v * Lane::kSize) * weight + sum[v];
        }
      }
#pragma GCC unroll 8
      for (std::size_t v = 0; v < kVectorN; ++v) {
        sum[v].Store(product.dst + m * product.dst_stride + t + v * Lane::kSize);
      }
    }
  }
  return t;
}

void Multiply(const MelProduct& product) {
  std::size_t t = MultiplyFrom<Floats, 8>(0, product);
  t = MultiplyFrom<Floats, 4>(t, product);
  t = MultiplyFrom<Floats, 1>(t, product);
  if constexpr (Floats::kSize > 4) t = MultiplyFrom<Lanes<float, 4>, 1>(t, product);
  MultiplyFrom<Lanes<float, 1>, 1>(t, product);
}

constexpr MelKernels kKernels{Multiply};

}  // namespace
}  // namespace kelvo::Mel

template <>
const kelvo::Mel::MelKernels& kelvo::Simd::KernelsAt<kelvo::Mel::MelKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Mel::kKernels;
}
