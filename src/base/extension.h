// Boundary extension: a signal continued beyond its ends, where frames, filters and resamplers read further samples.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace kelvo::Base {

// Fills frame with the samples at positions first, first + 1 ... of src: one plain copy of what lies inside, and
// beyond(position) for the rest. Positions may be any distance from src.
template <class Beyond>
void CopyExtended(std::span<float> frame, std::span<const float> src, std::int64_t first, Beyond beyond) {
  const auto frame_n = static_cast<std::int64_t>(frame.size());
  const auto sample_n = static_cast<std::int64_t>(src.size());
  const std::int64_t inside = std::clamp<std::int64_t>(-first, 0, frame_n);
  const std::int64_t after = std::clamp<std::int64_t>(sample_n - first, inside, frame_n);
  for (std::int64_t k = 0; k < inside; ++k) frame[static_cast<std::size_t>(k)] = beyond(first + k);
  if (after > inside) {
    const std::span<const float> shared =
        src.subspan(static_cast<std::size_t>(first + inside), static_cast<std::size_t>(after - inside));
    std::copy(shared.begin(), shared.end(), frame.subspan(static_cast<std::size_t>(inside)).begin());
  }
  for (std::int64_t k = after; k < frame_n; ++k) frame[static_cast<std::size_t>(k)] = beyond(first + k);
}

// Fill frame with the samples at positions start, start + 1 ... of the signal src padded by `pad` samples in front.
// None of them reads outside src, which may not be empty.
//
// Mirrored about the end samples, which are not repeated; folds as often as needed, so a frame may be longer than src.
void ExtractFrameReflect(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad);
void ExtractFrameZero(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad);
// Point reflection about the end samples, at most one signal length beyond either end.
void ExtractFrameOdd(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad);
// The end samples repeated.
void ExtractFrameEdge(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad);

}  // namespace kelvo::Base
