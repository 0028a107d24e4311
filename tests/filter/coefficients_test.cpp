// The settled state of a filter.
#include "filter/coefficients.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "filter/checks.h"
#include "filter/plain_filter.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

std::vector<float> ZiCoef(const std::vector<float>& b, const std::vector<float>& a, std::size_t count) {
  std::vector<float> dst(count, 9.0f);
  EXPECT_EQ(kelvoAudioGetLinerFilterZiCoef(dst.data(), b.data(), a.data(), static_cast<int>(count),
                                           static_cast<int>(b.size()), static_cast<int>(a.size())),
            0);
  return dst;
}

TEST(FilterInitialState, StartsAStepInItsSteadyState) {
  for (std::size_t length = 2; length <= 12; ++length) {
    std::vector<float> b = Support::Noise(length, 1), a = Support::Noise(length, 2);
    for (float& value : a) value /= static_cast<float>(length);
    a[0] = 1.5f;
    std::vector<double> state(length - 1);
    Base::CallScratch scratch;
    LinerFilterZi<double>(state, b, a, scratch);
    double b_sum = 0.0, a_sum = 0.0;
    for (std::size_t k = 0; k < length; ++k) {
      b_sum += static_cast<double>(b[k]);
      a_sum += static_cast<double>(a[k]);
    }
    for (const double y : Support::PlainFilter<double>(std::vector(50, 1.0f), b, a, state)) {
      EXPECT_NEAR(y, b_sum / a_sum, 1e-14 * static_cast<double>(length)) << length;  // a rounding a coefficient
    }
    // The float form is the double form, rounded once at the end.
    std::vector<double> exact(length - 1);
    LinerFilterZi<double>(exact, b, a, scratch);
    EXPECT_TRUE(Support::SameBits(ZiCoef(b, a, length - 1), std::vector<float>(exact.begin(), exact.end())));
  }
}

TEST(FilterInitialState, FillsWhateverLengthIsAsked) {
  EXPECT_EQ(ZiCoef({1.0f}, {1.0f}, 3), (std::vector{0.0f, 0.0f, 0.0f}));
  const std::vector<float> whole = ZiCoef({1.0f, 2.0f, 4.0f, 8.0f}, {2.0f, 0.5f, 0.25f}, 3);
  for (std::size_t count = 1; count <= 6; ++count) {
    std::vector<float> expected = whole;
    expected.resize(count);
    EXPECT_EQ(ZiCoef({1.0f, 2.0f, 4.0f, 8.0f}, {2.0f, 0.5f, 0.25f}, count), expected) << count;
  }
}

TEST(FilterInitialState, MayBeInfinite) {
  const std::vector<float> dst = ZiCoef({1.0f, 0.5f}, {1.0f, -1.0f}, 1);
  EXPECT_TRUE(std::isinf(dst[0])) << dst[0];
  EXPECT_TRUE(std::isnan(ZiCoef({1.0f, -1.0f}, {1.0f, -1.0f}, 1)[0]));
  // The first coefficient enters as a factor of the others alone: infinity less infinity would be a NaN.
  EXPECT_EQ(ZiCoef({Support::kInfinity, 1.0f}, {1.0f, 0.5f}, 1), std::vector{-Support::kInfinity});
}

TEST(FilterInitialState, ChecksArgumentsInOrder) {
  using Support::MessageOf;
  EXPECT_EQ(MessageOf([] { CheckZiCoef(0, 0, 0); }), "Invalid dst_n size.");
  EXPECT_EQ(MessageOf([] { CheckZiCoef(1, 0, 1); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckZiCoef(1, 1, 0); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckZiCoef(1, 1, 1); }), "");
  float value = 4.0f;
  std::span<float> one(&value, 1), none;
  Base::CallScratch scratch;
  EXPECT_EQ(MessageOf([&] { LinerFilterZi<float>(none, none, none, scratch); }), "");
  EXPECT_EQ(MessageOf([&] { LinerFilterZi<float>(one, none, none, scratch); }), "Invalid n_coef size.");
  EXPECT_EQ(MessageOf([&] { LinerFilterZi<float>(one, one, none, scratch); }), "Invalid d_coef size.");
}

}  // namespace
}  // namespace kelvo::Filter
