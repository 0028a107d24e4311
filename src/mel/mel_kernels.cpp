// The mel product, frames in lanes.
#include "mel/mel_kernels.h"

#include "simd/lanes.h"

namespace kelvo::Mel {
namespace {

using namespace Simd;

// A weight of 0 changes no sum if the value it multiplies is finite: the product is a zero, and a sum that began at +0
// is never -0. Values are finite if their total is; should the total overflow although they are, to look at each gives
// the same result more slowly.
template <class Lane, std::size_t kVectorN>
KELVO_INLINE bool AreFinite(const Lane (&total)[kVectorN]) {
  Lane difference = total[0] - total[0];
#pragma GCC unroll 4
  for (std::size_t v = 1; v < kVectorN; ++v) difference = difference + (total[v] - total[v]);
  float is_zero[Lane::kSize];
  difference.Store(is_zero);
  bool are_finite = true;
  for (const float value : is_zero) are_finite = are_finite && value == 0.0f;
  return are_finite;
}

template <class Lane, std::size_t kVectorN>
KELVO_INLINE void SetZero(Lane (&lanes)[kVectorN]) {
#pragma GCC unroll 4
  for (std::size_t v = 0; v < kVectorN; ++v) lanes[v] = Lane::Broadcast(0.0f);
}

// The sums of kVectorN vectors of frames, computed together so that their additions, each of which waits for the one
// before, overlap.
template <class Lane, std::size_t kVectorN>
struct FrameVectors {
  const MelProduct& product;
  const float* src;
  float* dst;

  std::size_t src_stride, vector_stride;

  KELVO_INLINE FrameVectors(const MelProduct& of, std::size_t t)
      : product(of),
        src(of.src + t / Floats::kSize * of.vector_stride + t % Floats::kSize),
        dst(of.dst + t),
        src_stride(of.src_stride),
        vector_stride(of.vector_stride) {}

  KELVO_INLINE Lane Load(std::size_t k, std::size_t v) const {
    return Lane::Load(src + k * src_stride + v * vector_stride);
  }
  KELVO_INLINE void Store(std::size_t m, const Lane (&sum)[kVectorN]) const {
    constexpr std::size_t kFrameN = kVectorN * Lane::kSize;
    float* const to = dst + m * product.dst_stride;
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) sum[v].Store(to + v * Lane::kSize);
    PrefetchToL2(to, kFrameN, 2 * kFrameN);
  }
};

// Of each frame the first and the last bin whose value is an infinity or NaN. All sums whose weight is 0 there are NaN.
template <class Lane>
struct BinsNotFinite {
  Lane first = Lane::Broadcast(__builtin_inff());
  Lane last = Lane::Broadcast(-1.0f);

  // Bins of a band that the frame's sum has to go through.
  static KELVO_INLINE Band BandOf(const MelProduct& product, std::size_t m) {
    constexpr std::size_t kMostExact = std::size_t{1} << 24;  // bins have floats of their own
    return product.freq_n <= kMostExact ? product.bands[m] : Band{0, product.freq_n};
  }
  KELVO_INLINE void Include(Lane value, std::size_t k) {
    const Lane bin = Lane::Broadcast(static_cast<float>(k));
    const Lane zero = Lane::Broadcast(0.0f);
    last = SelectEqual(value - value, zero, last, bin);
    first = SelectEqual(value - value, zero, first, SelectLess(first, bin, first, bin));
  }
  KELVO_INLINE Lane Complete(Lane sum, const Band& band) const {
    const Lane nan = Lane::Broadcast(__builtin_nanf(""));
    const Lane without_later = SelectLess(last, Lane::Broadcast(static_cast<float>(band.last)), sum, nan);
    return SelectLess(first, Lane::Broadcast(static_cast<float>(band.first)), nan, without_later);
  }
};

// Band by band, for any weights.
template <class Lane, std::size_t kVectorN>
KELVO_INLINE void MultiplyBands(const FrameVectors<Lane, kVectorN>& frames) {
  const MelProduct product = frames.product;
  Lane total[kVectorN];
  SetZero(total);
  for (std::size_t k = 0; k < product.freq_n; ++k) {
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) total[v] = total[v] + frames.Load(k, v);
  }
  const bool are_finite = AreFinite(total);
  BinsNotFinite<Lane> bins_not_finite[kVectorN];
  for (std::size_t k = 0; k < product.freq_n && !are_finite; ++k) {
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) bins_not_finite[v].Include(frames.Load(k, v), k);
  }
  const float* weights = product.weights;
  for (std::size_t m = 0; m < product.mel_n; ++m, weights += product.freq_n) {
    const Band band = are_finite ? product.bands[m] : BinsNotFinite<Lane>::BandOf(product, m);
    Lane sum[kVectorN];
    SetZero(sum);
    for (std::size_t k = band.first; k < band.last; ++k) {
      const Lane weight = Lane::Broadcast(weights[k]);
#pragma GCC unroll 4
      for (std::size_t v = 0; v < kVectorN; ++v) sum[v] = frames.Load(k, v) * weight + sum[v];
    }
    if (!are_finite) {
#pragma GCC unroll 4
      for (std::size_t v = 0; v < kVectorN; ++v) sum[v] = bins_not_finite[v].Complete(sum[v], band);
    }
    frames.Store(m, sum);
  }
}

