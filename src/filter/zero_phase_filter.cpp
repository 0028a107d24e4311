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
  float* const sample = frame.data() - position;
  for (std::int64_t p = position; p < first; ++p) sample[p] = beyond(p);
  std::copy(src.data() + first, src.data() + last, sample + first);
  for (std::int64_t p = last; p < end; ++p) sample[p] = beyond(p);
}

std::vector<float> ExtendSignal(std::span<const float> src, int pad_type, int pad_len) {
  const std::int64_t extended_n = static_cast<std::int64_t>(src.size()) + 2 * std::int64_t{pad_len};
  if (extended_n > std::numeric_limits<int>::max()) throw std::length_error("extended signal too long");
  std::vector<float> extended = Api::MakeZeroBuffer(static_cast<std::uint64_t>(extended_n));
  switch (static_cast<FilterPadType>(pad_type)) {
    case FilterPadType::Odd: ExtractFrameOdd(extended, src, 0, pad_len); break;
    case FilterPadType::Even: Stft::ExtractFrameReflect(extended, src, 0, pad_len); break;
    case FilterPadType::Constant: ExtractFrameEdge(extended, src, 0, pad_len); break;
    default: Api::FailIf(true, "Invalid pad_type.");
  }
  return extended;
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
  std::vector<float> extended;
  if (is_padded) extended = ExtendSignal(src, pad_type, pad_len);
  const std::span<const float> signal = is_padded ? std::span<const float>(extended) : src;

  const std::size_t length = FilterLength(n_coef, d_coef);
  std::vector<double> settled(length > 1 ? length - 1 : 0);
  LinerFilterZi<double>(settled, n_coef, d_coef);

  // Not initialised: the forward pass writes all of it.
  const auto storage = std::make_unique_for_overwrite<double[]>(signal.size());
  const std::span<double> filtered(storage.get(), signal.size());
  std::vector<double> state = ScaleState(settled, static_cast<double>(signal[0]));
  LinerFilterCore<double, float, double>(filtered, signal, n_coef, d_coef, state, false, level);
  state = ScaleState(settled, filtered.back());

  // The recurrence passes the padding at the end before it comes to what is wanted.
  const std::span<double> wanted = filtered.subspan(is_padded ? static_cast<std::size_t>(pad_len) : 0);
  const std::size_t wanted_n = std::min(wanted.size(), dst.size());
  std::vector<float> unwanted(wanted.size() - wanted_n);
  LinerFilterCore<float, double, double>(unwanted, wanted.subspan(wanted_n), n_coef, d_coef, state, true, level);
  LinerFilterCore<float, double, double>(dst, wanted.first(wanted_n), n_coef, d_coef, state, true, level);
}

}  // namespace kelvo::Filter
