// Signals continued beyond their ends.
#include "base/extension.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace kelvo::Base {
namespace {

using namespace Support;

// Reflects the position repeatedly, until it lies inside.
float MirrorStepByStep(const std::vector<float>& src, std::int64_t position) {
  const auto last = static_cast<std::int64_t>(src.size()) - 1;
  if (last == 0) return src[0];
  while (position < 0 || position > last) position = position < 0 ? -position : 2 * last - position;
  return src[static_cast<std::size_t>(position)];
}

TEST(Extension, EqualsItsDefinitionAtEveryPosition) {
  for (std::size_t sample_n = 1; sample_n <= 7; ++sample_n) {
    const std::vector<float> src = Noise(sample_n);
    for (std::size_t frame_n = 0; frame_n <= 20; ++frame_n) {
      for (std::int64_t start = -40; start <= 40; ++start) {
        const std::int64_t pad = start % 3;  // only the difference counts
        std::vector<float> reflected(frame_n, 9.0f), zeroed(frame_n, 9.0f), mirror(frame_n), zeros(frame_n, 0.0f);
        for (std::size_t k = 0; k < frame_n; ++k) {
          const std::int64_t position = start - pad + static_cast<std::int64_t>(k);
          mirror[k] = MirrorStepByStep(src, position);
          if (position >= 0 && position < static_cast<std::int64_t>(sample_n)) zeros[k] = mirror[k];
        }
        ExtractFrameReflect(reflected, src, start, pad);
        ExtractFrameZero(zeroed, src, start, pad);
        ASSERT_TRUE(SameBits(reflected, mirror)) << sample_n << " " << frame_n << " " << start;
        ASSERT_TRUE(SameBits(zeroed, zeros)) << sample_n << " " << frame_n << " " << start;
      }
    }
  }
}

TEST(Extension, ReflectsAboutAPointOrRepeatsTheEdge) {
  const std::vector<float> src = {1.0f, 2.0f, 3.0f, 4.0f};
  std::vector<float> frame(8);
  ExtractFrameOdd(frame, src, 0, 2);
  EXPECT_EQ(frame, (std::vector{-1.0f, 0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f}));
  ExtractFrameEdge(frame, src, 0, 2);
  EXPECT_EQ(frame, (std::vector{1.0f, 1.0f, 1.0f, 2.0f, 3.0f, 4.0f, 4.0f, 4.0f}));
  // The doubled edge overflows before the difference is formed.
  const std::vector<float> steep = {3e38f, 3e38f};
  frame.resize(4);
  ExtractFrameOdd(frame, steep, 0, 1);
  EXPECT_EQ(frame[0], kInfinity);
}

}  // namespace
}  // namespace kelvo::Base
