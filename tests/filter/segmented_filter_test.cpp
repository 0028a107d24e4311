// Segments side by side against the plain recurrence, bit for bit, at every kernel level.
#include "filter/segmented_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <type_traits>
#include <vector>

#include "filter/filter_coefficients.h"
#include "filter/plain_filter.h"
#include "simd/level.h"
#include "support/bits.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using namespace Support;

struct Coefficients {
  std::vector<float> b, a;
};

// (1 + z^-1)^n / (1 - pole z^-1)^n, scaled: the closer the poles to 1 and the more of them, the longer the memory.
Coefficients Smoothing(std::size_t order, float pole) {
  Coefficients filter{{1.0f}, {1.0f}};
  for (std::size_t n = 0; n < order; ++n) {
    filter.b.push_back(0.0f);
    filter.a.push_back(0.0f);
    for (std::size_t k = n + 1; k > 0; --k) {
      filter.b[k] += filter.b[k - 1];
      filter.a[k] -= pole * filter.a[k - 1];
    }
    for (float& value : filter.b) value *= (1.0f - pole) / 2.0f;
  }
  return filter;
}

// Filters as many samples in segments as pay, and expects the recurrence's outputs and state; returns their number.
template <class Output, class State, class Input, class Pair, class Segments>
std::size_t ExpectPlainBits(const Coefficients& filter, const std::vector<Input>& src, const std::vector<State>& zi,
                            bool reverse, bool in_place, const Pair& kernels, Segments run_segments) {
  const NormalizedCoefficients coefficients(filter.b, filter.a, kFilterSlack);
  std::vector<double> state(zi.begin(), zi.end());
  state.resize(zi.size() + kFilterSlack, -0.0);
  std::vector<Input> copy = src;
  std::vector<Output> dst(src.size(), Output{9});
  Output* outputs = dst.data();
  if constexpr (std::is_same_v<Output, Input>) {
    if (in_place) outputs = copy.data();
  }
  const std::ptrdiff_t first = reverse ? static_cast<std::ptrdiff_t>(src.size()) - 1 : 0;
  const std::size_t done = FilterInSegments<Output, Input>(
      {outputs + first, copy.data() + first, reverse ? -1 : 1, src.size()},
      {coefficients.Length(), coefficients.Numerator(), coefficients.Denominator(), state.data()}, kernels,
      run_segments);

  const auto begin = src.begin() + (reverse ? static_cast<std::ptrdiff_t>(src.size() - done) : 0);
  const std::vector<Input> part(begin, begin + static_cast<std::ptrdiff_t>(done));
  std::vector<State> plain_state = zi;
  const std::vector<Output> expected = PlainFilter<Output>(part, filter.b, filter.a, plain_state, reverse);
  const std::span<const Output> actual(outputs + (reverse ? src.size() - done : 0), done);
  EXPECT_TRUE(SameBits(actual, expected));
  const std::vector<State> final_state(state.begin(), state.begin() + static_cast<std::ptrdiff_t>(zi.size()));
  EXPECT_TRUE(SameBits(final_state, plain_state));
  return done;
}

// At all levels, in all combinations of types, in both directions, apart and in place.
std::vector<std::size_t> FilterEveryWay(const Coefficients& filter, const std::vector<float>& x) {
  const std::vector<float> zi = Noise(filter.a.size() - 1, 7);
  const std::vector<double> zi_double(zi.begin(), zi.end()), x_double(x.begin(), x.end());
  std::vector<std::size_t> done;
  for (const Simd::Level level : Simd::SupportedLevels()) {
    SCOPED_TRACE(Simd::LevelName(level));
    const auto& kernels = Simd::KernelsFor<FilterKernels>(level);
    const auto& segments = Simd::KernelsFor<SegmentKernels>(level);
    for (const bool reverse : {false, true}) {
      SCOPED_TRACE(reverse ? "reverse" : "forward");
      for (const bool in_place : {false, true}) {
        done.push_back(
            ExpectPlainBits<float>(filter, x, zi, reverse, in_place, kernels.single_state, segments.single_state));
      }
      done.push_back(ExpectPlainBits<double>(filter, x, zi_double, reverse, false, kernels.forward, segments.forward));
      done.push_back(
          ExpectPlainBits<float>(filter, x_double, zi_double, reverse, false, kernels.backward, segments.backward));
    }
  }
  return done;
}

TEST(SegmentedFilter, FiltersNearlyAllIfTheFilterForgetsSoon) {
  const std::vector<float> x = Noise(40000, 1);
  for (const std::size_t order : {1u, 2u, 3u, 5u, 8u}) {
    for (const std::size_t done : FilterEveryWay(Smoothing(order, 0.2f), x)) EXPECT_GT(done, 36000u) << order;
  }
  // The last segments are shorter and shorter, but not than a run-up.
  for (std::size_t count = 20000; count < 60000; count += 3001) FilterEveryWay(Smoothing(1, 0.9f), Noise(count, 2));
}

TEST(SegmentedFilter, LeavesAloneWhatDoesNotForgetOrIsShort) {
  const std::vector<float> x = Noise(20000, 1);
  for (const std::size_t done : FilterEveryWay({{1.0f}, {1.0f, -1.0f}}, x)) EXPECT_EQ(done, 0u);
  for (const std::size_t done : FilterEveryWay(Smoothing(2, 0.2f), Noise(3000, 1))) EXPECT_EQ(done, 0u);
}

// The guesses are wrong where the signal's past outlasts the run-up: here segments have to be filtered again.
TEST(SegmentedFilter, HasTheBitsOfTheRecurrenceWhereGuessesFail) {
  const std::vector<float> noise = Noise(60000, 3);
  const auto signal = [&](auto value_at) {
    std::vector<float> x = noise;
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = value_at(i);
    return x;
  };
  const std::vector<float> signals[] = {
      noise,
      signal([&](std::size_t i) { return i % 20000 < 11000 ? noise[i] : 0.0f; }),  // decays and stays denormal
      signal([&](std::size_t i) { return i % 20000 < 11000 ? noise[i] : -0.0f; }),
      signal([&](std::size_t i) { return i < 20000 || i > 39000 ? noise[i] * 1e-42f : noise[i]; }),
      signal([&](std::size_t i) { return i == 33333 ? kInfinity : noise[i]; }),
      signal([&](std::size_t i) { return i == 1000 ? kNan : noise[i]; }),
      signal([&](std::size_t i) { return i / 5000 % 2 == 0 ? noise[i] : noise[i] * 1e30f; }),
  };
  for (const Coefficients& filter : {Smoothing(1, 0.9f), Smoothing(2, 0.5f), Smoothing(4, 0.3f)}) {
    for (const std::vector<float>& x : signals) {
      SCOPED_TRACE(testing::Message() << "order " << filter.a.size() - 1 << ", signal " << &x - signals);
      FilterEveryWay(filter, x);
    }
  }
}

}  // namespace
}  // namespace kelvo::Filter
