// The stored hashes hold: the same bits from every compiler, at every level of optimisation, on every CPU.
#include "reliability/golden.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "reliability/calls.h"
#include "reliability/level_override.h"

namespace kelvo::Reliability {
namespace {

class GoldenHashes : public testing::TestWithParam<Export> {};

TEST_P(GoldenHashes, AreThoseStored) {
  const Export& subject = GetParam();
  const auto row = StoredHashes().find(subject.name);
  ASSERT_TRUE(row != StoredHashes().end());
  ASSERT_EQ(row->second.size(), subject.settings.size());
  for (std::size_t s = 0; s < subject.settings.size(); ++s) {
    std::uint64_t hash = 0;
    std::string levels;
    for (const Simd::Level level : Simd::SupportedLevels()) {
      const LevelOverride use(level);
      hash = HashOfResults(subject, subject.settings[s]);
      EXPECT_EQ(hash, row->second[s]) << Simd::LevelName(level);
      levels += std::string(" ") + Simd::LevelName(level);
    }
    std::printf("hash of %s, setting %zu: %016llx at%s\n", subject.name, s, static_cast<unsigned long long>(hash),
                levels.c_str());
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, GoldenHashes, testing::ValuesIn(Exports()), NameOf);

}  // namespace
}  // namespace kelvo::Reliability
