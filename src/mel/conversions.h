// Conversions element by element: power to decibels, complex values to magnitude and phase, log(1 + x),
// standardisation.
#pragma once

#include <span>

#include "simd/level.h"

namespace kelvo::Mel {

// In all of them the counts of the outputs follow from that of the input.

// power_spec[k] = |spectrum[k]|^power of complex values.
void ComputePowerSpectrum(float* power_spec, std::span<const float> spectrum, float power, Simd::Level level);

// Decibels below the largest value of src, both floored at 1e-10. With top_db >= 0 nothing is lower than -top_db.
// At least one value; dst and src may be the same array.
void ConvertPowerToDb(float* dst, std::span<const float> src, float top_db, Simd::Level level);

// How a phase is given.
enum class PhaseForm {
  Angle = 0,   // radians, one float
  Complex = 1  // (cos, sin) of the angle, two floats
};

// Magnitudes raised to a power, and phases, of complex values.
void ComputeMagPhaseRow(float* mag_row, float* phase_row, std::span<const float> complex_row, PhaseForm phase_form,
                        float power, Simd::Level level);

// dst and src may be the same array, in both.
void ComputeLog1p(float* dst, std::span<const float> src, Simd::Level level);
void Standardize(float* dst, std::span<const float> src, Simd::Level level);

}  // namespace kelvo::Mel
