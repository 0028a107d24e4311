// Single transforms.
#include "fft/fft_kernels.h"

#include "fft/real_split.h"
#include "simd/lanes.h"

namespace kelvo::Fft {
namespace {

// Writes each bin and its mirror image, bin n - k = conj(bin k), as interleaved complex values.
struct MirroredBins {
  float* dst;
  std::size_t n;

  // Bins k, k + 1, ... as pairs of parts, and bins k, k - 1, ...
  template <class Pairs>
  KELVO_INLINE void StoreAt(std::size_t k, const Pairs& pairs) const {
    pairs.first.Store(dst + 2 * k);
    pairs.second.Store(dst + 2 * k + pairs.first.kSize);
  }
  template <class Pairs>
  KELVO_INLINE void StoreReversedAt(std::size_t k, const Pairs& pairs) const {
    StoreAt(k + 1 - pairs.first.kSize, ReversePairs(pairs));
  }
  template <class Lane>
  KELVO_INLINE void SelfConjugate(std::size_t k, const Complex<Lane>& x) const {
    StoreAt(k, Interleave(x.re, x.im));
  }
  // Mirror images are made of pairs, which takes fewer shuffles than to reverse both parts before they are interleaved.
  template <class Lane>
  KELVO_INLINE void Forward(std::size_t k, const Complex<Lane>& x) const {
    const auto pairs = Interleave(x.re, x.im);
    StoreAt(k, pairs);
    StoreReversedAt(n - k, ConjugatePairs(pairs));
  }
  template <class Lane>
  KELVO_INLINE void Mirrored(std::size_t k, const Complex<Lane>& x) const {
    const auto pairs = Interleave(x.re, x.im);
    StoreReversedAt(k, pairs);
    StoreAt(n - k, ConjugatePairs(pairs));
  }
};

void StorePairs(float* to, const Complex<Floats>& x) {
  const auto pairs = Interleave(x.re, x.im);
  pairs.first.Store(to);
  pairs.second.Store(to + Floats::kSize);
}
Complex<Floats> Reversed(const Complex<Floats>& x) { return {Reverse(x.re), Reverse(x.im)}; }

// Bins `first` .. `end` - 1 of a half-length transform and those that are made with them, in ascending order.
struct StagedBins {
  float* below_quarter;  // bins first, first + 1, ...
  float* to_middle;      // ... middle - first
  float* from_middle;    // middle + first, ...
  float* to_end;         // ... n - first
  std::size_t first, end, middle;

  template <class Lane>
  KELVO_INLINE void Forward(std::size_t k, const Complex<Lane>& x) const {
    StorePairs(below_quarter + 2 * (k - first), x);
    StorePairs(to_end + 2 * (end - k - Lane::kSize), Reversed(Conjugate(x)));
  }
  template <class Lane>
  KELVO_INLINE void Mirrored(std::size_t mirrored, const Complex<Lane>& x) const {
    const std::size_t k = middle - mirrored;
    StorePairs(to_middle + 2 * (end - k - Lane::kSize), Reversed(x));
    StorePairs(from_middle + 2 * (k - first), Conjugate(x));
  }
};

// RealSingleBins of a result that streaming stores take to memory: collected in scratch memory piece by piece, in the
// four places that a piece belongs to.
void StreamBins(const RealTransformView& plan, const NaturalOutput& output, float* dst, float* scratch) {
  constexpr std::size_t kPieceN = 512;
  // A whole piece exists, and what the passes have left of the scratch memory holds its four places.
  static_assert(4 * kPieceN <= kLeastStreamedN / 2);
  const std::size_t n = plan.fft_n;
  const std::size_t middle = n / 2;
  SelfConjugateBins<Lanes<float, 1>>(plan, output, MirroredBins{dst, n});
  const std::size_t bin_end = LastInnerBin(plan) + 1;
  for (std::size_t end = 1; end < bin_end;) {
    // The last piece ends where the bins do, and may overlap the one before.
    end = end + kPieceN < bin_end ? end + kPieceN : bin_end;
    const std::size_t first = end - kPieceN;
    const StagedBins staged{scratch, scratch + 2 * kPieceN, scratch + 4 * kPieceN, scratch + 6 * kPieceN, first, end,
                            middle};
    InnerBins<Single, Floats>(plan, output, staged, first, end - 1, 1);
    Simd::StreamRow(dst + 2 * first, staged.below_quarter, 2 * kPieceN);
    Simd::StreamRow(dst + 2 * (middle - end + 1), staged.to_middle, 2 * kPieceN);
    Simd::StreamRow(dst + 2 * (middle + first), staged.from_middle, 2 * kPieceN);
    Simd::StreamRow(dst + 2 * (n - end + 1), staged.to_end, 2 * kPieceN);
  }
  Simd::FinishStreaming();
}

void TransformElements(float* re, float* im, const float* src_re, const float* src_im, const TransformView& plan,
                       float* scratch) {
  TransformSingle(plan, ConstElements{src_re, src_im}, SplitElements{re, im}, scratch);
}

void TransformReal(float* re, float* im, const float* samples, const RealTransformView& plan, float* scratch) {
  if (plan.IsHalfLength()) {
    TransformSingle(plan.inner, SamplePairs{samples}, SplitElements{re, im}, scratch);
  } else {
    for (std::size_t i = 0; i < plan.fft_n; ++i) im[i] = 0.0f;
    TransformElements(re, im, samples, im, plan.inner, scratch);
  }
}

// Real samples as elements.
struct LoneSamples {
  const float* samples;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    return {Lane::Load(samples + k), Lane::Broadcast(0.0f)};
  }
};

// Bins and their mirror images, except for those of the first vector.
struct LoneBins {
  MirroredBins bins;

  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    if (k == 0) return bins.SelfConjugate(0, x);
    bins.Forward(k, x);
  }
  // Of the vector behind the first bin, which has none.
  void MirrorFirst() const { bins.Forward(1, SamplePairs{bins.dst + 2}.Load<Floats>(0)); }
};

