// Signals long enough to be filtered in segments against the plain recurrence, bit for bit.
#include <gtest/gtest.h>

#include <vector>

#include "filter/plain_filter.h"
#include "support/bits.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using namespace Support;

struct Coefficients {
  std::vector<float> b, a;
};

// For all combinations of types.
void ExpectRecurrence(const Coefficients& filter, const std::vector<float>& x) {
  const std::vector<float> zi = Noise(filter.a.size() - 1, 7);
  const std::vector<double> zi_double(zi.begin(), zi.end()), x_double(x.begin(), x.end());
  ExpectPlainBits<float>(filter.b, filter.a, x, zi);
  ExpectPlainBits<double>(filter.b, filter.a, x, zi_double);
  ExpectPlainBits<float>(filter.b, filter.a, x_double, zi_double);
}

// Poles at 0.2, 0.9, 0.5 twice, 0.2 four times, 0.2 eight times; the last filter never settles.
const Coefficients kFilters[] = {
    {{0.4f, 0.4f}, {1.0f, -0.2f}},
    {{0.1f}, {1.0f, -0.9f}},
    {{0.5f, 1.0f, 0.5f}, {2.0f, -2.0f, 0.5f}},
    {{0.1f, 0.4f, 0.6f, 0.4f, 0.1f}, {1.0f, -0.8f, 0.24f, -0.032f, 0.0016f}},
    {{0.1f, 0.2f, 0.3f}, {1.0f, -1.6f, 1.12f, -0.448f, 0.112f, -0.01792f, 0.001792f, -0.0001024f, 2.56e-6f}},
    {{1.0f}, {1.0f, -1.0f}},
};

// Lengths down to segments as short as the warm-up.
TEST(SegmentedFilter, HasTheBitsOfTheRecurrenceForEveryLength) {
  for (const Coefficients& filter : kFilters) {
    for (std::size_t count = 3000; count < 60000; count += 5003) ExpectRecurrence(filter, Noise(count, 2));
  }
}

// Guessed states are wrong where earlier samples matter for longer than the warm-up: those segments are filtered again.
TEST(SegmentedFilter, HasTheBitsOfTheRecurrenceWhereGuessesFail) {
  const std::vector<float> noise = Noise(60000, 3);
  const auto signal = [&](auto value_at) { return SignalOf(noise.size(), value_at); };
  const std::vector<float> signals[] = {
      signal([&](std::size_t i) { return i % 20000 < 11000 ? noise[i] : 0.0f; }),  // decays and stays denormal
      signal([&](std::size_t i) { return i % 20000 < 11000 ? noise[i] : -0.0f; }),
      signal([&](std::size_t i) { return i < 20000 || i > 39000 ? noise[i] * 1e-42f : noise[i]; }),
      signal([&](std::size_t i) { return i == 33333 ? kInfinity : noise[i]; }),
      signal([&](std::size_t i) { return i == 1000 ? kNan : noise[i]; }),
      signal([&](std::size_t i) { return i / 5000 % 2 == 0 ? noise[i] : noise[i] * 1e30f; }),
  };
  for (const Coefficients& filter : kFilters) {
    for (const std::vector<float>& x : signals) {
      SCOPED_TRACE(testing::Message() << "signal " << &x - signals);
      ExpectRecurrence(filter, x);
    }
  }
}

}  // namespace
}  // namespace kelvo::Filter
