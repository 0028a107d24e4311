// TableCache: tables that depend on a few parameters only, each built once per process and shared by all threads.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "fft/mutex.h"

namespace kelvo::Fft {

// kMapN ordered maps from a key to a table, behind one mutex. Entries are never changed, moved or removed, so a table's
// address, once handed out, may be read without the lock until the process ends.
template <class Key, class Table, std::size_t kMapN = 1, class Less = std::less<Key>>
class TableCache {
 public:
  // The table of `key` in map `map_index`; build(key) makes it if it is absent. The build runs under the lock: other
  // threads wait, and no table is ever built twice. A table enters the map complete, so a build that throws leaves no
  // trace and the next request builds again.
  template <class Build>
  const Table& GetTable(std::size_t map_index, const Key& key, Build&& build) {
    const MutexLock lock(mutex_);
    auto& tables = maps_[map_index];
    const auto found = tables.find(key);
    if (found != tables.end()) return found->second;
    return tables.emplace(key, std::forward<Build>(build)(key)).first->second;
  }

  // For a ForkGuard.
  Mutex& GetMutex() { return mutex_; }

 private:
  Mutex mutex_;
  std::array<std::map<Key, Table, Less>, kMapN> maps_ KELVO_GUARDED_BY(mutex_);
};

}  // namespace kelvo::Fft
