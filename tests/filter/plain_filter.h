// The recurrence of the linear filter, written down once more without regard to speed: the bits that all must give.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace kelvo::Support {

// Filters src with a state rounded to State; the final state is left in `state`, which must be long enough.
template <class Output, class State, class Input>
std::vector<Output> PlainFilter(const std::vector<Input>& src, const std::vector<float>& n_coef,
                                const std::vector<float>& d_coef, std::vector<State>& state, bool reverse = false) {
  const std::size_t length = std::max(n_coef.size(), d_coef.size());
  std::vector<double> b(length), a(length);
  for (std::size_t k = 0; k < n_coef.size(); ++k)
    b[k] = static_cast<double>(n_coef[k]) / static_cast<double>(d_coef[0]);
  for (std::size_t k = 0; k < d_coef.size(); ++k)
    a[k] = static_cast<double>(d_coef[k]) / static_cast<double>(d_coef[0]);
  std::vector<Output> dst(src.size());
  for (std::size_t n = 0; n < src.size(); ++n) {
    const std::size_t i = reverse ? src.size() - 1 - n : n;
    const auto x = static_cast<double>(src[i]);
    if (length == 1) {
      dst[i] = static_cast<Output>(x * b[0]);
      continue;
    }
    const double y = b[0] * x + static_cast<double>(state[0]);
    dst[i] = static_cast<Output>(y);
    for (std::size_t k = 1; k + 1 < length; ++k) {
      state[k - 1] = static_cast<State>((b[k] * x + static_cast<double>(state[k])) - a[k] * y);
    }
    state[length - 2] = static_cast<State>(b[length - 1] * x - a[length - 1] * y);
  }
  return dst;
}

}  // namespace kelvo::Support
