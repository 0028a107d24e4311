// The linear filter against the plain recurrence, bit for bit, at every kernel level.
#include "filter/linear_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <span>
#include <vector>

#include "filter/checks.h"
#include "filter/plain_filter.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using namespace Support;

constexpr float kTiny = std::numeric_limits<float>::denorm_min();
constexpr float kHuge = std::numeric_limits<float>::max();

// A denominator that is stable at any order: the magnitudes of its other coefficients add up to less than 1.
std::vector<float> Denominator(std::size_t count, std::uint32_t seed) {
  std::vector<float> a = Noise(count, seed);
  for (float& value : a) value *= 0.9f / static_cast<float>(count);
  a[0] = 1.25f;
  return a;
}

using Floats = std::vector<float>;

TEST(LinearFilter, HasTheBitsOfTheRecurrenceForEveryOrder) {
  for (std::size_t length = 1; length <= 21; ++length) {
    const auto seed = static_cast<std::uint32_t>(length);
    const Floats b = Noise(length, seed), a = Denominator(length, seed + 50);
    const Floats zi = Noise(length - 1, seed + 200);
    Floats growing(length, -0.1f);
    growing[0] = 1.0f;
    Floats decaying(length, 0.01f);
    decaying[0] = 1.0f;
    for (const std::size_t count : {1u, 2u, 3u, 7u, 8u, 9u, 31u, 200u}) {
      const Floats x = Noise(count, seed + 100);
      ExpectPlainBits<float, float>(b, a, x, zi);
      ExpectPlainBits<float, float>({0.5f}, a, x, zi);
      ExpectPlainBits<float, float>(b, {-3.0f}, x, zi);
      // Once infinite, the state stays so: nothing beyond its end may enter as 0 times infinity.
      ExpectPlainBits<float, float>(Floats(length, 2.0f), growing, Floats(count, kHuge), zi);
      // The last state value has no successor, not even +0.
      ExpectPlainBits<float, float>(Floats(length, 2.0f), decaying, Floats(count, -0.0f), {});
    }
  }
  for (const std::size_t length : {32u, 64u, 101u, 255u}) {
    const Floats x = Noise(9000, 3), b = Noise(length, 1);
    ExpectPlainBits<float, float>(b, Denominator(length, 2), x, {});
    ExpectPlainBits<float, float>(b, {1.0f}, x, Noise(length - 1, 9));
  }
}

// Signals that reveal the sign of a zero product, or 0 times infinity in a filter without feedback.
TEST(LinearFilter, HasTheBitsOfTheRecurrenceForSpecialValues) {
  const Floats numerators[] = {
      {0.5f, -0.25f, 0.0f, 0.125f, -1.0f, 0.75f},
      {-0.5f, -0.25f, -1e-30f, -0.125f, -1.0f, -0.75f},
      {-0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f, 1.0f, -0.0f},
      {1.0f, -2.0f, 1.0f},
      {kHuge, kHuge, -kHuge, kHuge},
      {1e-38f, -1e-38f, kTiny, -kTiny, 1e-30f},
  };
  const Floats denominators[] = {
      {1.0f},
      {1.0f, 0.0f, 0.0f},
      {1.0f, -0.0f, 0.0f},
      {-2.0f},
      {-2.0f, 0.0f, 0.0f},
      {0.0f, 1.0f},
      {kNan},
      {1.0f, -0.5f, 0.25f, 0.125f, 0.0625f, -0.1f, 0.2f},
  };
  const Floats noise = Noise(6000, 5);
  const auto signal = [&](auto value_at) { return SignalOf(noise.size(), value_at); };
  const Floats signals[] = {
      signal([&](std::size_t) { return 0.0f; }),
      signal([&](std::size_t) { return -0.0f; }),
      signal([&](std::size_t i) { return i % 7 < 3 ? 0.0f : -0.0f; }),
      signal([&](std::size_t i) { return i % 11 == 0 ? noise[i] : (noise[i] < 0.0f ? -0.0f : 0.0f); }),
      signal([&](std::size_t i) { return noise[i] * 1e-44f; }),
      signal([&](std::size_t i) { return noise[i] * kHuge; }),
      signal([&](std::size_t i) { return i == 5345 ? -kInfinity : noise[i]; }),
      signal([&](std::size_t i) { return i == 3 ? kNan : noise[i]; }),
      signal([&](std::size_t i) { return i < 4700 ? noise[i] : 0.0f; }),
  };
  for (const Floats& b : numerators) {
    for (const Floats& a : denominators) {
      for (const Floats& x : signals) {
        SCOPED_TRACE(testing::Message() << "signal " << &x - signals);
        ExpectPlainBits<float, float>(b, a, x, {});
        ExpectPlainBits<float, float>(b, a, x, {-0.0f, kTiny, -0.0f, -kTiny, 0.0f, -1.0f});
      }
    }
  }
  ExpectPlainBits<float, float>({1.0f, 2.0f, 3.0f, 4.0f}, {1.0f}, noise, {0.0f, 0.0f, kInfinity});
  // A last block of one sample, shorter than the state: the negative output before it leaves a +0 in the state.
  Floats ones(2 + 4096 + 1, 1.0f);
  ones[1] = ones[4097] = -1.0f;
  ExpectPlainBits<float, float>({1.0f, -0.0f, 0.0f}, {1.0f}, ones, {});
}

