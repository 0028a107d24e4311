// Conversions of spectra and features.
#include "mel/conversions.h"

#include <limits>

#include "math/functions.h"
#include "mel/mel_kernels.h"

namespace kelvo::Mel {

void ComputePowerSpectrum(float* power_spec, std::span<const float> spectrum, float power, Simd::Level level) {
  Simd::KernelsFor<ConversionKernels>(level).raise_magnitudes(power_spec, spectrum.data(), spectrum.size() / 2, power);
}

void ConvertPowerToDb(float* dst, std::span<const float> src, float top_db, Simd::Level level) {
  const auto& kernels = Simd::KernelsFor<ConversionKernels>(level);
  // The conversion floors the peak as it floors every value, a NaN included.
  const float peak = kernels.find_peak(src.data(), src.size());
  // A NaN is no limit either, and negative infinity, which nothing is below, is no limit.
  const float lower = top_db >= 0.0f ? 0.0f - top_db : -std::numeric_limits<float>::infinity();
  kernels.convert_to_db(dst, src.data(), src.size(), peak, lower);
}

void ComputeMagPhaseRow(float* mag_row, float* phase_row, std::span<const float> complex_row, PhaseForm phase_form,
                        float power, Simd::Level level) {
  const auto& kernels = Simd::KernelsFor<ConversionKernels>(level);
  const auto take_phases = phase_form == PhaseForm::Complex ? kernels.take_unit_phases : kernels.take_angles;
  take_phases(mag_row, phase_row, complex_row.data(), complex_row.size() / 2, power);
}

void ComputeLog1p(float* dst, std::span<const float> src, Simd::Level level) {
  Simd::KernelsFor<ConversionKernels>(level).log1p(dst, src.data(), src.size());
}

void Standardize(float* dst, std::span<const float> src, Simd::Level level) {
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
  // May be slightly negative; the deviation is then NaN, and so is every output. Callers rely on that.
  const float variance = inv_n * sum_sq - mean * mean;
  float deviation = Math::Sqrt(variance);
  if (deviation == 0.0f) deviation = kDeviationOfConstant;
  Simd::KernelsFor<ConversionKernels>(level).shift_and_scale(dst, src.data(), src.size(), mean, 1.0f / deviation);
}

}  // namespace kelvo::Mel
