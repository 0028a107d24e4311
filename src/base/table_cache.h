// TableCache: tables that depend on a few parameters only, each built once per process and shared by all threads.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "base/mutex.h"

namespace kelvo::Base {

// kMapN ordered maps from a key to a table, behind one mutex. Entries are never changed, moved or removed, so a table's
// address, once handed out, may be read without the lock until the process ends. The entry that was found last in each
// map can therefore be found again without it: a program asks for the same few tables over and over, and the lock alone
// would cost a tenth of a short transform.
template <class Key, class Table, std::size_t kMapN = 1, class Less = std::less<Key>>
class TableCache {
 public:
  // The table of `key` in map `map_index`; build(key) makes it if it is absent. The build runs under the lock: other
  // threads wait, and no table is ever built twice. A table enters the map complete, so a build that throws leaves no
  // trace and the next request builds again.
  template <class Build>
  const Table& GetTable(std::size_t map_index, const Key& key, Build&& build) {
    std::atomic<const Entry*>& latest = latest_[map_index];
    const Entry* const known = latest.load(std::memory_order_acquire);
    KELVO_LOADED(latest);
    if (known != nullptr && !Less{}(known->first, key) && !Less{}(key, known->first)) return known->second;

    const MutexLock lock(mutex_);
    auto& tables = maps_[map_index];
    auto found = tables.find(key);
    if (found == tables.end()) found = tables.emplace(key, std::forward<Build>(build)(key)).first;
    KELVO_STORES(latest);
    latest.store(&*found, std::memory_order_release);
    return found->second;
  }

  // For a ForkGuard.
  Mutex& GetMutex() { return mutex_; }

 private:
  using Entry = std::pair<const Key, Table>;

  Mutex mutex_;
  std::array<std::map<Key, Table, Less>, kMapN> maps_ KELVO_GUARDED_BY(mutex_);
  std::array<std::atomic<const Entry*>, kMapN> latest_{};
};

}  // namespace kelvo::Base
