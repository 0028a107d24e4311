// The recurrence of the linear filter in its plainest form, whose bits every kernel must give.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <type_traits>
#include <vector>

#include "filter/linear_filter.h"
#include "support/bits.h"

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

// Filters at all levels, in both directions, out of place and, where the types are equal, in place: always the bits of
// the plain recurrence, state included. zi is truncated or zero-padded to the length of the state.
template <class Output, class State, class Input>
void ExpectPlainBits(const std::vector<float>& b, const std::vector<float>& a, const std::vector<Input>& x,
                     std::vector<State> zi) {
  const std::size_t state_n = std::max(b.size(), a.size()) - 1;
  zi.resize(state_n);
  for (const bool reverse : {false, true}) {
    std::vector<State> state = zi;
    const std::vector<Output> expected = PlainFilter<Output>(x, b, a, state, reverse);
    for (const Simd::Level level : Simd::SupportedLevels()) {
      SCOPED_TRACE(testing::Message() << testing::PrintToString(b) << " / " << testing::PrintToString(a) << ", "
                                      << x.size() << " samples, reverse " << reverse << ", " << Simd::LevelName(level));
      const auto filter = [&](std::vector<Output>& dst, const std::vector<Input>& src) {
        std::vector<State> actual_state = zi;
        actual_state.push_back(State{7});  // not part of the state
        Base::CallScratch scratch;
        Filter::LinerFilterCore<Output, Input, State>(dst, src, b, a, actual_state, reverse, level, scratch);
        ASSERT_TRUE(SameBits(dst, expected));
        ASSERT_TRUE(SameBits(std::span<const State>(actual_state).first(state_n), state));
        ASSERT_EQ(actual_state.back(), State{7});
      };
      std::vector<Output> apart(x.size());
      filter(apart, x);
      if constexpr (std::is_same_v<Output, Input>) {
        std::vector<Output> in_place = x;
        filter(in_place, in_place);
      }
    }
  }
}

}  // namespace kelvo::Support
