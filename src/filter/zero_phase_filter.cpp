// Zero-phase filtering.
#include "filter/zero_phase_filter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "api/checks.h"
#include "base/buffers.h"
#include "base/extension.h"
#include "filter/coefficients.h"
#include "filter/linear_filter.h"

namespace kelvo::Filter {
namespace {

// `count` samples from position `start` on of the signal with pad_len samples in front of it.
std::vector<float> ExtractPadding(std::span<const float> src, std::int64_t start, std::size_t count, int pad_type,
                                  int pad_len) {
  std::vector<float> padding = Base::MakeZeroBuffer(count);
  switch (static_cast<FilterPadType>(pad_type)) {
    case FilterPadType::Odd: Base::ExtractFrameOdd(padding, src, start, pad_len); break;
    case FilterPadType::Even: Base::ExtractFrameReflect(padding, src, start, pad_len); break;
    case FilterPadType::Constant: Base::ExtractFrameEdge(padding, src, start, pad_len); break;
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

void FilterFilterCore(std::span<float> dst, std::span<const float> src, std::span<const float> n_coef,
                      std::span<const float> d_coef, int pad_type, int pad_len, Simd::Level level) {
  const bool is_padded = pad_len > 0 && pad_type != static_cast<int>(FilterPadType::None);
  const std::size_t pad_n = is_padded ? static_cast<std::size_t>(pad_len) : 0;
  if (std::uint64_t{src.size()} + 2 * std::uint64_t{pad_n} > std::numeric_limits<int>::max()) {
    throw std::length_error("extended signal too long");
  }
  std::vector<float> front, back;
  if (is_padded) {
    front = ExtractPadding(src, 0, pad_n, pad_type, pad_len);
    back = ExtractPadding(src, static_cast<std::int64_t>(src.size() + pad_n), pad_n, pad_type, pad_len);
  }

  const std::size_t length = FilterLength(n_coef, d_coef);
  std::vector<double> settled = Base::MakeZeroBuffer<double>(length > 1 ? length - 1 : 0);
  LinerFilterZi<double>(settled, n_coef, d_coef);

  // Not initialised: the forward pass writes all of it.
  const std::size_t extended_n = src.size() + 2 * pad_n;
  const auto storage = std::unique_ptr<double[]>(new double[extended_n]);
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
  std::vector<float> unwanted = Base::MakeZeroBuffer(wanted.size() - wanted_n);
  LinerFilterCore<float, double, double>(unwanted, wanted.subspan(wanted_n), n_coef, d_coef, state, true, level);
  LinerFilterCore<float, double, double>(dst, wanted.first(wanted_n), n_coef, d_coef, state, true, level);
}

}  // namespace kelvo::Filter
