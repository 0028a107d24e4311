// The zero-phase filter against two plain passes over a plainly extended signal.
#include "filter/zero_phase_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "base/extension.h"
#include "filter/checks.h"
#include "filter/coefficients.h"
#include "filter/plain_filter.h"
#include "kelvo_audio.h"
#include "support/bits.h"
#include "support/messages.h"
#include "support/signals.h"

namespace kelvo::Filter {
namespace {

using namespace Support;

std::vector<float> Extend(const std::vector<float>& x, int pad_type, int pad_len) {
  if (pad_type == 0) return x;
  const auto extract = pad_type == 1   ? Base::ExtractFrameOdd
                       : pad_type == 2 ? Base::ExtractFrameReflect
                                       : Base::ExtractFrameEdge;
  std::vector<float> extended(x.size() + 2 * static_cast<std::size_t>(pad_len));
  extract(extended, x, 0, pad_len);
  return extended;
}

// Both passes over the whole extended signal, from its first padding sample on.
std::vector<float> PlainZeroPhase(const std::vector<float>& x, const std::vector<float>& b,
                                  const std::vector<float>& a) {
  std::vector<double> settled(std::max(b.size(), a.size()) - 1);
  Base::CallScratch scratch;
  LinerFilterZi<double>(settled, b, a, scratch);
  std::vector<double> state = settled;
  for (double& value : state) value *= static_cast<double>(x[0]);
  const std::vector<double> forward = PlainFilter<double>(x, b, a, state);
  state = settled;
  for (double& value : state) value *= forward.back();
  return PlainFilter<float>(forward, b, a, state, true);
}

int FilterFilter(std::vector<float>& dst, const std::vector<float>& src, const std::vector<float>& b,
                 const std::vector<float>& a, int pad_type, int pad_len) {
  return kelvoAudioFilterFilter(dst.data(), src.data(), b.data(), a.data(), static_cast<int>(dst.size()),
                                static_cast<int>(src.size()), static_cast<int>(b.size()), static_cast<int>(a.size()),
                                pad_type, pad_len);
}

TEST(ZeroPhaseFilter, EqualsTwoPlainPassesForEveryPadding) {
  const std::vector<float> x = Noise(300, 1);
  for (const std::size_t length : {1u, 2u, 3u, 5u, 6u, 9u, 14u, 17u, 19u, 40u}) {
    const std::vector<float> b = Noise(length, 2);
    std::vector<float> a = Noise(length, 3);
    for (float& value : a) value /= static_cast<float>(length);
    a[0] = 1.0f;
    for (int pad_type = 0; pad_type <= 3; ++pad_type) {
      for (const int pad_len : {0, 1, 51, 299}) {
        const std::vector<float> whole = PlainZeroPhase(Extend(x, pad_type, pad_len), b, a);
        const std::size_t first = pad_type == 0 ? 0 : static_cast<std::size_t>(pad_len);
        // Up to the end of the extended signal; what lies beyond stays.
        for (const std::size_t dst_n :
             {std::size_t{1}, x.size() - 1, x.size(), x.size() + 1, whole.size(), 2 * whole.size()}) {
          std::vector<float> expected(dst_n, 9.0f);
          std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(first), std::min(dst_n, whole.size() - first),
                      expected.begin());
          for (const Simd::Level level : Simd::SupportedLevels()) {
            std::vector<float> dst(dst_n, 9.0f);
            FilterFilterCore(dst, x, b, a, pad_type, pad_len, level);
            ASSERT_TRUE(SameBits(dst, expected)) << "length " << length << ", padding " << pad_type << ' ' << pad_len
                                                 << ", dst_n " << dst_n << ", " << Simd::LevelName(level);
          }
        }
      }
    }
  }
}

TEST(ZeroPhaseFilter, BoundsThePadding) {
  const std::vector<float> x = Noise(10);
  const std::vector<float> b = {1.0f, 0.5f}, a = {1.0f};
  struct Row {
    int pad_type, pad_len, status;
  };
  constexpr int kMax = 2147483647;
  for (const Row row : {Row{1, 9, 0}, Row{1, 10, -1}, Row{1, kMax, -1}, Row{2, 9, 0}, Row{2, 10, -1}, Row{3, 10, 0},
                        Row{3, 1000, 0}, Row{3, 1 << 30, -128}, Row{3, kMax, -128}, Row{3, (kMax - 10) / 2 + 1, -128},
                        Row{0, kMax, 0}, Row{0, -1, -1}, Row{3, -1, -1}, Row{4, 1, -1}, Row{-1, 1, -1}}) {
    std::vector<float> dst(10, 9.0f);
    EXPECT_EQ(FilterFilter(dst, x, b, a, row.pad_type, row.pad_len), row.status) << row.pad_type << ' ' << row.pad_len;
    if (row.status != 0) {
      EXPECT_EQ(dst, std::vector(10, 9.0f));
    }
  }
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 4, 1, 1, 1, 4); }), "Invalid pad_len value.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 4, 1, 1, 2, 4); }), "Invalid pad_len value.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 1, 1, 1, 1, 0); }), "");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(0, 0, 0, 0, 4, -1); }), "Invalid dst_n size.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 0, 0, 0, 4, -1); }), "Invalid src_n size.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 1, 1, 0, 4, -1); }), "Invalid n_coef_n size.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 1, 1, 1, 4, -1); }), "Invalid pad_type format.");
  EXPECT_EQ(MessageOf([] { CheckFilterFilter(1, 1, 1, 1, 3, -1); }), "Invalid pad_len value.");
  std::vector<float> dst(10);
  EXPECT_EQ(MessageOf([&] { FilterFilterCore(dst, x, b, a, 4, 1, Simd::Level::scalar); }), "Invalid pad_type.");
  EXPECT_EQ(MessageOf([&] { FilterFilterCore(dst, x, b, a, 4, 0, Simd::Level::scalar); }), "");
}

}  // namespace
}  // namespace kelvo::Filter
