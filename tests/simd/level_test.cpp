// The choice of a level.
#include "simd/level.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "mel/mel_kernels.h"

namespace kelvo::Simd {
namespace {

TEST(Level, BestIsTheLastOfAnAscendingList) {
  const auto levels = SupportedLevels();
  ASSERT_FALSE(levels.empty());
  EXPECT_EQ(levels.front(), Level::scalar);
  EXPECT_TRUE(std::is_sorted(levels.begin(), levels.end()));
  EXPECT_EQ(levels.back(), BestLevel());
}

TEST(Level, LevelForSumsOfDoublesIsSupported) {
  const auto levels = SupportedLevels();
  for (const Level level : levels) {
    const Level taken = LevelForSumsOfDoubles(level);
    EXPECT_LE(taken, level);
    EXPECT_TRUE(std::count(levels.begin(), levels.end(), taken)) << LevelName(taken);
    if (level != Level::avx512) {
      EXPECT_EQ(taken, level);
    }
  }
}

// If two levels shared a table, tests of one of them would never run its kernels.
TEST(Level, EachHasItsOwnKernelsAndName) {
  std::set<const void*> tables;
  std::set<std::string> names;
  for (const Level level : SupportedLevels()) {
    tables.insert(&KernelsFor<Mel::ConversionKernels>(level));
    names.insert(LevelName(level));
  }
  EXPECT_EQ(tables.size(), SupportedLevels().size());
  EXPECT_EQ(names.size(), SupportedLevels().size());
}

}  // namespace
}  // namespace kelvo::Simd
