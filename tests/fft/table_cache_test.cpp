// What every cache relies on: one build per key, addresses that stay, and no trace of a build that failed. Threads
// that ask for the same keys at once are tested with the exports.
#include "fft/table_cache.h"

#include <gtest/gtest.h>

#include <new>

namespace kelvo::Fft {
namespace {

TEST(TableCache, FailedBuildLeavesNoEntryAndNoLock) {
  TableCache<int, int> cache;
  EXPECT_THROW(cache.GetTable(0, 5, [](int) -> int { throw std::bad_alloc(); }), std::bad_alloc);
  EXPECT_EQ(cache.GetTable(0, 5, [](int) { return 1; }), 1);
  EXPECT_EQ(cache.GetTable(0, 5, [](int) { return 2; }), 1);
}

TEST(TableCache, MapsAreSeparateAndAddressesStay) {
  TableCache<int, int, 2> cache;
  const int* first = &cache.GetTable(0, 500, [](int) { return 10; });
  const int* second = &cache.GetTable(1, 500, [](int) { return 20; });
  for (int key = 1000; key > 0; --key) cache.GetTable(0, key, [](int) { return 0; });
  EXPECT_EQ(&cache.GetTable(0, 500, [](int) { return 30; }), first);
  EXPECT_EQ(*first, 10);
  EXPECT_EQ(*second, 20);
}

}  // namespace
}  // namespace kelvo::Fft
