// Scratch memory: zeros, alignment, and counts that cannot be.
#include "api/buffers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace kelvo::Api {
namespace {

TEST(Buffers, AreZero) {
  for (const std::uint64_t count : {0u, 1u, 17u, 1000u}) {
    const auto plain = MakeZeroBuffer(count);
    EXPECT_EQ(plain.size(), count);
    EXPECT_EQ(std::ranges::count(plain, 0.0f), static_cast<std::ptrdiff_t>(count));
  }
}

TEST(Buffers, ScratchLiesOnACacheLineAndIsWholeBothOnTheStackAndOff) {
  for (const std::uint64_t count : {1u, 31u, 32u, 33u, 1000u}) {
    ScratchBuffer scratch(count);
    SmallScratchBuffer<32> small(count);
    for (float* const memory : {scratch.Data(), small.Data()}) {
      std::fill_n(memory, count, 1.0f);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 64, 0u) << count;
    }
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
  }
}

TEST(Buffers, AMatrixFindsItsRows) {
  float cells[12] = {};
  const MatrixView<float> matrix{cells, 3, 2, 4};
  matrix.Row(2)[1] = 5.0f;
  EXPECT_EQ(cells[9], 5.0f);
}

}  // namespace
}  // namespace kelvo::Api
