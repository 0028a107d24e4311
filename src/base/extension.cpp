// The kinds of extension.
#include "base/extension.h"

#include <cstddef>

namespace kelvo::Base {
namespace {

// The sample at a position beyond the ends. The mirrored signal is periodic: both end samples appear once in a period,
// all others twice.
std::size_t FoldPosition(std::int64_t position, std::int64_t sample_n) {
  if (sample_n == 1) return 0;
  const std::int64_t period = 2 * sample_n - 2;
  const std::int64_t remainder = position % period;
  const std::int64_t folded = remainder < 0 ? remainder + period : remainder;
  return static_cast<std::size_t>(folded < sample_n ? folded : period - folded);
}

}  // namespace

void ExtractFrameReflect(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  const auto sample_n = static_cast<std::int64_t>(src.size());
  CopyExtended(frame, src, start - pad, [&](std::int64_t position) { return src[FoldPosition(position, sample_n)]; });
}

void ExtractFrameZero(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  CopyExtended(frame, src, start - pad, [](std::int64_t) { return 0.0f; });
}

void ExtractFrameOdd(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  const auto last = static_cast<std::int64_t>(src.size()) - 1;
  CopyExtended(frame, src, start - pad, [&](std::int64_t position) {
    const std::int64_t edge = position < 0 ? 0 : last;
    const float edge_sample = src[static_cast<std::size_t>(edge)];
    // The doubled edge first: it may round or overflow before the difference does.
    return (edge_sample + edge_sample) - src[static_cast<std::size_t>(2 * edge - position)];
  });
}

void ExtractFrameEdge(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  CopyExtended(frame, src, start - pad, [&](std::int64_t position) { return position < 0 ? src.front() : src.back(); });
}

}  // namespace kelvo::Base
