// What the tests of functions in lanes have in common. Include it behind the functions, which fix the level.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "math/known.h"
#include "support/bits.h"

namespace kelvo::Math {

// function(x) has the bits of `result`, alone and among lanes that hold something else, at every place of a group.
template <class Function>
testing::AssertionResult IsEverywhere(Function function, float x, float result) {
  const float alone = function(Lanes<float, 1>{x}).v;
  if (Support::Bits(alone) != Support::Bits(result)) {
    return testing::AssertionFailure() << x << " gives " << alone << " instead of " << result << std::hex << " ("
                                       << Support::Bits(alone) << " instead of " << Support::Bits(result) << ")";
  }
  for (std::size_t place = 0; place < Group::kSize; ++place) {
    float lanes[Group::kSize];
    for (std::size_t i = 0; i < Group::kSize; ++i) lanes[i] = i % 3 == 0 ? -3.0f : i % 3 == 1 ? Support::kNan : 1e30f;
    lanes[place] = x;
    function(Group::Load(lanes)).Store(lanes);
    if (Support::Bits(lanes[place]) != Support::Bits(result)) {
      return testing::AssertionFailure() << x << " gives " << lanes[place] << " in lane " << place;
    }
  }
  return testing::AssertionSuccess();
}

// A sample of all floats: their bits in steps of a prime, so that no bit stays the same.
template <class Visit>
void ForASampleOfFloats(Visit visit) {
  constexpr std::uint64_t kStep = 104729;
  for (std::uint64_t word = 0; word < std::uint64_t{1} << 32; word += kStep) {
    visit(__builtin_bit_cast(float, static_cast<std::uint32_t>(word)));
  }
}

// function(x) of that sample has the bits of truth(x), in one lane and in groups, which take other polynomials. Where
// the truth is not to be had it is NaN, which is not compared.
template <class Function, class Truth>
void CheckSample(Function function, Truth truth) {
  float arguments[LargeGroup::kSize], results[LargeGroup::kSize];
  std::size_t n = 0;
  ForASampleOfFloats([&](float x) {
    arguments[n++] = x;
    if (n < LargeGroup::kSize) return;
    n = 0;
    function(LargeGroup::Load(arguments)).Store(results);
    for (std::size_t i = 0; i < LargeGroup::kSize; ++i) {
      const float expected = truth(arguments[i]);
      if (expected != expected) continue;
      ASSERT_EQ(Support::Bits(results[i]), Support::Bits(expected)) << arguments[i] << " in lane " << i;
      ASSERT_EQ(Support::Bits(function(Lanes<float, 1>{arguments[i]}).v), Support::Bits(expected)) << arguments[i];
    }
  });
}

}  // namespace kelvo::Math
