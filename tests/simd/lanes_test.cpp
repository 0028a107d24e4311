// Comparisons and roundings of lanes, at the vector width of this file's own compilation and at one lane. The wider
// levels run the same source. That they agree, and that lanes move to their places, is tested through the kernels.
#define KELVO_LEVEL lanes_test
#define KELVO_LANE_BYTES 16
#include "simd/lanes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"

namespace kelvo::Simd {
namespace {

using namespace Support;

template <class T, std::size_t N>
std::vector<T> Values(Lanes<T, N> lanes) {
  std::vector<T> values(N);
  lanes.Store(values.data());
  return values;
}

template <class Lane>
class LanesOf : public testing::Test {};
using LaneTypes = testing::Types<Lanes<float, 1>, Lanes<float, 2>, Floats, Lanes<double, 1>, Doubles>;
TYPED_TEST_SUITE(LanesOf, LaneTypes);

TYPED_TEST(LanesOf, SelectsCompareAsScalarsDo) {
  using T = typename TypeParam::Element;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  const T samples[] = {T(-1), T(-0.0), T(0.0), T(1), std::numeric_limits<T>::infinity(), nan};
  const auto yes = TypeParam::Broadcast(T(1)), no = TypeParam::Broadcast(T(2));
  for (const T a : samples) {
    for (const T b : samples) {
      const auto left = TypeParam::Broadcast(a), right = TypeParam::Broadcast(b);
      for (const T value : Values(SelectLess(left, right, yes, no))) EXPECT_EQ(value, a < b ? T(1) : T(2)) << a << b;
      for (const T value : Values(SelectEqual(left, right, yes, no))) EXPECT_EQ(value, a == b ? T(1) : T(2)) << a << b;
    }
  }
  for (const T value : Values(SelectLess(no, yes, yes, TypeParam::Broadcast(nan)))) EXPECT_TRUE(std::isnan(value));
}

template <std::size_t N>
void ExpectRoundingsOfScalars() {
  // Halfway cases, both sides of them, the ends of float's range, and what no conversion may lose.
  const double doubles[] = {1.0 + 0x1p-24,
                            1.0 + 0x1p-24 + 0x1p-50,
                            1.0 + 0x3p-24,
                            -0.0,
                            1e300,
                            -1e300,
                            1e-46,
                            0x1p-149,
                            static_cast<double>(kInfinity),
                            static_cast<double>(kNan)};
  for (const double value : doubles) {
    const auto narrowed = Values(ToFloat(Lanes<double, N>::Broadcast(value)));
    EXPECT_TRUE(SameBits(narrowed, std::vector<float>(N, static_cast<float>(value)))) << value;
  }
  for (const float value : {2.0f, -0.0f, 1e-45f, 0x1.fffffep127f, kInfinity, kNan, -1.0f}) {
    const auto lanes = Lanes<float, N>::Broadcast(value);
    EXPECT_TRUE(SameBits(Values(ToFloat(ToDouble(lanes))), Values(lanes))) << value;
    EXPECT_TRUE(SameBits(Values(FromBits(ToBits(lanes))), Values(lanes))) << value;
    if constexpr (N == 1 || N == Floats::kSize) {
      EXPECT_TRUE(SameBits(Values(Sqrt(lanes)), std::vector<float>(N, std::sqrt(value)))) << value;
    }
  }
}

TEST(Lanes, ConversionsAndRootsRoundAsScalarsDo) {
  ExpectRoundingsOfScalars<1>();
  ExpectRoundingsOfScalars<2>();
  ExpectRoundingsOfScalars<4>();
}

}  // namespace
}  // namespace kelvo::Simd
