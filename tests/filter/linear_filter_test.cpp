// The linear filter against the plain recurrence, bit for bit, at every kernel level.
#include "filter/linear_filter.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "filter/filter_checks.h"
#include "filter/plain_filter.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using Support::PlainFilter;
using Support::SameBits;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kTiny = std::numeric_limits<float>::denorm_min();
constexpr float kHuge = std::numeric_limits<float>::max();

// A denominator that is stable for any order: 1 / (1 - sum of less than 1).
std::vector<float> Denominator(std::size_t count, std::uint32_t seed) {
  std::vector<float> a = Support::Noise(count, seed);
  for (float& value : a) value *= 0.9f / static_cast<float>(count);
  a[0] = 1.25f;
  return a;
}

struct Case {
  std::string name;
  std::vector<float> b, a, x, zi;
};

// Runs one case at all levels and with the state given, absent and in place; `reverse` too.
void ExpectPlainBits(const Case& c) {
  const std::size_t state_n = std::max(c.b.size(), c.a.size()) - 1;
  for (const bool reverse : {false, true}) {
    std::vector<float> state = c.zi;
    state.resize(state_n);
    const std::vector<float> expected = PlainFilter<float>(c.x, c.b, c.a, state, reverse);
    for (const Simd::Level level : Simd::SupportedLevels()) {
      SCOPED_TRACE(c.name + (reverse ? ", reverse, " : ", ") + Simd::LevelName(level));
      std::vector<float> zi = c.zi;
      zi.resize(state_n);
      zi.push_back(7.0f);  // not part of the state
      std::vector<float> dst(c.x.size());
      LinerFilterCore<float, float, float>(dst, c.x, c.b, c.a, zi, reverse, level);
      ASSERT_TRUE(SameBits(dst, expected));
      ASSERT_TRUE(SameBits(std::span(zi).first(state_n), state));
      EXPECT_EQ(zi.back(), 7.0f);

      zi = c.zi;
      zi.resize(state_n);
      dst = c.x;
      LinerFilterCore<float, float, float>(dst, dst, c.b, c.a, zi, reverse, level);
      ASSERT_TRUE(SameBits(dst, expected)) << "in place";
    }
  }
}

TEST(LinearFilter, HasTheBitsOfTheRecurrenceForEveryOrder) {
  for (std::size_t length = 1; length <= 21; ++length) {
    for (const std::size_t count : {1u, 2u, 3u, 7u, 8u, 9u, 31u, 200u}) {
      const auto seed = static_cast<std::uint32_t>(length);
      const std::string name = "length " + std::to_string(length) + ", " + std::to_string(count) + " samples";
      const std::vector<float> x = Support::Noise(count, seed + 100);
      const std::vector<float> zi = Support::Noise(length - 1, seed + 200);
      const std::vector<float> full = Support::Noise(length, seed);
      ExpectPlainBits({name, full, Denominator(length, seed + 50), x, zi});
      ExpectPlainBits({name + ", all-pole", {0.5f}, Denominator(length, seed + 50), x, zi});
      ExpectPlainBits({name + ", no feedback", full, {-3.0f}, x, zi});
      // Once infinite, the state stays so: nothing behind its end may mix in as 0 times infinity.
      std::vector<float> growing(length, -0.1f);
      growing[0] = 1.0f;
      ExpectPlainBits({name + ", overflow", std::vector(length, 2.0f), growing, std::vector(count, kHuge), zi});
    }
  }
  for (const std::size_t length : {32u, 64u, 101u, 255u}) {
    const std::vector<float> x = Support::Noise(4500, 3);
    ExpectPlainBits({"long", Support::Noise(length, 1), Denominator(length, 2), x, {}});
    ExpectPlainBits({"long, no feedback", Support::Noise(length, 1), {1.0f}, x, Support::Noise(length - 1, 9)});
  }
}

