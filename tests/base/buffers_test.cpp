// Memory of impossible counts; arrays of a call on the stack and beyond it.
#include "base/buffers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <vector>

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
    EXPECT_THROW(AlignedArray<float>{count}, std::length_error) << count;
    EXPECT_THROW(scratch.Take<float>(count), std::length_error) << count;
  }
  // Possible ones that no machine has.
  for (const std::uint64_t count : {most, most - 1, most - 16})
    EXPECT_THROW(scratch.Take<float>(count), std::bad_alloc);
}

bool IsInside(const void* address, const CallScratch& scratch) {
  const auto begin = reinterpret_cast<std::uintptr_t>(&scratch);
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  return at >= begin && at < begin + sizeof(scratch);
}

// Arrays of random sizes around the stack's: each on a cache line, none overlapping, each on the stack if it fits.
TEST(CallScratch, HandsOutDisjointArrays) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    CallScratch scratch;
    std::vector<std::span<std::uint32_t>> arrays;
    const auto take = [&](std::size_t most) {
      const std::size_t count = random() % (most + 1);
      const bool fits = count * sizeof(std::uint32_t) <= scratch.StackLeft();
      const bool is_zero = random() % 2 == 0;
      arrays.push_back(is_zero ? scratch.TakeZeros<std::uint32_t>(count) : scratch.Take<std::uint32_t>(count));
      const std::span<std::uint32_t> taken = arrays.back();
      ASSERT_EQ(taken.size(), count);
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(taken.data()) % CallScratch::kLineBytes, 0u);
      if (count == 0) return;
      ASSERT_EQ(IsInside(&taken.front(), scratch) && IsInside(&taken.back(), scratch), fits);
      if (is_zero) {
        ASSERT_EQ(std::count(taken.begin(), taken.end(), 0u), static_cast<std::ptrdiff_t>(count));
      }
      std::fill(taken.begin(), taken.end(), static_cast<std::uint32_t>(arrays.size()));
    };
    const std::size_t sizes[] = {16, 300, 4000, CallScratch::kStackBytes / sizeof(std::uint32_t)};
    for (int i = 0; i < 10; ++i) take(sizes[random() % std::size(sizes)]);
    const std::size_t kept_n = arrays.size();
    const std::size_t left = scratch.StackLeft();
    {
      const CallScratch::Section section(scratch);
      for (int i = 0; i < 10; ++i) take(sizes[random() % std::size(sizes)]);
      for (std::size_t i = kept_n; i < arrays.size(); ++i) {
        for (const std::uint32_t value : arrays[i]) ASSERT_EQ(value, i + 1);
      }
    }
    EXPECT_EQ(scratch.StackLeft(), left);
    arrays.resize(kept_n);
    for (int i = 0; i < 5; ++i) take(300);
    for (std::size_t i = 0; i < arrays.size(); ++i) {
      for (const std::uint32_t value : arrays[i]) ASSERT_EQ(value, i + 1);
    }
  }
}

#if defined(ASAN_POISON_MEMORY_REGION)
// On the stack and on the heap: an array's neighbour, and an array that has been given back.
TEST(CallScratch, AddressSanitizerKnowsWhatIsTaken) {
  CallScratch scratch;
  for (const std::size_t count : {std::size_t{10}, 1 + CallScratch::kStackBytes / sizeof(float)}) {
    const std::span<float> taken = scratch.Take<float>(count);
    EXPECT_FALSE(__asan_region_is_poisoned(taken.data(), taken.size_bytes()));
    EXPECT_TRUE(__asan_address_is_poisoned(taken.data() + count + 1));
  }
  const float* inner;
  {
    const CallScratch::Section section(scratch);
    inner = scratch.Take<float>(10).data();
    EXPECT_FALSE(__asan_address_is_poisoned(inner));
  }
  EXPECT_TRUE(__asan_address_is_poisoned(inner));
}
#endif

}  // namespace
}  // namespace kelvo::Base