// For bands that overlap by pairs: reads every bin once. A band is `next` while the one before it is the current band,
// and has no weights earlier. Returns false, and invalid sums, if a value is not finite: every value is added to the
// current band, if only times 0, which makes that sum an infinity or NaN.
template <class Lane, std::size_t kVectorN>
KELVO_INLINE bool MultiplyPairs(const FrameVectors<Lane, kVectorN>& frames) {
  const MelProduct product = frames.product;
  Lane total[kVectorN];
  Lane current[kVectorN];
  Lane next[kVectorN];
  SetZero(total);
  SetZero(current);
  SetZero(next);
  std::size_t k = 0;
  const float* weights = product.weights;
  for (std::size_t m = 0; m < product.mel_n; ++m, weights += product.freq_n) {
    const bool is_last = m + 1 == product.mel_n;
    const float* const next_weights = is_last ? weights : weights + product.freq_n;
    const std::size_t last = is_last ? product.freq_n : product.bands[m].last;
    for (; k < last; ++k) {
      const Lane weight = Lane::Broadcast(weights[k]);
      const Lane next_weight = Lane::Broadcast(next_weights[k]);
#pragma GCC unroll 4
      for (std::size_t v = 0; v < kVectorN; ++v) {
        const Lane value = frames.Load(k, v);
        current[v] = value * weight + current[v];
        next[v] = value * next_weight + next[v];
      }
    }
    frames.Store(m, current);
#pragma GCC unroll 4
    for (std::size_t v = 0; v < kVectorN; ++v) {
      total[v] = total[v] + current[v];
      current[v] = next[v];
    }
    SetZero(next);
  }
  return AreFinite(total);
}

template <class Lane, std::size_t kVectorN>
KELVO_INLINE std::size_t MultiplyFrom(std::size_t t, const MelProduct& product) {
  for (; t + kVectorN * Lane::kSize <= product.frame_n; t += kVectorN * Lane::kSize) {
    const FrameVectors<Lane, kVectorN> frames(product, t);
    if (!product.overlap_by_pairs || !MultiplyPairs(frames)) MultiplyBands(frames);
  }
  return t;
}

void Multiply(const MelProduct& product) {
  std::size_t t = MultiplyFrom<Floats, 4>(0, product);
  t = MultiplyFrom<Floats, 1>(t, product);
  if constexpr (Floats::kSize > 4) t = MultiplyFrom<Lanes<float, 4>, 1>(t, product);
  MultiplyFrom<Lanes<float, 1>, 1>(t, product);
}

constexpr MelKernels kKernels{Floats::kSize, Multiply};

}  // namespace
}  // namespace kelvo::Mel

template <>
const kelvo::Mel::MelKernels& kelvo::Simd::KernelsAt<kelvo::Mel::MelKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Mel::kKernels;
}
