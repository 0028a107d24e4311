// Conversions element by element: power to decibels, complex values to magnitude and phase, log(1 + x),
// standardisation.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Mel {

// power_spec[k] = |spectrum[k]|^power; the spectrum is complex and holds power_spec.size() values at least.
void ComputePowerSpectrum(std::span<float> power_spec, std::span<const float> spectrum, float power, Simd::Level level);

// Decibels below the largest value of src, both floored at 1e-10. With top_db >= 0 nothing is lower than -top_db.
// dst and src have the same length, at least 1, and may be the same array.
void ConvertPowerToDb(std::span<float> dst, std::span<const float> src, float top_db, Simd::Level level);

// How a phase is given.
enum class PhaseForm {
  Angle = 0,   // radians, one float
  Complex = 1  // (cos, sin) of the angle, two floats
};

// Magnitudes raised to a power, and phases, of mag_row.size() complex values.
void ComputeMagPhaseRow(std::span<float> mag_row, std::span<float> phase_row, std::span<const float> complex_row,
                        PhaseForm phase_form, float power, Simd::Level level);

// dst and src have the same length and may be the same array, in both.
void ComputeLog1p(std::span<float> dst, std::span<const float> src, Simd::Level level);
void Standardize(std::span<float> dst, std::span<const float> src, Simd::Level level);

}  // namespace kelvo::Mel
