// Kernels of the mel product and of the conversions.
#pragma once

#include <cstddef>

namespace kelvo::Mel {

// The columns first to last - 1 of a row hold all of its weights that differ from 0; a NaN differs. A row of zeros has
// first == last == 0.
struct Band {
  std::size_t first;
  std::size_t last;
};

// dst [mel_n x frame_n] = weights [mel_n x freq_n] * src [freq_n x frame_n]; rows of dst and src lie dst_stride and
// src_stride floats apart, vectors of frames of src vector_stride floats; rows of weights are packed. bands[m] tells
// which weights of row m may differ from 0, and overlap_by_pairs whether bands overlap by pairs at most.
struct MelProduct {
  float* dst;
  std::size_t dst_stride;
  const float* src;
  std::size_t src_stride;
  std::size_t vector_stride;
  const float* weights;
  const Band* bands;
  bool overlap_by_pairs;
  std::size_t mel_n;
  std::size_t freq_n;
  std::size_t frame_n;
};

struct MelKernels {
  std::size_t lane_n;  // frames of a vector
  void (*multiply)(const MelProduct& product);
};

struct ConversionKernels {
  // dst[i] = |src[i]|^power; src is complex
  void (*raise_magnitudes)(float* dst, const float* src, std::size_t count, float power);
  // magnitudes[i] = |src[i]|^power and angles[i] = angle of src[i]; src is complex
  void (*take_angles)(float* magnitudes, float* angles, const float* src, std::size_t count, float power);
  // The same and phases[i] = (cos, sin) of the angle
  void (*take_unit_phases)(float* magnitudes, float* phases, const float* src, std::size_t count, float power);
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