TEST(LinearFilter, ExportUsesEveryCount) {
  const std::vector<float> b = {0.5f, 0.25f, 0.125f};
  const std::vector<float> a = {2.0f, -0.5f};
  std::vector<float> state(2);
  const std::vector<float> x = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};
  const std::vector<float> expected = PlainFilter<float>(x, b, a, state);
  struct Row {
    int dst_n, src_n, zi_n;
    bool has_state;
  };
  for (const Row row : {Row{5, 8, 2, true}, Row{8, 5, 2, true}, Row{8, 8, 1, false}, Row{8, 8, -1, false},
                        Row{8, 8, 2147483647, true}, Row{8, 8, -2147483647 - 1, false}}) {
    std::vector<float> dst(8, 9.0f), zi = {0.0f, 0.0f, 9.0f};
    ASSERT_EQ(kelvoAudioLinerFilter(dst.data(), x.data(), b.data(), a.data(), zi.data(), row.dst_n, row.src_n, 3, 2,
                                    row.zi_n),
              0);
    const auto count = static_cast<std::size_t>(std::min(row.dst_n, row.src_n));
    EXPECT_TRUE(SameBits(std::span(dst).first(count), std::span(expected).first(count)));
    for (std::size_t i = count; i < dst.size(); ++i) EXPECT_EQ(dst[i], 9.0f);
    EXPECT_EQ(zi[0] != 0.0f, row.has_state);
    EXPECT_EQ(zi[2], 9.0f);
  }
  std::vector<float> dst(8), zi = {9.0f};
  ASSERT_EQ(kelvoAudioLinerFilter(dst.data(), x.data(), b.data(), a.data(), nullptr, 8, 8, 3, 2, 2), 0);
  EXPECT_TRUE(SameBits(dst, expected));
  // One of the first order, whose state would be a single value.
  ASSERT_EQ(kelvoAudioLinerFilter(dst.data(), x.data(), b.data(), a.data(), nullptr, 8, 8, 2, 2, 1), 0);
  std::vector<float> single(1);
  EXPECT_TRUE(SameBits(dst, PlainFilter<float>(x, {b[0], b[1]}, a, single)));
  Base::CallScratch scratch;
  LinerFilterCore<float, float, float>({}, {}, b, a, zi, true, Simd::Level::scalar, scratch);
  EXPECT_EQ(zi[0], 9.0f);
  // One coefficient each: a gain without state.
  const float gain[] = {3.0f}, divisor[] = {2.0f};
  ASSERT_EQ(kelvoAudioLinerFilter(dst.data(), x.data(), gain, divisor, zi.data(), 8, 8, 1, 1, 1), 0);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(dst[i], 1.5f * x[i]);
  EXPECT_EQ(zi[0], 9.0f);
}

TEST(LinearFilter, ChecksArgumentsInOrder) {
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(0, 0, 0, 0); }), "Invalid dst_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 0, 0, 0); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 0, 1); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 1, 0); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 1, 1); }), "");
  float value = 1.0f;
  std::span<float> one(&value, 1), none;
  Base::CallScratch scratch;
  const auto core = [&](std::span<const float> b, std::span<const float> a) {
    LinerFilterCore<float, float, float>(one, one, b, a, none, false, Simd::Level::scalar, scratch);
  };
  EXPECT_EQ(MessageOf([&] { core(none, none); }), "Invalid n_coef size.");
  EXPECT_EQ(MessageOf([&] { core(one, none); }), "Invalid d_coef size.");
}

}  // namespace
}  // namespace kelvo::Filter
