// Conversions of spectra.
#include "mel/spectral_conversions.h"

#include <limits>

#include "mel/spectral_kernels.h"

namespace kelvo::Mel {

void ComputePowerSpectrum(std::span<float> power_spec, std::span<const float> spectrum, float power,
                          Simd::Level level) {
  Simd::KernelsFor<SpectralKernels>(level).raise_magnitudes(power_spec.data(), spectrum.data(), power_spec.size(),
                                                            power);
}

void ConvertPowerToDb(std::span<float> dst, std::span<const float> src, float top_db, Simd::Level level) {
  const auto& kernels = Simd::KernelsFor<SpectralKernels>(level);
  // The conversion floors the peak as it floors every value, a NaN included.
  const float peak = kernels.find_peak(src.data(), src.size());
  // No limit for a NaN either. Nothing is less than negative infinity, so that one stands for "no limit".
  const float lower = top_db >= 0.0f ? 0.0f - top_db : -std::numeric_limits<float>::infinity();
  kernels.convert_to_db(dst.data(), src.data(), src.size(), peak, lower);
}

void ComputeMagPhaseRow(std::span<float> mag_row, std::span<float> phase_row, std::span<const float> complex_row,
                        PhaseForm phase_form, float power, Simd::Level level) {
  ComputePowerSpectrum(mag_row, complex_row, power, level);
  const auto& kernels = Simd::KernelsFor<SpectralKernels>(level);
  const auto take_phases = phase_form == PhaseForm::Complex ? kernels.take_unit_phases : kernels.take_angles;
  take_phases(phase_row.data(), complex_row.data(), mag_row.size());
}

}  // namespace kelvo::Mel
