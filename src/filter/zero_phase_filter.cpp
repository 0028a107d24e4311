// Zero-phase filtering.
#include "filter/zero_phase_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "api/checks.h"
#include "base/buffers.h"
#include "base/extension.h"
#include "filter/coefficients.h"
#include "filter/linear_filter.h"

namespace kelvo::Filter {
namespace {

// The samples from position `start` on of the signal with pad_len samples in front of it.
void ExtractPadding(std::span<float> padding, std::span<const float> src, std::int64_t start, int pad_type,
                    int pad_len) {
  switch (static_cast<FilterPadType>(pad_type)) {
    case FilterPadType::Odd: return Base::ExtractFrameOdd(padding, src, start, pad_len);
    case FilterPadType::Even: return Base::ExtractFrameReflect(padding, src, start, pad_len);
    case FilterPadType::Constant: return Base::ExtractFrameEdge(padding, src, start, pad_len);
    default: Api::FailIf(true, "Invalid pad_type.");
  }
}

void ScaleState(std::span<double> state, std::span<const double> settled, double scale) {
  std::transform(settled.begin(), settled.end(), state.begin(), [&](double value) { return scale * value; });
}

}  // namespace

void FilterFilterCore(std::span<float> dst, std::span<const float> src, std::span<const float> n_coef,
                      std::span<const float> d_coef, int pad_type, int pad_len, Simd::Level level) {
  const bool is_padded = pad_len > 0 && pad_type != static_cast<int>(FilterPadType::None);
  const std::size_t pad_n = is_padded ? static_cast<std::size_t>(pad_len) : 0;
  if (std::uint64_t{src.size()} + 2 * std::uint64_t{pad_n} > std::numeric_limits<int>::max()) {
    throw std::length_error("extended signal too long");
  }
  Base::CallScratch scratch;
  const std::size_t length = FilterLength(n_coef, d_coef);
  const auto settled = scratch.TakeZeros<double>(length > 1 ? length - 1 : 0);
  LinerFilterZi<double>(settled, n_coef, d_coef, scratch);
  const auto state = scratch.Take<double>(settled.size());

  // The first padding's outputs serve the state alone, and those of the signal replace them.
  const auto filtered = scratch.Take<double>(src.size() + pad_n);
  // One padding after the other, and at the end the outputs of the last samples that nobody wants.
  const std::size_t wanted_n = std::min(filtered.size(), dst.size());
  const std::size_t unwanted_n = filtered.size() - wanted_n;
  const auto spare = scratch.Take<float>(std::max(pad_n, unwanted_n));
  const auto filter_forward = [&](std::size_t begin, std::span<const float> part) {
    LinerFilterCore<double, float, double>(filtered.subspan(begin, part.size()), part, n_coef, d_coef, state, false,
                                           level, scratch);
  };
  const std::span<float> padding = spare.first(pad_n);
  if (is_padded) ExtractPadding(padding, src, 0, pad_type, pad_len);
  ScaleState(state, settled, static_cast<double>(is_padded ? padding[0] : src[0]));
  if (is_padded) filter_forward(0, padding);
  filter_forward(0, src);
  if (is_padded) {
    ExtractPadding(padding, src, static_cast<std::int64_t>(src.size() + pad_n), pad_type, pad_len);
    filter_forward(src.size(), padding);
  }
  ScaleState(state, settled, filtered.back());

  // The recurrence passes the padding at the end before it comes to what is wanted.
  LinerFilterCore<float, double, double>(spare.first(unwanted_n), filtered.subspan(wanted_n), n_coef, d_coef, state,
                                         true, level, scratch);
  LinerFilterCore<float, double, double>(dst, filtered.first(wanted_n), n_coef, d_coef, state, true, level, scratch);
}

}  // namespace kelvo::Filter
