// Kernels of the conversions.
#pragma once

#include <cstddef>

namespace kelvo::Mel {

struct ConversionKernels {
  // dst[i] = |src[i]|^power; src is complex
  void (*raise_magnitudes)(float* dst, const float* src, std::size_t count, float power);
  // dst[i] = angle of src[i]; src is complex
  void (*take_angles)(float* dst, const float* src, std::size_t count);
  // dst[i] = (cos, sin) of the angle of src[i]; both are complex
  void (*take_unit_phases)(float* dst, const float* src, std::size_t count);
  // The largest of src; src[0] if that is NaN. count > 0.
  float (*find_peak)(const float* src, std::size_t count);
  // dst[i] = src[i] in dB below the reference, not lower than `lower`; dst may be src
  void (*convert_to_db)(float* dst, const float* src, std::size_t count, float reference, float lower);
  // dst[i] = log(1 + src[i]); dst may be src, in both
  void (*log1p)(float* dst, const float* src, std::size_t count);
  // dst[i] = (src[i] - mean) * scale
  void (*shift_and_scale)(float* dst, const float* src, std::size_t count, float mean, float scale);
};

}  // namespace kelvo::Mel
