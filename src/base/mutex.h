// A mutex with thread-safety annotations, by which clang reports every use of guarded data without the lock; and the
// guard around fork.
#pragma once

#include <mutex>

// The standard library's mutex has no such attributes, and GCC does not know them.
#if defined(__clang__)
#define KELVO_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define KELVO_THREAD_ATTRIBUTE(attribute)
#endif

#define KELVO_GUARDED_BY(mutex) KELVO_THREAD_ATTRIBUTE(guarded_by(mutex))
#define KELVO_ACQUIRES(...) KELVO_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define KELVO_RELEASES(...) KELVO_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define KELVO_NO_THREAD_ANALYSIS KELVO_THREAD_ATTRIBUTE(no_thread_safety_analysis)

// Helgrind sees locks but no atomics: a build for it is annotated with what an atomic pointer orders.
#if defined(KELVO_FOR_HELGRIND)
#include <valgrind/helgrind.h>
#define KELVO_LOADED(atomic)                               \
  VALGRIND_HG_DISABLE_CHECKING(&(atomic), sizeof(atomic)); \
  ANNOTATE_HAPPENS_AFTER(&(atomic))
#define KELVO_STORES(atomic) ANNOTATE_HAPPENS_BEFORE(&(atomic))
#else
#define KELVO_LOADED(atomic)
#define KELVO_STORES(atomic)
#endif

namespace kelvo::Base {

class KELVO_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
 public:
  // Fails with std::system_error.
  void Lock() KELVO_ACQUIRES() { mutex_.lock(); }
  void Unlock() KELVO_RELEASES() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

// Holds the lock during its lifetime.
class KELVO_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) KELVO_ACQUIRES(mutex) : mutex_(mutex) { mutex.Lock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() KELVO_RELEASES() { mutex_.Unlock(); }

 private:
  Mutex& mutex_;
};

// Keeps a cache usable in a process that is forked while another thread holds its lock.
//
// Each cache has one, at namespace scope, so that it exists from the time the library is loaded. Every fork takes the
// locks of all caches, in the order in which the guards were constructed, and releases them in parent and child.
class ForkGuard {
 public:
  // Returns the lock of the cache, and constructs the cache first if need be: the child must not find it half built.
  using FindMutex = Mutex& (*)();

  explicit ForkGuard(FindMutex find_mutex) noexcept;
};

}  // namespace kelvo::Base
