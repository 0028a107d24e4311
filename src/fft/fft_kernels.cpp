// Transforms of one signal.
#include "fft/fft_kernels.h"

#include "fft/real_split.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
namespace {

// At 17 most is added to reach a multiple of cache lines.
static_assert(RealBinsOfOneScratch(17) <= FftScratchSize(17));

// Writes each bin and its mirror image, bin n - k = conj(bin k), as interleaved complex values.
struct MirroredBins {
  float* dst;
  std::size_t n;

  template <class Lane>
  KELVO_INLINE void StoreAt(std::size_t k, Lane re, Lane im) const {
    const auto pairs = Interleave(re, im);
    pairs.first.Store(dst + 2 * k);
    pairs.second.Store(dst + 2 * k + Lane::kSize);
  }
  template <class Lane>
  KELVO_INLINE void Alone(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k, x.re, x.im);
  }
  template <class Lane>
  KELVO_INLINE void Ascending(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k, x.re, x.im);
    StoreAt(n - k + 1 - Lane::kSize, Reverse(x.re), Reverse(-x.im));
  }
  template <class Lane>
  KELVO_INLINE void Descending(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k + 1 - Lane::kSize, Reverse(x.re), Reverse(x.im));
    StoreAt(n - k, x.re, -x.im);
  }
};

void RealToBins(float* dst, const float* src, const RealTransformView& plan, float* scratch) {
  const MirroredBins sink{dst, plan.fft_n};
  if (plan.IsHalved()) {
    RealBinsOfOne(plan, SamplePairs{src}, sink, scratch);
  } else {
    RealBinsOfOne(plan, SingleSamples{src}, sink, scratch);
  }
}

// Exchanging real and imaginary parts before and after turns the forward transform into the inverse one.
struct ExchangedPairs {
  const float* src;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    const Complex<Lane> value = SamplePairs{src}.Load<Lane>(k);
    return {value.im, value.re};
  }
};

// Multiplies by 1 / n in two parts, the larger rounded down: as accurate as a division but for the last rounding, and an
// infinity stays one. The smaller part of a power of two would be 0 and is left out.
struct ExchangedScaledPairs {
  float* dst;
  float reciprocal;
  float remainder;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    const auto scale = [&](Lane value) __attribute__((always_inline)) {
      const Lane scaled = value * Lane::Broadcast(reciprocal);
      return remainder != 0.0f ? scaled + value * Lane::Broadcast(remainder) : scaled;
    };
    const auto pairs = Interleave(scale(x.im), scale(x.re));
    pairs.first.Store(dst + 2 * k);
    pairs.second.Store(dst + 2 * k + Lane::kSize);
  }
};

void InverseComplex(float* dst, const float* src, const TransformView& plan, float* scratch) {
  const double exact = 1.0 / static_cast<double>(plan.length);
  auto reciprocal = static_cast<float>(exact);
  if (static_cast<double>(reciprocal) > exact) reciprocal = __builtin_nextafterf(reciprocal, 0.0f);
  const auto remainder = static_cast<float>(exact - static_cast<double>(reciprocal));
  TransformOne(plan, ExchangedPairs{src}, ExchangedScaledPairs{dst, reciprocal, remainder}, scratch);
}

constexpr FftKernels kKernels{RealToBins, InverseComplex};

}  // namespace
}  // namespace kelvo::Fft

template <>
const kelvo::Fft::FftKernels& kelvo::Simd::KernelsAt<kelvo::Fft::FftKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Fft::kKernels;
}
