// How transforms of each length are made. That decides their bits, so a choice changes only where one means to.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "fft/fft_plan.h"
#include "support/bits.h"

namespace kelvo::Fft {
namespace {

// For each length whether it is convolved with a chirp, and the radices of its passes or of the convolution's.
std::uint64_t HashOfChoices(std::size_t most, Use use, Input input) {
  std::vector<std::uint32_t> choices;
  for (std::size_t length = 1; length <= most; ++length) {
    const std::uint64_t inner_n = ChooseInnerLength(length + OutputCount(length, input) - 1);
    std::vector<std::size_t> radices = ChooseRadices(length, use);
    const bool is_chirp = IsFasterByChirp(length, radices, inner_n, use, input);
    if (is_chirp) radices = ChooseInnerRadices(static_cast<std::size_t>(inner_n), use);
    choices.push_back(is_chirp ? 1 : 0);
    choices.insert(choices.end(), radices.begin(), radices.end());
  }
  return Support::Hash(choices);
}

TEST(PlanChoice, IsThatOfTheStoredHashes) {
  constexpr std::size_t kMost = 16384;
  EXPECT_EQ(HashOfChoices(kMost, Use::single, Input::real), 8012025360213202774u);
  EXPECT_EQ(HashOfChoices(kMost, Use::single, Input::complex), 9825491523985032410u);
  EXPECT_EQ(HashOfChoices(kMost, Use::batch, Input::real), 363686426217114317u);
  EXPECT_EQ(HashOfChoices(kMost, Use::batch, Input::complex), 12879180619661123747u);
}

}  // namespace
}  // namespace kelvo::Fft