// Signals that show the sign of a zero product, or what 0 times infinity does to a filter without feedback.
TEST(LinearFilter, HasTheBitsOfTheRecurrenceForSpecialValues) {
  const std::vector<float> numerators[] = {
      {0.5f, -0.25f, 0.0f, 0.125f, -1.0f, 0.75f},
      {-0.5f, -0.25f, -1e-30f, -0.125f, -1.0f, -0.75f},
      {-0.0f, 0.0f, -0.0f, 0.0f, -0.0f, 0.0f, 1.0f, -0.0f},
      {1.0f, -2.0f, 1.0f},
      {kHuge, kHuge, -kHuge, kHuge},
      {1e-38f, -1e-38f, kTiny, -kTiny, 1e-30f},
  };
  const std::vector<float> denominators[] = {
      {1.0f},
      {1.0f, 0.0f, 0.0f},
      {1.0f, -0.0f, 0.0f},
      {-2.0f},
      {-2.0f, 0.0f, 0.0f},
      {1.0f, -0.5f, 0.25f, 0.125f, 0.0625f, -0.1f, 0.2f},
      {0.0f, 1.0f},
      {kNan},
  };
  const std::vector<float> noise = Support::Noise(3000, 5);
  const auto signal = [&](auto value_at) {
    std::vector<float> x = noise;
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = value_at(i);
    return x;
  };
  const std::vector<float> signals[] = {
      signal([&](std::size_t) { return 0.0f; }),
      signal([&](std::size_t) { return -0.0f; }),
      signal([&](std::size_t i) { return i % 7 < 3 ? 0.0f : -0.0f; }),
      signal([&](std::size_t i) { return i % 11 == 0 ? noise[i] : (noise[i] < 0.0f ? -0.0f : 0.0f); }),
      signal([&](std::size_t i) { return noise[i] * 1e-44f; }),
      signal([&](std::size_t i) { return noise[i] * kHuge; }),
      signal([&](std::size_t i) { return i == 2345 ? -kInf : noise[i]; }),
      signal([&](std::size_t i) { return i == 3 ? kNan : noise[i]; }),
      signal([&](std::size_t i) { return i < 700 ? noise[i] : 0.0f; }),
  };
  for (const std::vector<float>& b : numerators) {
    for (const std::vector<float>& a : denominators) {
      for (const std::vector<float>& x : signals) {
        const std::string name = "numerator " + std::to_string(&b - numerators) + ", denominator " +
                                 std::to_string(&a - denominators) + ", signal " + std::to_string(&x - signals);
        ExpectPlainBits({name, b, a, x, {}});
        ExpectPlainBits({name + ", odd state", b, a, x, {-0.0f, kTiny, -0.0f, -kTiny, 0.0f, -1.0f}});
      }
    }
  }
  ExpectPlainBits({"infinite state", {1.0f, 2.0f, 3.0f, 4.0f}, {1.0f}, noise, {0.0f, 0.0f, kInf}});
}

TEST(LinearFilter, ExportHonoursEveryCount) {
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
  LinerFilterCore<float, float, float>({}, {}, b, a, zi, true, Simd::Level::scalar);
  EXPECT_EQ(zi[0], 9.0f);
  // One coefficient each: a gain, no state.
  const float gain[] = {3.0f}, divisor[] = {2.0f};
  ASSERT_EQ(kelvoAudioLinerFilter(dst.data(), x.data(), gain, divisor, zi.data(), 8, 8, 1, 1, 1), 0);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(dst[i], 1.5f * x[i]);
  EXPECT_EQ(zi[0], 9.0f);
}

TEST(LinearFilter, ChecksArgumentsInOrder) {
  using Support::MessageOf;
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(0, 0, 0, 0); }), "Invalid dst_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 0, 0, 0); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 0, 0); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 1, 0); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckLinerFilter(1, 1, 1, 1); }), "");
  float value = 1.0f;
  std::span<float> one(&value, 1), none;
  const auto core = [&](std::span<const float> b, std::span<const float> a) {
    LinerFilterCore<float, float, float>(one, one, b, a, none, false, Simd::Level::scalar);
  };
  EXPECT_EQ(MessageOf([&] { core(none, none); }), "Invalid n_coef size.");
  EXPECT_EQ(MessageOf([&] { core(one, none); }), "Invalid d_coef size.");
}

}  // namespace
}  // namespace kelvo::Filter
