// Tables built once, found in any order, and left alone by builds that fail.
#include "base/table_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <stdexcept>
#include <vector>

namespace kelvo::Base {

// Keys of one hash, which no int has.
struct CollidingKey {
  int value;
  bool operator==(const CollidingKey&) const = default;
  friend std::uint64_t HashKey(const CollidingKey&) { return 0x123456789ABCDEF0; }
};

namespace {

template <class Key>
void ExpectOneTableAKey(const std::vector<int>& order) {
  TableCache<Key, int, 2> cache;
  int built_n = 0;
  const auto get = [&](int value) -> const int& {
    return cache.GetTable(0, Key{value}, [&](const Key&) {
      ++built_n;
      return 3 * value;
    });
  };
  std::vector<const int*> addresses(order.size());
  for (const int value : order) addresses[static_cast<std::size_t>(value)] = &get(value);
  for (std::size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(*addresses[i], 3 * static_cast<int>(i));
    EXPECT_EQ(&get(static_cast<int>(i)), addresses[i]);
  }
  EXPECT_EQ(built_n, static_cast<int>(order.size()));
  // The other map knows nothing of them.
  EXPECT_EQ(cache.GetTable(1, Key{0}, [](const Key&) { return -1; }), -1);
}

TEST(TableCache, BuildsEachTableOnceAndKeepsItsAddress) {
  std::vector<int> order(3000);
  std::iota(order.begin(), order.end(), 0);
  ExpectOneTableAKey<int>(order);
  std::reverse(order.begin(), order.end());
  ExpectOneTableAKey<int>(order);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  ExpectOneTableAKey<int>(order);
  order.resize(100);
  std::iota(order.begin(), order.end(), 0);
  ExpectOneTableAKey<CollidingKey>(order);
}

TEST(TableCache, ForgetsABuildThatFails) {
  TableCache<int, std::vector<int>> cache;
  const auto fail = [](int) -> std::vector<int> { throw std::runtime_error("no table"); };
  EXPECT_THROW(cache.GetTable(0, 7, fail), std::runtime_error);
  EXPECT_EQ(cache.GetTable(0, 7, [](int key) { return std::vector<int>(3, key); }), (std::vector<int>{7, 7, 7}));
  EXPECT_NO_THROW(cache.GetTable(0, 7, fail));
}

}  // namespace
}  // namespace kelvo::Base
