// The transforms of one signal.
#include "fft/fft.h"

#include "base/buffers.h"
#include "fft/fft_kernels.h"
#include "fft/fft_plan.h"

namespace kelvo::Fft {

void ComputeFft(float* dst, std::span<const float> src, Simd::Level level) {
  const auto fft_n = static_cast<int>(src.size());
  const RealTransformView& plan = FftPlanCache::Get().GetForwardPlan(fft_n).real.View();
  Base::CallScratch scratch;
  const bool is_streamed = src.size() >= kLeastStreamedN && 2 * src.size_bytes() >= Simd::StreamingBytes();
  Simd::KernelsFor<FftKernels>(level).real_to_bins(dst, src.data(), plan, is_streamed,
                                                   scratch.Take<float>(FftScratchSize(plan.inner)).data());
}

void ComputeIfft(float* dst, std::span<const float> src, Simd::Level level) {
  const auto fft_n = static_cast<int>(src.size() / 2);
  const TransformView& plan = FftPlanCache::Get().GetInversePlan(fft_n).complex.View();
  Base::CallScratch scratch;
  Simd::KernelsFor<FftKernels>(level).inverse_complex(dst, src.data(), plan,
                                                      scratch.Take<float>(TransformScratchSize(plan)).data());
}

}  // namespace kelvo::Fft
