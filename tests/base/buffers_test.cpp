// Memory of impossible counts.
#include "base/buffers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "base/call_scratch.h"

namespace kelvo::Base {
namespace {

// What a negative count of 32 or 64 bits turns into, and the first counts that no vector can hold: never a bad_alloc,
// whose status is another one, and never a wrap-around to a small buffer.
TEST(Buffers, ImpossibleCountsAreLengthErrors) {
  const std::uint64_t most = std::vector<float>().max_size();
  CallScratch scratch;
  for (const std::uint64_t count : {~std::uint64_t{0}, ~std::uint64_t{0} - 15, ~std::uint64_t{0} - 16, most + 1,
                                    static_cast<std::uint64_t>(std::int64_t{INT32_MIN})}) {
    EXPECT_THROW(MakeZeroBuffer(count), std::length_error) << count;
    EXPECT_THROW(ScratchBuffer{count}, std::length_error) << count;
    EXPECT_THROW(scratch.Take<float>(count), std::length_error) << count;
  }
  // Possible ones that no machine has.
  for (const std::uint64_t count : {most, most - 1, most - 16})
    EXPECT_THROW(scratch.Take<float>(count), std::bad_alloc);
}

}  // namespace
}  // namespace kelvo::Base
