// Scratch memory: zeros, alignment, and counts that cannot be.
#include "api/buffers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace kelvo::Api {
namespace {

template <class Buffer>
void ExpectAlignedAndWhole(std::uint64_t count) {
  Buffer buffer(count);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Data()) % 64, 0u) << count;
  // A float too few would not escape the address sanitizer.
  std::fill(buffer.Data(), buffer.Data() + count, 1.0f);
}

TEST(Buffers, HoldTheirCount) {
  for (const std::uint64_t count : {0u, 1u, 16u, 17u, 1000u}) {
    const auto zeros = MakeZeroBuffer(count);
    EXPECT_EQ(zeros.size(), count);
    EXPECT_EQ(std::ranges::count(zeros, 0.0f), static_cast<std::ptrdiff_t>(count));
    ExpectAlignedAndWhole<ScratchBuffer>(count);
    ExpectAlignedAndWhole<SmallScratchBuffer<16>>(count);
  }
}

// What a negative count of 32 or 64 bits turns into, and the first counts that no vector can hold: never a bad_alloc,
// whose status is another one, and never a wrap-around to a small buffer.
TEST(Buffers, ImpossibleCountsAreLengthErrors) {
  const std::uint64_t most = std::vector<float>().max_size();
  for (const std::uint64_t count : {~std::uint64_t{0}, ~std::uint64_t{0} - 15, ~std::uint64_t{0} - 16, most + 1,
                                    static_cast<std::uint64_t>(std::int64_t{INT32_MIN})}) {
    EXPECT_THROW(MakeZeroBuffer(count), std::length_error) << count;
    EXPECT_THROW(ScratchBuffer{count}, std::length_error) << count;
    EXPECT_THROW(SmallScratchBuffer<16>{count}, std::length_error) << count;
  }
}

}  // namespace
}  // namespace kelvo::Api