// All bins, as a direct sum makes them.
struct SumBins {
  float* dst;

  template <class Lane>
  KELVO_INLINE auto Pairs(const Complex<Lane>& x) const {
    return Interleave(x.re, x.im);
  }
  KELVO_INLINE void Place(std::size_t k, const float* pair) const {
    __builtin_memcpy(dst + 2 * k, pair, 2 * sizeof(float));
  }
};

void RealToBins(float* dst, const float* src, const RealTransformView& plan, bool is_streamed, float* scratch) {
  if constexpr (kHasFour) {
    const MirroredBins bins{dst, plan.fft_n};
    if (IsSmall<8>(plan.inner)) return SmallRealBins<8>(plan, SamplePairs{src}, bins);
    if (IsSmall<4>(plan.inner)) {
      if (plan.IsHalfLength()) return SmallRealBins<4>(plan, SamplePairs{src}, bins);
      return SmallFullBins(plan, LoneSamples{src}, bins);
    }
  }
  if (!plan.IsHalfLength()) {
    if (IsSum(plan.inner)) return SumColumn<true>(plan.inner.passes[0], LoneSamples{src}, SumBins{dst}, scratch);
    if (plan.inner.chirp != nullptr) {
      const LoneBins bins{{dst, plan.fft_n}};
      TransformByChirp(plan.inner, LoneSamples{src}, bins, scratch);
      return bins.MirrorFirst();
    }
  }
  const std::size_t stride = OutputStride(plan.inner.length);
  const SplitElements output{scratch, scratch + stride};
  TransformReal(output.re, output.im, src, plan, scratch + 2 * stride);
  if (is_streamed && plan.IsHalfLength()) return StreamBins(plan, NaturalOutput{output}, dst, scratch + 2 * stride);
  RealSingleBins(plan, NaturalOutput{output}, MirroredBins{dst, plan.fft_n});
}

void TransformInterleaved(float* re, float* im, const float* src_re, const float* src_im, const unsigned* begins,
                          const TransformView& plan, float* scratch) {
  AtWidth(
      kInterleavedN, [&]<class Lane>() __attribute__((always_inline)) {
        const auto lanes = BatchAt<Lane>(scratch);
        for (std::size_t l = 0; l < kInterleavedN; l += Lane::kSize) {
          TransposeBlocks(lanes, ConstElements{src_re, src_im}, begins + l, plan.length);
          RunPasses<Batch, Lane>(lanes, plan, 0, plan.pass_n, plan.length, scratch + 2 * plan.length * Lane::kSize);
          for (std::size_t k = 0; k < plan.length; ++k) {
            Elements<kInterleavedN>{re + l, im + l}.Store(k, lanes.template Load<Lane>(k));
          }
        }
      });
}

// Swapping real and imaginary parts before and after turns the forward transform into the inverse one.
struct SwappedPairs {
  const float* src;
  template <class Lane>
  KELVO_INLINE Complex<Lane> Load(std::size_t k) const {
    const Complex<Lane> value = SamplePairs{src}.Load<Lane>(k);
    return {value.im, value.re};
  }
  KELVO_INLINE SwappedPairs From(std::size_t k) const { return {src + 2 * k}; }
};

// Multiplies by 1 / n in two parts, the larger rounded down: as accurate as a division except for the last rounding,
// and an infinity stays one. For a power of two the smaller part is 0 and is left out.
struct SwappedScaledPairs {
  float* dst;
  float reciprocal;
  float remainder;

  template <class Lane>
  KELVO_INLINE auto Pairs(const Complex<Lane>& x) const {
    const auto scale = [&](Lane value) __attribute__((always_inline)) {
      const Lane scaled = value * Lane::Broadcast(reciprocal);
      return remainder != 0.0f ? scaled + value * Lane::Broadcast(remainder) : scaled;
    };
    return Interleave(scale(x.im), scale(x.re));
  }
  template <class Lane>
  KELVO_INLINE void Store(std::size_t k, const Complex<Lane>& x) const {
    const auto pairs = Pairs(x);
    pairs.first.Store(dst + 2 * k);
    pairs.second.Store(dst + 2 * k + Lane::kSize);
  }
  KELVO_INLINE void Place(std::size_t k, const float* pair) const {
    __builtin_memcpy(dst + 2 * k, pair, 2 * sizeof(float));
  }
};

void InverseComplex(float* dst, const float* src, const TransformView& plan, float* scratch) {
  const double exact = 1.0 / static_cast<double>(plan.length);
  auto reciprocal = static_cast<float>(exact);
  // From above it goes one step down, which of a positive float is one less in its bits.
  if (static_cast<double>(reciprocal) > exact) {
    reciprocal = __builtin_bit_cast(float, __builtin_bit_cast(unsigned, reciprocal) - 1);
  }
  const auto remainder = static_cast<float>(exact - static_cast<double>(reciprocal));
  TransformSingle(plan, SwappedPairs{src}, SwappedScaledPairs{dst, reciprocal, remainder}, scratch);
}

constexpr FftKernels kKernels{RealToBins, InverseComplex, TransformReal, TransformElements, TransformInterleaved};

}  // namespace
}  // namespace kelvo::Fft

template <>
const kelvo::Fft::FftKernels& kelvo::Simd::KernelsAt<kelvo::Fft::FftKernels, kelvo::Simd::Level::KELVO_LEVEL>() {
  return kelvo::Fft::kKernels;
}
