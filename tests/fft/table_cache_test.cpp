// What every cache relies on: one build per key, addresses that stay, and no trace of a build that failed.
#include "fft/table_cache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>
#include <vector>

namespace kelvo::Fft {
namespace {

TEST(TableCache, ConcurrentFirstRequestsBuildOnce) {
  constexpr int kThreadN = 8;
  constexpr int kKeyN = 50;
  TableCache<int, int> cache;
  std::atomic<int> build_n = 0;
  std::atomic<int> arrived_n = 0;
  std::vector<std::vector<const int*>> addresses(kThreadN, std::vector<const int*>(kKeyN));
  {
    std::vector<std::jthread> threads;
    for (auto& seen : addresses) {
      threads.emplace_back([&] {
        for (int key = 0; key < kKeyN; ++key) {
          // Not std::barrier, in which threads of MinGW's GCC 12 hang.
          ++arrived_n;
          while (arrived_n < kThreadN * (key + 1)) std::this_thread::yield();
          seen[static_cast<std::size_t>(key)] = &cache.GetTable(0, key, [&](int k) {
            ++build_n;
            return 3 * k;
          });
        }
      });
    }
  }
  EXPECT_EQ(build_n, kKeyN);
  for (const auto& seen : addresses) EXPECT_EQ(seen, addresses[0]);
  for (int key = 0; key < kKeyN; ++key) EXPECT_EQ(*addresses[0][static_cast<std::size_t>(key)], 3 * key);
}

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
