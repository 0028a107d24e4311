// Keeps the caches usable in a process that is forked while another thread holds one of their locks.
#pragma once

#include "base/mutex.h"

namespace kelvo::Base {

// Each cache has one, at namespace scope, so that it exists from the time the library is loaded. Every fork takes the
// locks of all caches, in the order in which the guards were constructed, and releases them in parent and child.
class ForkGuard {
 public:
  // Returns the lock of the cache, and constructs the cache first if need be: the child must not find it half built.
  using FindMutex = Mutex& (*)();

  explicit ForkGuard(FindMutex find_mutex) noexcept;
};

}  // namespace kelvo::Base
