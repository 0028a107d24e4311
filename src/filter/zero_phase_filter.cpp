// Zero-phase filtering.
#include "filter/zero_phase_filter.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "api/buffers.h"
#include "api/checks.h"
#include "filter/filter_coefficients.h"
#include "filter/filter_initial_state.h"
#include "filter/linear_filter.h"
#include "stft/frames.h"

namespace kelvo::Filter {
namespace {

// Fills frame with the samples from `position` on: those of src, and beyond(position) outside.
template <class Beyond>
void ExtractFrameFrom(std::span<float> frame, std::span<const float> src, std::int64_t position, Beyond beyond) {
  const auto sample_n = static_cast<std::int64_t>(src.size());
  const std::int64_t end = position + static_cast<std::int64_t>(frame.size());
  const std::int64_t first = std::clamp<std::int64_t>(0, position, end);
  const std::int64_t last = std::clamp(sample_n, first, end);
  const auto at = [&](std::int64_t p) { return frame.begin() + (p - position); };
  for (std::int64_t p = position; p < first; ++p) *at(p) = beyond(p);
  if (first < last) std::copy(src.begin() + first, src.begin() + last, at(first));
  for (std::int64_t p = last; p < end; ++p) *at(p) = beyond(p);
}

// `count` samples from position `start` on of the signal with pad_len samples in front of it.
std::vector<float> ExtractPadding(std::span<const float> src, std::int64_t start, std::size_t count, int pad_type,
                                  int pad_len) {
  std::vector<float> padding(count);
  switch (static_cast<FilterPadType>(pad_type)) {
    case FilterPadType::Odd: ExtractFrameOdd(padding, src, start, pad_len); break;
    case FilterPadType::Even: Stft::ExtractFrameReflect(padding, src, start, pad_len); break;
    case FilterPadType::Constant: ExtractFrameEdge(padding, src, start, pad_len); break;
    default: Api::FailIf(true, "Invalid pad_type.");
  }
  return padding;
}

std::vector<double> ScaleState(const std::vector<double>& settled, double scale) {
  std::vector<double> state(settled.size());
  std::transform(settled.begin(), settled.end(), state.begin(), [&](double value) { return scale * value; });
  return state;
}

}  // namespace

void ExtractFrameOdd(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  const auto last = static_cast<std::int64_t>(src.size()) - 1;
  ExtractFrameFrom(frame, src, start - pad, [&](std::int64_t position) {
    const std::int64_t edge = position < 0 ? 0 : last;
    const float edge_sample = src[static_cast<std::size_t>(edge)];
    // The doubled edge first: it may round or overflow before the difference does.
    return (edge_sample + edge_sample) - src[static_cast<std::size_t>(2 * edge - position)];
  });
}

void ExtractFrameEdge(std::span<float> frame, std::span<const float> src, std::int64_t start, std::int64_t pad) {
  ExtractFrameFrom(frame, src, start - pad,
                   [&](std::int64_t position) { return position < 0 ? src.front() : src.back(); });
}

void FilterFilterCore(std::span<float> dst, std::span<const float> src, std::span<const float> n_coef,
                      std::span<const float> d_coef, int pad_type, int pad_len, Simd::Level level) {
  const bool is_padded = pad_len > 0 && pad_type != static_cast<int>(FilterPadType::None);
  const std::size_t pad_n = is_padded ? static_cast<std::size_t>(pad_len) : 0;
  if (src.size() + 2 * pad_n > std::numeric_limits<int>::max()) throw std::length_error("extended signal too long");
  std::vector<float> front, back;
  if (is_padded) {
    front = ExtractPadding(src, 0, pad_n, pad_type, pad_len);
    back = ExtractPadding(src, static_cast<std::int64_t>(src.size() + pad_n), pad_n, pad_type, pad_len);
  }

  const std::size_t length = FilterLength(n_coef, d_coef);
  std::vector<double> settled(length > 1 ? length - 1 : 0);
  LinerFilterZi<double>(settled, n_coef, d_coef);

  // Not initialised: the forward pass writes all of it.
  const std::size_t extended_n = src.size() + 2 * pad_n;
  const auto storage = std::make_unique_for_overwrite<double[]>(extended_n);
  const std::span<double> filtered(storage.get(), extended_n);
  std::vector<double> state = ScaleState(settled, static_cast<double>(is_padded ? front[0] : src[0]));
  std::size_t begin = 0;
  for (const std::span<const float> part : {std::span<const float>(front), src, std::span<const float>(back)}) {
    const std::span<double> target = filtered.subspan(begin, part.size());
    LinerFilterCore<double, float, double>(target, part, n_coef, d_coef, state, false, level);
    begin += part.size();
  }
  state = ScaleState(settled, filtered.back());

  // The recurrence passes the padding at the end before it comes to what is wanted.
  const std::span<double> wanted = filtered.subspan(pad_n);
  const std::size_t wanted_n = std::min(wanted.size(), dst.size());
  std::vector<float> unwanted(wanted.size() - wanted_n);
  LinerFilterCore<float, double, double>(unwanted, wanted.subspan(wanted_n), n_coef, d_coef, state, true, level);
  LinerFilterCore<float, double, double>(dst, wanted.first(wanted_n), n_coef, d_coef, state, true, level);
}

}  // namespace kelvo::Filter
