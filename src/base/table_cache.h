// TableCache: tables that depend on a few parameters only, each built once per process and shared by all threads.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>

#include "base/mutex.h"

namespace kelvo::Base {

// A hash of a key's fields. All of its bits count, since a search uses them two at a time.
constexpr std::uint64_t HashFields(std::initializer_list<std::uint32_t> fields) {
  std::uint64_t hash = 0;
  for (const std::uint32_t field : fields) {
    // The finalizer of splitmix64: every bit of a field reaches every bit of the hash.
    hash += field + 0x9E3779B97F4A7C15;
    hash = (hash ^ (hash >> 30)) * 0xBF58476D1CE4E5B9;
    hash = (hash ^ (hash >> 27)) * 0x94D049BB133111EB;
    hash ^= hash >> 31;
  }
  return hash;
}
constexpr std::uint64_t HashKey(int key) { return HashFields({static_cast<std::uint32_t>(key)}); }

// kMapN maps from a key to a table. A table that exists is found without a lock, whatever other threads build
// meanwhile: each map is a tree whose nodes are never changed, moved or removed once they are published, so a search
// only follows pointers, and a table's address may be read until the process ends. The mutex guards building alone.
//
// The tree branches by two bits of the key's hash a level, which keeps it shallow in any order of insertion. Keys have
// == and HashKey(key).
template <class Key, class Table, std::size_t kMapN = 1>
class TableCache {
 public:
  TableCache() = default;
  TableCache(const TableCache&) = delete;
  TableCache& operator=(const TableCache&) = delete;
  ~TableCache() {
    for (Link& root : roots_) Delete(root.load(std::memory_order_relaxed));
  }

  // The table of `key` in map `map_index`; build(key) makes it if it is absent. Builds run under the lock: other
  // threads that build wait, and no table is ever built twice. A table is published complete, so a build that throws
  // leaves no trace and the next request builds again.
  template <class Build>
  const Table& GetTable(std::size_t map_index, const Key& key, Build&& build) {
    if (const Node* const node = Find(map_index, key).node) return node->table;

    const MutexLock lock(mutex_);
    const Place place = Find(map_index, key);
    if (place.node) return place.node->table;
    auto node = std::make_unique<Node>(key, std::forward<Build>(build)(key));
    KELVO_STORES(*place.link);
    place.link->store(node.get(), std::memory_order_release);
    return node.release()->table;
  }

  // For a ForkGuard.
  Mutex& GetMutex() { return mutex_; }

 private:
  struct Node;
  using Link = std::atomic<Node*>;
  struct Node {
    Node(const Key& of, Table&& made) : key(of), table(std::move(made)) {}

    const Key key;
    const Table table;
    std::array<Link, 4> children{};
  };
  // Where a key's node is, or would be.
  struct Place {
    Link* link;
    Node* node;
  };

  Place Find(std::size_t map_index, const Key& key) {
    const auto is_end = [&](Link& link, Node*& node) {
      node = link.load(std::memory_order_acquire);
      KELVO_LOADED(link);
      return node == nullptr || node->key == key;
    };
    Link* link = &roots_[map_index];
    Node* node;
    if (is_end(*link, node)) return {link, node};  // a program with one setting needs no hash
    std::uint64_t hash = HashKey(key);
    do {
      link = &node->children[hash % 4];
      // Rotated, so that keys of one hash go on along one path.
      hash = hash >> 2 | hash << 62;
    } while (!is_end(*link, node));
    return {link, node};
  }

  static void Delete(Node* node) {
    if (node == nullptr) return;
    for (Link& child : node->children) Delete(child.load(std::memory_order_relaxed));
    delete node;
  }

  Mutex mutex_;
  std::array<Link, kMapN> roots_{};
};

}  // namespace kelvo::Base
